#include "examples/FlightSimulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <set>

#include "qvprj/qvprj.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

namespace flightsim {
namespace {

using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;

constexpr double kMetresPerDegree = 111195.0;  // good to a per cent, which is all that these tests ask for

SurveyPlan PlanOf(int images) {
  SurveyPlan plan;
  plan.images = images;
  return plan;
}

double Metres(const Photo& a, const Photo& b) {
  const double east =
      (b.longitude - a.longitude) * kMetresPerDegree * std::cos(a.latitude * std::numbers::pi / 180.0);
  return std::hypot(east, (b.latitude - a.latitude) * kMetresPerDegree);
}

// Distance from `photo` to the line of the strip that begins at the block's corner, positive to its left.
double LeftOfFirstStrip(const SurveyPlan& plan, const Photo& photo) {
  const double course = plan.strip_course * std::numbers::pi / 180.0;
  const double east = (photo.longitude - plan.longitude) * kMetresPerDegree *
                      std::cos(plan.latitude * std::numbers::pi / 180.0);
  const double north = (photo.latitude - plan.latitude) * kMetresPerDegree;
  return north * std::sin(course) - east * std::cos(course);
}

double AngleBetween(double a, double b) {
  return std::abs(std::remainder(a - b, 360.0));
}

std::map<int, std::vector<Photo>> ByStrip(const std::vector<Photo>& photos) {
  std::map<int, std::vector<Photo>> strips;
  for (const Photo& photo : photos) {
    strips[photo.strip].push_back(photo);
  }
  return strips;
}

// Distances between neighbours of the strips flown in one direction, without those across a missed trigger.
std::vector<double> Spacings(const std::vector<Photo>& photos, bool outward) {
  std::vector<double> spacings;
  for (std::size_t i = 1; i < photos.size(); ++i) {
    const bool neighbours =
        photos[i].strip == photos[i - 1].strip && photos[i].index == photos[i - 1].index + 1;
    if (neighbours && (photos[i].strip % 2 == 0) == outward) {
      spacings.push_back(Metres(photos[i - 1], photos[i]));
    }
  }
  return spacings;
}

double Mean(const std::vector<double>& values) {
  double sum = 0.0;
  for (const double value : values) {
    sum += value;
  }
  return sum / static_cast<double>(values.size());
}

TEST(FlightSimulator, SameSeedSameFlight) {
  EXPECT_EQ(Fly(PlanOf(300), 7), Fly(PlanOf(300), 7));
}

TEST(FlightSimulator, AnotherSeedAnotherFlight) {
  EXPECT_NE(Fly(PlanOf(300), 7), Fly(PlanOf(300), 8));
}

// Values of one machine, for all machines: the flight must not depend on the platform.
TEST(FlightSimulator, SeedOneBeginsAsEverywhere) {
  const std::vector<Photo> photos = Fly(PlanOf(200), 1);

  ASSERT_EQ(photos.size(), 200U);
  EXPECT_EQ(photos.front(), (Photo{1, 0, 48.37137834, 10.09312673, 610.73, -3.0, 2.72, 57.97}));
  EXPECT_EQ(photos.back(), (Photo{207, 9, 48.37514396, 10.09307274, 610.718, -0.09, 0.62, 266.26}));
}

TEST(FlightSimulator, TakesAsManyPhotosAsAskedFor) {
  for (const int images : {1, 2, 9, 240, 2000}) {
    EXPECT_EQ(Fly(PlanOf(images), 3).size(), static_cast<std::size_t>(images));
  }
}

TEST(FlightSimulator, MissedTriggersLeaveGapsInTheIndices) {
  const std::vector<Photo> photos = Fly(PlanOf(2000), 5);

  int missed = 0;
  for (std::size_t i = 1; i < photos.size(); ++i) {
    const int step = photos[i].index - photos[i - 1].index;
    ASSERT_GE(step, 1);
    missed += step - 1;
    if (step > 1 && photos[i].strip == photos[i - 1].strip) {
      const double usual = Mean(Spacings(photos, photos[i].strip % 2 == 0));
      EXPECT_GT(Metres(photos[i - 1], photos[i]), 1.5 * usual) << "no gap on the ground";
    }
  }
  EXPECT_GT(missed, 2000 * 0.012 / 2);
  EXPECT_LT(missed, 2000 * 0.012 * 3);
}

TEST(FlightSimulator, ACameraThatAlwaysAnswersLeavesNoGaps) {
  SurveyPlan plan = PlanOf(500);
  plan.missed_share = 0.0;

  const std::vector<Photo> photos = Fly(plan, 5);

  for (std::size_t i = 0; i < photos.size(); ++i) {
    EXPECT_EQ(photos[i].index, plan.first_index + static_cast<int>(i));
  }
}

TEST(FlightSimulator, StripsAreFlownToAndFro) {
  const SurveyPlan plan = PlanOf(600);
  const auto strips = ByStrip(Fly(plan, 2));

  ASSERT_GT(strips.size(), 5U);
  for (const auto& [strip, photos] : strips) {
    const double course = strip % 2 == 0 ? plan.strip_course : plan.strip_course + 180.0;
    for (const Photo& photo : photos) {
      EXPECT_LT(AngleBetween(photo.yaw, course), 50.0) << "strip " << strip << ", image " << photo.index;
    }
  }
}

TEST(FlightSimulator, TheNosePointsIntoTheWind) {
  const SurveyPlan plan = PlanOf(600);  // the wind comes from 300, so from the left of a course of 78
  std::vector<double> outward;
  std::vector<double> back;
  for (const Photo& photo : Fly(plan, 2)) {
    (photo.strip % 2 == 0 ? outward : back)
        .push_back(
            std::remainder(photo.yaw - plan.strip_course - (photo.strip % 2 == 0 ? 0.0 : 180.0), 360.0));
  }

  const double cross =
      plan.wind_speed * std::sin((plan.wind_from - plan.strip_course) * std::numbers::pi / 180.0);
  const double expected = std::asin(cross / plan.air_speed) * 180.0 / std::numbers::pi;
  EXPECT_LT(expected, -5.0);
  EXPECT_NEAR(Mean(outward), expected, 2.0);
  EXPECT_NEAR(Mean(back), -expected, 2.0);
}

TEST(FlightSimulator, WithoutWindTheOverlapsAreAsPlanned) {
  SurveyPlan plan = PlanOf(600);
  plan.wind_speed = 0.0;
  plan.gusts = 0.0;
  const std::vector<Photo> photos = Fly(plan, 4);

  EXPECT_DOUBLE_EQ(plan.PhotoSpacing(), 20.0);  // a fifth of the 100 m that the sensor's 8.8 mm show at 100 m
  EXPECT_NEAR(Mean(Spacings(photos, true)), plan.PhotoSpacing(), 0.5);
  EXPECT_NEAR(Mean(Spacings(photos, false)), plan.PhotoSpacing(), 0.5);
}

TEST(FlightSimulator, PhotosAreFurtherApartDownwind) {
  const SurveyPlan plan = PlanOf(600);
  const std::vector<Photo> photos = Fly(plan, 4);

  const double tail =
      -plan.wind_speed * std::cos((plan.wind_from - plan.strip_course) * std::numbers::pi / 180.0);
  EXPECT_GT(tail, 2.0);
  EXPECT_NEAR(Mean(Spacings(photos, true)) - Mean(Spacings(photos, false)),
              2.0 * tail * plan.TriggerInterval(), 1.0);
  EXPECT_THAT(Spacings(photos, true),
              Each(AllOf(Ge(0.6 * plan.PhotoSpacing()), Le(1.8 * plan.PhotoSpacing()))));
}

TEST(FlightSimulator, StripsLieWhereThePlanHasThem) {
  const SurveyPlan plan = PlanOf(600);
  for (const auto& [strip, photos] : ByStrip(Fly(plan, 6))) {
    for (const Photo& photo : photos) {
      EXPECT_NEAR(LeftOfFirstStrip(plan, photo), strip * plan.StripSpacing(), 0.35 * plan.StripSpacing())
          << "strip " << strip << ", image " << photo.index;
    }
  }
}

TEST(FlightSimulator, TheLogIsPlausible) {
  const SurveyPlan plan = PlanOf(1000);
  double roll_squares = 0.0;
  for (const Photo& photo : Fly(plan, 9)) {
    EXPECT_NEAR(photo.height, plan.ground_height + plan.flying_height, 12.0);
    EXPECT_LT(std::abs(photo.roll), 40.0);
    EXPECT_LT(std::abs(photo.pitch), 15.0);
    EXPECT_GE(photo.yaw, 0.0);
    EXPECT_LE(photo.yaw, 360.0);
    roll_squares += photo.roll * photo.roll;
  }
  EXPECT_GT(std::sqrt(roll_squares / 1000.0), 1.0) << "attitude without noise";
}

// ---- The folder that a flight leaves behind

class FlightFolder : public testing::Test {
 protected:
  void Write(int images, std::uint64_t seed = 1) {
    std::string error;
    ASSERT_TRUE(WriteFlight(folder_.Path().string(), images, seed, error)) << error;
  }
  [[nodiscard]] std::string Flight() const { return folder_.File("flight.db"); }
  [[nodiscard]] std::string Project() const { return folder_.File("project.db"); }

  support::TempFolder folder_;
};

TEST_F(FlightFolder, HoldsTwoDatabases) {
  Write(40);

  EXPECT_EQ(folder_.Names(), (std::vector<std::string>{"flight.db", "project.db"}));
  EXPECT_EQ(support::Columns(Flight(), "flight_mission"),
            (std::vector<std::string>{"id TEXT", "project_id TEXT", "flight_task_name TEXT",
                                      "created_at TEXT", "survey_average_altitude REAL"}));
  EXPECT_EQ(support::Columns(Flight(), "pos_data"),
            (std::vector<std::string>{"flight_mission_id TEXT", "img_idx INTEGER", "lat REAL", "lng REAL",
                                      "alt_msl REAL", "roll REAL", "pitch REAL", "yaw REAL"}));
  EXPECT_EQ(support::Columns(Flight(), "uas_status"),
            (std::vector<std::string>{"flight_mission_id TEXT", "uas_serial_id TEXT"}));
  EXPECT_EQ(support::QueryOne(Project(), "SELECT count(*) FROM project"), "1");
}

TEST_F(FlightFolder, SameSeedSameBytes) {
  Write(120, 11);
  const support::Bytes flight = support::ReadBytes(Flight());
  const support::Bytes project = support::ReadBytes(Project());
  const support::TempFolder again;
  std::string error;
  ASSERT_TRUE(WriteFlight(again.Path().string(), 120, 11, error)) << error;

  EXPECT_EQ(support::ReadBytes(again.File("flight.db")), flight);
  EXPECT_EQ(support::ReadBytes(again.File("project.db")), project);
}

TEST_F(FlightFolder, AnotherSeedOtherMissions) {
  Write(20, 11);
  const support::TempFolder other;
  std::string error;
  ASSERT_TRUE(WriteFlight(other.Path().string(), 20, 12, error)) << error;

  const std::string ids = "SELECT group_concat(id) FROM flight_mission";
  EXPECT_NE(support::QueryOne(other.File("flight.db"), ids), support::QueryOne(Flight(), ids));
}

TEST_F(FlightFolder, ListsBothMissionsWithTheProjectOfTheSibling) {
  Write(80);
  std::vector<qvprj::FlyProjectHelper::FlyPrjInfo> missions;
  qvprj::FlyProjectHelper helper;

  ASSERT_TRUE(helper.QuickRead(Flight(), missions));

  ASSERT_EQ(missions.size(), 2U);
  EXPECT_EQ(missions[0].flight_task_name, "Survey block A");
  EXPECT_EQ(missions[1].flight_task_name, "Trial strips");
  EXPECT_GT(missions[0].created_at, missions[1].created_at);
  EXPECT_EQ(missions[0].project_name, "Riverside meadows");
  EXPECT_EQ(missions[1].project_name, "Riverside meadows");
}

TEST_F(FlightFolder, ImportsEveryImage) {
  Write(80, 21);
  std::vector<qvprj::FlyProjectHelper::FlyPrjInfo> missions;
  qvprj::FlyProjectHelper helper;
  ASSERT_TRUE(helper.QuickRead(Flight(), missions));
  qvprj::QvProject survey;
  qvprj::QvProject trial;

  ASSERT_TRUE(helper.Read(Flight(), missions[0].id, survey));
  ASSERT_TRUE(helper.Read(Flight(), missions[1].id, trial));

  EXPECT_EQ(survey.GetImageInfoSet().Size(), 80);
  EXPECT_EQ(trial.GetImageInfoSet().Size(), 10);
  EXPECT_NEAR(survey.GetPrjInfo().height, SurveyPlan().flying_height, 4.0);
  EXPECT_THAT(survey.GetPrjInfo().description, testing::StartsWith("SIM-"));
  std::set<int> ids;
  for (const qvfd::ImageInfo& image : survey.GetImageInfoSet()) {
    ids.insert(image.Id());
    EXPECT_NEAR(image.GetEOP().x, SurveyPlan().longitude, 0.1);
    EXPECT_NEAR(image.GetEOP().y, SurveyPlan().latitude, 0.1);
  }
  EXPECT_EQ(ids.size(), 80U);
  EXPECT_EQ(*ids.begin(), 1001);
}

TEST_F(FlightFolder, FilesThatAreThereStay) {
  support::WriteText(Flight(), "mine");
  std::string error;

  EXPECT_FALSE(WriteFlight(folder_.Path().string(), 10, 1, error));

  EXPECT_THAT(error, HasSubstr("flight.db"));
  EXPECT_EQ(support::ReadBytes(Flight()), (support::Bytes{'m', 'i', 'n', 'e'}));
  EXPECT_EQ(folder_.Names(), std::vector<std::string>{"flight.db"});
}

TEST_F(FlightFolder, TenThousandImagesAreQuick) {
  Write(10000);

  EXPECT_EQ(support::QueryOne(Flight(), "SELECT count(*) FROM pos_data"), "10060");
}

}  // namespace
}  // namespace flightsim
