// Positions on the WGS 84 ellipsoid in the Cartesian frame of the Earth, and local frames on it.
#include "interchange/geometry/Ellipsoid.h"

#include <cmath>
#include <numbers>

namespace interchange {
namespace {

constexpr double kSemiMajor = 6378137.0;
constexpr double kFlattening = 1.0 / 298.257223563;
constexpr double kEccentricity2 = kFlattening * (2.0 - kFlattening);
constexpr double kDegree = std::numbers::pi / 180.0;

}  // namespace

Vector3 EarthCentred(const Geodetic& position) {
  const double sine = std::sin(position.latitude * kDegree);
  const double cosine = std::cos(position.latitude * kDegree);
  const double n = kSemiMajor / std::sqrt(1.0 - kEccentricity2 * sine * sine);
  const double r = (n + position.height) * cosine;
  return {r * std::cos(position.longitude * kDegree), r * std::sin(position.longitude * kDegree),
          (n * (1.0 - kEccentricity2) + position.height) * sine};
}

Geodetic GeodeticOf(const Vector3& earthCentred) {
  const double p = std::hypot(earthCentred.x, earthCentred.y);
  // Bowring (1976) for the start, then Newton's steps on the latitude, which settle after two.
  const double semiMinor = kSemiMajor * (1.0 - kFlattening);
  const double second = kEccentricity2 / (1.0 - kEccentricity2);
  const double beta = std::atan2(earthCentred.z * kSemiMajor, p * semiMinor);
  double latitude = std::atan2(earthCentred.z + second * semiMinor * std::pow(std::sin(beta), 3),
                               p - kEccentricity2 * kSemiMajor * std::pow(std::cos(beta), 3));
  double n = kSemiMajor;
  for (int i = 0; i < 4; ++i) {
    const double sine = std::sin(latitude);
    n = kSemiMajor / std::sqrt(1.0 - kEccentricity2 * sine * sine);
    latitude = std::atan2(earthCentred.z + kEccentricity2 * n * sine, p);
  }
  const double sine = std::sin(latitude);
  const double cosine = std::cos(latitude);
  n = kSemiMajor / std::sqrt(1.0 - kEccentricity2 * sine * sine);
  // Good at the poles and at the equator alike.
  const double height = p * cosine + earthCentred.z * sine - kSemiMajor * kSemiMajor / n;
  return {std::atan2(earthCentred.y, earthCentred.x) / kDegree, latitude / kDegree, height};
}

Matrix3 LocalAxes(const Geodetic& position) {
  const double sinLat = std::sin(position.latitude * kDegree);
  const double cosLat = std::cos(position.latitude * kDegree);
  const double sinLon = std::sin(position.longitude * kDegree);
  const double cosLon = std::cos(position.longitude * kDegree);
  return {{{{-sinLon, cosLon, 0.0},
            {-sinLat * cosLon, -sinLat * sinLon, cosLat},
            {cosLat * cosLon, cosLat * sinLon, sinLat}}}};
}

double MetresPerDegreeOfLatitude(double latitude) {
  const double sine = std::sin(latitude * kDegree);
  return kDegree * kSemiMajor * (1.0 - kEccentricity2) / std::pow(1.0 - kEccentricity2 * sine * sine, 1.5);
}

}  // namespace interchange
