#include "qvgcp/GCPPrj.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <string>
#include <vector>

namespace {

using qvfd::Point2_T;
using qvgcp::CommonPoints;
using qvgcp::GCPPrj;
using qvgcp::GroundPoint;
using qvgcp::GroundPoints;
using testing::ElementsAre;
using testing::Pair;

using Measurements = std::map<int, Point2_T<double>>;

GroundPoint Point(const std::string& name) {
  GroundPoint point;
  point.name = name;
  return point;
}

std::vector<int> IdsOf(const GroundPoints& points) {
  std::vector<int> ids;
  points.GetPointIndex(ids);
  return ids;
}

Measurements MeasurementsOf(const CommonPoints& points, int id) {
  Measurements measurements;
  EXPECT_TRUE(points.GetGroundPoint(id, measurements)) << "no entry for " << id;
  return measurements;
}

TEST(GroundPoint, StartsEnabledAtTheOrigin) {
  const GroundPoint point;
  EXPECT_EQ(point.name, "");
  EXPECT_EQ(point.x, 0.0);
  EXPECT_EQ(point.y, 0.0);
  EXPECT_EQ(point.z, 0.0);
  EXPECT_EQ(point.type, 0);
  EXPECT_TRUE(point.enable);
  EXPECT_TRUE(point.measurements.empty());
}

TEST(GroundPoints, StartsEmpty) {
  EXPECT_THAT(IdsOf(GroundPoints()), ElementsAre());
}

TEST(GroundPoints, KeepsEveryFieldOfAPoint) {
  const GroundPoint point{"\xB1\xBE 1", 1.5, -2.5, 1e-300, -7, false, {{3, 0.25, 0.75}}};
  GroundPoints points;
  points.AddPoint(12, point);
  GroundPoint out;
  ASSERT_TRUE(points.GetPoint(12, out));
  EXPECT_EQ(out, point);
}

TEST(GroundPoints, AddPointReturnsTheId) {
  GroundPoints points;
  EXPECT_EQ(points.AddPoint(12, Point("a")), 12);
  EXPECT_EQ(points.AddPoint(-3, Point("b")), -3);
  EXPECT_EQ(points.AddPoint(12, Point("c")), 12);
}

TEST(GroundPoints, ListsAscendingIdsEachOnce) {
  GroundPoints points;
  for (const int id : {7, -1, 300, 0, 7, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    points.AddPoint(id, Point("p"));
  }
  EXPECT_THAT(IdsOf(points),
              ElementsAre(std::numeric_limits<int>::min(), -1, 0, 7, 300, std::numeric_limits<int>::max()));
}

TEST(GroundPoints, TheListReplacesWhatTheOutputHeld) {
  GroundPoints points;
  points.AddPoint(4, Point("p"));
  std::vector<int> ids{1, 2, 3};
  points.GetPointIndex(ids);
  EXPECT_THAT(ids, ElementsAre(4));
  GroundPoints().GetPointIndex(ids);
  EXPECT_THAT(ids, ElementsAre());
}

TEST(GroundPoints, APresentIdIsReplaced) {
  GroundPoints points;
  points.AddPoint(5, Point("early"));
  points.AddPoint(5, Point("late"));
  GroundPoint out;
  ASSERT_TRUE(points.GetPoint(5, out));
  EXPECT_EQ(out, Point("late"));
  EXPECT_THAT(IdsOf(points), ElementsAre(5));
}

TEST(GroundPoints, AMissingPointLeavesTheOutputAsItWas) {
  GroundPoints points;
  points.AddPoint(5, Point("other"));
  GroundPoint out = Point("before");
  EXPECT_FALSE(points.GetPoint(6, out));
  EXPECT_EQ(out, Point("before"));
}

TEST(GroundPoints, ACopyIsIndependent) {
  GroundPoints points;
  points.AddPoint(1, Point("kept"));
  const GroundPoints copy = points;
  points.AddPoint(1, Point("changed"));
  points.AddPoint(2, Point("added"));
  GroundPoint out;
  ASSERT_TRUE(copy.GetPoint(1, out));
  EXPECT_EQ(out.name, "kept");
  EXPECT_THAT(IdsOf(copy), ElementsAre(1));
}

TEST(CommonPoints, APointWithoutEntryLeavesTheOutputAsItWas) {
  CommonPoints points;
  points.AddGroundPoint(1);
  Measurements out{{9, {9.0, 9.0}}};
  EXPECT_FALSE(points.GetGroundPoint(2, out));
  EXPECT_THAT(out, ElementsAre(Pair(9, Point2_T<double>{9.0, 9.0})));
}

TEST(CommonPoints, AnEntryWithoutMeasurementsIsEmpty) {
  CommonPoints points;
  points.AddGroundPoint(5);
  Measurements out{{9, {9.0, 9.0}}};
  EXPECT_TRUE(points.GetGroundPoint(5, out));
  EXPECT_TRUE(out.empty());
}

TEST(CommonPoints, GivesWhatWasMeasured) {
  CommonPoints points;
  points.AddGroundPoint(5);
  points.AddImagePoint(5, 20, {1.5, 2.5});
  points.AddImagePoint(5, -1, {3.5, 4.5});
  EXPECT_THAT(MeasurementsOf(points, 5),
              ElementsAre(Pair(-1, Point2_T<double>{3.5, 4.5}), Pair(20, Point2_T<double>{1.5, 2.5})));
}

TEST(CommonPoints, AddingAPointAgainKeepsItsMeasurements) {
  CommonPoints points;
  points.AddGroundPoint(5);
  points.AddImagePoint(5, 1, {1.0, 1.0});
  points.AddGroundPoint(5);
  points.AddImagePoint(5, 2, {2.0, 2.0});
  EXPECT_THAT(MeasurementsOf(points, 5),
              ElementsAre(Pair(1, Point2_T<double>{1.0, 1.0}), Pair(2, Point2_T<double>{2.0, 2.0})));
}

TEST(CommonPoints, AMeasurementMakesTheEntry) {
  CommonPoints points;
  points.AddImagePoint(6, 1, {1.0, 2.0});
  EXPECT_THAT(MeasurementsOf(points, 6), ElementsAre(Pair(1, Point2_T<double>{1.0, 2.0})));
}

TEST(CommonPoints, ALaterMeasurementInTheSameImageCounts) {
  CommonPoints points;
  points.AddImagePoint(6, 1, {1.0, 2.0});
  points.AddImagePoint(6, 1, {3.0, 4.0});
  EXPECT_THAT(MeasurementsOf(points, 6), ElementsAre(Pair(1, Point2_T<double>{3.0, 4.0})));
}

TEST(CommonPoints, PointsDoNotMix) {
  CommonPoints points;
  points.AddImagePoint(1, 7, {1.0, 1.0});
  points.AddImagePoint(2, 7, {2.0, 2.0});
  EXPECT_THAT(MeasurementsOf(points, 1), ElementsAre(Pair(7, Point2_T<double>{1.0, 1.0})));
  EXPECT_THAT(MeasurementsOf(points, 2), ElementsAre(Pair(7, Point2_T<double>{2.0, 2.0})));
}

TEST(CommonPoints, TheMeasurementsReplaceWhatTheOutputHeld) {
  CommonPoints points;
  points.AddImagePoint(1, 7, {1.0, 1.0});
  Measurements out{{9, {9.0, 9.0}}};
  ASSERT_TRUE(points.GetGroundPoint(1, out));
  EXPECT_THAT(out, ElementsAre(Pair(7, Point2_T<double>{1.0, 1.0})));
}

TEST(CommonPoints, ACopyIsIndependent) {
  CommonPoints points;
  points.AddImagePoint(1, 7, {1.0, 1.0});
  const CommonPoints copy = points;
  points.AddImagePoint(1, 8, {2.0, 2.0});
  EXPECT_EQ(MeasurementsOf(copy, 1).size(), 1U);
}

TEST(GCPPrj, StartsWithoutPointsAndMeasurements) {
  const GCPPrj project;
  Measurements out;
  EXPECT_THAT(IdsOf(project.ground_points), ElementsAre());
  EXPECT_FALSE(project.common_points.GetGroundPoint(0, out));
}

TEST(GCPPrj, PointsAndMeasurementsAreApart) {
  GCPPrj project;
  project.ground_points.AddPoint(1, Point("without measurements"));
  project.common_points.AddImagePoint(2, 7, {1.0, 1.0});
  Measurements out;
  EXPECT_FALSE(project.common_points.GetGroundPoint(1, out));
  EXPECT_THAT(IdsOf(project.ground_points), ElementsAre(1));
}

TEST(GCPPrj, IsEqualInBothPartsOnly) {
  GCPPrj project;
  project.ground_points.AddPoint(1, Point("a"));
  GCPPrj other = project;
  EXPECT_EQ(project, other);
  other.common_points.AddGroundPoint(1);
  EXPECT_NE(project, other);
  other = project;
  other.ground_points.AddPoint(1, Point("b"));
  EXPECT_NE(project, other);
}

TEST(GCPPrj, AssigningReplacesBothParts) {
  GCPPrj project;
  project.ground_points.AddPoint(1, Point("a"));
  project.common_points.AddImagePoint(1, 7, {1.0, 1.0});
  GCPPrj other;
  other.ground_points.AddPoint(99, Point("gone"));
  other = project;
  EXPECT_EQ(other, project);
}

}  // namespace
