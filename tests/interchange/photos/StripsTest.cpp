// The flight strips of a sequence of positions.
#include "interchange/mapping/Strips.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <set>

#include "examples/FlightSimulator.h"
#include "interchange/text/TextFile.h"
#include "support/TestFiles.h"

using interchange::PlanePoint;
using interchange::StripsOf;
using testing::Each;
using testing::ElementsAre;

namespace {

/// Lines of `length` positions to and fro, east first, `spacing` metres apart, 60 m between lines.
std::vector<PlanePoint> Serpentine(int lines, int length, double spacing, double noise, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<PlanePoint> points;
  const auto shake = [&] { return noise * (static_cast<double>(random() % 2001U) / 1000.0 - 1.0); };
  for (int line = 0; line < lines; ++line) {
    for (int i = 0; i < length; ++i) {
      const int along = line % 2 == 0 ? i : length - 1 - i;
      points.push_back({along * spacing + shake(), line * 60.0 + shake()});
    }
  }
  return points;
}

std::vector<int> Expected(int lines, int length) {
  std::vector<int> strips;
  for (int line = 0; line < lines; ++line) {
    strips.insert(strips.end(), static_cast<std::size_t>(length), line + 1);
  }
  return strips;
}

TEST(Strips, OfALineIsOne) {
  EXPECT_THAT(StripsOf({}), ElementsAre());
  EXPECT_THAT(StripsOf({{0, 0}}), ElementsAre(1));
  EXPECT_THAT(StripsOf({{0, 0}, {10, 0}}), ElementsAre(1, 1));
  EXPECT_THAT(StripsOf({{0, 0}, {10, 0}, {20, 0}, {30, 0}}), ElementsAre(1, 1, 1, 1));
}

TEST(Strips, OfASerpentineAreItsLines) {
  EXPECT_EQ(StripsOf(Serpentine(8, 12, 25, 0, 1)), Expected(8, 12));
  EXPECT_EQ(StripsOf(Serpentine(3, 3, 25, 0, 1)), Expected(3, 3));
}

TEST(Strips, BearNoiseOfAFifthOfTheSpacing) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    EXPECT_EQ(StripsOf(Serpentine(8, 12, 25, 5, seed)), Expected(8, 12)) << seed;
  }
}

TEST(Strips, GoOnWhileTheAircraftHovers) {
  std::vector<PlanePoint> points;
  for (int i = 0; i < 10; ++i) {
    points.push_back({i * 20.0, 0});
  }
  for (int i = 0; i < 6; ++i) {
    points.push_back({180.0 + (i % 2) * 0.3, (i % 3) * 0.4});
  }
  for (int i = 1; i < 10; ++i) {
    points.push_back({180.0 + i * 20.0, 0});
  }
  EXPECT_THAT(StripsOf(points), Each(1));
  EXPECT_THAT(StripsOf(std::vector<PlanePoint>(5)), Each(1));
}

TEST(Strips, TakePhotosOfATurnToTheNearerLine) {
  // East along y = 0, two photos in the turn, west along y = 60.
  const std::vector<int> strips = StripsOf(
      {{0, 0}, {20, 0}, {40, 0}, {60, 0}, {72, 15}, {74, 45}, {60, 60}, {40, 60}, {20, 60}, {0, 60}});
  EXPECT_THAT(strips, ElementsAre(1, 1, 1, 1, 1, 2, 2, 2, 2, 2));
}

TEST(Strips, GoOnBehindALongTurn) {
  // Courses as one flight had them: north, a turn over several photos, south.
  std::vector<PlanePoint> points = {{0, 0}};
  for (const int course : {3, 9, 13, 10, 2, 345, 298, 250, 245, 217, 195, 175, 169, 175, 174, 176}) {
    const double angle = course * std::numbers::pi / 180.0;
    points.push_back({points.back().x + 8.0 * std::sin(angle), points.back().y + 8.0 * std::cos(angle)});
  }
  const std::vector<int> strips = StripsOf(points);
  EXPECT_EQ(strips.back(), 2);
  EXPECT_EQ(std::set<int>(strips.begin(), strips.end()).size(), 2U);
}

TEST(Strips, OfASimulatedSurveyAreThoseThatWereFlown) {
  flightsim::SurveyPlan plan;
  const std::vector<flightsim::Photo> photos = flightsim::Fly(plan, 7);
  std::vector<PlanePoint> points;
  std::vector<int> flown;
  const double metres = 111'200.0;
  for (const flightsim::Photo& photo : photos) {
    points.push_back({photo.longitude * metres * std::cos(plan.latitude * std::numbers::pi / 180.0),
                      photo.latitude * metres});
    flown.push_back(photo.strip + 1);
  }
  EXPECT_EQ(StripsOf(points), flown);
}

int CountStrips(const std::string& file) {
  const std::string text = interchange::ReadWholeFile(file);
  interchange::Lines lines(text);
  const std::vector<std::string> names = interchange::Fields(*lines.Next(), ',');
  std::vector<PlanePoint> points;
  double scale = 0.0;
  while (const auto line = lines.Next()) {
    const std::vector<std::string> fields = interchange::Fields(*line, ',');
    const double latitude = *interchange::NumberOf(fields[3]);
    // One scale for all: longitudes of a flight are many times its width.
    scale = scale == 0.0 ? std::cos(latitude * std::numbers::pi / 180.0) : scale;
    points.push_back({*interchange::NumberOf(fields[4]) * 111'200.0 * scale, latitude * 111'200.0});
  }
  const std::vector<int> strips = StripsOf(points);
  return static_cast<int>(std::set<int>(strips.begin(), strips.end()).size());
}

// Counted on a list of the courses from photo to photo: 23 lines; 8 lines and a transit of four photos.
TEST(Strips, OfRealFlightsAreTheirLines) {
  QVPRJ_NEEDS_TEST_DATA();
  EXPECT_EQ(CountStrips(*support::TestData() + "/flights/images_seneca.csv"), 23);
  EXPECT_EQ(CountStrips(*support::TestData() + "/flights/images_caliterra.csv"), 9);
}

}  // namespace
