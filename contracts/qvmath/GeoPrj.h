// Conversion of positions between coordinate systems.
#pragma once

#include <memory>

#include "qvfd/CoordinateInfo.h"
#include "qvmath/Export.h"

namespace qvmath {

/// Converts planimetric positions from one coordinate system to another: the pair alone, never a height.
///
/// A system is what its `CoordinateInfo::definition` says:
/// - an EPSG code, "EPSG:32650" or "32650";
/// - WKT, PROJJSON, or a PROJ string that describes a system ("+proj=utm +zone=50 +datum=WGS84");
/// - a PROJ pipeline, or another PROJ operation that is no projection: a system of one's own, for example a
///   site calibration. It takes WGS 84 longitude and latitude (in radians, unless it says that it takes
///   degrees) and gives the system's easting and northing.
/// Type, id, name and description take no part. Of a compound system the horizontal part counts.
///
/// Between systems that the geodesy database relates, the best operation that it knows for the place is used,
/// with grids only where they are installed; nothing is fetched from a network. Between others the same
/// longitude and latitude are taken: see docs/coordinates.md for what that means, and how accurate it is.
///
/// An object is used by one thread at a time; objects in different threads do not disturb each other.
/// Operations throw nothing.
class QVMATH_API GeoPrj {
 public:
  /// Prepares the conversion from `source` to `target`. For built-in systems (those that
  /// `QvConfiguration::GetCoordinateInfoSet` lists from the start) that takes some tens of microseconds; for
  /// any other, some tens of milliseconds in the geodesy database.
  GeoPrj(qvfd::CoordinateInfo source, qvfd::CoordinateInfo target) noexcept;
  ~GeoPrj();
  GeoPrj(GeoPrj&& other) noexcept;
  GeoPrj& operator=(GeoPrj&& other) noexcept;
  GeoPrj(const GeoPrj&) = delete;
  GeoPrj& operator=(const GeoPrj&) = delete;

  /// False when one of the systems cannot be built, the default local one (which has no definition) included,
  /// or when nothing leads from one to the other. `Transform` is then always false.
  [[nodiscard]] bool IsValid() const;

  /// Converts the pair at `in` to the pair at `out`, which may be the same: first easting or longitude, then
  /// northing or latitude, whatever order the authority of the system has. Longitude and latitude are in
  /// radians, easting and northing in the linear unit of their system.
  ///
  /// False, and `out` as it was, for a position that cannot be converted: one that is not finite, is no place
  /// on the globe, lies where a projection is not defined, or has no finite result.
  [[nodiscard]] bool Transform(double* in, double* out);

 private:
  class Route;
  std::unique_ptr<Route> route_;  // null when the conversion cannot be made
};

}  // namespace qvmath
