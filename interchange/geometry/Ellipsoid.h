// Positions on the WGS 84 ellipsoid in the Cartesian frame of the Earth, and local frames on it.
#pragma once

#include "interchange/geometry/Rotation.h"

namespace interchange {

/// A position on the globe: degrees on WGS 84, and a height in metres.
struct Geodetic {
  double longitude = 0.0;
  double latitude = 0.0;
  double height = 0.0;

  friend bool operator==(const Geodetic&, const Geodetic&) = default;
};

/// Metres in the Earth-centred, Earth-fixed frame. The height counts from the ellipsoid.
[[nodiscard]] Vector3 EarthCentred(const Geodetic& position);

/// The inverse, good to better than a nanometre within 10,000 km of the surface.
[[nodiscard]] Geodetic GeodeticOf(const Vector3& earthCentred);

/// The rows are east, north and up at a position, in the Earth-centred frame: it takes Earth-centred
/// directions to local ones.
[[nodiscard]] Matrix3 LocalAxes(const Geodetic& position);

/// The metres that one degree of latitude takes on the ellipsoid at a latitude in degrees.
[[nodiscard]] double MetresPerDegreeOfLatitude(double latitude);

}  // namespace interchange
