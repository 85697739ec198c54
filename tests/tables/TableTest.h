// What the tests of the tables have in common: one database file, written by the project and looked at with
// the engine itself, or the other way round.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "qvprj/project/QvProject.h"
#include "qvsql/Database.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"
#include "support/ProjectSql.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

class TableTest : public ::testing::Test {
 protected:
  using Operation = bool (qvprj::QvProject::*)(qvsql::Database&);
  using Row = std::vector<support::RawCell>;

  [[nodiscard]] std::string Path() const { return folder_.File("p.db"); }

  /// Runs the operations one after the other on a new database, up to the first that fails.
  bool InNewDatabase(std::initializer_list<Operation> operations) {
    qvsql::Database database;
    EXPECT_TRUE(database.Create(Path()));
    for (const Operation operation : operations) {
      if (!(project_.*operation)(database)) {
        return false;
      }
    }
    return true;
  }

  /// Runs an operation on the database that is there.
  bool InDatabase(Operation operation) {
    qvsql::Database database;
    EXPECT_TRUE(database.Open(Path()));
    return (project_.*operation)(database);
  }

  bool WithClosedDatabase(Operation operation) {
    qvsql::Database database;
    return (project_.*operation)(database);
  }

  void Execute(const std::string& statements) { support::Execute(Path(), statements); }
  [[nodiscard]] support::RawRows Query(const std::string& query) const {
    return support::Query(Path(), query);
  }
  [[nodiscard]] std::string QueryOne(const std::string& query) const {
    return support::QueryOne(Path(), query);
  }

  support::TempFolder folder_;
  qvprj::QvProject project_;
};
