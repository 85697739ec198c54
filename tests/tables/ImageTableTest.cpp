#include <gmock/gmock.h>

#include "TableTest.h"

namespace {

using qvfd::EOP;
using qvprj::QvProject;
using support::ImageRow;
using support::kImageTable;
using ::testing::ElementsAre;

class ImageTableTest : public TableTest {
 protected:
  bool Write() { return InNewDatabase({&QvProject::CreateImageTable, &QvProject::WriteImageRecords}); }
  bool Read() { return InDatabase(&QvProject::ReadImageRecords); }

  qvfd::ImageInfoSet& Images() { return project_.GetImageInfoSet(); }

  void AddImage(int id) { Images().AddImage(id, "", "", {}, 0, 0, true); }

  [[nodiscard]] std::vector<int> Ids() {
    std::vector<int> ids;
    for (const auto& image : Images()) {
      ids.push_back(image.Id());
    }
    return ids;
  }

  /// The updated x of each image, by position.
  [[nodiscard]] std::vector<double> UpdatedXs() {
    std::vector<double> values;
    for (const auto& image : Images()) {
      values.push_back(image.GetUpdatedEOP().x);
    }
    return values;
  }
};

TEST_F(ImageTableTest, HasIts19Columns) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreateImageTable}));
  EXPECT_THAT(support::Columns(Path(), "data_image"),
              ElementsAre("id INTEGER", "project_id TEXT", "name TEXT", "path TEXT", "x REAL", "y REAL",
                          "z REAL", "omega REAL", "phi REAL", "kappa REAL", "new_x REAL", "new_y REAL",
                          "new_z REAL", "new_omega REAL", "new_phi REAL", "new_kappa REAL",
                          "strip_id INTEGER", "camera_id INTEGER", "enabled INTEGER"));
}

TEST_F(ImageTableTest, HasPlainColumnsOnly) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreateImageTable}));
  EXPECT_TRUE(
      Query("SELECT 1 FROM pragma_table_info('data_image') WHERE pk <> 0 OR \"notnull\" <> 0").empty());
}

TEST_F(ImageTableTest, CannotBeCreatedTwice) {
  EXPECT_FALSE(InNewDatabase({&QvProject::CreateImageTable, &QvProject::CreateImageTable}));
}

TEST_F(ImageTableTest, WritesEveryCellInItsStorageClass) {
  support::SetText(project_.GetPrjInfo().id, "the project");
  Images().AddImage(5, "5.jpg", "/photos/5.jpg", {1.5, 2.5, 3.5, 4.5, 5.5, 6.5}, 30, 40, false);
  Images().GetImage(0)->Update({7.5, 8.5, 9.5, 10.5, 11.5, 12});
  ASSERT_TRUE(Write());
  const Row expected = {
      {"integer", "5"},  {"text", "the project"}, {"text", "5.jpg"}, {"text", "/photos/5.jpg"},
      {"real", "1.5"},   {"real", "2.5"},         {"real", "3.5"},   {"real", "4.5"},
      {"real", "5.5"},   {"real", "6.5"},         {"real", "7.5"},   {"real", "8.5"},
      {"real", "9.5"},   {"real", "10.5"},        {"real", "11.5"},  {"real", "12"},
      {"integer", "40"}, {"integer", "30"},       {"integer", "0"}};
  EXPECT_THAT(Query("SELECT * FROM data_image"), ElementsAre(expected));
}

TEST_F(ImageTableTest, WritesAnEnabledImageAsOne) {
  AddImage(1);
  ASSERT_TRUE(Write());
  EXPECT_EQ(Query("SELECT enabled FROM data_image")[0][0], (support::RawCell{"integer", "1"}));
}

TEST_F(ImageTableTest, AnImageThatWasNeverUpdatedIsWrittenWithItsOrientationTwice) {
  Images().AddImage(1, "", "", {1, 2, 3, 4, 5, 6}, 0, 0, true);
  ASSERT_TRUE(Write());
  EXPECT_EQ(Query("SELECT x, y, z, omega, phi, kappa FROM data_image"),
            Query("SELECT new_x, new_y, new_z, new_omega, new_phi, new_kappa FROM data_image"));
  EXPECT_EQ(QueryOne("SELECT new_kappa FROM data_image"), "6");
}

TEST_F(ImageTableTest, WritesTheInitialOrientationThatWasSetLast) {
  AddImage(1);
  Images().GetImage(0)->SetEOP({9, 0, 0, 0, 0, 0});
  ASSERT_TRUE(Write());
  EXPECT_EQ(QueryOne("SELECT x FROM data_image"), "9");
  EXPECT_EQ(QueryOne("SELECT new_x FROM data_image"), "0");
}

TEST_F(ImageTableTest, WritesImagesInTheirOrderWithTheirOwnExtensions) {
  for (const int id : {3, 1, 2, 1, 0}) {
    Images().AddImage(id, "", "", {}, id + 10, Images().Size(), true);
  }
  ASSERT_TRUE(Write());
  std::vector<std::string> rows;
  for (const auto& row : Query("SELECT id, camera_id, strip_id FROM data_image ORDER BY rowid")) {
    rows.push_back(row[0].text + " " + row[1].text + " " + row[2].text);
  }
  EXPECT_THAT(rows, ElementsAre("3 13 0", "1 11 1", "2 12 2", "1 11 3", "0 10 4"));
}

TEST_F(ImageTableTest, WritesTextsByteForByte) {
  Images().AddImage(1, "\xB2\xE2", "D:\\\xE6\xB5\x8B\\it's.jpg", {}, 0, 0, true);
  ASSERT_TRUE(Write());
  EXPECT_EQ(QueryOne("SELECT CAST(name AS BLOB) FROM data_image"), "\xB2\xE2");
  EXPECT_EQ(QueryOne("SELECT path FROM data_image"), "D:\\\xE6\xB5\x8B\\it's.jpg");
}

TEST_F(ImageTableTest, NoImagesAreWrittenAsNoRows) {
  ASSERT_TRUE(Write());
  EXPECT_EQ(QueryOne("SELECT count(*) FROM data_image"), "0");
}

TEST_F(ImageTableTest, WritingWithoutTheTableFails) {
  AddImage(1);
  EXPECT_FALSE(InNewDatabase({&QvProject::WriteImageRecords}));
}

TEST_F(ImageTableTest, ReadsEveryColumn) {
  Execute(kImageTable +
          "INSERT INTO data_image VALUES(5, 'any', '5.jpg', '/photos/5.jpg', 1.5, 2.5, 3.5, 4.5, 5.5, 6.5,"
          " 7.5, 8.5, 9.5, 10.5, 11.5, 12.5, 40, 30, 1);");
  ASSERT_TRUE(Read());
  ASSERT_EQ(Images().Size(), 1);
  const auto& image = *Images().GetImage(0);
  EXPECT_EQ(image.Id(), 5);
  EXPECT_EQ(image.Name(), "5.jpg");
  EXPECT_EQ(image.Path(), "/photos/5.jpg");
  EXPECT_EQ(image.GetEOP(), (EOP{1.5, 2.5, 3.5, 4.5, 5.5, 6.5}));
  EXPECT_EQ(image.GetUpdatedEOP(), (EOP{7.5, 8.5, 9.5, 10.5, 11.5, 12.5}));
  EXPECT_EQ(*Images().GetImageExt(0), (qvfd::ImageInfoExt{40, 30, true}));
}

/// What an "enabled" cell means.
class EnabledTest : public ImageTableTest,
                    public ::testing::WithParamInterface<std::pair<std::string, bool>> {};

TEST_P(EnabledTest, OnlyOneMeansEnabled) {
  Execute(kImageTable + "INSERT INTO data_image(id, enabled) VALUES(1, " + GetParam().first + ");");
  ASSERT_TRUE(Read());
  EXPECT_EQ(Images().GetImageExt(0)->enabled, GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Cells, EnabledTest,
                         ::testing::Values(std::pair("1", true), std::pair("'1'", true),
                                           std::pair("'1x'", true), std::pair("0", false),
                                           std::pair("'2'", false), std::pair("2", false),
                                           std::pair("''", false), std::pair("NULL", false),
                                           std::pair("-1", false), std::pair("'true'", false)));

TEST_F(ImageTableTest, WithIdsFromOneEachImageGetsItsOwnUpdate) {
  Execute(kImageTable + "INSERT INTO data_image(id, new_x) VALUES(1, 10), (2, 20), (3, 30);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(UpdatedXs(), ElementsAre(10, 20, 30));
}

TEST_F(ImageTableTest, WithDescendingIdsEachImageGetsItsOwnUpdate) {
  Execute(kImageTable + "INSERT INTO data_image(id, new_x) VALUES(2, 20), (1, 10), (0, 5);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(2, 1, 0));
  EXPECT_THAT(UpdatedXs(), ElementsAre(20, 10, 5));
}

TEST_F(ImageTableTest, WithRepeatedIdsEachImageGetsItsOwnUpdate) {
  Execute(kImageTable + "INSERT INTO data_image(id, new_x) VALUES(7, 10), (7, 20), (0, 30), (7, 40);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(7, 7, 0, 7));
  EXPECT_THAT(UpdatedXs(), ElementsAre(10, 20, 30, 40));
}

TEST_F(ImageTableTest, WithSparseIdsRowsAreTakenInTheirOrder) {
  Execute(kImageTable + ImageRow(100000) + ImageRow(-5) + ImageRow(12));
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(100000, -5, 12));
}

TEST_F(ImageTableTest, ReadsTheUpdatedOrientationAlsoWhereItIsNothing) {
  Execute(kImageTable + "INSERT INTO data_image(id, x) VALUES(1, 10);");
  ASSERT_TRUE(Read());
  EXPECT_EQ(Images().GetImage(0)->GetEOP().x, 10.0);
  EXPECT_EQ(Images().GetImage(0)->GetUpdatedEOP(), EOP());
}

TEST_F(ImageTableTest, ReadingReplacesAllImages) {
  AddImage(77);
  Execute(kImageTable + ImageRow(1));
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(1));
  EXPECT_EQ(Images().FindImage(77), nullptr);
}

TEST_F(ImageTableTest, AnEmptyTableReadsAsNoImages) {
  AddImage(77);
  Execute(kImageTable);
  ASSERT_TRUE(Read());
  EXPECT_EQ(Images().Size(), 0);
}

TEST_F(ImageTableTest, AMissingTableIsFalseAndChangesNothing) {
  AddImage(77);
  Execute("CREATE TABLE other(x INTEGER);");
  EXPECT_FALSE(Read());
  EXPECT_THAT(Ids(), ElementsAre(77));
}

TEST_F(ImageTableTest, AClosedDatabaseIsFalseAndChangesNothing) {
  AddImage(77);
  EXPECT_FALSE(WithClosedDatabase(&QvProject::ReadImageRecords));
  EXPECT_THAT(Ids(), ElementsAre(77));
}

TEST_F(ImageTableTest, TextInNumericColumnsIsParsedUpToItsJunk) {
  Execute(kImageTable +
          "INSERT INTO data_image(id, x, y, new_z, strip_id)"
          " VALUES('7x', '1.5e1m', 'none', ' 0x10', '99999999999');");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(7));
  EXPECT_EQ(Images().GetImage(0)->GetEOP().x, 15.0);
  EXPECT_EQ(Images().GetImage(0)->GetEOP().y, 0.0);
  EXPECT_EQ(Images().GetImage(0)->GetUpdatedEOP().z, 16.0);
  EXPECT_EQ(Images().GetImageExt(0)->strip_id, 2147483647);
}

TEST_F(ImageTableTest, RealsAreReadWithAllTheirDigits) {
  Execute(kImageTable + "INSERT INTO data_image(id, x) VALUES(1, 0.1 + 0.2);");
  ASSERT_TRUE(Read());
  EXPECT_EQ(Images().GetImage(0)->GetEOP().x, 0.1 + 0.2);
}

TEST_F(ImageTableTest, WithFewerColumnsCellsRunOnIntoTheNextRowAndEndWithTheLast) {
  Execute(
      "CREATE TABLE data_image(id INTEGER, project_id TEXT, name TEXT);"
      "INSERT INTO data_image VALUES(1, 'p', 'one'), (2, '2.5', 'two');");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(1, 2));
  EXPECT_EQ(Images().GetImage(0)->Path(), "2");
  EXPECT_EQ(Images().GetImage(0)->GetEOP().x, 2.5);
  EXPECT_EQ(Images().GetImage(1)->Path(), "");
  EXPECT_EQ(Images().GetImage(1)->GetEOP(), EOP());
  EXPECT_FALSE(Images().GetImageExt(1)->enabled);
}

TEST_F(ImageTableTest, ATableOfOneColumnIsReadWithoutGoingPastItsCells) {
  Execute("CREATE TABLE data_image(id INTEGER); INSERT INTO data_image VALUES(10), (20);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(10, 20));
}

TEST_F(ImageTableTest, WithMoreColumnsTheStrideIsTheirs) {
  Execute(kImageTable + "ALTER TABLE data_image ADD COLUMN more TEXT;" + ImageRow(1) + ImageRow(2));
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(1, 2));
}

}  // namespace
