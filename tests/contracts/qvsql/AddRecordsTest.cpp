#include <bit>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "DatabaseFixture.h"
#include "support/ContractsLocale.h"

namespace qvsql_test {
namespace {

class AddRecordsTest : public DatabaseTest {
 protected:
  bool Add(const Cells& cells, int columns = 3) { return db_.AddRecords("t", cells, columns); }

  // The stored cell of `column` in the row added last.
  support::RawCell Stored(const std::string& column) const {
    const auto rows = support::Query(Path(), "SELECT " + column + " FROM t ORDER BY rowid DESC LIMIT 1");
    EXPECT_EQ(rows.size(), 1U);
    return rows.empty() ? support::RawCell{} : rows.front().front();
  }

  Database db_ = CreatedWithTable();
};

double ValueOf(const support::RawCell& cell) {
  return std::strtod(cell.text.c_str(), nullptr);
}

std::string Shortest(double value) {
  char buffer[64];
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr};
}

TEST_F(AddRecordsTest, AddsOneRowForEachStride) {
  ASSERT_TRUE(Add({"1", "0.5", "one", "2", "1.5", "two", "3", "2.5", "three"}));
  EXPECT_EQ(RawCount(), "3");
  EXPECT_EQ(support::QueryOne(Path(), "SELECT group_concat(i || s) FROM t"), "1one,2two,3three");
}

TEST_F(AddRecordsTest, AddsToTheRowsThatAreThere) {
  ASSERT_TRUE(Add({"1", "0.5", "one"}));
  ASSERT_TRUE(Add({"2", "1.5", "two"}));
  EXPECT_EQ(support::QueryOne(Path(), "SELECT group_concat(i) FROM t"), "1,2");
}

TEST_F(AddRecordsTest, NumbersAreStoredAsNumbers) {
  ASSERT_TRUE(Add({"-12", "0.25", "text"}));
  EXPECT_EQ(Stored("i"), (support::RawCell{"integer", "-12"}));
  EXPECT_EQ(Stored("r"), (support::RawCell{"real", "0.25"}));
  EXPECT_EQ(Stored("s"), (support::RawCell{"text", "text"}));
}

TEST_F(AddRecordsTest, LargeIntegersAreExact) {
  for (const std::string text :
       {"9223372036854775807", "-9223372036854775808", "2147483648", "9007199254740993"}) {
    ASSERT_TRUE(Add({text, "0", ""}));
    EXPECT_EQ(Stored("i"), (support::RawCell{"integer", text}));
  }
}

TEST_F(AddRecordsTest, AFractionInAnIntegerColumnIsAReal) {
  ASSERT_TRUE(Add({"1.5", "0", ""}));
  EXPECT_EQ(Stored("i"), (support::RawCell{"real", "1.5"}));
}

TEST_F(AddRecordsTest, AWholeNumberInARealColumnIsAReal) {
  ASSERT_TRUE(Add({"0", "100000", ""}));
  EXPECT_EQ(Stored("r"), (support::RawCell{"real", "100000"}));
}

TEST_F(AddRecordsTest, NumbersInATextColumnStayTexts) {
  for (const std::string text : {"12", "007", "1e5", "-0", "0.10", "nan"}) {
    ASSERT_TRUE(Add({"0", "0", text}));
    EXPECT_EQ(Stored("s"), (support::RawCell{"text", text}));
  }
}

TEST_F(AddRecordsTest, RandomRealsAreStoredBitForBit) {
  std::mt19937_64 random{17};
  Cells cells;
  std::vector<double> values;
  while (values.size() < 5000) {
    const auto value = std::bit_cast<double>(random());
    if (std::isfinite(value)) {
      values.push_back(value);
      cells.insert(cells.end(), {"0", Shortest(value), ""});
    }
  }
  ASSERT_TRUE(Add(cells));
  const auto rows = support::Query(Path(), "SELECT r FROM t ORDER BY rowid");
  ASSERT_EQ(rows.size(), values.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    ASSERT_EQ(rows[i][0].type, "real");
    ASSERT_EQ(ValueOf(rows[i][0]), values[i]) << Shortest(values[i]);
  }
}

TEST_F(AddRecordsTest, RandomDegreesAreStoredBitForBit) {
  std::mt19937_64 random{18};
  std::uniform_real_distribution<double> degrees(-180.0, 180.0);
  Cells cells;
  std::vector<double> values;
  for (int i = 0; i < 5000; ++i) {
    values.push_back(degrees(random));
    cells.insert(cells.end(), {"0", Shortest(values.back()), ""});
  }
  ASSERT_TRUE(Add(cells));
  const auto rows = support::Query(Path(), "SELECT r FROM t ORDER BY rowid");
  ASSERT_EQ(rows.size(), values.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    ASSERT_EQ(ValueOf(rows[i][0]), values[i]);
  }
}

TEST_F(AddRecordsTest, TextsWithMoreDigitsThanNeededAreStoredExactly) {
  for (const std::string text :
       {"0.1000000000000000055511151231257827021181583404541015625", "114.305478123456780000000000000000000",
        "2.2250738585072011e-308", "1.00000000000000011102230246251565405", "4.9406564584124654e-324",
        "17976931348623157081452742373170435679807056752584499659891747680315726e238"}) {
    ASSERT_TRUE(Add({"0", text, ""}));
    EXPECT_EQ(Stored("r").type, "real") << text;
    EXPECT_EQ(ValueOf(Stored("r")), std::strtod(text.c_str(), nullptr)) << text;
  }
}

TEST_F(AddRecordsTest, TheSignOfZeroIsLostInARealColumn) {
  ASSERT_TRUE(Add({"0", "-0", ""}));
  EXPECT_EQ(Stored("r"), (support::RawCell{"real", "0"}));
  EXPECT_EQ(CellsOf(db_, "t")[1], "0");
}

TEST_F(AddRecordsTest, InfinitiesComeBack) {
  ASSERT_TRUE(Add({"0", "inf", "", "0", "-inf", ""}));
  EXPECT_EQ(CellsOf(db_, "t")[1], "inf");
  EXPECT_EQ(CellsOf(db_, "t")[4], "-inf");
}

TEST_F(AddRecordsTest, NanIsStoredAsText) {
  ASSERT_TRUE(Add({"0", "nan", ""}));
  EXPECT_EQ(Stored("r"), (support::RawCell{"text", "nan"}));
  EXPECT_EQ(CellsOf(db_, "t")[1], "nan");
}

TEST_F(AddRecordsTest, WhatIsNoNumberIsStoredAsTextInNumericColumns) {
  for (const std::string& text : Cells{"", "abc", "12abc", "0x10", "1,5", "1e", ".", "-", "NULL", "1 2",
                                       std::string("5\0", 2), "\xB1\xBE"}) {
    ASSERT_TRUE(Add({text, text, ""}));
    EXPECT_EQ(Stored("i"), (support::RawCell{"text", text})) << text;
    EXPECT_EQ(Stored("r"), (support::RawCell{"text", text})) << text;
  }
}

TEST_F(AddRecordsTest, TextsAreStoredByteForByte) {
  std::string allBytes;
  for (int i = 0; i < 256; ++i) {
    allBytes += static_cast<char>(i);
  }
  for (const std::string& text : Cells{"\xB1\xBE\xB5\xD8", std::string("a\0b", 3), "it's", "\"quoted\"",
                                       allBytes, std::string("\0", 1), " padded ", "line\r\nline"}) {
    ASSERT_TRUE(Add({"0", "0", text}));
    EXPECT_EQ(Stored("s"), (support::RawCell{"text", text}));
  }
}

TEST_F(AddRecordsTest, EmptyTextIsNeverNull) {
  ASSERT_TRUE(Add({"", "", ""}));
  for (const char* column : {"i", "r", "s"}) {
    EXPECT_EQ(Stored(column), (support::RawCell{"text", ""})) << column;
  }
}

TEST_F(AddRecordsTest, LongTextsAreWhole) {
  const std::string text(3'000'000, 'x');
  ASSERT_TRUE(Add({"0", "0", text}));
  EXPECT_EQ(Stored("s").text, text);
}

TEST_F(AddRecordsTest, TextInABlobColumnIsText) {
  ASSERT_TRUE(db_.CreateTable("b", {Field("data", 4)}));
  ASSERT_TRUE(db_.AddRecords("b", {"12"}, 1));
  EXPECT_EQ(support::Query(Path(), "SELECT data FROM b"), (support::RawRows{{{"text", "12"}}}));
}

TEST_F(AddRecordsTest, NoRowsIsASuccessWhereTheTableExists) {
  EXPECT_TRUE(Add({}));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(AddRecordsTest, NoRowsFailsWhereTheTableIsMissing) {
  EXPECT_FALSE(db_.AddRecords("none", {}, 3));
}

TEST_F(AddRecordsTest, RefusesAMissingTable) {
  EXPECT_FALSE(db_.AddRecords("none", {"1", "2", "3"}, 3));
  EXPECT_THAT(support::Tables(Path()), ElementsAre("t"));
}

TEST_F(AddRecordsTest, RefusesAnIncompleteLastRow) {
  EXPECT_FALSE(Add({"1", "2", "3", "4", "5"}));
  EXPECT_FALSE(Add({"1", "2"}));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(AddRecordsTest, RefusesAnotherNumberOfColumnsThanTheTables) {
  EXPECT_FALSE(Add({"1", "2", "3", "4"}, 2));
  EXPECT_FALSE(Add({"1", "2", "3", "4"}, 4));
  EXPECT_FALSE(Add({"1", "2", "3"}, 1));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(AddRecordsTest, RefusesColumnCountsThatAreNone) {
  EXPECT_FALSE(Add({"1", "2", "3"}, 0));
  EXPECT_FALSE(Add({"1", "2", "3"}, -3));
  EXPECT_FALSE(Add({"1", "2", "3"}, 2147483647));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(AddRecordsTest, AFailureInTheMiddleAddsNothing) {
  support::Execute(Path(), "CREATE UNIQUE INDEX only ON t(i)");
  ASSERT_TRUE(Add({"1", "0", "kept"}));
  EXPECT_FALSE(Add({"2", "0", "a", "3", "0", "b", "1", "0", "clash", "4", "0", "c"}));
  EXPECT_EQ(support::QueryOne(Path(), "SELECT group_concat(s) FROM t"), "kept");
}

TEST_F(AddRecordsTest, WorksOnAfterAFailure) {
  support::Execute(Path(), "CREATE UNIQUE INDEX only ON t(i)");
  EXPECT_FALSE(Add({"2", "0", "a", "2", "0", "b"}));
  EXPECT_FALSE(Add({"1"}));
  EXPECT_TRUE(Add({"2", "0", "c"}));
  EXPECT_EQ(support::QueryOne(Path(), "SELECT group_concat(s) FROM t"), "c");
}

TEST_F(AddRecordsTest, ATransactionThatTheHostBeganEndsWhenTheHostSaysSo) {
  ASSERT_TRUE(Exec(db_, "BEGIN"));
  ASSERT_TRUE(Add({"1", "0", "a"}));
  ASSERT_TRUE(Exec(db_, "ROLLBACK"));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(AddRecordsTest, AFailureInsideAHostsTransactionAddsNothing) {
  support::Execute(Path(), "CREATE UNIQUE INDEX only ON t(i)");
  ASSERT_TRUE(Exec(db_, "BEGIN"));
  ASSERT_TRUE(Add({"1", "0", "kept"}));
  EXPECT_FALSE(Add({"2", "0", "a", "1", "0", "clash"}));
  ASSERT_TRUE(Exec(db_, "COMMIT"));
  EXPECT_EQ(support::QueryOne(Path(), "SELECT group_concat(s) FROM t"), "kept");
}

TEST_F(AddRecordsTest, TableNamesAreNotCaseSensitive) {
  EXPECT_TRUE(db_.AddRecords("T", {"1", "2", "3"}, 3));
  EXPECT_EQ(RawCount(), "1");
}

TEST_F(AddRecordsTest, ATableNameIsNoSql) {
  EXPECT_FALSE(db_.AddRecords("t; DROP TABLE t", {"1", "2", "3"}, 3));
  EXPECT_FALSE(db_.AddRecords("t(i, r, s)", {"1", "2", "3"}, 3));
  EXPECT_FALSE(db_.AddRecords("\"t\"", {"1", "2", "3"}, 3));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(AddRecordsTest, ATableMadeByTheEngineTakesRowsToo) {
  support::Execute(Path(), "CREATE TABLE u(a INT, b DOUBLE, c VARCHAR(10), d NUMERIC)");
  ASSERT_TRUE(db_.AddRecords("u", {"1", "0.1", "2", "3"}, 4));
  EXPECT_EQ(
      support::Query(Path(), "SELECT typeof(a), typeof(b), typeof(c), typeof(d) FROM u"),
      (support::RawRows{{{"text", "integer"}, {"text", "real"}, {"text", "text"}, {"text", "integer"}}}));
}

TEST_F(AddRecordsTest, ManyRowsAreAllThereInOrder) {
  Cells cells;
  for (int i = 0; i < 20000; ++i) {
    cells.insert(cells.end(), {std::to_string(i), "0.5", "row " + std::to_string(i)});
  }
  ASSERT_TRUE(Add(cells));
  EXPECT_EQ(CellsOf(db_, "t"), cells);
}

TEST_F(AddRecordsTest, NoLocaleHasASay) {
  const support::CommaStreams comma;
  const support::GeneratedLocale german("de_DE", "UTF-8");
  const bool added = Add({"1234567", "1234.5", "1234,5"});
  const Cells cells = CellsOf(db_, "t");
  std::setlocale(LC_ALL, "C");
  EXPECT_TRUE(added);
  EXPECT_EQ(Stored("r"), (support::RawCell{"real", "1234.5"}));
  EXPECT_THAT(cells, ElementsAre("1234567", "1234.5", "1234,5"));
}

TEST_F(AddRecordsTest, AFullDatabaseAddsNothing) {
  ASSERT_TRUE(Add({"1", "0", "kept"}));
  Cells cells;
  for (int i = 0; i < 2000; ++i) {
    cells.insert(cells.end(), {"2", "0", std::string(1000, 'x')});
  }
  ASSERT_TRUE(Exec(db_, "PRAGMA max_page_count = 20"));
  EXPECT_FALSE(Add(cells));
  EXPECT_EQ(support::QueryOne(Path(), "SELECT group_concat(s) FROM t"), "kept");
}

}  // namespace
}  // namespace qvsql_test
