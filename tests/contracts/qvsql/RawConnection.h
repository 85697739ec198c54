// Other programs that have the database open, or had it open when they were stopped.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

struct sqlite3;

namespace qvsql_test {

/// A connection of the engine itself, held open.
class RawConnection {
 public:
  explicit RawConnection(const std::string& path);
  ~RawConnection();
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;

  /// Runs any number of statements. A failure fails the test.
  void Execute(const std::string& statements);

 private:
  sqlite3* db_ = nullptr;
};

/// Another process that has run `statements` on the database and keeps it open while the object lives.
class OtherProgram {
 public:
  OtherProgram(const std::string& path, const std::string& statements);
  ~OtherProgram();
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;

 private:
  pid_t child_ = -1;
  int leash_ = -1;  // the child ends when this closes
};

/// Leaves "flight.db" and "flight.db-wal" in `folder`, as a stopped program does: a table t(id, name) with
/// the row (1, 'checkpointed') in the database and the row (2, 'in the log') in the write-ahead log only.
void LeaveWriteAheadLog(const std::filesystem::path& folder);

/// Leaves "flight.db" and "flight.db-journal" in `folder`, as a program does that is stopped in the middle of
/// a transaction: a table t(id, filling) with the ids 1 to 200, of which the file has negative ones by now.
void LeaveHotJournal(const std::filesystem::path& folder);

}  // namespace qvsql_test
