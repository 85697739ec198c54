#include <bit>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "DatabaseFixture.h"

namespace qvsql_test {
namespace {

class GetRecordsTest : public DatabaseTest {
 protected:
  struct Result {
    bool ok = false;
    int rows = -1;
    int columns = -1;
    Cells cells;
  };

  static Result Get(Database& db, const std::string& table, Cells before = {}) {
    Result result;
    result.cells = std::move(before);
    result.ok = db.GetRecords(table, &result.rows, &result.columns, result.cells);
    return result;
  }

  static void ExpectFailedUntouched(Database& db, const std::string& table) {
    const Result result = Get(db, table, {"before"});
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.rows, 0);
    EXPECT_EQ(result.columns, 0);
    EXPECT_THAT(result.cells, ElementsAre("before"));
  }

  // Opens a database that the engine made with the statements.
  Database With(const std::string& statements) const {
    support::Execute(Path(), statements);
    return Opened();
  }
};

TEST_F(GetRecordsTest, GivesCellsRowByRow) {
  MakeSurvey();
  Database db = Opened();
  const Result result = Get(db, "t");
  EXPECT_TRUE(result.ok);
  EXPECT_EQ(result.rows, 2);
  EXPECT_EQ(result.columns, 3);
  EXPECT_THAT(result.cells, ElementsAre("1", "0.5", "one", "2", "1.5", "two"));
}

TEST_F(GetRecordsTest, AppendsToTheCellsThatAreThere) {
  MakeSurvey();
  Database db = Opened();
  const Result result = Get(db, "t", {"a", "b"});
  EXPECT_EQ(result.rows, 2);
  EXPECT_THAT(result.cells, ElementsAre("a", "b", "1", "0.5", "one", "2", "1.5", "two"));
}

TEST_F(GetRecordsTest, OfAnEmptyTableHasNoRowsAndAllColumns) {
  Database db = With("CREATE TABLE t(a, b, c, d)");
  const Result result = Get(db, "t");
  EXPECT_TRUE(result.ok);
  EXPECT_EQ(result.rows, 0);
  EXPECT_EQ(result.columns, 4);
  EXPECT_THAT(result.cells, IsEmpty());
}

TEST_F(GetRecordsTest, OfAMissingTableFails) {
  MakeSurvey();
  Database db = Opened();
  ExpectFailedUntouched(db, "none");
  ExpectFailedUntouched(db, "");
}

TEST_F(GetRecordsTest, OfAClosedDatabaseFails) {
  Database db;
  ExpectFailedUntouched(db, "t");
}

TEST_F(GetRecordsTest, ATableNameIsNoSql) {
  MakeSurvey();
  Database db = Opened();
  ExpectFailedUntouched(db, "SELECT * FROM t");
  ExpectFailedUntouched(db, "t; DROP TABLE t");
  ExpectFailedUntouched(db, "t WHERE 0");
  ExpectFailedUntouched(db, "\"t\"");
  ExpectFailedUntouched(db, std::string("t\0", 2));
  EXPECT_EQ(RawCount(), "2");
}

TEST_F(GetRecordsTest, NullIsEmptyText) {
  Database db = With("CREATE TABLE t(a INTEGER, b TEXT); INSERT INTO t VALUES(NULL, NULL), (1, '')");
  EXPECT_THAT(CellsOf(db, "t"), ElementsAre("", "", "1", ""));
}

TEST_F(GetRecordsTest, IntegersAreDecimal) {
  Database db = With(
      "CREATE TABLE t(a); INSERT INTO t VALUES(0), (-7), (9223372036854775807),"
      " (-9223372036854775807 - 1)");
  EXPECT_THAT(CellsOf(db, "t"), ElementsAre("0", "-7", "9223372036854775807", "-9223372036854775808"));
}

TEST_F(GetRecordsTest, RealsAreShortest) {
  Database db = With(
      "CREATE TABLE t(a REAL); INSERT INTO t VALUES(0.1), (100000.0), (114.30547812345678), (1e15),"
      " (1e300), (-2.5e-7), (9e999), (-9e999)");
  EXPECT_THAT(CellsOf(db, "t"), ElementsAre("0.1", "100000", "114.30547812345678", "1e+15", "1e+300",
                                            "-2.5e-07", "inf", "-inf"));
}

TEST_F(GetRecordsTest, RandomRealsComeBackBitForBit) {
  Database db = Created();
  ASSERT_TRUE(db.CreateTable("t", {Field("a", 2)}));
  std::mt19937_64 random{3};
  std::vector<double> values;
  Cells texts;
  char text[64];
  while (values.size() < 5000) {
    const auto value = std::bit_cast<double>(random());
    if (std::isfinite(value)) {
      values.push_back(value);
      std::snprintf(text, sizeof text, "%.17g", value);
      texts.emplace_back(text);
    }
  }
  ASSERT_TRUE(db.AddRecords("t", texts, 1));
  const Cells cells = CellsOf(db, "t");
  ASSERT_EQ(cells.size(), values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    ASSERT_EQ(std::strtod(cells[i].c_str(), nullptr), values[i]) << texts[i];
  }
}

TEST_F(GetRecordsTest, TextsComeBackByteForByte) {
  Database db = With(
      "CREATE TABLE t(a TEXT); INSERT INTO t VALUES(CAST(x'B1BEB5D8' AS TEXT)),"
      " (CAST(x'610062' AS TEXT)), (' padded '), ('0012'), ('1e5')");
  EXPECT_THAT(CellsOf(db, "t"),
              ElementsAre("\xB1\xBE\xB5\xD8", std::string("a\0b", 3), " padded ", "0012", "1e5"));
}

TEST_F(GetRecordsTest, RowsComeInTheOrderOfAdding) {
  Database db =
      With("CREATE TABLE t(a INTEGER); INSERT INTO t VALUES(5), (3), (9), (1); CREATE INDEX i ON t(a)");
  EXPECT_THAT(CellsOf(db, "t"), ElementsAre("5", "3", "9", "1"));
}

TEST_F(GetRecordsTest, TheRowNumberIsNoColumn) {
  Database db = With("CREATE TABLE t(a INTEGER); INSERT INTO t(rowid, a) VALUES(77, 1)");
  EXPECT_THAT(CellsOf(db, "t"), ElementsAre("1"));
}

TEST_F(GetRecordsTest, RowNumbersDoNotTellHowMuchMemoryToTake) {
  Database db =
      With("CREATE TABLE t(a INTEGER); INSERT INTO t(rowid, a) VALUES(9223372036854775807, 1), (-5, 2)");
  EXPECT_THAT(CellsOf(db, "t"), ElementsAre("2", "1"));
}

TEST_F(GetRecordsTest, TablesWithoutRowNumbersAreRead) {
  Database db =
      With("CREATE TABLE t(rowid TEXT PRIMARY KEY) WITHOUT ROWID; INSERT INTO t VALUES('99999999999')");
  EXPECT_THAT(CellsOf(db, "t"), ElementsAre("99999999999"));
}

TEST_F(GetRecordsTest, AColumnAddedLaterIsRead) {
  Database db =
      With("CREATE TABLE t(a INTEGER); INSERT INTO t VALUES(1); ALTER TABLE t ADD COLUMN b TEXT DEFAULT 'x'");
  const Result result = Get(db, "t");
  EXPECT_EQ(result.columns, 2);
  EXPECT_THAT(result.cells, ElementsAre("1", "x"));
}

TEST_F(GetRecordsTest, CanBeRepeated) {
  MakeSurvey();
  Database db = Opened();
  EXPECT_EQ(CellsOf(db, "t"), CellsOf(db, "t"));
}

TEST_F(GetRecordsTest, ADamagedPageFailsTheWholeRead) {
  support::Execute(Path(),
                   "PRAGMA page_size = 1024; CREATE TABLE t(a TEXT);"
                   "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100)"
                   " INSERT INTO t SELECT hex(zeroblob(300)) FROM n;");
  support::Bytes bytes = support::ReadBytes(Path());
  std::fill(bytes.end() - 3 * 1024, bytes.end(), static_cast<unsigned char>(0xFF));
  support::WriteBytes(Path(), bytes);
  Database db = Opened();
  ExpectFailedUntouched(db, "t");
}

TEST_F(GetRecordsTest, ADatabaseInUtf16IsReadAsUtf8) {
  Database db =
      With("PRAGMA encoding = 'UTF-16le'; CREATE TABLE t(a TEXT); INSERT INTO t VALUES('\xE6\x9C\xAC')");
  EXPECT_THAT(CellsOf(db, "t"), ElementsAre("\xE6\x9C\xAC"));
}

// What a schema computes is not bounded by the size of its file. None of these may take memory or time beyond
// what the file itself would explain.

TEST_F(GetRecordsTest, DoesNotReadViews) {
  Database db = With(
      "CREATE VIEW endless AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c)"
      " SELECT x FROM c WHERE x < 0;"
      "CREATE VIEW small AS SELECT 1;");
  ExpectFailedUntouched(db, "small");
  ExpectFailedUntouched(db, "endless");
  EXPECT_FALSE(Exec(db, "SELECT * FROM endless"));
}

TEST_F(GetRecordsTest, RefusesAValueThatIsLargerThanItsFile) {
  Database db = With(
      "CREATE TABLE t(i INTEGER, large AS (zeroblob(300000000)));"
      "INSERT INTO t VALUES(1);");
  ExpectFailedUntouched(db, "t");
  EXPECT_FALSE(Exec(db, "SELECT hex(large) FROM t"));
}

TEST_F(GetRecordsTest, RefusesRowsThatAreLargerThanTheirFileBecauseTheyLackColumns) {
  std::string statements = "CREATE TABLE t(i);";
  statements +=
      "INSERT INTO t WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT 20000)"
      " SELECT NULL FROM c; BEGIN;";
  for (int i = 0; i < 500; ++i) {
    statements += "ALTER TABLE t ADD COLUMN c" + std::to_string(i) + ";";
  }
  Database db = With(statements + "COMMIT;");
  ExpectFailedUntouched(db, "t");
}

TEST_F(GetRecordsTest, RefusesRowsThatAreLargerThanTheirFileBecauseOfADefault) {
  Database db = With(
      "CREATE TABLE t(i);"
      "INSERT INTO t WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT 20000)"
      " SELECT NULL FROM c;"
      "ALTER TABLE t ADD COLUMN text DEFAULT '" +
      std::string(20000, 'x') + "';");
  ExpectFailedUntouched(db, "t");
}

TEST_F(GetRecordsTest, ReadsDefaultsOfARow) {
  Database db = With(
      "CREATE TABLE t(i INTEGER, text DEFAULT 'some text that is not stored in each row');"
      "INSERT INTO t(i) VALUES(21);");
  EXPECT_THAT(Get(db, "t").cells, ElementsAre("21", "some text that is not stored in each row"));
}

}  // namespace
}  // namespace qvsql_test
