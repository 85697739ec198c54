// The stamp of a save, which both files of a pair carry: how a pair that does not belong together is told.
// Private: not installed.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>

#include "qvfd/Text.h"
#include "qvsql/Database.h"

namespace qvprj {

/// Random, and never 0, which stands for none.
inline std::uint32_t NewStamp() {
  char digits[33] = {};
  qvfd::GenerateGUID(digits);
  constexpr int kHexadecimal = 16;
  const auto stamp = static_cast<std::uint32_t>(
      std::strtoul(std::string(digits, sizeof(std::uint32_t) * 2).c_str(), nullptr, kHexadecimal));
  return stamp == 0 ? 1 : stamp;
}

/// The stamp of a project database: the engine's user_version, for which it has no use itself.
inline bool WriteStamp(qvsql::Database& database, std::uint32_t stamp) {
  return database.ExecSQL("PRAGMA user_version = " + std::to_string(static_cast<std::int32_t>(stamp)),
                          nullptr, nullptr);
}

/// 0 also where it cannot be read.
inline std::uint32_t ReadStamp(qvsql::Database& database) {
  std::uint32_t stamp = 0;
  const auto take = [](void* user, int /*columns*/, char** values, char** /*names*/) {
    *static_cast<std::uint32_t*>(user) =
        values[0] == nullptr ? 0 : static_cast<std::uint32_t>(std::strtol(values[0], nullptr, 10));
    return 0;
  };
  return database.ExecSQL("PRAGMA user_version", take, &stamp) ? stamp : 0;
}

}  // namespace qvprj
