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

std::optional<std::int64_t> IntegerOf(const Bytes& file, const std::string& query) {
  const Engine engine = InMemory();
  const auto size = static_cast<sqlite3_int64>(file.size());
  auto* const copy = static_cast<unsigned char*>(sqlite3_malloc64(file.size() + 1));
  std::copy(file.begin(), file.end(), copy);
  if (sqlite3_deserialize(engine.get(), "main", copy, size, size,
                          SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_READONLY) != SQLITE_OK) {
    return std::nullopt;
  }
  sqlite3_stmt* raw = nullptr;
  sqlite3_prepare_v2(engine.get(), query.c_str(), -1, &raw, nullptr);
  const std::unique_ptr<sqlite3_stmt, Closer> statement(raw);
  if (!statement || sqlite3_step(raw) != SQLITE_ROW) {
    return std::nullopt;
  }
  return sqlite3_column_int64(raw, 0);
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
