#include "support/RawSqlite.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace support {
namespace {

struct Closer {
  void operator()(sqlite3* db) const { sqlite3_close(db); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Connection = std::unique_ptr<sqlite3, Closer>;
using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

Connection Connect(const std::string& path, int flags) {
  sqlite3* db = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
  EXPECT_EQ(code, SQLITE_OK) << path << ": " << sqlite3_errmsg(db);
  return Connection(db);
}

RawCell CellOf(sqlite3_stmt* statement, int column) {
  const auto bytes = [&](const void* data) {
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
    return size == 0 ? std::string() : std::string(static_cast<const char*>(data), size);
  };
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
      return {"integer", std::to_string(sqlite3_column_int64(statement, column))};
    case SQLITE_FLOAT: {
      std::array<char, 40> text{};
      std::snprintf(text.data(), text.size(), "%.17g", sqlite3_column_double(statement, column));
      return {"real", text.data()};
    }
    case SQLITE_TEXT:
      return {"text", bytes(sqlite3_column_text(statement, column))};
    case SQLITE_BLOB:
      return {"blob", bytes(sqlite3_column_blob(statement, column))};
    default:
      return {"null", ""};
  }
}

void RunAndCopy(sqlite3* db, const std::string& statements, const std::string& path, const std::string& copy,
                const std::string& side) {
  EXPECT_EQ(sqlite3_exec(db, statements.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
  std::filesystem::copy_file(path, copy);
  std::filesystem::copy_file(path + side, copy + side);
}

}  // namespace

void Execute(const std::string& path, const std::string& statements) {
  const Connection db = Connect(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  char* message = nullptr;
  const int code = sqlite3_exec(db.get(), statements.c_str(), nullptr, nullptr, &message);
  EXPECT_EQ(code, SQLITE_OK) << path << ": " << (message != nullptr ? message : "");
  sqlite3_free(message);
}

void ExecuteAndStopInTheMiddle(const std::string& path, const std::string& statements,
                               const std::string& copy) {
  const Connection db = Connect(path, SQLITE_OPEN_READWRITE);
  // Few pages in memory, so that changed ones are in the file before the end.
  RunAndCopy(db.get(), "PRAGMA cache_size = 1; BEGIN; " + statements, path, copy, "-journal");
  EXPECT_EQ(sqlite3_exec(db.get(), "ROLLBACK", nullptr, nullptr, nullptr), SQLITE_OK);
}

void ExecuteAheadAndStop(const std::string& path, const std::string& statements, const std::string& copy) {
  Execute(path, "PRAGMA journal_mode = WAL");
  const Connection db = Connect(path, SQLITE_OPEN_READWRITE);
  RunAndCopy(db.get(), "PRAGMA wal_autocheckpoint = 0; " + statements, path, copy, "-wal");
}

RawRows Query(const std::string& path, const std::string& query) {
  const Connection db = Connect(path, SQLITE_OPEN_READONLY);
  sqlite3_stmt* raw = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(db.get(), query.c_str(), -1, &raw, nullptr), SQLITE_OK)
      << path << ": " << sqlite3_errmsg(db.get());
  const Statement statement(raw);
  RawRows rows;
  int code = SQLITE_DONE;
  while (raw != nullptr && (code = sqlite3_step(raw)) == SQLITE_ROW) {
    auto& row = rows.emplace_back();
    for (int column = 0; column < sqlite3_column_count(raw); ++column) {
      row.push_back(CellOf(raw, column));
    }
  }
  EXPECT_EQ(code, SQLITE_DONE) << path << ": " << sqlite3_errmsg(db.get());
  return rows;
}

std::string QueryOne(const std::string& path, const std::string& query) {
  const RawRows rows = Query(path, query);
  EXPECT_EQ(rows.size(), 1U) << query;
  return rows.empty() || rows.front().empty() ? std::string() : rows.front().front().text;
}

std::vector<std::string> Columns(const std::string& path, const std::string& table) {
  std::vector<std::string> columns;
  for (const auto& row : Query(path, "SELECT name, type FROM pragma_table_info('" + table + "')")) {
    columns.push_back(row[0].text + " " + row[1].text);
  }
  return columns;
}

std::vector<std::string> Tables(const std::string& path) {
  std::vector<std::string> tables;
  for (const auto& row : Query(path, "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name")) {
    tables.push_back(row[0].text);
  }
  return tables;
}

}  // namespace support
