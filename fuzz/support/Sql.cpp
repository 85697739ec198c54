#include "support/Sql.h"

#include <sqlite3.h>

#include <memory>

namespace fuzz {
namespace {

struct Closer {
  void operator()(sqlite3* engine) const { sqlite3_close_v2(engine); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  void operator()(unsigned char* bytes) const { sqlite3_free(bytes); }
};
using Engine = std::unique_ptr<sqlite3, Closer>;

int GiveUp(void* /*unused*/) {
  return 1;
}

Engine InMemory() {
  sqlite3* raw = nullptr;
  const int code = sqlite3_open(":memory:", &raw);
  Engine engine(raw);
  Require(code == SQLITE_OK, "the engine gives a database in memory");
  constexpr int kMostSteps = 200000;
  constexpr int kLongest = 100000;  // what is made here is small; what reads it may find more
  sqlite3_limit(raw, SQLITE_LIMIT_LENGTH, kLongest);
  sqlite3_progress_handler(raw, kMostSteps, GiveUp, nullptr);
  return engine;
}

}  // namespace

Bytes DatabaseOf(const std::vector<std::string>& statements) {
  const Engine engine = InMemory();
  sqlite3_exec(engine.get(), "PRAGMA page_size = 512", nullptr, nullptr, nullptr);
  for (const std::string& statement : statements) {
    sqlite3_exec(engine.get(), statement.c_str(), nullptr, nullptr, nullptr);
  }
  sqlite3_exec(engine.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_int64 size = 0;
  const std::unique_ptr<unsigned char, Closer> bytes(sqlite3_serialize(engine.get(), "main", &size, 0));
  return bytes ? Bytes(bytes.get(), bytes.get() + size) : Bytes();
}

namespace {

/// The database in `file`, and a statement on it that stands at its first row. Without a statement when there
/// is no row.
struct FirstRow {
  Engine engine;
  std::unique_ptr<sqlite3_stmt, Closer> statement;
};

FirstRow RunOn(const Bytes& file, const std::string& query) {
  FirstRow row{InMemory(), nullptr};
  const auto size = static_cast<sqlite3_int64>(file.size());
  auto* const copy = static_cast<unsigned char*>(sqlite3_malloc64(file.size() + 1));
  std::copy(file.begin(), file.end(), copy);
  if (sqlite3_deserialize(row.engine.get(), "main", copy, size, size,
                          SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_READONLY) != SQLITE_OK) {
    return row;
  }
  sqlite3_stmt* raw = nullptr;
  sqlite3_prepare_v2(row.engine.get(), query.c_str(), -1, &raw, nullptr);
  row.statement.reset(raw);
  if (raw == nullptr || sqlite3_step(raw) != SQLITE_ROW) {
    row.statement.reset();
  }
  return row;
}

}  // namespace

std::optional<std::int64_t> IntegerOf(const Bytes& file, const std::string& query) {
  const FirstRow row = RunOn(file, query);
  return row.statement ? std::optional(sqlite3_column_int64(row.statement.get(), 0)) : std::nullopt;
}

std::vector<RawCell> FirstRowOf(const Bytes& file, const std::string& table) {
  const FirstRow row = RunOn(file, "SELECT * FROM " + Quoted(table));
  sqlite3_stmt* const statement = row.statement.get();
  std::vector<RawCell> cells;
  for (int column = 0; statement != nullptr && column < sqlite3_column_count(statement); ++column) {
    RawCell& cell = cells.emplace_back();
    const int type = sqlite3_column_type(statement, column);
    if (type == SQLITE_INTEGER) {
      cell = std::int64_t{sqlite3_column_int64(statement, column)};
    } else if (type == SQLITE_FLOAT) {
      cell = sqlite3_column_double(statement, column);
    } else if (type != SQLITE_NULL) {
      const void* const bytes = type == SQLITE_TEXT ? sqlite3_column_text(statement, column)
                                                    : sqlite3_column_blob(statement, column);
      const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
      cell = size == 0 ? std::string() : std::string(static_cast<const char*>(bytes), size);
    }
  }
  return cells;
}

std::string BlobLiteral(const Bytes& bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string literal = "X'";
  for (const unsigned char byte : bytes) {
    literal += kDigits[byte >> 4U];
    literal += kDigits[byte & 15U];
  }
  return literal + "'";
}

namespace {

std::string Enclosed(const std::string& text, char mark) {
  std::string enclosed(1, mark);
  for (const char c : text) {
    enclosed.append(c == mark ? 2 : 1, c);
  }
  return enclosed + mark;
}

}  // namespace

std::string Literal(const std::string& text) {
  if (text.find('\0') != std::string::npos) {
    return "CAST(" + BlobLiteral(Bytes(text.begin(), text.end())) + " AS TEXT)";
  }
  return Enclosed(text, '\'');
}

std::string Quoted(const std::string& name) {
  return Enclosed(name, '"');
}

}  // namespace fuzz
