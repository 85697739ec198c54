#include <gmock/gmock.h>

#include <cmath>
#include <map>

#include "TableTest.h"

namespace {

using qvfd::Point2_T;
using qvgcp::GroundPoint;
using qvprj::QvProject;
using support::kCpTable;
using support::kGcpTable;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

using Measurements = std::map<int, Point2_T<double>>;

class ControlPointTest : public TableTest {
 protected:
  qvgcp::GroundPoints& Points() { return project_.GetGroundControl().ground_points; }
  qvgcp::CommonPoints& Common() { return project_.GetGroundControl().common_points; }

  [[nodiscard]] std::vector<int> Ids() {
    std::vector<int> ids;
    Points().GetPointIndex(ids);
    return ids;
  }

  [[nodiscard]] GroundPoint Point(int id) {
    GroundPoint point;
    EXPECT_TRUE(Points().GetPoint(id, point)) << id;
    return point;
  }

  [[nodiscard]] Measurements MeasurementsOf(int id) {
    Measurements measurements;
    Common().GetGroundPoint(id, measurements);
    return measurements;
  }

  void AddPoint(int id, GroundPoint point = {}) { Points().AddPoint(id, std::move(point)); }
  void AddImages(std::initializer_list<int> ids) {
    for (const int id : ids) {
      project_.GetImageInfoSet().AddImage(id, "", "", {}, 0, 0, true);
    }
  }
};

class GcpTableTest : public ControlPointTest {
 protected:
  bool Write() { return InNewDatabase({&QvProject::CreateGCPTable, &QvProject::WriteGCPRecords}); }
  bool Read() { return InDatabase(&QvProject::ReadGCPRecords); }
};

class CpTableTest : public ControlPointTest {
 protected:
  bool Write() { return InNewDatabase({&QvProject::CreateCPTable, &QvProject::WriteCPRecords}); }
  bool Read() { return InDatabase(&QvProject::ReadCPRecords); }

  void Measure(int point, int image, double x, double y) { Common().AddImagePoint(point, image, {x, y}); }

  /// The rows of the table as "point image x y".
  [[nodiscard]] std::vector<std::string> Rows() const {
    std::vector<std::string> rows;
    for (const auto& row : Query("SELECT gcp_id, image_id, x, y FROM data_cp ORDER BY rowid")) {
      rows.push_back(row[0].text + " " + row[1].text + " " + row[2].text + " " + row[3].text);
    }
    return rows;
  }
};

TEST_F(GcpTableTest, HasItsSevenColumns) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreateGCPTable}));
  EXPECT_THAT(support::Columns(Path(), "data_gcp"),
              ElementsAre("gcp_id INTEGER", "name TEXT", "x REAL", "y REAL", "z REAL", "type INTEGER",
                          "enable INTEGER"));
}

TEST_F(GcpTableTest, HasPlainColumnsOnly) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreateGCPTable}));
  EXPECT_THAT(Query("SELECT 1 FROM pragma_table_info('data_gcp') WHERE pk <> 0 OR \"notnull\" <> 0"),
              IsEmpty());
}

TEST_F(GcpTableTest, CannotBeCreatedTwice) {
  EXPECT_FALSE(InNewDatabase({&QvProject::CreateGCPTable, &QvProject::CreateGCPTable}));
}

TEST_F(GcpTableTest, WritesEveryCellInItsStorageClass) {
  AddPoint(5, {"tower", 1.5, 2.0, 3.5, 9, true, {}});
  ASSERT_TRUE(Write());
  const Row expected = {{"integer", "5"}, {"text", "tower"}, {"real", "1.5"}, {"real", "2"},
                        {"real", "3.5"},  {"integer", "9"},  {"integer", "1"}};
  EXPECT_THAT(Query("SELECT * FROM data_gcp"), ElementsAre(expected));
}

TEST_F(GcpTableTest, WritesADisabledPointAsZero) {
  AddPoint(5, {"", 0, 0, 0, 0, false, {}});
  ASSERT_TRUE(Write());
  EXPECT_EQ(Query("SELECT enable FROM data_gcp")[0][0], (support::RawCell{"integer", "0"}));
}

TEST_F(GcpTableTest, WritesPointsByAscendingId) {
  for (const int id : {9, -3, 100, 5}) {
    AddPoint(id);
  }
  ASSERT_TRUE(Write());
  std::vector<std::string> ids;
  for (const auto& row : Query("SELECT gcp_id FROM data_gcp ORDER BY rowid")) {
    ids.push_back(row[0].text);
  }
  EXPECT_THAT(ids, ElementsAre("-3", "5", "9", "100"));
}

TEST_F(GcpTableTest, WritesNamesByteForByte) {
  AddPoint(1, {"\xBF\xD8 it's", 0, 0, 0, 0, true, {}});
  ASSERT_TRUE(Write());
  EXPECT_EQ(QueryOne("SELECT CAST(name AS BLOB) FROM data_gcp"), "\xBF\xD8 it's");
}

TEST_F(GcpTableTest, NoPointsAreWrittenAsNoRows) {
  ASSERT_TRUE(Write());
  EXPECT_EQ(QueryOne("SELECT count(*) FROM data_gcp"), "0");
}

TEST_F(GcpTableTest, WritingWithoutTheTableFails) {
  EXPECT_FALSE(InNewDatabase({&QvProject::WriteGCPRecords}));
}

TEST_F(GcpTableTest, ReadsEveryColumn) {
  Execute(kGcpTable + "INSERT INTO data_gcp VALUES(5, 'tower', 1.5, 2.5, 3.5, 9, 1);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(5));
  EXPECT_EQ(Point(5), (GroundPoint{"tower", 1.5, 2.5, 3.5, 9, true, {}}));
}

TEST_F(GcpTableTest, AnyEnableButZeroMeansEnabled) {
  Execute(kGcpTable +
          "INSERT INTO data_gcp(gcp_id, enable)"
          " VALUES(1, 1), (2, 0), (3, 2), (4, -1), (5, ''), (6, NULL), (7, '7x'), (8, 'x');");
  ASSERT_TRUE(Read());
  std::vector<bool> enabled;
  for (const int id : Ids()) {
    enabled.push_back(Point(id).enable);
  }
  EXPECT_THAT(enabled, ElementsAre(true, false, true, true, false, false, true, false));
}

TEST_F(GcpTableTest, ReadingAddsToThePointsThatAreThere) {
  AddPoint(77, {"before", 0, 0, 0, 0, true, {}});
  Execute(kGcpTable + "INSERT INTO data_gcp(gcp_id, name) VALUES(5, 'new');");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(5, 77));
  EXPECT_EQ(Point(77).name, "before");
}

TEST_F(GcpTableTest, ReadingReplacesAPointOfTheSameId) {
  AddPoint(5, {"before", 1, 2, 3, 4, true, {{1, 2.0, 3.0}}});
  Execute(kGcpTable + "INSERT INTO data_gcp(gcp_id, name) VALUES(5, 'first'), (5, 'last');");
  ASSERT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(5));
  EXPECT_EQ(Point(5), (GroundPoint{"last", 0, 0, 0, 0, false, {}}));
}

TEST_F(GcpTableTest, AnEmptyTableAddsNothing) {
  Execute(kGcpTable);
  EXPECT_TRUE(Read());
  EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(GcpTableTest, AMissingTableIsNoFailureAndAddsNothing) {
  AddPoint(77);
  Execute("CREATE TABLE other(x INTEGER);");
  EXPECT_TRUE(Read());
  EXPECT_THAT(Ids(), ElementsAre(77));
}

TEST_F(GcpTableTest, AClosedDatabaseIsFalseAndChangesNothing) {
  AddPoint(77);
  EXPECT_FALSE(WithClosedDatabase(&QvProject::ReadGCPRecords));
  EXPECT_THAT(Ids(), ElementsAre(77));
}

TEST_F(GcpTableTest, WithFewerColumnsCellsRunOnIntoTheNextRowAndEndWithTheLast) {
  Execute(
      "CREATE TABLE data_gcp(gcp_id INTEGER, name TEXT);"
      "INSERT INTO data_gcp VALUES(1, 'one'), (2, '2.5');");
  EXPECT_TRUE(Read());
  EXPECT_EQ(Point(1), (GroundPoint{"one", 2.0, 2.5, 0.0, 0, false, {}}));
  EXPECT_EQ(Point(2), (GroundPoint{"2.5", 0.0, 0.0, 0.0, 0, false, {}}));
}

TEST_F(GcpTableTest, WithMoreColumnsTheStrideIsTheirs) {
  Execute(kGcpTable +
          "ALTER TABLE data_gcp ADD COLUMN more TEXT;"
          "INSERT INTO data_gcp(gcp_id, name) VALUES(1, 'one'), (2, 'two');");
  EXPECT_TRUE(Read());
  EXPECT_EQ(Point(2).name, "two");
}

TEST_F(CpTableTest, HasItsFourColumns) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreateCPTable}));
  EXPECT_THAT(support::Columns(Path(), "data_cp"),
              ElementsAre("gcp_id INTEGER", "image_id INTEGER", "x REAL", "y REAL"));
}

TEST_F(CpTableTest, HasPlainColumnsOnly) {
  ASSERT_TRUE(InNewDatabase({&QvProject::CreateCPTable}));
  EXPECT_THAT(Query("SELECT 1 FROM pragma_table_info('data_cp') WHERE pk <> 0 OR \"notnull\" <> 0"),
              IsEmpty());
}

TEST_F(CpTableTest, CannotBeCreatedTwice) {
  EXPECT_FALSE(InNewDatabase({&QvProject::CreateCPTable, &QvProject::CreateCPTable}));
}

TEST_F(CpTableTest, WritesEveryCellInItsStorageClass) {
  AddPoint(5);
  Measure(5, 3, 100.0, 200.25);
  ASSERT_TRUE(Write());
  const Row expected = {{"integer", "5"}, {"integer", "3"}, {"real", "100"}, {"real", "200.25"}};
  EXPECT_THAT(Query("SELECT * FROM data_cp"), ElementsAre(expected));
}

TEST_F(CpTableTest, WritesARowForEachMeasurementByPointThenImage) {
  AddPoint(6);
  AddPoint(5);
  Measure(6, 1, 7, 8);
  Measure(5, 8, 3, 4);
  Measure(5, 3, 1, 2);
  ASSERT_TRUE(Write());
  EXPECT_THAT(Rows(), ElementsAre("5 3 1 2", "5 8 3 4", "6 1 7 8"));
}

TEST_F(CpTableTest, MeasurementsWithoutAGroundPointAreNotWritten) {
  AddPoint(5);
  Measure(5, 3, 1, 2);
  Measure(6, 3, 9, 9);
  ASSERT_TRUE(Write());
  EXPECT_THAT(Rows(), ElementsAre("5 3 1 2"));
}

TEST_F(CpTableTest, MeasurementsInUnknownImagesAreWritten) {
  AddImages({1});
  AddPoint(5);
  Measure(5, 3, 1, 2);
  ASSERT_TRUE(Write());
  EXPECT_THAT(Rows(), ElementsAre("5 3 1 2"));
}

TEST_F(CpTableTest, PointsWithoutMeasurementsAreWrittenAsNoRows) {
  AddPoint(5);
  AddPoint(6);
  Common().AddGroundPoint(6);
  ASSERT_TRUE(Write());
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(CpTableTest, APointWithoutMeasurementsDoesNotRepeatThoseOfThePointBefore) {
  AddPoint(5);
  AddPoint(6);
  AddPoint(7);
  Measure(5, 3, 1, 2);
  Measure(7, 4, 3, 4);
  ASSERT_TRUE(Write());
  EXPECT_THAT(Rows(), ElementsAre("5 3 1 2", "7 4 3 4"));
}

TEST_F(CpTableTest, WritingWithoutTheTableFails) {
  EXPECT_FALSE(InNewDatabase({&QvProject::WriteCPRecords}));
}

TEST_F(CpTableTest, ReadsEveryColumn) {
  AddImages({3, 8});
  Execute(kCpTable + "INSERT INTO data_cp VALUES(5, 8, 3.5, 4.5), (5, 3, 1.5, 2.5);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(MeasurementsOf(5), ElementsAre(Pair(3, Point2_T<double>{1.5, 2.5}),  //
                                             Pair(8, Point2_T<double>{3.5, 4.5})));
}

TEST_F(CpTableTest, MeasurementsInUnknownImagesAreNotReadButTheOthersOfThePointAre) {
  AddImages({3, 8});
  Execute(kCpTable + "INSERT INTO data_cp VALUES(5, 3, 1, 2), (5, 12, 9, 9), (5, 8, 3, 4);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(MeasurementsOf(5), ElementsAre(Pair(3, Point2_T<double>{1, 2}),  //
                                             Pair(8, Point2_T<double>{3, 4})));
}

TEST_F(CpTableTest, AnImagesPositionIsNotItsId) {
  AddImages({10, 11, 12});
  Execute(kCpTable + "INSERT INTO data_cp VALUES(5, 1, 1, 2), (5, 11, 3, 4);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(MeasurementsOf(5), ElementsAre(Pair(11, Point2_T<double>{3, 4})));
}

TEST_F(CpTableTest, APointOnlySeenInUnknownImagesGetsNoEntry) {
  Execute(kCpTable + "INSERT INTO data_cp VALUES(5, 3, 1, 2);");
  ASSERT_TRUE(Read());
  Measurements measurements;
  EXPECT_FALSE(Common().GetGroundPoint(5, measurements));
}

TEST_F(CpTableTest, MeasurementsWithoutAGroundPointAreReadAndNotWrittenBack) {
  AddImages({3});
  Execute(kCpTable + "INSERT INTO data_cp VALUES(5, 3, 1, 2);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(MeasurementsOf(5), ElementsAre(Pair(3, Point2_T<double>{1, 2})));
  std::filesystem::remove(Path());
  ASSERT_TRUE(Write());
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(CpTableTest, ReadingAddsToTheMeasurementsThatAreThere) {
  AddImages({3, 8});
  Measure(5, 3, 1, 2);
  Measure(6, 3, 1, 2);
  Execute(kCpTable + "INSERT INTO data_cp VALUES(5, 8, 3, 4);");
  ASSERT_TRUE(Read());
  EXPECT_EQ(MeasurementsOf(5).size(), 2U);
  EXPECT_EQ(MeasurementsOf(6).size(), 1U);
}

TEST_F(CpTableTest, AMissingTableIsNoFailureAndAddsNothing) {
  AddImages({3});
  Execute("CREATE TABLE other(x INTEGER);");
  EXPECT_TRUE(Read());
  EXPECT_EQ(project_.GetGroundControl(), qvgcp::GCPPrj());
}

TEST_F(CpTableTest, AClosedDatabaseIsFalseAndChangesNothing) {
  EXPECT_FALSE(WithClosedDatabase(&QvProject::ReadCPRecords));
  EXPECT_EQ(project_.GetGroundControl(), qvgcp::GCPPrj());
}

TEST_F(CpTableTest, WithFewerColumnsCellsRunOnIntoTheNextRowAndEndWithTheLast) {
  AddImages({3, 8});
  Execute(
      "CREATE TABLE data_cp(gcp_id INTEGER, image_id INTEGER);"
      "INSERT INTO data_cp VALUES(5, 3), (6, 8);");
  ASSERT_TRUE(Read());
  EXPECT_THAT(MeasurementsOf(5), ElementsAre(Pair(3, Point2_T<double>{6, 8})));
  EXPECT_THAT(MeasurementsOf(6), ElementsAre(Pair(8, Point2_T<double>{0, 0})));
}

}  // namespace
