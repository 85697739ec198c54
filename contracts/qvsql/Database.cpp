// The database wrapper over its engine, SQLite.
//
// What holds at every point:
//   1. A connection that was opened, not created, cannot write until something is to be written; then a
//      writable one takes its place (MakeWritable). So reading leaves file and folder as they were.
//   2. A statement is prepared and checked as a whole before its first step, and stepped through once.
//   3. Numbers never pass through the engine's own text conversions, which are not exact: they are bound
//      natively, read natively, and turned to and from text here.
//   4. Nothing leaves this file by exception.
//   5. A file that was opened may come from anyone (Guard): what its schema says runs no code, reaches no other
//      file, and ends in bounded time and memory.

#include "qvsql/Database.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "DatabaseFile.h"
#include "detail/NoThrow.h"
#include "detail/NumberText.h"
#include "detail/Windows.h"

namespace qvsql {
namespace {

struct EngineCloser {
  void operator()(sqlite3* engine) const { sqlite3_close_v2(engine); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Engine = std::unique_ptr<sqlite3, EngineCloser>;
using Statement = std::unique_ptr<sqlite3_stmt, EngineCloser>;

/// The path as the engine takes it: UTF-8, and no text that it would understand as something else than a file
/// (":memory:", "file:...").
std::string EnginePath(const std::string& path) {
#if defined(_WIN32)
  const int length = static_cast<int>(path.size());
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, path.data(), length, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_ACP, 0, path.data(), length, wide.data(), static_cast<int>(wide.size()));
  const int wideLength = static_cast<int>(wide.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideLength, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideLength, utf8.data(), size, nullptr, nullptr);
  return utf8;
#else
  return path.front() == '/' ? path : "./" + path;
#endif
}

std::string Quoted(std::string_view identifier) {
  std::string quoted = "\"";
  for (const char c : identifier) {
    quoted.append(c == '"' ? 2 : 1, c);
  }
  return quoted + '"';
}

bool Run(sqlite3* engine, const char* sql) {
  return sqlite3_exec(engine, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

enum class Access {
  kRead,
  kReadAsItStands,  ///< without locks, journals or logs: for a file to which nobody is writing
  kReadDamaged,     ///< the same, for a file that the engine would refuse as a whole
  kWrite,
};

/// The URI by which the engine takes a file as it stands.
std::string ImmutableUri(const std::string& path) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string uri = "file:";
  for (const char c : EnginePath(path)) {
    const auto byte = static_cast<unsigned char>(c);
    uri += {'%', kDigits[byte / 16U], kDigits[byte % 16U]};
  }
  return uri + "?immutable=1";
}

/// A connection to the file at `path`; null when the engine cannot make one, or, where it is to write, not a
/// writable one.
Engine Connect(const std::string& path, Access access) {
  const bool writable = access == Access::kWrite;
  const bool damaged = access == Access::kReadDamaged;
  const bool asItStands = access == Access::kReadAsItStands || damaged;
  const int flags = SQLITE_OPEN_NOMUTEX | (writable ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) |
                    (asItStands ? SQLITE_OPEN_URI : 0);
  const std::string name = asItStands ? ImmutableUri(path) : EnginePath(path);
  sqlite3* raw = nullptr;
  const int code = sqlite3_open_v2(name.c_str(), &raw, flags, nullptr);
  Engine engine(raw);
  if (code != SQLITE_OK || (writable && sqlite3_db_readonly(raw, "main") != 0)) {
    return nullptr;
  }
  sqlite3_db_config(raw, SQLITE_DBCONFIG_DEFENSIVE, damaged ? 0 : 1, nullptr);
  sqlite3_db_config(raw, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(raw, SQLITE_DBCONFIG_ENABLE_FTS3_TOKENIZER, 0,
                    nullptr);                 // takes pointers from statements
  constexpr int kLongestWaitForLocks = 1000;  // milliseconds
  sqlite3_busy_timeout(raw, kLongestWaitForLocks);
  // What this is named for is out of reach of a connection that only reads; it also makes the engine read a
  // file that has lost its end, and pass over tables that it does not understand.
  if (damaged && !Run(raw, "PRAGMA writable_schema = ON")) {
    return nullptr;
  }
  // Sorting must not write files.
  return Run(raw, "PRAGMA temp_store = MEMORY") ? std::move(engine) : nullptr;
}

/// The one statement that `sql` consists of; null when it is none, several, or wrong.
Statement Prepare(sqlite3* engine, std::string_view sql) {
  if (sql.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    return nullptr;
  }
  sqlite3_stmt* raw = nullptr;
  const char* rest = nullptr;
  const int code = sqlite3_prepare_v2(engine, sql.data(), static_cast<int>(sql.size()), &raw, &rest);
  Statement statement(raw);
  if (code != SQLITE_OK || raw == nullptr) {
    return nullptr;
  }
  const std::string_view tail = sql.substr(static_cast<std::size_t>(rest - sql.data()));
  return std::all_of(tail.begin(), tail.end(), qvdetail::IsBlank) ? std::move(statement) : nullptr;
}

std::string_view SkipBlanksAndComments(std::string_view sql) {
  for (;;) {
    sql = qvdetail::SkipBlanks(sql);
    const bool line = sql.substr(0, 2) == "--";
    if (!line && sql.substr(0, 2) != "/*") {
      return sql;
    }
    const std::string_view mark = line ? "\n" : "*/";
    const std::size_t end = sql.find(mark, 2);
    sql.remove_prefix(end == std::string_view::npos ? sql.size() : end + mark.size());
  }
}

/// The number that a statement gives; 0 when it gives none.
std::int64_t NumberOf(sqlite3* engine, const std::string& sql) {
  const Statement statement = Prepare(engine, sql);
  return statement && sqlite3_step(statement.get()) == SQLITE_ROW ? sqlite3_column_int64(statement.get(), 0)
                                                                  : 0;
}

std::int64_t FileSize(sqlite3* engine) {
  return NumberOf(engine, "PRAGMA page_count") * NumberOf(engine, "PRAGMA page_size");
}

// ---- Files from anyone --------------------------------------------------------------------------

/// What a call may cost on a file that was opened. Views and triggers do not run at all on such a file; this
/// bounds what is left, expressions in the schema and statements that find more than is there.
class Guard {
 public:
  /// Takes the connection under guard, for its whole life.
  void Attach(sqlite3* engine) {
    engine_ = engine;
    sqlite3_db_config(engine, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(engine, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_progress_handler(engine, kStepsAtOnce, &Guard::Spend, this);
  }

  /// Before a call that walks through a table: the engine takes a few steps for each cell, and a cell takes a
  /// byte at least. `longest` is what is to be written.
  void BeginScan(std::size_t longest = 0) { Begin(kScanSteps, kScanStepsPerByte, longest); }

  /// Before a statement of the caller's own, which may join and sort.
  void BeginStatement(std::size_t longest) { Begin(kStatementSteps, kStatementStepsPerByte, longest); }

 private:
  static constexpr int kStepsAtOnce = 1000;
  static constexpr std::int64_t kScanSteps = 1'000'000;
  static constexpr std::int64_t kScanStepsPerByte = 16;
  static constexpr std::int64_t kStatementSteps = 100'000'000;
  static constexpr std::int64_t kStatementStepsPerByte = 64;

  void Begin(std::int64_t steps, std::int64_t stepsPerByte, std::size_t longest) {
    if (engine_ == nullptr) {
      return;
    }
    left_ = steps;
    const std::int64_t size = FileSize(engine_);
    left_ = steps + stepsPerByte * (size + static_cast<std::int64_t>(longest));
    // No cell is longer than its file. Other values may be, in statements of the caller's own.
    constexpr std::int64_t kLongestAnyway = std::int64_t{1} << 20U;
    constexpr std::int64_t kLongestOfAll = 1'000'000'000;  // as the engine has it
    const std::int64_t length = kLongestAnyway + 4 * size + 2 * static_cast<std::int64_t>(longest);
    sqlite3_limit(engine_, SQLITE_LIMIT_LENGTH, static_cast<int>(std::min(length, kLongestOfAll)));
  }

  /// Anything but 0 ends the statement.
  static int Spend(void* self) {
    auto& left = static_cast<Guard*>(self)->left_;
    left -= kStepsAtOnce;
    return left < 0 ? 1 : 0;
  }

  sqlite3* engine_ = nullptr;  // none for a file that was created here
  std::int64_t left_ = kStatementSteps;
};

/// Takes the next word off a statement: letters, or a name in whichever quotes; empty at anything else.
std::string TakeWord(std::string_view& sql) {
  sql = SkipBlanksAndComments(sql);
  constexpr std::string_view kQuotes = "\"'`[";
  const std::size_t quote = sql.empty() ? std::string_view::npos : kQuotes.find(sql.front());
  std::string word;
  if (quote == std::string_view::npos) {
    const auto belongs = [](char c) {
      const auto byte = static_cast<unsigned char>(c);
      const bool isLetter = (byte | 0x20U) >= 'a' && (byte | 0x20U) <= 'z';
      return isLetter || (byte >= '0' && byte <= '9') || byte == '_' || byte == '$' || byte >= 0x80U;
    };
    while (word.size() < sql.size() && belongs(sql[word.size()])) {
      word += sql[word.size()];
    }
    sql.remove_prefix(word.size());
    return word;
  }
  const char closing = sql.front() == '[' ? ']' : sql.front();
  for (std::size_t i = 1; i < sql.size(); ++i) {
    if (sql[i] == closing) {
      if (closing == ']' || i + 1 == sql.size() || sql[i + 1] != closing) {
        sql.remove_prefix(i + 1);
        return word;
      }
      ++i;  // a quote in the name is doubled
    }
    word += sql[i];
  }
  sql = {};
  return word;
}

/// The virtual table that a statement of the schema declares; empty when it declares something else. What the
/// schema says of it besides is not to be believed.
std::string VirtualTableIn(std::string_view sql) {
  const auto take = [&sql](const char* word) {
    std::string_view rest = sql;
    const bool isNext = sqlite3_stricmp(TakeWord(rest).c_str(), word) == 0;
    sql = isNext ? rest : sql;
    return isNext;
  };
  if (!take("CREATE") || !take("VIRTUAL") || !take("TABLE")) {
    return {};
  }
  if (take("IF")) {
    static_cast<void>(take("NOT") && take("EXISTS"));
  }
  std::string name = TakeWord(sql);
  sql = SkipBlanksAndComments(sql);
  if (!sql.empty() && sql.front() == '.') {  // that was the name of the database
    sql.remove_prefix(1);
    name = TakeWord(sql);
  }
  return name;
}

bool IsVirtualTable(sqlite3* engine, const std::string& table) {
  const Statement schema = Prepare(engine, "SELECT sql FROM sqlite_master");
  if (!schema) {
    return true;
  }
  while (sqlite3_step(schema.get()) == SQLITE_ROW) {
    const auto* const sql = reinterpret_cast<const char*>(sqlite3_column_text(schema.get(), 0));
    if (sql != nullptr && sqlite3_stricmp(VirtualTableIn(sql).c_str(), table.c_str()) == 0) {
      return true;
    }
  }
  return false;
}

/// Whether `table` is one, and reading it (or writing to it) computes nothing: no view, no virtual table, and no
/// generated columns.
bool IsPlainTable(sqlite3* engine, const std::string& table, bool toWrite) {
  const auto isTable = [&] {
    return sqlite3_table_column_metadata(engine, nullptr, table.c_str(), nullptr, nullptr, nullptr, nullptr,
                                         nullptr, nullptr) == SQLITE_OK;
  };
  // Another program may have made the table since the schema was read; preparing a statement reads it again.
  if (table.find('\0') != std::string::npos ||
      (!isTable() && (!Prepare(engine, "SELECT 1 FROM " + Quoted(table)) || !isTable()))) {
    return false;
  }
  if (IsVirtualTable(engine, table)) {
    return false;
  }
  constexpr int kHiddenColumn = 6;  // of the PRAGMA's result
  constexpr int kComputedWhenRead = 2;
  constexpr int kComputedWhenWritten = 3;
  const Statement columns = Prepare(engine, "PRAGMA table_xinfo(" + Quoted(table) + ")");
  if (!columns) {
    return false;
  }
  while (sqlite3_step(columns.get()) == SQLITE_ROW) {
    const int hidden = sqlite3_column_int(columns.get(), kHiddenColumn);
    if (hidden == kComputedWhenRead || (toWrite && hidden == kComputedWhenWritten)) {
      return false;
    }
  }
  return true;
}

/// A transaction, or a part of one that the host has begun; undone unless it is committed.
class Transaction {
 public:
  explicit Transaction(sqlite3* engine)
      : engine_(engine),
        nested_(sqlite3_get_autocommit(engine) == 0),
        active_(Run(engine, nested_ ? "SAVEPOINT qvsql" : "BEGIN")) {}
  ~Transaction() {
    if (active_) {
      Run(engine_, nested_ ? "ROLLBACK TO qvsql; RELEASE qvsql" : "ROLLBACK");
    }
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  [[nodiscard]] bool IsActive() const { return active_; }

  [[nodiscard]] bool Commit() {
    active_ = active_ && !Run(engine_, nested_ ? "RELEASE qvsql" : "COMMIT");
    return !active_;
  }

 private:
  sqlite3* engine_;
  bool nested_;
  bool active_;
};

// ---- Cells --------------------------------------------------------------------------------------

enum class Affinity { kInteger, kReal, kText };

/// How the engine treats values in a column of this declared type: its own rules, as documented, as far as
/// they matter here. Everything that is no number counts as text.
Affinity AffinityOf(const char* declaredType) {
  std::string type = declaredType == nullptr ? "" : declaredType;
  std::transform(type.begin(), type.end(), type.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  const auto contains = [&type](const char* word) { return type.find(word) != std::string::npos; };
  if (contains("INT")) {
    return Affinity::kInteger;
  }
  if (type.empty() || contains("CHAR") || contains("CLOB") || contains("TEXT") || contains("BLOB")) {
    return Affinity::kText;
  }
  return contains("REAL") || contains("FLOA") || contains("DOUB") ? Affinity::kReal : Affinity::kInteger;
}

/// The affinities of all columns of a table; none when the table cannot be written to.
std::optional<std::vector<Affinity>> AffinitiesOf(sqlite3* engine, const std::string& table) {
  if (!IsPlainTable(engine, table, true)) {
    return std::nullopt;
  }
  const Statement statement = Prepare(engine, "SELECT * FROM " + Quoted(table) + " LIMIT 0");
  if (!statement) {
    return std::nullopt;
  }
  const int columns = sqlite3_column_count(statement.get());
  std::vector<Affinity> affinities;
  affinities.reserve(static_cast<std::size_t>(columns));
  for (int column = 0; column < columns; ++column) {
    affinities.push_back(AffinityOf(sqlite3_column_decltype(statement.get(), column)));
  }
  return affinities;
}

/// Binds a cell without copying it: it has to stay until the statement is done.
bool BindCell(sqlite3_stmt* statement, int parameter, Affinity affinity, const std::string& cell) {
  if (affinity == Affinity::kInteger) {
    if (const auto integer = qvdetail::WholeInteger(cell)) {
      return sqlite3_bind_int64(statement, parameter, *integer) == SQLITE_OK;
    }
  }
  if (affinity != Affinity::kText) {
    if (const auto real = qvdetail::WholeReal(cell)) {
      return sqlite3_bind_double(statement, parameter, *real) == SQLITE_OK;
    }
  }
  return sqlite3_bind_text64(statement, parameter, cell.data(), cell.size(), SQLITE_STATIC, SQLITE_UTF8) ==
         SQLITE_OK;
}

/// Binds bytes without copying them. An empty blob is a blob, not a NULL.
bool BindBlob(sqlite3_stmt* statement, int parameter, const void* data, int size) {
  const int code = size == 0 ? sqlite3_bind_zeroblob(statement, parameter, 0)
                             : sqlite3_bind_blob(statement, parameter, data, size, SQLITE_STATIC);
  return code == SQLITE_OK;
}

/// The bytes of a text or blob value. False when the engine ran out of memory.
bool BytesOf(sqlite3_stmt* statement, int column, std::string_view& bytes) {
  const bool isText = sqlite3_column_type(statement, column) == SQLITE_TEXT;
  const void* const data = isText ? static_cast<const void*>(sqlite3_column_text(statement, column))
                                  : sqlite3_column_blob(statement, column);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
  bytes = data == nullptr ? std::string_view() : std::string_view(static_cast<const char*>(data), size);
  return data != nullptr || (!isText && size == 0);
}

/// Appends a value as text to `cells`. False when the engine ran out of memory.
bool AppendCell(sqlite3_stmt* statement, int column, std::vector<std::string>& cells) {
  std::string_view bytes;
  char number[qvdetail::kNumberTextCapacity];
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER: {
      const char* const end = qvdetail::FormatInteger(sqlite3_column_int64(statement, column), number);
      cells.emplace_back(number, static_cast<std::size_t>(end - number));
      return true;
    }
    case SQLITE_FLOAT: {
      const char* const end = qvdetail::FormatReal(sqlite3_column_double(statement, column), number);
      cells.emplace_back(number, static_cast<std::size_t>(end - number));
      return true;
    }
    case SQLITE_NULL:
      cells.emplace_back();
      return true;
    default:
      if (!BytesOf(statement, column, bytes)) {
        return false;
      }
      cells.emplace_back(bytes);
      return true;
  }
}

constexpr int kNoBlobColumn = -1;

// ---- Writing rows -------------------------------------------------------------------------------

/// The rows of one AddRecords call.
struct Rows {
  const std::vector<std::string>& cells;
  int columns;
  int blobColumn = kNoBlobColumn;
  std::span<void* const> blobs;  // one a row, and so are the sizes
  std::span<const int> blobSizes;

  [[nodiscard]] std::size_t Count() const { return cells.size() / static_cast<std::size_t>(columns); }

  /// About what they take in the file.
  [[nodiscard]] std::size_t Bytes() const {
    std::size_t bytes = 0;
    for (const std::string& cell : cells) {
      bytes += cell.size() + 1;
    }
    for (const int size : blobSizes) {
      bytes += static_cast<std::size_t>(size);
    }
    return bytes;
  }
};

bool AreWhole(const Rows& rows) {
  if (rows.columns < 1 || rows.cells.size() % static_cast<std::size_t>(rows.columns) != 0) {
    return false;
  }
  if (rows.blobColumn == kNoBlobColumn) {
    return true;
  }
  if (rows.blobColumn < 0 || rows.blobColumn >= rows.columns || rows.blobs.size() != rows.Count() ||
      rows.blobSizes.size() != rows.Count()) {
    return false;
  }
  for (std::size_t row = 0; row < rows.Count(); ++row) {
    const int size = rows.blobSizes[row];
    if (size < 0 || (rows.blobs[row] == nullptr && size > 0)) {
      return false;
    }
  }
  return true;
}

bool BindRow(sqlite3_stmt* statement, const std::vector<Affinity>& affinities, const Rows& rows,
             std::size_t row) {
  for (int column = 0; column < rows.columns; ++column) {
    const auto c = static_cast<std::size_t>(column);
    const bool bound =
        column == rows.blobColumn
            ? BindBlob(statement, column + 1, rows.blobs[row], rows.blobSizes[row])
            : BindCell(statement, column + 1, affinities[c], rows.cells[row * affinities.size() + c]);
    if (!bound) {
      return false;
    }
  }
  return true;
}

bool InsertRows(sqlite3* engine, const std::string& table, const Rows& rows) {
  const auto affinities = AffinitiesOf(engine, table);
  if (!affinities || affinities->size() != static_cast<std::size_t>(rows.columns)) {
    return false;
  }
  std::string sql = "INSERT INTO " + Quoted(table) + " VALUES (?";
  for (int column = 1; column < rows.columns; ++column) {
    sql += ",?";
  }
  Transaction transaction(engine);
  const Statement statement = Prepare(engine, sql + ")");
  if (!transaction.IsActive() || !statement) {
    return false;
  }
  for (std::size_t row = 0; row < rows.Count(); ++row) {
    if (!BindRow(statement.get(), *affinities, rows, row) || sqlite3_step(statement.get()) != SQLITE_DONE ||
        sqlite3_reset(statement.get()) != SQLITE_OK) {
      return false;
    }
  }
  return transaction.Commit();
}

// ---- Reading rows -------------------------------------------------------------------------------

/// Where GetRecords puts what it reads. Unless it is kept, everything appended goes again.
class Output {
 public:
  Output(int* rows, int* columns, std::vector<std::string>& cells, std::vector<std::vector<char>>* blobs)
      : rows_(rows),
        columns_(columns),
        cells_(cells),
        blobs_(blobs),
        cellCount_(cells.size()),
        blobCount_(blobs == nullptr ? 0 : blobs->size()) {
    SetCounts(0, 0);
  }
  ~Output() {
    if (!kept_) {
      cells_.resize(cellCount_);
      if (blobs_ != nullptr) {
        blobs_->resize(blobCount_);
      }
    }
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Allows so much memory for what is appended.
  void Limit(std::size_t bytes) { left_ = bytes; }

  /// Makes room for so many rows, so that a large table is not moved over and over again.
  void Reserve(std::size_t rows, int columns) {
    cells_.reserve(cellCount_ + rows * static_cast<std::size_t>(columns));
    if (blobs_ != nullptr) {
      blobs_->reserve(blobCount_ + rows);
    }
  }

  /// Appends one row of a result. False when the engine ran out of memory, or the result goes past its limit.
  bool AppendRow(sqlite3_stmt* statement, int columns, int blobColumn) {
    std::size_t size = 0;
    for (int column = 0; column < columns; ++column) {
      if (column != blobColumn) {
        if (!AppendCell(statement, column, cells_)) {
          return false;
        }
        size += sizeof(std::string) + cells_.back().size();
        continue;
      }
      std::string_view bytes;
      if (!BytesOf(statement, column, bytes)) {
        return false;
      }
      cells_.emplace_back();
      blobs_->emplace_back(bytes.begin(), bytes.end());
      size += sizeof(std::string) + sizeof(std::vector<char>) + bytes.size();
    }
    const bool fits = size <= left_;
    left_ -= fits ? size : 0;
    return fits;
  }

  void Keep(int rows, int columns) {
    SetCounts(rows, columns);
    kept_ = true;
  }

 private:
  void SetCounts(int rows, int columns) {
    if (rows_ != nullptr) {
      *rows_ = rows;
    }
    if (columns_ != nullptr) {
      *columns_ = columns;
    }
  }

  int* rows_;
  int* columns_;
  std::vector<std::string>& cells_;
  std::vector<std::vector<char>>* blobs_;
  std::size_t cellCount_;
  std::size_t blobCount_;
  std::size_t left_ = 0;
  bool kept_ = false;
};

/// How many rows a table may have, found without walking through it: its largest row id, which is the number
/// of its rows where none was ever deleted. Never more than the file has room for, whatever its row ids
/// claim; 0 where rows have no ids.
std::size_t LikelyRowCount(sqlite3* engine, const std::string& table, int columns, std::int64_t fileSize) {
  const std::int64_t room = fileSize / (columns + 2);  // of rows as short as rows can be
  const std::int64_t largest = NumberOf(engine, "SELECT max(rowid) FROM " + Quoted(table));
  return static_cast<std::size_t>(std::clamp(largest, std::int64_t{0}, room));
}

/// How much memory the rows of a table may take. A stored value takes a byte of the file or more, and one cell
/// of a result; what goes beyond that is columns that rows lack, defaults and generated columns, of which a
/// small file can have as much as it likes.
std::size_t RoomFor(std::int64_t fileSize) {
  constexpr std::int64_t kSlack = std::int64_t{12} << 20U;
  return static_cast<std::size_t>(kSlack + std::int64_t{sizeof(std::string) + 8} * fileSize);
}

bool SelectRows(sqlite3* engine, const std::string& table, int blobColumn, Output& output) {
  if (!IsPlainTable(engine, table, false)) {
    return false;
  }
  const Statement statement = Prepare(engine, "SELECT * FROM " + Quoted(table));
  if (!statement) {
    return false;
  }
  const int columns = sqlite3_column_count(statement.get());
  if (blobColumn != kNoBlobColumn && (blobColumn < 0 || blobColumn >= columns)) {
    return false;
  }
  const std::int64_t fileSize = FileSize(engine);
  output.Limit(RoomFor(fileSize));
  output.Reserve(LikelyRowCount(engine, table, columns, fileSize), columns);
  int rows = 0;
  int code = sqlite3_step(statement.get());
  for (; code == SQLITE_ROW; code = sqlite3_step(statement.get())) {
    if (rows == std::numeric_limits<int>::max() || !output.AppendRow(statement.get(), columns, blobColumn)) {
      return false;
    }
    ++rows;
  }
  if (code != SQLITE_DONE) {
    return false;
  }
  output.Keep(rows, columns);
  return true;
}

// ---- Single statements --------------------------------------------------------------------------

/// The values of the current row as a RowCallback takes them.
class CallbackRow {
 public:
  explicit CallbackRow(sqlite3_stmt* statement)
      : statement_(statement),
        columns_(sqlite3_column_count(statement)),
        values_(static_cast<std::size_t>(columns_)),
        names_(static_cast<std::size_t>(columns_)),
        reals_(static_cast<std::size_t>(columns_)) {}

  /// False when the engine ran out of memory.
  bool Load() {
    for (int column = 0; column < columns_; ++column) {
      const auto c = static_cast<std::size_t>(column);
      names_[c] = const_cast<char*>(sqlite3_column_name(statement_, column));
      const int type = sqlite3_column_type(statement_, column);
      if (type == SQLITE_FLOAT) {
        *qvdetail::FormatReal(sqlite3_column_double(statement_, column), reals_[c].text) = '\0';
        values_[c] = reals_[c].text;
        continue;
      }
      const unsigned char* const text = sqlite3_column_text(statement_, column);
      values_[c] = const_cast<char*>(reinterpret_cast<const char*>(text));
      if (names_[c] == nullptr || (text == nullptr && type != SQLITE_NULL)) {
        return false;
      }
    }
    return true;
  }

  int Pass(RowCallback callback, void* user) {
    return callback(user, columns_, values_.data(), names_.data());
  }

 private:
  struct RealText {
    char text[qvdetail::kNumberTextCapacity];
  };

  sqlite3_stmt* statement_;
  int columns_;
  std::vector<char*> values_;
  std::vector<char*> names_;
  std::vector<RealText> reals_;
};

bool StepThrough(sqlite3_stmt* statement, RowCallback callback, void* user) {
  CallbackRow row(statement);
  int code = sqlite3_step(statement);
  for (; code == SQLITE_ROW; code = sqlite3_step(statement)) {
    if (callback != nullptr && (!row.Load() || row.Pass(callback, user) != 0)) {
      return false;
    }
  }
  return code == SQLITE_DONE;
}

/// Whether a statement begins with the word PRAGMA, behind blanks and comments.
bool IsPragma(std::string_view sql) {
  sql = SkipBlanksAndComments(sql);
  constexpr std::string_view kWord = "pragma";
  return sql.size() >= kWord.size() && std::equal(kWord.begin(), kWord.end(), sql.begin(),
                                                  [](char word, char c) { return word == (c | 0x20); });
}

/// Runs a statement that may write. What it wrote before its callback refused a row is undone. PRAGMAs are
/// run as they are: some of them do nothing inside a transaction.
bool StepThroughOrUndo(sqlite3* engine, sqlite3_stmt* statement, std::string_view sql, RowCallback callback,
                       void* user) {
  const bool canBeRefused = sqlite3_column_count(statement) > 0;
  if (sqlite3_stmt_readonly(statement) != 0 || !canBeRefused || IsPragma(sql)) {
    return StepThrough(statement, callback, user);
  }
  Transaction transaction(engine);
  const bool done = transaction.IsActive() && StepThrough(statement, callback, user);
  sqlite3_reset(statement);  // before the transaction ends, one way or the other
  return done && transaction.Commit();
}

const char* TypeWord(int type) {
  switch (type) {
    case kIntegerColumn:
      return " INTEGER";
    case kRealColumn:
      return " REAL";
    case kTextColumn:
      return " TEXT";
    case kBlobColumn:
      return " BLOB";
    default:
      return nullptr;
  }
}

}  // namespace

struct Database::Connection {
  std::string path;
  std::optional<TemporaryCopy> copy;  // what the engine reads in place of a file that was left unfinished
  Guard guard;
  Engine engine;  // after the copy: it has to be closed before the copy goes
  bool writable = false;
  bool damaged = false;  // and so never to be written

  /// Makes sure that the engine can write to the file itself. False, and the connection as it was, when it
  /// cannot.
  bool MakeWritable() {
    if (writable) {
      return true;
    }
    if (damaged) {
      return false;
    }
    Engine writer = Connect(path, Access::kWrite);
    if (!writer) {
      return false;
    }
    engine = std::move(writer);
    guard.Attach(engine.get());
    copy.reset();
    writable = true;
    return true;
  }

  bool Add(const std::string& table, const Rows& rows) {
    if (!AreWhole(rows)) {
      return false;
    }
    if (rows.Count() == 0) {
      return AffinitiesOf(engine.get(), table)
          .has_value();  // nothing to write: only the table has to be there
    }
    if (!MakeWritable()) {
      return false;
    }
    guard.BeginScan(rows.Bytes());
    return InsertRows(engine.get(), table, rows);
  }

  bool Select(const std::string& table, int blobColumn, Output& output) {
    guard.BeginScan();
    return SelectRows(engine.get(), table, blobColumn, output);
  }
};

Database::Database() = default;
Database::~Database() = default;
Database::Database(Database&&) noexcept = default;
Database& Database::operator=(Database&&) noexcept = default;

bool Database::Open(std::string path) {
  connection_.reset();
  return qvdetail::NoThrow([&] {
    const FileState state = Inspect(path);  // first of all: most files of a folder are no databases
    if (state == FileState::kNotADatabase) {
      return false;
    }
    auto connection = std::make_unique<Connection>();
    connection->path = path;
    if (state == FileState::kClean) {
      connection->engine = Connect(path, Access::kRead);
    } else if (state == FileState::kClosedLog) {
      connection->engine = Connect(path, Access::kReadAsItStands);
    } else if (connection->copy.emplace().Make(path)) {
      // For writing, so that the engine can finish in the copy what was begun.
      connection->engine = Connect(connection->copy->Path(), Access::kWrite);
    }
    if (!connection->engine) {
      return false;
    }
    connection->guard.Attach(connection->engine.get());
    if (!Run(connection->engine.get(), "PRAGMA cell_size_check = ON; PRAGMA schema_version")) {
      return false;
    }
    connection_ = std::move(connection);
    return true;
  });
}

bool Database::OpenDamaged(std::string path) {
  connection_.reset();
  return qvdetail::NoThrow([&] {
    const FileState state = Inspect(path);
    if (state == FileState::kNotADatabase) {
      return false;
    }
    auto connection = std::make_unique<Connection>();
    connection->path = path;
    connection->damaged = true;
    std::string place = path;
    if (state == FileState::kUnfinished) {
      if (!connection->copy.emplace().Make(path)) {
        return false;
      }
      place = connection->copy->Path();
      // The engine finishes in the copy what was begun, as far as it can.
      static_cast<void>(Run(Connect(place, Access::kWrite).get(), "PRAGMA schema_version"));
    }
    // The engine would take a page that is cut for one that goes on with zeros, and find rows of them.
    if (const std::uintmax_t whole = LengthOfWholePages(place); whole > 0) {
      const bool isCopied = connection->copy || connection->copy.emplace().Make(path);
      if (!isCopied || !connection->copy->CutTo(whole)) {
        return false;
      }
      place = connection->copy->Path();
    }
    connection->engine = Connect(place, Access::kReadDamaged);
    if (!connection->engine) {
      return false;
    }
    connection->guard.Attach(connection->engine.get());
    static_cast<void>(Run(connection->engine.get(), "PRAGMA cell_size_check = ON"));
    connection_ = std::move(connection);
    return true;
  });
}

bool Database::Create(std::string path) {
  connection_.reset();
  return qvdetail::NoThrow([&] {
    NewFile file(path);  // before the connection: it can only be removed when that is closed
    if (!file.IsMade()) {
      return false;
    }
    RemoveSideFiles(path);
    auto connection = std::make_unique<Connection>();
    connection->path = path;
    connection->engine = Connect(path, Access::kWrite);
    connection->writable = true;
    // A journal in memory can undo a failed call and costs nothing while the file only grows. The last
    // statement makes the engine write its header: a valid database from the start.
    if (!connection->engine ||
        !Run(connection->engine.get(),
             "PRAGMA page_size = 16384; PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF;"
             "PRAGMA user_version = 0")) {
      return false;
    }
    file.Keep();
    connection_ = std::move(connection);
    return true;
  });
}

bool Database::HasHeader(const std::string& path) noexcept {
  return BeginsAsDatabase(path);
}

bool Database::IsOpen() const {
  return connection_ != nullptr;
}

bool Database::CreateTable(std::string name, std::vector<Field> fields) {
  return qvdetail::NoThrow([&] {
    if (!IsOpen() || fields.empty()) {
      return false;
    }
    std::string columns;
    std::string key;
    for (const Field& field : fields) {
      const char* const type = TypeWord(field.type);
      if (type == nullptr) {
        return false;
      }
      columns += (columns.empty() ? "" : ", ") + Quoted(field.name) + type;
      if (field.flag) {
        key += (key.empty() ? "" : ", ") + Quoted(field.name);
      }
    }
    if (!key.empty()) {
      columns += ", PRIMARY KEY (" + key + ")";
    }
    if (!connection_->MakeWritable()) {
      return false;
    }
    connection_->guard.BeginStatement(columns.size());
    const Statement statement =
        Prepare(connection_->engine.get(), "CREATE TABLE " + Quoted(name) + " (" + columns + ")");
    return statement && sqlite3_step(statement.get()) == SQLITE_DONE;
  });
}

bool Database::AddRecords(std::string table, const std::vector<std::string>& values, int columns) {
  return qvdetail::NoThrow([&] {
    return IsOpen() && connection_->Add(table, {values, columns, kNoBlobColumn, {}, {}});
  });
}

bool Database::AddRecords(std::string table, const std::vector<std::string>& values, int columns,
                          int blobColumn, std::vector<void*> blobs, std::vector<int> blobSizes) {
  return qvdetail::NoThrow([&] {
    return IsOpen() && blobColumn >= 0 &&
           connection_->Add(table, {values, columns, blobColumn, blobs, blobSizes});
  });
}

bool Database::GetRecords(std::string table, int* rows, int* columns, std::vector<std::string>& values) {
  return qvdetail::NoThrow([&] {
    Output output(rows, columns, values, nullptr);
    return IsOpen() && connection_->Select(table, kNoBlobColumn, output);
  });
}

bool Database::GetRecords(std::string table, int blobColumn, int* rows, int* columns,
                          std::vector<std::string>& values, std::vector<std::vector<char>>& blobs) {
  return qvdetail::NoThrow([&] {
    Output output(rows, columns, values, &blobs);
    return IsOpen() && blobColumn >= 0 && connection_->Select(table, blobColumn, output);
  });
}

bool Database::ExecSQL(std::string sql, RowCallback callback, void* user) {
  return qvdetail::NoThrow([&] {
    if (!IsOpen()) {
      return false;
    }
    connection_->guard.BeginStatement(sql.size());
    Statement statement = Prepare(connection_->engine.get(), sql);
    if (!statement) {
      return false;
    }
    // What has no result, BEGIN included, belongs to writing: a transaction must begin on the connection that
    // writes.
    const bool readOnly = sqlite3_stmt_readonly(statement.get()) != 0;
    if (!connection_->writable && (!readOnly || sqlite3_column_count(statement.get()) == 0)) {
      statement.reset();
      if (!connection_->MakeWritable() && !readOnly) {
        return false;
      }
      statement = Prepare(connection_->engine.get(), sql);
    }
    return statement && StepThroughOrUndo(connection_->engine.get(), statement.get(), sql, callback, user);
  });
}

}  // namespace qvsql
