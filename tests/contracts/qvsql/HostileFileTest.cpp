// Files made to harm who opens them: what their schemas say is not done, and everything ends soon.

#include <sqlite3.h>

#include <chrono>
#include <filesystem>

#include "DatabaseFixture.h"
#include "support/ContractsProcess.h"

namespace {

using qvsql::Database;
using qvsql_test::DatabaseTest;

class HostileFileTest : public DatabaseTest {
 protected:
  /// What `work` answers in a process with little memory, which has to end soon: none when it did not.
  static std::optional<bool> InLittleMemory(const std::function<bool()>& work) {
    return support::InChild([&work] {
#if !defined(__SANITIZE_ADDRESS__)
      constexpr rlim_t kMemory = rlim_t{512} << 20U;
      const rlimit limit{kMemory, kMemory};
      setrlimit(RLIMIT_AS, &limit);
#endif
      return work();
    });
  }

  /// Whether table "t" of the file can be read.
  std::optional<bool> Reads() {
    return InLittleMemory([&] {
      Database db;
      return db.Open(Path()) && CanRead(db, "t");
    });
  }

  /// Whether a row with one cell can be added to table "t" of the file.
  std::optional<bool> Adds() {
    return InLittleMemory([&] {
      Database db;
      return db.Open(Path()) && db.AddRecords("t", {"7"}, 1);
    });
  }

  std::optional<bool> Runs(const std::string& statement) {
    return InLittleMemory([&] {
      Database db;
      return db.Open(Path()) && Exec(db, statement);
    });
  }
};

constexpr char kEndless[] = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n";

TEST_F(HostileFileTest, AViewIsNoTable) {
  support::Execute(Path(), "CREATE TABLE u(a); INSERT INTO u VALUES(1); CREATE VIEW t AS SELECT a FROM u");
  EXPECT_EQ(Reads(), false);
  EXPECT_EQ(Adds(), false);
  EXPECT_EQ(Runs("SELECT * FROM t"), false);
}

TEST_F(HostileFileTest, AnEndlessViewIsNotBegun) {
  support::Execute(Path(), std::string("CREATE TABLE u(a); CREATE VIEW t(a) AS ") + kEndless);
  EXPECT_EQ(Reads(), false);
  EXPECT_EQ(Runs("SELECT count(*) FROM t"), false);
}

TEST_F(HostileFileTest, AVirtualTableIsNoTable) {
  support::Execute(Path(), "CREATE VIRTUAL TABLE t USING rtree(id, x0, x1); INSERT INTO t VALUES(1, 2, 3)");
  EXPECT_EQ(Reads(), false);
  EXPECT_EQ(Adds(), false);
}

/// Ways to write a virtual table's name into the schema, behind the engine's back.
class DisguisedTableTest : public HostileFileTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(DisguisedTableTest, IsFoundOut) {
  support::Execute(Path(), "CREATE VIRTUAL TABLE v USING rtree(id, x0, x1); INSERT INTO v VALUES(1, 2, 3)");
  support::Execute(Path(), std::string("PRAGMA writable_schema = ON;"
                                       "UPDATE sqlite_master SET name = 'x', tbl_name = 'x', sql = '") +
                               GetParam() + "' WHERE name = 'v'");
  EXPECT_EQ(Reads(), false);
  EXPECT_EQ(Adds(), false);
}

INSTANTIATE_TEST_SUITE_P(Names, DisguisedTableTest,
                         ::testing::Values("create virtual/* a */table t using rtree(id, x0, x1)",
                                           "CREATE VIRTUAL TABLE \"t\" USING rtree(id, x0, x1)",
                                           "CREATE VIRTUAL TABLE [t] USING rtree(id, x0, x1)",
                                           "CREATE VIRTUAL TABLE IF NOT EXISTS `t` USING rtree(id, x0, x1)",
                                           "CREATE VIRTUAL --\n TABLE main . T USING rtree(id, x0, x1)"));

TEST_F(HostileFileTest, AVirtualTableBesideIsNoHindrance) {
  support::Execute(
      Path(), "CREATE TABLE t(a); INSERT INTO t VALUES(1); CREATE VIRTUAL TABLE v USING rtree(id, x0, x1)");
  EXPECT_EQ(Reads(), true);
  EXPECT_EQ(Adds(), true);
}

TEST_F(HostileFileTest, ComputedColumnsAreNotComputed) {
  support::Execute(Path(), "CREATE TABLE t(a, b AS (hex(zeroblob(400000000)))); INSERT INTO t(a) VALUES(1)");
  EXPECT_EQ(Reads(), false);
  EXPECT_EQ(Adds(), false);
  EXPECT_EQ(Runs("SELECT length(b) FROM t"), false);
}

TEST_F(HostileFileTest, StoredColumnsAreReadAsTheyStand) {
  support::Execute(Path(), "CREATE TABLE t(a, b AS (a + 1) STORED); INSERT INTO t(a) VALUES(1)");
  EXPECT_EQ(Reads(), true);
  EXPECT_EQ(Adds(), false);
}

TEST_F(HostileFileTest, TriggersDoNotRun) {
  support::Execute(Path(),
                   "CREATE TABLE t(a); CREATE TABLE u(a); INSERT INTO u VALUES(1);"
                   "CREATE TRIGGER x AFTER INSERT ON t BEGIN DELETE FROM u; END");
  EXPECT_EQ(Adds(), true);
  EXPECT_EQ(support::QueryOne(Path(), "SELECT count(*) FROM u"), "1");
}

TEST_F(HostileFileTest, ATriggerThatNeverEndsDoesNotBegin) {
  support::Execute(Path(), std::string("CREATE TABLE t(a); CREATE TABLE u(a);"
                                       "CREATE TRIGGER x AFTER INSERT ON t BEGIN INSERT INTO u ") +
                               kEndless + "; END");
  EXPECT_EQ(Adds(), true);
  EXPECT_EQ(support::QueryOne(Path(), "SELECT count(*) FROM t"), "1");
}

TEST_F(HostileFileTest, AnEndlessStatementEnds) {
  MakeSurvey();
  EXPECT_EQ(Runs(kEndless), false);
  EXPECT_EQ(Runs(std::string("SELECT count(*) FROM (") + kEndless + ")"), false);
}

TEST_F(HostileFileTest, AStatementThatMakesGigabytesFails) {
  MakeSurvey();
  EXPECT_EQ(Runs("SELECT hex(zeroblob(400000000))"), false);
  EXPECT_EQ(Runs("SELECT group_concat(hex(zeroblob(400000))) FROM (SELECT 1 FROM t, t, t, t, t, t, t, t, t)"),
            false);
}

TEST_F(HostileFileTest, ALongCellIsReadWhereTheFileIsAsLong) {
  support::Execute(Path(), "CREATE TABLE t(a); INSERT INTO t VALUES(hex(zeroblob(5000000)))");
  EXPECT_EQ(Reads(), true);
}

TEST_F(HostileFileTest, ALongCellIsWrittenToAShortFile) {
  MakeSurvey();
  Database db = Opened();
  const std::string cell(20'000'000, 'x');
  EXPECT_TRUE(db.AddRecords("t", {"3", "2.5", cell}, 3));
  EXPECT_EQ(support::QueryOne(Path(), "SELECT max(length(s)) FROM t"), "20000000");
}

TEST_F(HostileFileTest, ALargeTableIsReadToItsEnd) {
  support::Execute(
      Path(),
      "CREATE TABLE t(a); WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < "
      "1000000) INSERT INTO t SELECT NULL FROM n");
  EXPECT_EQ(Reads(), true);
  EXPECT_EQ(Runs("SELECT count(*) FROM t AS a JOIN t AS b ON a.rowid = b.rowid"), true);
}

TEST_F(HostileFileTest, NothingIsLoadedAndNoOtherFileIsTouched) {
  MakeSurvey();
  const std::string other = folder_.File("other.db");
  EXPECT_EQ(Runs("SELECT load_extension('x')"), false);
  EXPECT_EQ(Runs("SELECT writefile('" + other + "', 'x')"), false);
  EXPECT_EQ(Runs("SELECT fts3_tokenizer('simple', x'0000000000000000')"), false);
  EXPECT_EQ(Runs("UPDATE sqlite_master SET sql = 'x'"), false);
  EXPECT_FALSE(std::filesystem::exists(other));
}

TEST_F(HostileFileTest, ASchemaThatLiesAboutNamesIsNotBelieved) {
  support::Execute(
      Path(),
      "CREATE TABLE u(a); INSERT INTO u VALUES(1); CREATE VIEW v AS SELECT a FROM u;"
      "PRAGMA writable_schema = ON;"
      "UPDATE sqlite_master SET type = 'table', name = 'x', tbl_name = 'x', sql = 'CREATE VIEW t AS "
      "SELECT a FROM u' WHERE name = 'v'");
  EXPECT_EQ(Reads(), false);
}

}  // namespace
