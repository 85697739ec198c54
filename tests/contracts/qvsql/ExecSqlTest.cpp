#include <stdexcept>
#include <string>

#include "DatabaseFixture.h"

namespace qvsql_test {
namespace {

using testing::Optional;

class ExecSqlTest : public DatabaseTest {
 protected:
  ExecSqlTest() {
    MakeSurvey();
    EXPECT_TRUE(db_.Open(Path()));
  }

  Database db_;
};

int AlwaysThrow(void*, int, char**, char**) {
  throw std::runtime_error("from a callback");
}

int ThrowNoException(void*, int, char**, char**) {
  throw 7;
}

TEST_F(ExecSqlTest, TheCallbackSeesEveryRowInOrder) {
  const RowCollector result = RowsOf(db_, "SELECT s, i FROM t ORDER BY i DESC");
  EXPECT_THAT(result.rows, ElementsAre(ElementsAre("two", "2"), ElementsAre("one", "1")));
}

TEST_F(ExecSqlTest, TheCallbackSeesTheColumnNames) {
  EXPECT_THAT(RowsOf(db_, "SELECT s, i AS number, 1 + 1 AS sum FROM t").names,
              ElementsAre("s", "number", "sum"));
}

TEST_F(ExecSqlTest, NullIsANullPointer) {
  const RowCollector result = RowsOf(db_, "SELECT NULL, '', 'NULL'");
  EXPECT_THAT(result.rows, ElementsAre(ElementsAre(std::nullopt, Optional(std::string()), "NULL")));
}

TEST_F(ExecSqlTest, WithoutRowsTheCallbackIsNotCalled) {
  EXPECT_THAT(RowsOf(db_, "SELECT * FROM t WHERE 0").rows, IsEmpty());
  EXPECT_THAT(RowsOf(db_, "DELETE FROM t").rows, IsEmpty());
}

TEST_F(ExecSqlTest, TheSchemaCannotBeForged) {
  Exec(db_, "PRAGMA writable_schema = ON");
  EXPECT_FALSE(Exec(db_, "UPDATE sqlite_master SET sql = 'CREATE TABLE t(other)' WHERE name = 't'"));
}

TEST_F(ExecSqlTest, RealsAreExact) {
  support::Execute(Path(), "CREATE TABLE r(v REAL)");
  for (const std::string text :
       {"114.30547812345678", "0.1", "100000", "-2.5e-07", "1.7976931348623157e+308"}) {
    ASSERT_TRUE(db_.AddRecords("r", {text}, 1));
    EXPECT_THAT(RowsOf(db_, "SELECT v FROM r ORDER BY rowid DESC LIMIT 1").rows,
                ElementsAre(ElementsAre(text)));
  }
}

TEST_F(ExecSqlTest, ComputedRealsAreExact) {
  EXPECT_THAT(RowsOf(db_, "SELECT 0.1 + 0.2, 1.0, 1.0 / 3").rows,
              ElementsAre(ElementsAre("0.30000000000000004", "1", "0.3333333333333333")));
}

TEST_F(ExecSqlTest, IntegersAreDecimal) {
  EXPECT_THAT(RowsOf(db_, "SELECT 9223372036854775807, -1").rows,
              ElementsAre(ElementsAre("9223372036854775807", "-1")));
}

TEST_F(ExecSqlTest, TextIsGivenByteForByte) {
  EXPECT_THAT(RowsOf(db_, "SELECT CAST(x'B1BEB5D8' AS TEXT), '\xE6\x9C\xAC'").rows,
              ElementsAre(ElementsAre("\xB1\xBE\xB5\xD8", "\xE6\x9C\xAC")));
}

TEST_F(ExecSqlTest, TextOfADatabaseInUtf16IsUtf8) {
  support::Execute(
      Path("wide.db"),
      "PRAGMA encoding = 'UTF-16'; CREATE TABLE t(a TEXT); INSERT INTO t VALUES('\xE6\x9C\xAC')");
  Database db = Opened("wide.db");
  EXPECT_THAT(RowsOf(db, "SELECT a FROM t").rows, ElementsAre(ElementsAre("\xE6\x9C\xAC")));
}

TEST_F(ExecSqlTest, ManyColumnsAreGiven) {
  std::string sql = "SELECT 0";
  for (int i = 1; i < 300; ++i) {
    sql += ", " + std::to_string(i);
  }
  const RowCollector result = RowsOf(db_, sql);
  ASSERT_EQ(result.rows.size(), 1U);
  ASSERT_EQ(result.rows[0].size(), 300U);
  EXPECT_EQ(result.rows[0][299], "299");
}

TEST_F(ExecSqlTest, ACallbackIsNotNeeded) {
  EXPECT_TRUE(db_.ExecSQL("SELECT * FROM t", nullptr, nullptr));
  EXPECT_TRUE(db_.ExecSQL("DELETE FROM t", nullptr, nullptr));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(ExecSqlTest, ANonZeroAnswerEndsTheStatement) {
  RowCollector collector;
  collector.stop_after = 1;
  EXPECT_FALSE(db_.ExecSQL("SELECT * FROM t", &RowCollector::Take, &collector));
  EXPECT_EQ(collector.rows.size(), 1U);
}

TEST_F(ExecSqlTest, ANonZeroAnswerToTheLastRowFailsToo) {
  RowCollector collector;
  collector.stop_after = 2;
  EXPECT_FALSE(db_.ExecSQL("SELECT * FROM t", &RowCollector::Take, &collector));
  EXPECT_EQ(collector.rows.size(), 2U);
}

TEST_F(ExecSqlTest, ANegativeAnswerEndsTheStatement) {
  const auto refuse = [](void*, int, char**, char**) { return -1; };
  EXPECT_FALSE(db_.ExecSQL("SELECT * FROM t", refuse, nullptr));
}

TEST_F(ExecSqlTest, AnExceptionOfTheCallbackEndsAsFalse) {
  EXPECT_FALSE(db_.ExecSQL("SELECT * FROM t", AlwaysThrow, nullptr));
  EXPECT_FALSE(db_.ExecSQL("SELECT * FROM t", ThrowNoException, nullptr));
  EXPECT_EQ(RowsOf(db_, "SELECT * FROM t").rows.size(), 2U) << "the database works on";
}

TEST_F(ExecSqlTest, AWriteWhoseCallbackRefusesIsUndone) {
  RowCollector collector;
  collector.stop_after = 1;
  EXPECT_FALSE(db_.ExecSQL("INSERT INTO t VALUES(3, 0, 'a'), (4, 0, 'b') RETURNING i", &RowCollector::Take,
                           &collector));
  EXPECT_FALSE(db_.ExecSQL("DELETE FROM t RETURNING i", AlwaysThrow, nullptr));
  EXPECT_EQ(RawCount(), "2");
}

TEST_F(ExecSqlTest, ARefusingCallbackLeavesTheDatabaseUsable) {
  EXPECT_FALSE(db_.ExecSQL("INSERT INTO t VALUES(3, 0, 'a') RETURNING i", AlwaysThrow, nullptr));
  EXPECT_TRUE(db_.AddRecords("t", {"4", "0", "b"}, 3));
  EXPECT_EQ(RawCount(), "3");
}

TEST_F(ExecSqlTest, AWriteThatReturnsRowsIsRunOnce) {
  const RowCollector result = RowsOf(db_, "INSERT INTO t VALUES(3, 0, 'a') RETURNING i");
  EXPECT_THAT(result.rows, ElementsAre(ElementsAre("3")));
  EXPECT_EQ(RawCount(), "3");
}

TEST_F(ExecSqlTest, EachStatementIsRunOnce) {
  for (int i = 0; i < 5; ++i) {
    ASSERT_TRUE(Exec(db_, "INSERT INTO t SELECT 100, 0, 'x'"));
  }
  EXPECT_EQ(support::QueryOne(Path(), "SELECT count(*) FROM t WHERE i = 100"), "5");
}

TEST_F(ExecSqlTest, TextBehindTheStatementMakesItFail) {
  for (const char* sql : {"SELECT 1; DELETE FROM t", "DELETE FROM t; SELECT 1", "DELETE FROM t; nonsense",
                          "DELETE FROM t; -- comment", "DELETE FROM t;;", "DELETE FROM t; /* comment */"}) {
    EXPECT_FALSE(Exec(db_, sql)) << sql;
    EXPECT_EQ(RawCount(), "2") << sql;
  }
}

TEST_F(ExecSqlTest, TextBehindANulMakesItFail) {
  EXPECT_FALSE(Exec(db_, std::string("DELETE FROM t\0; SELECT 1", 24)));
  EXPECT_FALSE(Exec(db_, std::string("DELETE FROM t;\0nonsense", 23)));
  EXPECT_EQ(RawCount(), "2");
}

TEST_F(ExecSqlTest, BlanksAroundTheStatementAreNothing) {
  EXPECT_TRUE(Exec(db_, "SELECT 1;"));
  EXPECT_TRUE(Exec(db_, "SELECT 1 ; \t\r\n\f "));
  EXPECT_TRUE(Exec(db_, " \n SELECT 1"));
}

TEST_F(ExecSqlTest, TextWithoutAStatementFails) {
  for (const char* sql : {"", " ", ";", " ; ", "-- comment", "/* comment */", "\n"}) {
    EXPECT_FALSE(Exec(db_, sql)) << "'" << sql << "'";
  }
}

TEST_F(ExecSqlTest, NonsenseFails) {
  for (const char* sql : {"nonsense", "SELECT", "SELECT * FROM none", "SELECT none FROM t", "SELECT 'open",
                          "INSERT INTO t VALUES(1)"}) {
    EXPECT_FALSE(Exec(db_, sql)) << sql;
  }
  EXPECT_EQ(RawCount(), "2");
}

TEST_F(ExecSqlTest, AFailureBetweenRowsIsAFailure) {
  RowCollector collector;
  EXPECT_FALSE(db_.ExecSQL("SELECT abs(-9223372036854775807 - (i - 1)) FROM t ORDER BY i",
                           &RowCollector::Take, &collector));
}

TEST_F(ExecSqlTest, ASemicolonInsideATextIsNoEnd) {
  EXPECT_THAT(RowsOf(db_, "SELECT 'a;b', \"i\" FROM t WHERE i = 1;").rows,
              ElementsAre(ElementsAre("a;b", "1")));
}

}  // namespace
}  // namespace qvsql_test
