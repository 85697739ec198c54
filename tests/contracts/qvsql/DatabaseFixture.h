// What the tests of qvsql::Database share.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "qvsql/Database.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

namespace qvsql_test {

using qvsql::Database;
using qvsql::Field;
using testing::ElementsAre;
using testing::IsEmpty;

using Cells = std::vector<std::string>;

/// Collects the rows that a callback is given.
struct RowCollector {
  std::vector<std::vector<std::optional<std::string>>> rows;
  std::vector<std::string> names;
  std::size_t stop_after = static_cast<std::size_t>(-1);

  static int Take(void* user, int columnCount, char** values, char** names) {
    auto& self = *static_cast<RowCollector*>(user);
    auto& row = self.rows.emplace_back();
    self.names.clear();
    for (int i = 0; i < columnCount; ++i) {
      row.push_back(values[i] == nullptr ? std::nullopt : std::optional<std::string>(values[i]));
      self.names.emplace_back(names[i]);
    }
    return self.rows.size() >= self.stop_after ? 1 : 0;
  }
};

class DatabaseTest : public testing::Test {
 protected:
  std::string Path(const std::string& name = "survey.db") const { return folder_.File(name); }

  /// A new database, open.
  Database Created(const std::string& name = "survey.db") const {
    Database db;
    EXPECT_TRUE(db.Create(Path(name)));
    return db;
  }

  /// A new database, open, with a table "t" of an integer, a real and a text column.
  Database CreatedWithTable() const {
    Database db = Created();
    EXPECT_TRUE(db.CreateTable("t", {Field("i", 1), Field("r", 2), Field("s", 3)}));
    return db;
  }

  /// A database made by the engine itself, with the rows (1, 0.5, 'one') and (2, 1.5, 'two') in "t".
  void MakeSurvey(const std::string& name = "survey.db") const {
    support::Execute(Path(name),
                     "CREATE TABLE t(i INTEGER, r REAL, s TEXT);"
                     "INSERT INTO t VALUES(1, 0.5, 'one'), (2, 1.5, 'two');");
  }

  Database Opened(const std::string& name = "survey.db") const {
    Database db;
    EXPECT_TRUE(db.Open(Path(name)));
    return db;
  }

  static Cells CellsOf(Database& db, const std::string& table) {
    int rows = -1;
    int columns = -1;
    Cells cells;
    EXPECT_TRUE(db.GetRecords(table, &rows, &columns, cells)) << "cannot read " << table;
    return cells;
  }

  static bool CanRead(Database& db, const std::string& table) {
    int rows = -1;
    int columns = -1;
    Cells cells;
    return db.GetRecords(table, &rows, &columns, cells);
  }

  static RowCollector RowsOf(Database& db, const std::string& sql) {
    RowCollector collector;
    EXPECT_TRUE(db.ExecSQL(sql, &RowCollector::Take, &collector)) << sql;
    return collector;
  }

  static bool Exec(Database& db, const std::string& sql) { return db.ExecSQL(sql, nullptr, nullptr); }

  std::string RawCount(const std::string& table = "t") const {
    return support::QueryOne(Path(), "SELECT count(*) FROM " + table);
  }

  support::TempFolder folder_;
};

}  // namespace qvsql_test
