#include "RawConnection.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "support/TestFiles.h"

namespace fs = std::filesystem;

namespace qvsql_test {

RawConnection::RawConnection(const std::string& path) {
  EXPECT_EQ(sqlite3_open(path.c_str(), &db_), SQLITE_OK) << path;
}

RawConnection::~RawConnection() {
  sqlite3_close(db_);
}

void RawConnection::Execute(const std::string& statements) {
  char* message = nullptr;
  EXPECT_EQ(sqlite3_exec(db_, statements.c_str(), nullptr, nullptr, &message), SQLITE_OK)
      << statements << ": " << (message != nullptr ? message : "");
  sqlite3_free(message);
}

OtherProgram::OtherProgram(const std::string& path, const std::string& statements) {
  std::array<int, 2> ready{};
  std::array<int, 2> leash{};
  EXPECT_EQ(pipe(ready.data()), 0);
  EXPECT_EQ(pipe(leash.data()), 0);
  child_ = fork();
  if (child_ == 0) {
    close(leash[1]);
    sqlite3* db = nullptr;
    const bool done = sqlite3_open(path.c_str(), &db) == SQLITE_OK &&
                      sqlite3_exec(db, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    char word = done ? 'y' : 'n';
    [[maybe_unused]] ssize_t ignored = write(ready[1], &word, 1);
    ignored = read(leash[0], &word, 1);
    _exit(0);
  }
  char word = '-';
  EXPECT_EQ(read(ready[0], &word, 1), 1);
  EXPECT_EQ(word, 'y') << "the other program could not do its work";
  close(ready[0]);
  close(ready[1]);
  close(leash[0]);
  leash_ = leash[1];
}

OtherProgram::~OtherProgram() {
  close(leash_);
  if (child_ > 0) {
    waitpid(child_, nullptr, 0);
  }
}

void LeaveWriteAheadLog(const fs::path& folder) {
  const support::TempFolder workshop;
  RawConnection writer(workshop.File("flight.db"));
  writer.Execute(
      "PRAGMA journal_mode = WAL;"
      "CREATE TABLE t(id INTEGER, name TEXT);"
      "INSERT INTO t VALUES(1, 'checkpointed');"
      "PRAGMA wal_checkpoint(TRUNCATE);"
      "PRAGMA wal_autocheckpoint = 0;"
      "INSERT INTO t VALUES(2, 'in the log');");
  ASSERT_GT(fs::file_size(workshop.File("flight.db-wal")), 0U);
  fs::copy_file(workshop.File("flight.db"), folder / "flight.db");
  fs::copy_file(workshop.File("flight.db-wal"), folder / "flight.db-wal");
}

void LeaveHotJournal(const fs::path& folder) {
  const support::TempFolder workshop;
  RawConnection writer(workshop.File("flight.db"));
  writer.Execute(
      "PRAGMA page_size = 1024;"
      "PRAGMA cache_size = 1;"
      "CREATE TABLE t(id INTEGER, filling TEXT);"
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 200)"
      " INSERT INTO t SELECT i, hex(zeroblob(400)) FROM n;");
  const support::Bytes before = support::ReadBytes(workshop.File("flight.db"));
  writer.Execute("BEGIN; UPDATE t SET id = -id;");
  ASSERT_NE(support::ReadBytes(workshop.File("flight.db")), before)
      << "nothing of the transaction was written";
  fs::copy_file(workshop.File("flight.db"), folder / "flight.db");
  fs::copy_file(workshop.File("flight.db-journal"), folder / "flight.db-journal");
  writer.Execute("ROLLBACK");
}

}  // namespace qvsql_test
