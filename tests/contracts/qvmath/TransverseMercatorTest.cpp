// The zones against another implementation of the transverse Mercator projection, with elliptic integrals in
// place of series.

#include <gtest/gtest.h>

#include <GeographicLib/Constants.hpp>
#include <GeographicLib/TransverseMercatorExact.hpp>

#include "Positions.h"
#include "detail/BuiltInSystems.h"

namespace qvmath_test {
namespace {

using GeographicLib::TransverseMercatorExact;
using qvdetail::BuiltInSystem;
using qvdetail::ZoneKind;
using qvfd::CoordinateInfoSet;
using qvmath::GeoPrj;

/// One over the flattening. Sources: the defining parameters of WGS 84, of CGCS2000 (GRS 80) and of Xian 1980
/// (IAG 1975).
TransverseMercatorExact ProjectionOf(const BuiltInSystem& system) {
  const bool utm = system.family->kind == ZoneKind::kUtmNorth || system.family->kind == ZoneKind::kUtmSouth;
  const double scale = utm ? 0.9996 : 1.0;
  switch (system.family->type) {
    case qvdetail::kTypeXian1980:
      return {6378140.0, 1.0 / 298.257, scale};
    case qvdetail::kTypeCGCS2000:
      return {6378137.0, 1.0 / 298.257222101, scale};
    default:
      return {6378137.0, 1.0 / 298.257223563, scale};
  }
}

TEST(TransverseMercator, AgreesWithAnotherImplementation) {
  constexpr double kTolerance = 1e-6;  // metres
  qvdetail::EachBuiltIn([](const BuiltInSystem& system) {
    if (system.IsGeographic()) {
      return;
    }
    const TransverseMercatorExact projection = ProjectionOf(system);
    const double falseNorthing = system.family->kind == ZoneKind::kUtmSouth ? 10'000'000.0 : 0.0;
    GeoPrj there(CoordinateInfoSet::GetWGS84(), Epsg(system.code));
    GeoPrj back(Epsg(system.code), CoordinateInfoSet::GetWGS84());
    for (double offset = -4.5; offset <= 4.5; offset += 1.5) {
      for (double latitude = -80.0; latitude <= 84.0; latitude += 4.0) {
        const Position place{system.CentralMeridian() + offset, latitude};
        Position expected;
        projection.Forward(system.CentralMeridian(), place.y, place.x, expected.x, expected.y);
        expected = {expected.x + system.FalseEasting(), expected.y + falseNorthing};
        const auto actual = FromDegrees(there, place);
        ASSERT_TRUE(actual) << system.code << place;
        EXPECT_NEAR(actual->x, expected.x, kTolerance) << system.code << place;
        EXPECT_NEAR(actual->y, expected.y, kTolerance) << system.code << place;

        const auto again = ToDegrees(back, expected);
        ASSERT_TRUE(again) << system.code << place;
        EXPECT_NEAR(std::remainder(again->x - place.x, 360.0), 0.0, 1e-10) << system.code << place;
        EXPECT_NEAR(again->y, place.y, 1e-11) << system.code << place;
      }
    }
  });
}

}  // namespace
}  // namespace qvmath_test
