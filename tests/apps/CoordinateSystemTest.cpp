// Coordinate systems as a person names them, and conversions that agree with the library's.
#include "common/CoordinateSystem.h"

#include <gtest/gtest.h>

#include <limits>

#include "Commands.h"
#include "support/ProjectBuilder.h"

using namespace apps_test;
using qvapp::Conversion;
using qvapp::CoordinateOfCode;
using qvapp::Direction;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// A system of the host's own.
int Register(int id, const std::string& definition) {
  qvfd::CoordinateInfo system;
  system.id = id;
  system.type = 0;
  system.name = "Site " + std::to_string(id);
  system.definition = definition;
  qvfd::QvConfiguration::Instance().AddCoordinate(system);
  return id;
}

qvfd::CoordinateInfo System(int id) {
  return qvapp::FindCoordinate(id).value();
}

void ExpectRefused(const std::string& code, const std::string& problem) {
  try {
    ADD_FAILURE() << "'" << code << "' was taken for " << CoordinateOfCode(code).id;
  } catch (const qvapp::Failure& failure) {
    EXPECT_EQ(failure.ExitCode(), qvapp::kWrongUsage) << code;
    EXPECT_THAT(failure.what(), StartsWith("--crs: " + problem)) << code;
    EXPECT_THAT(failure.what(), HasSubstr("; see 'qvprj crs find TEXT'")) << code;
  }
}

}  // namespace

TEST(CoordinateOfCode, TakesTheNumberWithOrWithoutAuthority) {
  for (const char* code : {"EPSG:32650", "epsg:32650", "EpSg:32650", "32650"}) {
    EXPECT_EQ(CoordinateOfCode(code).id, 32650) << code;
  }
}

TEST(CoordinateOfCode, FindsSystemsThatAreNotListed) {
  EXPECT_EQ(CoordinateOfCode("2225").id, 2225);
  EXPECT_EQ(CoordinateOfCode("EPSG:27700").definition, "EPSG:27700");
}

TEST(CoordinateOfCode, RefusesWhatIsNoCode) {
  for (const std::string code :
       {"", "EPSG:", "EPSG", "EPSG32650", "ESRI:102001", "WGS 84", "32650x", " 32650", "32650 ", "-1",
        "EPSG:-1", "+32650", "0x7f8a", "1e3", "4294999946"}) {
    ExpectRefused(code, "'" + code + "' is no code such as EPSG:32650");
  }
}

TEST(CoordinateOfCode, RefusesWhatTheRegistryDoesNotKnow) {
  ExpectRefused("EPSG:999999", "no coordinate system with the code 'EPSG:999999' is known");
  ExpectRefused("5703", "no coordinate system with the code '5703' is known");
}

TEST(CoordinateOfCode, RefusesASystemToWhichNothingCanBeConverted) {
  const std::string code = std::to_string(Register(990101, "a plane of our own"));
  ExpectRefused(code, "no position can be converted to '" + code + "'");
}

TEST(CoordinateText, NamesTheSystem) {
  EXPECT_EQ(qvapp::CoordinateText(-1), "none (local)");
  EXPECT_EQ(qvapp::CoordinateText(4549), "4549 (CGCS2000 3-degree Gauss-Kruger CM 120E)");
  EXPECT_EQ(qvapp::CoordinateText(999999), "999999 (not known here)");
  EXPECT_EQ(qvapp::CoordinateText(-2), "-2 (not known here)");
}

TEST(LocalUnit, IsThatOfTheSystem) {
  EXPECT_EQ(qvapp::LocalUnit(System(4549)), "metre");
  EXPECT_EQ(qvapp::LocalUnit(System(2225)), "US survey foot");
  EXPECT_EQ(qvapp::LocalUnit(System(Register(990102, "+proj=utm +zone=32 +datum=WGS84"))), "");
}

TEST(LocalUnit, IsRadiansInEveryGeographicSystem) {
  EXPECT_EQ(qvapp::LocalUnit(System(4326)), "radian");
  EXPECT_EQ(qvapp::LocalUnit(System(4490)), "radian");
  EXPECT_EQ(qvapp::LocalUnit(System(4807)), "radian") << "a system in grads";
}

TEST(Conversion, AgreesWithTheLibraryBitForBit) {
  support::Random random(11);
  for (const int id : {4549, 32632, 2225, 4326, 4490, 3857}) {
    qvprj::QvProject project;
    project.GetPrjInfo().coordinate_id = id;
    Conversion to(System(id), Direction::kToLocal);
    Conversion from(System(id), Direction::kFromLocal);
    for (int i = 0; i < 50; ++i) {
      qvfd::Point2_T<double> point{random.Between(-180, 180), random.Between(-89, 89)};
      const auto local = project.ToLocal(point);
      const bool toLocal = to.Convert(point.x, point.y);
      EXPECT_EQ(point, local) << id << (toLocal ? "" : ", not converted");
      const auto degrees = project.FromLocal(local);
      const bool fromLocal = from.Convert(point.x, point.y);
      EXPECT_EQ(point, degrees) << id << (fromLocal ? "" : ", not converted");
    }
  }
}

TEST(Conversion, KnowsThePlacesThatAreKnown) {
  Conversion utm32(System(32632), Direction::kToLocal);
  double x = 9.0;
  double y = 0.0;
  ASSERT_TRUE(utm32.Convert(x, y));
  EXPECT_EQ(x, 500000.0);
  EXPECT_EQ(y, 0.0);
  Conversion utm31(System(32631), Direction::kToLocal);
  x = -2.0;
  y = 60.0;
  ASSERT_TRUE(utm31.Convert(x, y));
  EXPECT_NEAR(x, 221288.77, 0.03);
  EXPECT_NEAR(y, 6661953.041, 0.03);
  Conversion gauss(System(4549), Direction::kToLocal);
  x = 120.0;
  y = 30.0;
  ASSERT_TRUE(gauss.Convert(x, y));
  EXPECT_NEAR(x, 500000.0, 1e-6);
}

TEST(Conversion, LeavesWhatItCannotConvert) {
  Conversion conversion(System(32632), Direction::kToLocal);
  double x = 9.0;
  double y = 91.0;
  EXPECT_FALSE(conversion.Convert(x, y));
  EXPECT_EQ(x, 9.0);
  EXPECT_EQ(y, 91.0);
}

TEST(Conversion, IsNotPossibleWithoutDefinition) {
  EXPECT_FALSE(Conversion(qvfd::CoordinateInfo(), Direction::kToLocal).IsPossible());
  EXPECT_TRUE(Conversion(System(4549), Direction::kFromLocal).IsPossible());
}

TEST(CountUnconvertible, CountsWhatHasNoPlaceInTheSystem) {
  qvfd::ImageInfoSet images;
  EXPECT_EQ(qvapp::CountUnconvertible(images, System(32632)), 0);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const double latitude : {0.0, 91.0, nan, 50.0}) {
    images.AddImage(1, "", "", {9.0, latitude, 0, 0, 0, 0}, 0, 1, true);
  }
  EXPECT_EQ(qvapp::CountUnconvertible(images, System(32632)), 2);
}
