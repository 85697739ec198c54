// A PostgreSQL server with PostGIS for one test: in a temporary folder, reached through a socket there alone.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "support/TestFiles.h"

namespace gis_test {

class PostgresServer {
 public:
  /// Why there can be none on this machine; nothing where there can.
  [[nodiscard]] static std::optional<std::string> WhyNot();

  /// Starts it, with the database "surveys". What fails fails the test; `Runs` tells.
  PostgresServer();

  /// Stops it. It stops, too, when the process of the test ends in any other way.
  ~PostgresServer();
  PostgresServer(const PostgresServer&) = delete;
  PostgresServer& operator=(const PostgresServer&) = delete;

  [[nodiscard]] bool Runs() const { return runs_; }

  /// For GDAL.
  [[nodiscard]] std::string Connection() const;

  /// What psql prints for statements: rows by line ends, columns by '|', no heads.
  [[nodiscard]] std::string Sql(const std::string& statements) const;

 private:
  support::TempFolder folder_;
  pid_t server_ = -1;
  bool runs_ = false;
};

#define NEEDS_POSTGIS()                                      \
  if (const auto why = gis_test::PostgresServer::WhyNot()) { \
    GTEST_SKIP() << *why;                                    \
  }                                                          \
  static_assert(true)

}  // namespace gis_test
