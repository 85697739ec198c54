// One SQL database file: tables of text cells in and out, and single statements.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qvsql/Export.h"

namespace qvsql {

/// Type codes of columns.
inline constexpr int kIntegerColumn = 1;
inline constexpr int kRealColumn = 2;
inline constexpr int kTextColumn = 3;
inline constexpr int kBlobColumn = 4;

/// One column of a table to be created.
struct Field {
  bool flag = false;  ///< true makes the column (part of) the table's primary key
  int type = 0;       ///< one of the type codes above
  std::string name;

  Field() = default;

  /// A plain column.
  Field(std::string columnName, int columnType) : type(columnType), name(std::move(columnName)) {}
};

/// Called for each row of a result: `columnCount` values, NUL-terminated and in UTF-8, a null pointer for
/// NULL, and as many column names; both are valid during the call only. Anything but 0 ends the statement.
using RowCallback = int (*)(void* user, int columnCount, char** values, char** names);

/// A database file, open or closed. One object is used by one thread at a time; it can be moved, not copied.
///
/// Every operation that returns false has failed completely: what it was to write is not in the file, and its
/// outputs are as they were. Nothing throws or prints. A file that another program holds locked is waited for
/// for a second; then it counts as failed.
///
/// Files may come from anyone. Of one that was opened, not created, only plain tables are read or written: no
/// view, no virtual table, no table whose columns are computed. Its triggers do not run, statements that go on
/// far longer than the size of the file explains fail, and so does what would make a value far longer than it, or
/// `GetRecords` where all cells together are many times its size.
///
/// Rows travel as one flat vector of text cells: all cells of row 0 in column order, then row 1, and so on.
/// In a column of a numeric type a cell that is wholly a finite decimal number is stored as that number, any
/// other as text. Reading gives integers in decimal, reals as the shortest text that reads back to the same
/// double, NULL as empty text and texts byte for byte, whatever their encoding.
class QVSQL_API Database {
 public:
  Database();

  /// Closes the file if one is open.
  ~Database();

  Database(Database&&) noexcept;
  Database& operator=(Database&&) noexcept;
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Opens an existing database file, in place of one that is open. False when `path` is no database:
  /// missing, no regular file, empty, or with another kind of content; such a file is not read further than
  /// its header.
  ///
  /// The file is opened for reading and turns writable when something is first written, so a database that is
  /// only read, and its folder, stay as they were. One that was left behind in the middle of a write is read
  /// through a temporary copy.
  ///
  /// Where locks belong to processes and not to handles (POSIX), opening a file gives up the locks that this
  /// process holds on it by other means, as closing any handle of it does there.
  [[nodiscard]] bool Open(std::string path);

  /// Opens a database file that may be damaged, in place of one that is open, for reading what is left of it:
  /// also one that is shorter than it says, which `Open` refuses. What a statement cannot reach ends it with
  /// false after the rows before it. The file is read as it stands, without locks; one that was left behind
  /// in the middle of a write, or that ends in the middle of a page, which is left out, through a temporary
  /// copy. Nothing can be written: what would write is false.
  [[nodiscard]] bool OpenDamaged(std::string path);

  /// Creates a new database file and leaves it open. False, and nothing changed, when something is at `path`
  /// already or the file cannot be made. Stale side files of an older database of that name are removed.
  ///
  /// Writing to a database just created trades safety for speed: nothing is flushed to the disk, and the file
  /// is not whole when the process dies in the middle of a write.
  [[nodiscard]] bool Create(std::string path);

  /// Whether a file, which is known to be a regular one, begins as a database does: for passing over the many
  /// others of a folder at the cost of one look at their first 16 bytes. True says no more than that: `Open`
  /// tells the rest.
  [[nodiscard]] static bool HasHeader(const std::string& path) noexcept;

  /// True while a file is open.
  [[nodiscard]] bool IsOpen() const;

  /// Creates a table with the columns in the given order. False when it exists, when there is no column, or
  /// when a type code is none of the four.
  [[nodiscard]] bool CreateTable(std::string name, std::vector<Field> fields);

  /// Appends `values.size() / columns` rows in one transaction. False, and no row added, when the table does
  /// not exist or has another number of columns, when the last row is incomplete, or when the engine fails.
  /// No rows is a success where the table exists.
  [[nodiscard]] bool AddRecords(std::string table, const std::vector<std::string>& values, int columns);

  /// As above, and the cell at `blobColumn` (from 0) of row i is stored as a blob of `blobSizes[i]` bytes at
  /// `blobs[i]`; the text of that cell is ignored. The bytes are not copied on their way and must stay until
  /// the call returns. False too when the vectors do not have one element a row, a size is negative or a
  /// pointer is null while its size is not 0.
  [[nodiscard]] bool AddRecords(std::string table, const std::vector<std::string>& values, int columns,
                                int blobColumn, std::vector<void*> blobs, std::vector<int> blobSizes);

  /// Reads every row of a table, all columns, in the engine's natural order: sets `*rows` and `*columns` and
  /// appends the cells to `values`. On false `values` is as it was and both counts are 0.
  [[nodiscard]] bool GetRecords(std::string table, int* rows, int* columns, std::vector<std::string>& values);

  /// As above; the cell at `blobColumn` (from 0) is empty text, and its bytes are appended to `blobs`, one
  /// vector a row. On false `blobs` is as it was too.
  [[nodiscard]] bool GetRecords(std::string table, int blobColumn, int* rows, int* columns,
                                std::vector<std::string>& values, std::vector<std::vector<char>>& blobs);

  /// Runs exactly one statement and calls `callback`, which may be null, for each row of its result. False
  /// when the text holds no statement, or anything but blanks after the first one (nothing is run then), when
  /// the statement fails, or when the callback returns something else than 0.
  [[nodiscard]] bool ExecSQL(std::string sql, RowCallback callback, void* user);

 private:
  struct Connection;
  std::unique_ptr<Connection> connection_;  // null while closed
};

}  // namespace qvsql
