#include <gmock/gmock.h>

#include <cstring>
#include <ostream>

#include "TableTest.h"
#include "qvfd/CoordinateInfo.h"

namespace {

using qvprj::PrjInfo;
using qvprj::QvProject;
using support::kProjectTable;
using support::RawCell;
using support::SetText;
using support::TextOf;
using ::testing::ElementsAre;

const std::string kLocalSystem = "\xB1\xBE\xB5\xD8\xD7\xF8\xB1\xEA\xCF\xB5";

class ProjectTableTest : public TableTest {
 protected:
  bool Write() { return InNewDatabase({&QvProject::CreatePrjTable, &QvProject::WritePrjRecords}); }

  bool Read() {
    qvsql::Database database;
    EXPECT_TRUE(database.Open(Path()));
    return project_.ReadPrjRecords(database, "the/path.db");
  }

  PrjInfo& Info() { return project_.GetPrjInfo(); }

  /// A table of one row that holds `text` in one column and NULL in the others.
  void MakeRow(const std::string& column, const std::string& text) {
    Execute(kProjectTable + "INSERT INTO data_project(" + column + ") VALUES('" + text + "');");
  }

  void ExpectUntouched(bool result, const QvProject& before) {
    EXPECT_FALSE(result);
    QvProject expected = before;
    EXPECT_EQ(support::FirstDifference(project_, expected), "");
  }
};

TEST_F(ProjectTableTest, HasItsSixteenColumns) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreatePrjTable}));
  EXPECT_THAT(
      support::Columns(Path(), "data_project"),
      ElementsAre("id TEXT", "project_name TEXT", "operator TEXT", "date TEXT", "coordinate_id INTEGER",
                  "coordinate_type INTEGER", "coordinate_name TEXT", "coordinate_description TEXT",
                  "description TEXT", "height REAL", "thumbnail TEXT", "created_at TEXT", "updated_at TEXT",
                  "version INTEGER", "uavtype INTEGER", "nadir INTEGER"));
}

TEST_F(ProjectTableTest, HasPlainColumnsOnly) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreatePrjTable}));
  EXPECT_TRUE(
      Query("SELECT 1 FROM pragma_table_info('data_project') WHERE pk <> 0 OR \"notnull\" <> 0").empty());
}

TEST_F(ProjectTableTest, StartsEmptyAndIsTheOnlyTable) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreatePrjTable}));
  EXPECT_THAT(support::Tables(Path()), ElementsAre("data_project"));
  EXPECT_EQ(QueryOne("SELECT count(*) FROM data_project"), "0");
}

TEST_F(ProjectTableTest, CannotBeCreatedTwice) {
  EXPECT_FALSE(InNewDatabase({&QvProject::CreatePrjTable, &QvProject::CreatePrjTable}));
}

TEST_F(ProjectTableTest, WritesEveryCellInItsStorageClass) {
  SetText(Info().id, "0123456789abcdef0123456789abcdef");
  SetText(Info().project_name, "North field");
  SetText(Info().operator_name, "Ann");
  SetText(Info().date, "2024-05-06");
  SetText(Info().description, "first flight");
  Info().coordinate_id = -1;
  Info().height = 120.5;
  Info().uavtype = 3;
  Info().nadir = 0;
  ASSERT_TRUE(Write());
  const Row expected = {{"text", "0123456789abcdef0123456789abcdef"},
                        {"text", "North field"},
                        {"text", "Ann"},
                        {"text", "2024-05-06"},
                        {"integer", "-1"},
                        {"integer", "4"},
                        {"text", kLocalSystem},
                        {"text", ""},
                        {"text", "first flight"},
                        {"real", "120.5"},
                        {"text", ""},
                        {"text", ""},
                        {"text", ""},
                        {"text", ""},
                        {"integer", "3"},
                        {"integer", "0"}};
  EXPECT_THAT(Query("SELECT * FROM data_project"), ElementsAre(expected));
}

TEST_F(ProjectTableTest, WritesAWholeHeightAsAReal) {
  Info().height = 100000.0;
  ASSERT_TRUE(Write());
  EXPECT_EQ(Query("SELECT height FROM data_project")[0][0], (RawCell{"real", "100000"}));
}

TEST_F(ProjectTableTest, WritesTextThatLooksLikeANumberAsText) {
  SetText(Info().project_name, "007");
  ASSERT_TRUE(Write());
  EXPECT_EQ(Query("SELECT project_name FROM data_project")[0][0], (RawCell{"text", "007"}));
}

TEST_F(ProjectTableTest, WritesNothingOfWhatIsBehindTheNul) {
  for (char* array : {Info().project_name, Info().operator_name}) {
    std::memset(array, 'x', 65);
    std::strcpy(array, "ab");
  }
  std::memset(Info().date, 'x', sizeof Info().date);
  Info().date[0] = '\0';
  std::memset(Info().description, 'x', sizeof Info().description);
  std::strcpy(Info().description, "tail");
  ASSERT_TRUE(Write());
  const Row expected = {{"text", "ab"}, {"text", "ab"}, {"text", ""}, {"text", "tail"}};
  EXPECT_THAT(Query("SELECT project_name, operator, date, description FROM data_project"),
              ElementsAre(expected));
}

TEST_F(ProjectTableTest, WritesAnArrayWithoutNulUpToItsEnd) {
  std::memset(Info().id, 'i', sizeof Info().id);
  std::memset(Info().project_name, 'p', sizeof Info().project_name);
  std::memset(Info().operator_name, 'o', sizeof Info().operator_name);
  std::memset(Info().date, 'd', sizeof Info().date);
  std::memset(Info().description, 't', sizeof Info().description);
  ASSERT_TRUE(Write());
  const Row expected = {{"text", std::string(33, 'i')},
                        {"text", std::string(65, 'p')},
                        {"text", std::string(65, 'o')},
                        {"text", std::string(33, 'd')},
                        {"text", std::string(257, 't')}};
  EXPECT_THAT(Query("SELECT id, project_name, operator, date, description FROM data_project"),
              ElementsAre(expected));
}

TEST_F(ProjectTableTest, WritesTextsByteForByte) {
  SetText(Info().project_name, "\xB2\xE2\xBB\xE6 it's");
  SetText(Info().description, "\xE6\xB5\x8B\xE7\xBB\x98");
  ASSERT_TRUE(Write());
  EXPECT_EQ(QueryOne("SELECT CAST(project_name AS BLOB) FROM data_project"), "\xB2\xE2\xBB\xE6 it's");
  EXPECT_EQ(QueryOne("SELECT description FROM data_project"), "\xE6\xB5\x8B\xE7\xBB\x98");
}

TEST_F(ProjectTableTest, WritingAppendsToWhatIsThere) {
  ASSERT_TRUE(
      InNewDatabase({&QvProject::CreatePrjTable, &QvProject::WritePrjRecords, &QvProject::WritePrjRecords}));
  EXPECT_EQ(QueryOne("SELECT count(*) FROM data_project"), "2");
}

TEST_F(ProjectTableTest, WritingWithoutTheTableFails) {
  EXPECT_FALSE(InNewDatabase({&QvProject::WritePrjRecords}));
}

TEST_F(ProjectTableTest, NothingWorksOnAClosedDatabase) {
  EXPECT_FALSE(WithClosedDatabase(&QvProject::CreatePrjTable));
  EXPECT_FALSE(WithClosedDatabase(&QvProject::WritePrjRecords));
}

/// A coordinate system that the host registers, and what the table says of it.
struct SystemCase {
  int id;
  int type;
  std::string expected_name;

  friend void PrintTo(const SystemCase& test, std::ostream* out) { *out << "type " << test.type; }
};

class CoordinateColumnsTest : public ProjectTableTest, public ::testing::WithParamInterface<SystemCase> {};

TEST_P(CoordinateColumnsTest, PutTheDatumInFrontOfTheName) {
  const auto& [id, type, expectedName] = GetParam();
  qvfd::QvConfiguration::Instance().AddCoordinate(
      {.type = type, .id = id, .name = "zone 50", .description = "a zone", .definition = "none"});
  Info().coordinate_id = id;
  ASSERT_TRUE(Write());
  const Row expected = {{"integer", std::to_string(id)},
                        {"integer", std::to_string(type)},
                        {"text", expectedName},
                        {"text", "a zone"}};
  EXPECT_THAT(Query("SELECT coordinate_id, coordinate_type, coordinate_name, coordinate_description"
                    " FROM data_project"),
              ElementsAre(expected));
}

INSTANTIATE_TEST_SUITE_P(Types, CoordinateColumnsTest,
                         ::testing::Values(SystemCase{900'000'000, 0, "zone 50"},
                                           SystemCase{900'000'001, 1, "zone 50"},
                                           SystemCase{900'000'002, 2, "Xian 1980 zone 50"},
                                           SystemCase{900'000'003, 3, "CGCS2000 zone 50"},
                                           SystemCase{900'000'004, 4, "zone 50"}));

TEST_F(ProjectTableTest, AnUnknownSystemIsWrittenAsTheLocalOneBesideItsId) {
  Info().coordinate_id = 987'654'321;
  ASSERT_TRUE(Write());
  const Row expected = {{"integer", "987654321"}, {"integer", "4"}, {"text", kLocalSystem}, {"text", ""}};
  EXPECT_THAT(Query("SELECT coordinate_id, coordinate_type, coordinate_name, coordinate_description"
                    " FROM data_project"),
              ElementsAre(expected));
}

TEST_F(ProjectTableTest, ReadingKeepsTheIdOfAnUnknownSystem) {
  Execute(kProjectTable +
          "INSERT INTO data_project(coordinate_id, coordinate_type, coordinate_name)"
          " VALUES(987654321, 2, 'whatever');");
  ASSERT_TRUE(Read());
  EXPECT_EQ(Info().coordinate_id, 987'654'321);
}

TEST_F(ProjectTableTest, ReadsEveryField) {
  Execute(kProjectTable +
          "INSERT INTO data_project VALUES('my id', 'North field', 'Ann', '2024-05-06', 4547, 3, 'name',"
          " 'what it is', 'first flight', 120.5, 't', 'c', 'u', 9, 3, 0);");
  ASSERT_TRUE(Read());
  EXPECT_EQ(TextOf(Info().id), "my id");
  EXPECT_EQ(TextOf(Info().project_name), "North field");
  EXPECT_EQ(TextOf(Info().operator_name), "Ann");
  EXPECT_EQ(TextOf(Info().date), "2024-05-06");
  EXPECT_EQ(TextOf(Info().description), "first flight");
  EXPECT_EQ(Info().coordinate_id, 4547);
  EXPECT_EQ(Info().height, 120.5);
  EXPECT_EQ(Info().uavtype, 3);
  EXPECT_EQ(Info().nadir, 0);
}

TEST_F(ProjectTableTest, ReadingStoresThePathThatItIsGiven) {
  Execute(kProjectTable + support::ProjectRow("new"));
  Info().file_path = "before.db";
  ASSERT_TRUE(Read());
  EXPECT_EQ(Info().file_path, "the/path.db");
}

TEST_F(ProjectTableTest, AnOlderTableOf14ColumnsKeepsTheDefaultsOfTheOtherTwo) {
  Info().uavtype = 5;
  Info().nadir = 6;
  Execute(kProjectTable + support::ProjectRow("old") +
          "ALTER TABLE data_project DROP COLUMN nadir; ALTER TABLE data_project DROP COLUMN uavtype;");
  ASSERT_EQ(support::Columns(Path(), "data_project").size(), 14U);
  ASSERT_TRUE(Read());
  EXPECT_EQ(TextOf(Info().project_name), "old");
  EXPECT_EQ(Info().uavtype, 99);
  EXPECT_EQ(Info().nadir, 1);
}

TEST_F(ProjectTableTest, ATableOf15ColumnsKeepsTheDefaultsToo) {
  Execute(kProjectTable +
          "INSERT INTO data_project(uavtype) VALUES(5);"
          "ALTER TABLE data_project DROP COLUMN nadir;");
  ASSERT_TRUE(Read());
  EXPECT_EQ(Info().uavtype, 99);
  EXPECT_EQ(Info().nadir, 1);
}

TEST_F(ProjectTableTest, ATableOf17ColumnsGivesBoth) {
  Execute(kProjectTable +
          "INSERT INTO data_project(uavtype, nadir) VALUES(5, 6);"
          "ALTER TABLE data_project ADD COLUMN more TEXT;");
  ASSERT_TRUE(Read());
  EXPECT_EQ(Info().uavtype, 5);
  EXPECT_EQ(Info().nadir, 6);
}

TEST_F(ProjectTableTest, OfTwoRowsTheFirstIsRead) {
  Execute(kProjectTable + support::ProjectRow("first") + support::ProjectRow("second"));
  ASSERT_TRUE(Read());
  EXPECT_EQ(TextOf(Info().project_name), "first");
}

TEST_F(ProjectTableTest, AnEmptyTableIsFalseAndChangesNothing) {
  Execute(kProjectTable);
  const QvProject before = project_;
  ExpectUntouched(Read(), before);
}

TEST_F(ProjectTableTest, AMissingTableIsFalseAndChangesNothing) {
  Execute("CREATE TABLE other(x INTEGER);");
  const QvProject before = project_;
  ExpectUntouched(Read(), before);
}

TEST_F(ProjectTableTest, AClosedDatabaseIsFalseAndChangesNothing) {
  qvsql::Database closed;
  const QvProject before = project_;
  ExpectUntouched(project_.ReadPrjRecords(closed, "the/path.db"), before);
}

TEST_F(ProjectTableTest, NullCellsReadAsNothing) {
  support::SetText(Info().date, "before");
  Execute(kProjectTable + "INSERT INTO data_project(id) VALUES(NULL);");
  ASSERT_TRUE(Read());
  EXPECT_EQ(TextOf(Info().id), "");
  EXPECT_EQ(TextOf(Info().date), "");
  EXPECT_EQ(Info().coordinate_id, 0);
  EXPECT_EQ(Info().height, 0.0);
  EXPECT_EQ(Info().uavtype, 0);
  EXPECT_EQ(Info().nadir, 0);
}

TEST_F(ProjectTableTest, TextInNumericColumnsIsParsedUpToItsJunk) {
  Execute(kProjectTable +
          "INSERT INTO data_project(coordinate_id, height, uavtype, nadir)"
          " VALUES(' 12abc', '12.5m', 'abc', '-3.9x');");
  ASSERT_TRUE(Read());
  EXPECT_EQ(Info().coordinate_id, 12);
  EXPECT_EQ(Info().height, 12.5);
  EXPECT_EQ(Info().uavtype, 0);
  EXPECT_EQ(Info().nadir, -3);
}

TEST_F(ProjectTableTest, ATableOfThreeColumnsGivesThemAndNothingElse) {
  Execute(
      "CREATE TABLE data_project(id TEXT, project_name TEXT, operator TEXT);"
      "INSERT INTO data_project VALUES('i', 'p', 'o');");
  ASSERT_TRUE(Read());
  EXPECT_EQ(TextOf(Info().operator_name), "o");
  EXPECT_EQ(TextOf(Info().date), "");
  EXPECT_EQ(TextOf(Info().description), "");
  EXPECT_EQ(Info().coordinate_id, 0);
  EXPECT_EQ(Info().height, 0.0);
}

TEST_F(ProjectTableTest, CellsBehindAShortRowAreThoseOfTheNextRow) {
  Execute(
      "CREATE TABLE data_project(id TEXT, project_name TEXT, operator TEXT);"
      "INSERT INTO data_project VALUES('i', 'p', 'o'), ('next', '42', 'x');");
  ASSERT_TRUE(Read());
  EXPECT_EQ(TextOf(Info().date), "next");
  EXPECT_EQ(Info().coordinate_id, 42);
}

/// How many characters of a text of `length` a field keeps.
struct CutCase {
  std::string column;
  int length;
  int kept;

  friend void PrintTo(const CutCase& test, std::ostream* out) {
    *out << test.column << " of " << test.length;
  }
};

class CutTest : public ProjectTableTest, public ::testing::WithParamInterface<CutCase> {
 protected:
  [[nodiscard]] std::string Field() {
    const std::string& column = GetParam().column;
    return column == "id"             ? TextOf(Info().id)
           : column == "project_name" ? TextOf(Info().project_name)
           : column == "operator"     ? TextOf(Info().operator_name)
           : column == "date"         ? TextOf(Info().date)
                                      : TextOf(Info().description);
  }
};

TEST_P(CutTest, ReadingKeepsWhatFits) {
  const auto& [column, length, kept] = GetParam();
  std::string text;
  for (int i = 0; i < length; ++i) {
    text += static_cast<char>('a' + i % 26);
  }
  MakeRow(column, text);
  ASSERT_TRUE(Read());
  EXPECT_EQ(Field(), text.substr(0, static_cast<std::size_t>(kept)));
}

INSTANTIATE_TEST_SUITE_P(Lengths, CutTest,
                         ::testing::Values(CutCase{"id", 31, 31}, CutCase{"id", 32, 32},
                                           CutCase{"id", 33, 32}, CutCase{"id", 34, 32},
                                           CutCase{"project_name", 62, 62}, CutCase{"project_name", 63, 63},
                                           CutCase{"project_name", 64, 63}, CutCase{"project_name", 65, 63},
                                           CutCase{"project_name", 500, 63}, CutCase{"operator", 63, 63},
                                           CutCase{"operator", 64, 63}, CutCase{"operator", 65, 63},
                                           CutCase{"date", 31, 31}, CutCase{"date", 32, 31},
                                           CutCase{"date", 33, 31}, CutCase{"description", 255, 255},
                                           CutCase{"description", 256, 255}, CutCase{"description", 257, 255},
                                           CutCase{"description", 300, 255}));

TEST_F(ProjectTableTest, ANameThatFillsItsArrayComesBackCut) {
  std::memset(Info().project_name, 'p', sizeof Info().project_name);
  ASSERT_TRUE(Write());
  ASSERT_TRUE(Read());
  EXPECT_EQ(TextOf(Info().project_name), std::string(63, 'p'));
}

}  // namespace
