// Database files made and looked at with the engine itself, past the code under test.
#pragma once

#include <string>
#include <vector>

namespace support {

/// One cell as the engine stores it: `type` is "integer", "real", "text", "blob" or "null"; `text` is the
/// value, reals with 17 significant digits, blobs as their bytes, null as nothing.
struct RawCell {
  std::string type;
  std::string text;

  friend bool operator==(const RawCell&, const RawCell&) = default;
};

using RawRows = std::vector<std::vector<RawCell>>;

/// Runs any number of statements on the database file at `path`, which is made when it is missing. A failure
/// fails the test.
void Execute(const std::string& path, const std::string& statements);

/// Runs statements in a transaction and copies the database to `copy` with its journal before that ends: what
/// a program that is killed in the middle leaves. The database itself stays as it was.
void ExecuteAndStopInTheMiddle(const std::string& path, const std::string& statements,
                               const std::string& copy);

/// The same in write-ahead mode: what the statements change is in the log of the copy only.
void ExecuteAheadAndStop(const std::string& path, const std::string& statements, const std::string& copy);

/// The rows of one query. A failure fails the test.
[[nodiscard]] RawRows Query(const std::string& path, const std::string& query);

/// The text of the one cell of a query that gives one.
[[nodiscard]] std::string QueryOne(const std::string& path, const std::string& query);

/// Name and declared type of each column of a table, as "name TYPE".
[[nodiscard]] std::vector<std::string> Columns(const std::string& path, const std::string& table);

/// The tables of a database, sorted.
[[nodiscard]] std::vector<std::string> Tables(const std::string& path);

}  // namespace support
