#include <gmock/gmock.h>

#include <ostream>

#include "TableTest.h"
#include "support/ProjectBytes.h"

namespace {

using qvprj::QvProject;
using support::ByteString;
using support::kMatchTable;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Matches = QvProject::Matches;

class MatchTableTest : public TableTest {
 protected:
  static constexpr Operation kCreate = &QvProject::CreateMatchTable;
  static constexpr Operation kWrite = &QvProject::WriteMatches;
  static constexpr Operation kRead = &QvProject::ReadMatches;

  MatchTableTest() {
    for (const int id : {2, 5, 7}) {
      project_.GetImageInfoSet().AddImage(id, "", "", {}, 0, 0, true);
    }
  }

  static std::string MatchRow(int left, int right, const std::string& count, const ByteString& bytes) {
    return "INSERT INTO data_match VALUES(" + std::to_string(left) + ", " + std::to_string(right) + ", " +
           count + ", " + bytes.Literal() + ");";
  }

  /// Reads a table of one row for the pair (2, 5).
  bool ReadRow(const std::string& count, const ByteString& bytes) {
    Execute(kMatchTable + MatchRow(2, 5, count, bytes));
    return InDatabase(kRead);
  }

  Matches& Pairs() { return project_.GetMatches(); }
};

TEST_F(MatchTableTest, HasItsFourColumns) {
  ASSERT_TRUE(InNewDatabase({kCreate}));
  EXPECT_THAT(support::Columns(Path(), "data_match"),
              ElementsAre("left_image_id INTEGER", "right_image_id INTEGER", "match_count INTEGER",
                          "match_data BLOB"));
}

TEST_F(MatchTableTest, CannotBeCreatedTwice) {
  EXPECT_FALSE(InNewDatabase({kCreate, kCreate}));
}

TEST_F(MatchTableTest, WritesTheIndicesAsLittleEndianIntegers) {
  Pairs()[{2, 5}] = {{1, -2}, {70000, 3}};
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  const Row expected = {{"integer", "2"},
                        {"integer", "5"},
                        {"integer", "2"},
                        {"blob", ByteString().I32(1, -2, 70000, 3).Text()}};
  EXPECT_THAT(Query("SELECT * FROM data_match"), ElementsAre(expected));
}

TEST_F(MatchTableTest, WritesSmallIndicesIn32BitsToo) {
  Pairs()[{2, 5}] = {{1, 2}};
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  EXPECT_EQ(QueryOne("SELECT length(match_data) FROM data_match"), "8");
}

TEST_F(MatchTableTest, WritesPairsByFirstThenSecondImage) {
  for (const auto& [left, right] : {std::pair(5, 2), std::pair(2, 7), std::pair(-1, 9), std::pair(2, 5)}) {
    Pairs()[{left, right}] = {};
  }
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  std::vector<std::string> rows;
  for (const auto& row : Query("SELECT left_image_id, right_image_id FROM data_match ORDER BY rowid")) {
    rows.push_back(row[0].text + "-" + row[1].text);
  }
  EXPECT_THAT(rows, ElementsAre("-1-9", "2-5", "2-7", "5-2"));
}

TEST_F(MatchTableTest, WritesAPairWithoutMatchesAsAnEmptyBlob) {
  Pairs()[{2, 5}] = {};
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  const Row expected = {{"integer", "2"}, {"integer", "5"}, {"integer", "0"}, {"blob", ""}};
  EXPECT_THAT(Query("SELECT * FROM data_match"), ElementsAre(expected));
}

TEST_F(MatchTableTest, NoMatchesAreWrittenAsNoRows) {
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  EXPECT_EQ(QueryOne("SELECT count(*) FROM data_match"), "0");
}

TEST_F(MatchTableTest, WritingWithoutTheTableFails) {
  EXPECT_FALSE(InNewDatabase({kWrite}));
}

TEST_F(MatchTableTest, PairsIn32BitsAreRead) {
  ASSERT_TRUE(ReadRow("3", ByteString().I32(1, 2, -3, 70000, 5, 6)));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {{1, 2}, {-3, 70000}, {5, 6}}}}));
}

TEST_F(MatchTableTest, PairsIn16BitsAreRead) {
  ASSERT_TRUE(ReadRow("3", ByteString().U16(1, 2, 3, 4, 5, 6)));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {{1, 2}, {3, 4}, {5, 6}}}}));
}

TEST_F(MatchTableTest, IndicesIn16BitsHaveNoSign) {
  ASSERT_TRUE(ReadRow("2", ByteString().U16(65535, 32768, 0, 65534)));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {{65535, 32768}, {0, 65534}}}}));
}

TEST_F(MatchTableTest, ABlobOfAnotherLengthLeavesThePairWithoutMatches) {
  ASSERT_TRUE(ReadRow("3", ByteString().I32(1, 2, 3, 4, 5)));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {}}}));
}

/// Counts that do not go with a blob of eight bytes; among them those whose 8n or 4n is 8 in 32 bits.
class MatchCountTest : public MatchTableTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(MatchCountTest, LeavesThePairWithoutMatchesAndReadingGoesOn) {
  const ByteString eightBytes = ByteString().I32(1, 2);
  Execute(kMatchTable + MatchRow(2, 5, GetParam(), eightBytes) + MatchRow(2, 7, "1", eightBytes));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {}}, {{2, 7}, {{1, 2}}}}));
}

INSTANTIATE_TEST_SUITE_P(Counts, MatchCountTest,
                         ::testing::Values("0", "3", "-1", "-2", "-2147483648", "2147483647", "536870913",
                                           "1073741826", "'junk'", "NULL"));

TEST_F(MatchTableTest, AnEmptyBlobCountedAsZeroIsAPairWithoutMatches) {
  ASSERT_TRUE(ReadRow("0", ByteString()));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {}}}));
}

TEST_F(MatchTableTest, AnEmptyBlobWithACountThatWrapsToZeroIsAPairWithoutMatches) {
  ASSERT_TRUE(ReadRow("536870912", ByteString()));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {}}}));
}

TEST_F(MatchTableTest, RowsOfUnknownImagesAreNotRead) {
  const ByteString bytes = ByteString().I32(1, 2);
  Execute(kMatchTable + MatchRow(2, 6, "1", bytes) + MatchRow(6, 2, "1", bytes) + MatchRow(7, 2, "1", bytes));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Pairs(), (Matches{{{7, 2}, {{1, 2}}}}));
}

TEST_F(MatchTableTest, AnImagesPositionIsNotItsId) {
  Execute(kMatchTable + MatchRow(0, 1, "1", ByteString().I32(1, 2)));
  EXPECT_TRUE(InDatabase(kRead));
  EXPECT_THAT(Pairs(), IsEmpty());
}

TEST_F(MatchTableTest, APairAndItsReverseAreTwoPairs) {
  Execute(kMatchTable + MatchRow(5, 2, "1", ByteString().I32(1, 2)) +
          MatchRow(2, 5, "1", ByteString().I32(3, 4)));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {{3, 4}}}, {{5, 2}, {{1, 2}}}}));
}

TEST_F(MatchTableTest, ALaterRowOfAPairReplacesTheEarlierOne) {
  Execute(kMatchTable + MatchRow(2, 5, "2", ByteString().I32(1, 2, 3, 4)) +
          MatchRow(2, 5, "1", ByteString().U16(5, 6)));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {{5, 6}}}}));
}

TEST_F(MatchTableTest, ALaterRowOfAnotherLengthLeavesThePairWithoutMatches) {
  Execute(kMatchTable + MatchRow(2, 5, "1", ByteString().I32(1, 2)) +
          MatchRow(2, 5, "3", ByteString().I32(5)));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {}}}));
}

TEST_F(MatchTableTest, ReadingReplacesAllMatches) {
  Pairs()[{5, 7}] = {{9, 9}};
  ASSERT_TRUE(ReadRow("1", ByteString().I32(1, 2)));
  EXPECT_EQ(Pairs(), (Matches{{{2, 5}, {{1, 2}}}}));
}

/// Databases that give no matches at all, so that those of the track file are read.
class NoMatchesTest : public MatchTableTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(NoMatchesTest, ReadingIsFalseAndLeavesNoMatches) {
  Pairs()[{2, 5}] = {{1, 2}};
  Execute("CREATE TABLE other(x INTEGER);" + GetParam());
  EXPECT_FALSE(InDatabase(kRead));
  EXPECT_THAT(Pairs(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Databases, NoMatchesTest,
    ::testing::Values("", kMatchTable,
                      "CREATE TABLE data_match(left_image_id INTEGER, right_image_id INTEGER,"
                      " match_count INTEGER); INSERT INTO data_match VALUES(2, 5, 0);",
                      "CREATE TABLE data_match(left_image_id INTEGER, right_image_id INTEGER,"
                      " match_count INTEGER, match_data BLOB, more TEXT);"
                      "INSERT INTO data_match VALUES(2, 5, 0, X'', '');"));

TEST_F(MatchTableTest, AClosedDatabaseIsFalseAndLeavesNoMatches) {
  Pairs()[{2, 5}] = {{1, 2}};
  EXPECT_FALSE(WithClosedDatabase(kRead));
  EXPECT_THAT(Pairs(), IsEmpty());
}

/// Where the rows of a large write are cut into batches shows when one row fails: its batch is gone and those
/// before it stay. Pairs are (0, 1), (0, 2), and so on, so the second image counts the rows from one.
struct BatchCase {
  int rows;
  int failing_row;
  std::string rows_left;

  friend void PrintTo(const BatchCase& test, std::ostream* out) {
    *out << test.rows << " rows, failing at " << test.failing_row;
  }
};

class MatchBatchTest : public MatchTableTest, public ::testing::WithParamInterface<BatchCase> {};

TEST_P(MatchBatchTest, RowsOfEarlierBatchesStayWhenOneFails) {
  for (int row = 1; row <= GetParam().rows; ++row) {
    Pairs().emplace_hint(Pairs().end(), qvfd::Point2_T<int>{0, row}, Matches::mapped_type());
  }
  Execute("CREATE TABLE data_match(left_image_id INTEGER, right_image_id INTEGER CHECK(right_image_id <> " +
          std::to_string(GetParam().failing_row) + "), match_count INTEGER, match_data BLOB);");
  EXPECT_EQ(InDatabase(kWrite), GetParam().failing_row == 0);
  EXPECT_EQ(QueryOne("SELECT count(*) FROM data_match"), GetParam().rows_left);
}

INSTANTIATE_TEST_SUITE_P(Rows, MatchBatchTest,
                         ::testing::Values(BatchCase{100'000, 0, "100000"},        //
                                           BatchCase{100'000, 100'000, "0"},       //
                                           BatchCase{100'001, 100'001, "100000"},  //
                                           BatchCase{250'000, 0, "250000"},        //
                                           BatchCase{250'000, 100'000, "0"},       //
                                           BatchCase{250'000, 100'001, "100000"},  //
                                           BatchCase{250'000, 200'000, "100000"},  //
                                           BatchCase{250'000, 200'001, "200000"},  //
                                           BatchCase{250'000, 250'000, "200000"}));

TEST_F(MatchTableTest, EachPairOfALargeWriteHasItsOwnMatches) {
  for (int row = 1; row <= 250'000; ++row) {
    Pairs()[{0, row}] = {{row, -row}};
  }
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  for (const int row : {1, 100'000, 100'001, 200'000, 200'001, 250'000}) {
    EXPECT_EQ(QueryOne("SELECT match_data FROM data_match WHERE right_image_id = " + std::to_string(row)),
              ByteString().I32(row, -row).Text());
  }
}

}  // namespace
