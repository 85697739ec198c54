// The built-in systems against the geodesy database, and there and back over the whole world.

#include <gtest/gtest.h>

#include "Positions.h"
#include "detail/BuiltInSystems.h"
#include "detail/Geodesy.h"

namespace qvmath_test {
namespace {

using qvdetail::BuiltInSystem;
using qvdetail::GeodesyObject;
using qvfd::CoordinateInfoSet;
using qvmath::GeoPrj;

/// The database's own operation from WGS 84 degrees to a system, asked without the library.
class DatabaseOperation {
 public:
  explicit DatabaseOperation(int code) : context_(qvdetail::MakeGeodesyContext()) {
    const std::string target = "EPSG:" + std::to_string(code);
    const GeodesyObject planned(proj_create_crs_to_crs(context_.get(), "EPSG:4326", target.c_str(), nullptr));
    operation_.reset(proj_normalize_for_visualization(context_.get(), planned.get()));
  }

  [[nodiscard]] Position Convert(Position degrees) const {
    const PJ_COORD result =
        proj_trans(operation_.get(), PJ_FWD, proj_coord(degrees.x, degrees.y, 0.0, HUGE_VAL));
    return {result.xy.x, result.xy.y};
  }

 private:
  qvdetail::GeodesyContext context_;
  GeodesyObject operation_;
};

/// Places all over the world as far as a system goes: of a zone, closely in it and sparsely to 60 degrees on
/// both sides, where the projection still is as exact.
template <class Visit>
void EachPlace(const BuiltInSystem& system, Visit visit) {
  if (system.IsGeographic()) {
    for (double longitude = -180.0; longitude <= 180.0; longitude += 15.0) {
      for (double latitude = -90.0; latitude <= 90.0; latitude += 10.0) {
        visit(Position{longitude, latitude});
      }
    }
    return;
  }
  for (const double offset : {-60.0, -45.0, -30.0, -15.0, -5.0, -3.0, -1.5, -0.5, 0.0, 0.5, 1.5, 3.0, 5.0,
                              15.0, 30.0, 45.0, 60.0}) {
    for (double latitude = -84.0; latitude <= 84.0; latitude += 7.0) {
      visit(Position{system.CentralMeridian() + offset, latitude});
    }
  }
}

TEST(BuiltInSystems, AreAllThatTheyClaimToBe) {
  int count = 0;
  int last = 0;
  qvdetail::EachBuiltIn([&](const BuiltInSystem& system) {
    EXPECT_GT(system.code, last) << "in ascending order";
    last = system.code;
    ++count;
  });
  // WGS 84 and 120 UTM zones; of each Chinese datum, geographic and twice 11 and twice 21 zones.
  EXPECT_EQ(count, 1 + 120 + 2 * (1 + 2 * 11 + 2 * 21));
}

TEST(BuiltInSystems, AreFoundByTheirCodesAndNoOthers) {
  int found = 0;
  for (int code = -5; code < 40000; ++code) {
    const auto system = qvdetail::FindBuiltIn(code);
    found += system ? 1 : 0;
    EXPECT_TRUE(!system || system->code == code);
  }
  EXPECT_EQ(found, 251);
}

TEST(BuiltInSystems, GiveWhatTheDatabaseGives) {
  constexpr double kTolerance = 1e-8;  // metres
  constexpr double kMetresPerRadian = 6378137.0;
  qvdetail::EachBuiltIn([](const BuiltInSystem& system) {
    const DatabaseOperation database(system.code);
    GeoPrj converter(CoordinateInfoSet::GetWGS84(), Epsg(system.code));
    EachPlace(system, [&](Position place) {
      const Position expected = database.Convert(place);
      const auto actual = FromDegrees(converter, place);
      ASSERT_TRUE(actual) << system.code << place;
      if (system.IsGeographic()) {
        EXPECT_NEAR(actual->x * kMetresPerRadian, expected.x * kRadiansPerDegree * kMetresPerRadian,
                    kTolerance);
        EXPECT_NEAR(actual->y * kMetresPerRadian, expected.y * kRadiansPerDegree * kMetresPerRadian,
                    kTolerance);
      } else {
        EXPECT_NEAR(actual->x, expected.x, kTolerance) << system.code << place;
        EXPECT_NEAR(actual->y, expected.y, kTolerance) << system.code << place;
      }
    });
  });
}

TEST(BuiltInSystems, LeadThereAndBackAllOverTheWorld) {
  constexpr double kTolerance = 1e-9;  // degrees: a tenth of a millimetre
  qvdetail::EachBuiltIn([](const BuiltInSystem& system) {
    GeoPrj there(CoordinateInfoSet::GetWGS84(), Epsg(system.code));
    GeoPrj back(Epsg(system.code), CoordinateInfoSet::GetWGS84());
    EachPlace(system, [&](Position place) {
      const auto local = FromDegrees(there, place);
      ASSERT_TRUE(local) << system.code << place;
      const auto again = ToDegrees(back, *local);
      ASSERT_TRUE(again) << system.code << place;
      // Across the 180th meridian a longitude comes back a whole turn away; at a pole it has no meaning.
      EXPECT_NEAR(std::remainder(again->x - place.x, 360.0), 0.0, kTolerance) << system.code << place;
      EXPECT_NEAR(again->y, place.y, kTolerance) << system.code << place;
    });
  });
}

TEST(BuiltInSystems, EpsgCodesAreReadAsTheyAreWritten) {
  EXPECT_EQ(qvdetail::EpsgCodeOf("EPSG:4326"), 4326);
  EXPECT_EQ(qvdetail::EpsgCodeOf("epsg:4326"), 4326);
  EXPECT_EQ(qvdetail::EpsgCodeOf("4326"), 4326);
  for (const char* const text : {"", "EPSG:", "EPSG", "EPSG:4326x", "EPSG: 4326", "ESRI:54009", "0", "-4326",
                                 "+4326", "99999999999", "99999999999999999999", "[PSG:1"}) {
    EXPECT_EQ(qvdetail::EpsgCodeOf(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace qvmath_test
