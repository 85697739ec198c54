#include <gmock/gmock.h>

#include <cmath>

#include "TableTest.h"

namespace {

using qvprj::QvProject;
using support::CameraRow;
using support::kCameraTable;
using support::RawCell;
using ::testing::ElementsAre;

class CameraTableTest : public TableTest {
 protected:
  bool Write() { return InNewDatabase({&QvProject::CreateCameraTable, &QvProject::WriteCameraRecords}); }
  bool Read() { return InDatabase(&QvProject::ReadCameraRecords); }

  qvfd::CameraInfoSet& Cameras() { return project_.GetCameraInfoSet(); }
  qvfd::CameraInfo& Camera(int position) { return *Cameras().GetCamera(position); }

  void AddCamera(int id) {
    qvfd::CameraInfo camera;
    camera.id = id;
    Cameras().AddCamera(camera);
  }

  [[nodiscard]] std::vector<int> Ids() {
    std::vector<int> ids;
    for (int i = 0; i < Cameras().Size(); ++i) {
      ids.push_back(Camera(i).id);
    }
    return ids;
  }
};

TEST_F(CameraTableTest, HasIts24Columns) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreateCameraTable}));
  EXPECT_THAT(support::Columns(Path(), "data_camera"),
              ElementsAre("id INTEGER", "project_id TEXT", "name TEXT", "width INTEGER", "height INTEGER",
                          "ccdwidth REAL", "ccdheight REAL", "focallength REAL", "x0 REAL", "y0 REAL",
                          "distortion_type INTEGER", "k1 REAL", "k2 REAL", "k3 REAL", "p1 REAL", "p2 REAL",
                          "alpha REAL", "beta REAL", "n1 REAL", "n2 REAL", "n3 REAL", "n4 REAL", "n5 REAL",
                          "delay_time REAL"));
}

TEST_F(CameraTableTest, HasPlainColumnsOnly) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreateCameraTable}));
  EXPECT_TRUE(
      Query("SELECT 1 FROM pragma_table_info('data_camera') WHERE pk <> 0 OR \"notnull\" <> 0").empty());
}

TEST_F(CameraTableTest, CannotBeCreatedTwice) {
  EXPECT_FALSE(InNewDatabase({&QvProject::CreateCameraTable, &QvProject::CreateCameraTable}));
}

TEST_F(CameraTableTest, WritesEveryCellInItsStorageClass) {
  support::SetText(project_.GetPrjInfo().id, "the project");
  qvfd::CameraInfo camera;
  camera.id = 5;
  camera.name = "Wide";
  camera.width = 4000;
  camera.height = 3000;
  camera.ccdwidth = 6.25;
  camera.ccdheight = 4.5;
  camera.focallength = 8.75;
  camera.x0 = 0.125;
  camera.y0 = -0.25;
  camera.distortion_type = 2;
  camera.distortion = {1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5, 9.5, 10.5};
  Cameras().AddCamera(camera);
  ASSERT_TRUE(Write());
  const Row expected = {{"integer", "5"},    {"text", "the project"}, {"text", "Wide"}, {"integer", "4000"},
                        {"integer", "3000"}, {"real", "6.25"},        {"real", "4.5"},  {"real", "8.75"},
                        {"real", "0.125"},   {"real", "-0.25"},       {"integer", "2"}, {"real", "1.5"},
                        {"real", "2.5"},     {"real", "3.5"},         {"real", "4.5"},  {"real", "5.5"},
                        {"real", "6.5"},     {"real", "7.5"},         {"real", "8.5"},  {"real", "9.5"},
                        {"real", "10.5"},    {"real", "0"},           {"real", "0"},    {"real", "0"}};
  EXPECT_THAT(Query("SELECT * FROM data_camera"), ElementsAre(expected));
}

TEST_F(CameraTableTest, WritesCamerasInTheirOrder) {
  for (const int id : {9, 2, 9, -4, 0}) {
    AddCamera(id);
  }
  ASSERT_TRUE(Write());
  std::vector<std::string> ids;
  for (const auto& row : Query("SELECT id FROM data_camera ORDER BY rowid")) {
    ids.push_back(row[0].text);
  }
  EXPECT_THAT(ids, ElementsAre("9", "2", "9", "-4", "0"));
}

TEST_F(CameraTableTest, WritesNamesByteForByte) {
  AddCamera(1);
  Camera(0).name = "\xB2\xE2 it's";
  ASSERT_TRUE(Write());
  EXPECT_EQ(QueryOne("SELECT CAST(name AS BLOB) FROM data_camera"), "\xB2\xE2 it's");
}

TEST_F(CameraTableTest, WritesNanAsText) {
  AddCamera(1);
  Camera(0).x0 = std::nan("");
  ASSERT_TRUE(Write());
  EXPECT_EQ(Query("SELECT x0 FROM data_camera")[0][0], (RawCell{"text", "nan"}));
}

TEST_F(CameraTableTest, NoCamerasAreWrittenAsNoRows) {
  ASSERT_TRUE(Write());
  EXPECT_EQ(QueryOne("SELECT count(*) FROM data_camera"), "0");
}

TEST_F(CameraTableTest, WritingWithoutTheTableFails) {
  AddCamera(1);
  EXPECT_FALSE(InNewDatabase({&QvProject::WriteCameraRecords}));
}

TEST_F(CameraTableTest, ReadsEveryColumn) {
  Execute(kCameraTable +
          "INSERT INTO data_camera VALUES(5, 'any', 'Wide', 4000, 3000, 6.0, 4.5, 8.75, 0.125, -0.25, 2,"
          " 1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5, 9.5, 10.5, 11.5, 12.5, 13.5);");
  ASSERT_TRUE(Read());
  qvfd::CameraInfo expected;
  expected.id = 5;
  expected.name = "Wide";
  expected.width = 4000;
  expected.height = 3000;
  expected.ccdwidth = 6.0;
  expected.ccdheight = 4.5;
  expected.focallength = 8.75;
  expected.x0 = 0.125;
  expected.y0 = -0.25;
  expected.distortion_type = 2;
  expected.distortion = {1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5, 9.5, 10.5};
  expected.pixel_size_x = 0.0015;
  expected.pixel_size_y = 0.0015;
  ASSERT_EQ(Cameras().Size(), 1);
  EXPECT_EQ(Camera(0), expected);
}

TEST_F(CameraTableTest, AFrameWithoutPixelsHasNoFinitePixelSize) {
  Execute(kCameraTable +
          "INSERT INTO data_camera(id, width, height, ccdwidth, ccdheight)"
          " VALUES(1, 0, 0, 6.0, 0.0);");
  ASSERT_TRUE(Read());
  EXPECT_TRUE(std::isinf(Camera(0).pixel_size_x));
  EXPECT_TRUE(std::isnan(Camera(0).pixel_size_y));
}

TEST_F(CameraTableTest, ReadsRowsInTheirOrderWithTheirOwnIds) {
  Execute(kCameraTable + CameraRow(9) + CameraRow(2) + CameraRow(9) + CameraRow(-4) + CameraRow(0));
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(9, 2, 9, -4, 0));
}

TEST_F(CameraTableTest, ReadsCamerasOfAnyProject) {
  Execute(kCameraTable + "INSERT INTO data_camera(id, project_id) VALUES(1, 'one'), (2, 'another');");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(1, 2));
}

TEST_F(CameraTableTest, ReadingReplacesAllCameras) {
  AddCamera(77);
  Execute(kCameraTable + CameraRow(1));
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(1));
}

TEST_F(CameraTableTest, AnEmptyTableReadsAsNoCameras) {
  AddCamera(77);
  Execute(kCameraTable);
  ASSERT_TRUE(Read());
  EXPECT_EQ(Cameras().Size(), 0);
}

TEST_F(CameraTableTest, AMissingTableIsFalseAndChangesNothing) {
  AddCamera(77);
  Execute("CREATE TABLE other(x INTEGER);");
  EXPECT_FALSE(Read());
  EXPECT_THAT(Ids(), ElementsAre(77));
}

TEST_F(CameraTableTest, AClosedDatabaseIsFalseAndChangesNothing) {
  AddCamera(77);
  EXPECT_FALSE(WithClosedDatabase(&QvProject::ReadCameraRecords));
  EXPECT_THAT(Ids(), ElementsAre(77));
}

TEST_F(CameraTableTest, TextInNumericColumnsIsParsedUpToItsJunk) {
  Execute(kCameraTable +
          "INSERT INTO data_camera(id, width, height, ccdwidth, focallength)"
          " VALUES('7x', 'none', 3000.9, '6.5mm', '');");
  ASSERT_TRUE(Read());
  EXPECT_EQ(Camera(0).id, 7);
  EXPECT_EQ(Camera(0).width, 0);
  EXPECT_EQ(Camera(0).height, 3000);
  EXPECT_EQ(Camera(0).ccdwidth, 6.5);
  EXPECT_EQ(Camera(0).focallength, 0.0);
}

TEST_F(CameraTableTest, WithFewerColumnsEachRowStartsAtItsOwnFirstCell) {
  Execute(
      "CREATE TABLE data_camera(id INTEGER, project_id TEXT, name TEXT);"
      "INSERT INTO data_camera VALUES(1, 'p', 'one'), (2, 'p', 'two');");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(1, 2));
  EXPECT_EQ(Camera(0).name, "one");
  EXPECT_EQ(Camera(1).name, "two");
}

TEST_F(CameraTableTest, WithFewerColumnsCellsRunOnIntoTheNextRowAndEndWithTheLast) {
  Execute(
      "CREATE TABLE data_camera(id INTEGER, project_id TEXT, name TEXT);"
      "INSERT INTO data_camera VALUES(1, 'p', 'one'), (2, '33', 'two');");
  ASSERT_TRUE(Read());
  EXPECT_EQ(Camera(0).width, 2);
  EXPECT_EQ(Camera(0).height, 33);
  EXPECT_EQ(Camera(1).width, 0);
  EXPECT_EQ(Camera(1).distortion_type, 0);
  EXPECT_EQ(Camera(1).distortion[9], 0.0);
}

TEST_F(CameraTableTest, ATableOfOneColumnIsReadWithoutGoingPastItsCells) {
  Execute("CREATE TABLE data_camera(id INTEGER); INSERT INTO data_camera VALUES(1), (2), (3);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(1, 2, 3));
  EXPECT_EQ(Camera(2).name, "");
}

TEST_F(CameraTableTest, WithMoreColumnsTheStrideIsTheirs) {
  Execute(kCameraTable + "ALTER TABLE data_camera ADD COLUMN more TEXT;" + CameraRow(1) + CameraRow(2));
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(1, 2));
}

}  // namespace
