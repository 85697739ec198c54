#include "qvfd/Track.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <type_traits>
#include <vector>

namespace {

using qvfd::Point2_T;
using qvfd::Track;
using qvfd::TrackObservation;

TEST(Point2, StartsAtZero) {
  EXPECT_EQ(Point2_T<int>(), (Point2_T<int>{0, 0}));
  EXPECT_EQ(Point2_T<double>(), (Point2_T<double>{0.0, 0.0}));
}

TEST(Point2, IsOrderedByXFirst) {
  EXPECT_LT((Point2_T<int>{1, 9}), (Point2_T<int>{2, 0}));
  EXPECT_FALSE((Point2_T<int>{2, 0} < Point2_T<int>{1, 9}));
}

TEST(Point2, IsOrderedByYWhereXIsEqual) {
  EXPECT_LT((Point2_T<int>{1, 2}), (Point2_T<int>{1, 3}));
  EXPECT_FALSE((Point2_T<int>{1, 3} < Point2_T<int>{1, 2}));
}

TEST(Point2, IsNotBeforeItself) {
  EXPECT_FALSE((Point2_T<int>{1, 2} < Point2_T<int>{1, 2}));
}

TEST(Point2, OrdersNegativeAndExtremeIds) {
  constexpr int kLowest = std::numeric_limits<int>::min();
  constexpr int kHighest = std::numeric_limits<int>::max();
  EXPECT_LT((Point2_T<int>{kLowest, kHighest}), (Point2_T<int>{-1, kLowest}));
  EXPECT_LT((Point2_T<int>{-1, 0}), (Point2_T<int>{0, -1}));
  EXPECT_LT((Point2_T<int>{kHighest, kLowest}), (Point2_T<int>{kHighest, kHighest}));
}

TEST(Point2, AMapOfPairsIsWalkedLexicographically) {
  std::map<Point2_T<int>, int> pairs{{{2, 1}, 0}, {{1, 2}, 0}, {{1, 1}, 0}, {{-1, 7}, 0}, {{2, -1}, 0}};
  std::vector<Point2_T<int>> walked;
  for (const auto& [pair, unused] : pairs) {
    walked.push_back(pair);
  }
  EXPECT_EQ(walked, (std::vector<Point2_T<int>>{{-1, 7}, {1, 1}, {1, 2}, {2, -1}, {2, 1}}));
}

TEST(Point2, IsEqualInBothPartsOnly) {
  EXPECT_EQ((Point2_T<float>{1.5F, 2.5F}), (Point2_T<float>{1.5F, 2.5F}));
  EXPECT_NE((Point2_T<float>{1.5F, 2.5F}), (Point2_T<float>{1.5F, 2.0F}));
  EXPECT_NE((Point2_T<float>{1.5F, 2.5F}), (Point2_T<float>{1.0F, 2.5F}));
}

// The track file holds arrays of them as they stand in memory.
TEST(Point2, HasNoPadding) {
  EXPECT_EQ(sizeof(Point2_T<float>), 8U);
  EXPECT_EQ(sizeof(Point2_T<int>), 8U);
  EXPECT_TRUE(std::is_trivially_copyable_v<Point2_T<float>>);
}

TEST(TrackObservation, HasNoPadding) {
  EXPECT_EQ(sizeof(TrackObservation), 12U);
  EXPECT_TRUE(std::is_trivially_copyable_v<TrackObservation>);
}

TEST(Track, StartsEmptyAtTheOrigin) {
  EXPECT_EQ(Track(), (Track{0.0, 0.0, 0.0, {}}));
}

TEST(Track, IsEqualInEveryPartOnly) {
  const Track track{1.0, 2.0, 3.0, {{7, 0.5F, 1.5F}}};
  EXPECT_EQ(track, (Track{1.0, 2.0, 3.0, {{7, 0.5F, 1.5F}}}));
  EXPECT_NE(track, (Track{1.0, 2.0, 4.0, {{7, 0.5F, 1.5F}}}));
  EXPECT_NE(track, (Track{1.0, 2.0, 3.0, {{8, 0.5F, 1.5F}}}));
  EXPECT_NE(track, (Track{1.0, 2.0, 3.0, {}}));
}

}  // namespace
