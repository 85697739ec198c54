// Coordinate systems as a person names them, and positions to and from the one of a project.
#pragma once

#include <optional>
#include <string>

#include "qvfd/CoordinateInfo.h"
#include "qvfd/ImageInfo.h"
#include "qvmath/GeoPrj.h"

namespace qvapp {

/// The `PrjInfo::coordinate_id` of a project without a coordinate system.
inline constexpr int kNoCoordinateSystem = -1;

/// The system that `code` means, "EPSG:32650" or "32650" in any case of its letters. Throws wrong usage, of
/// --crs, when it is no code, no system that is known, or one to which no position can be converted.
[[nodiscard]] qvfd::CoordinateInfo CoordinateOfCode(const std::string& code);

/// The system that the registry has for the id; none where it has none.
[[nodiscard]] std::optional<qvfd::CoordinateInfo> FindCoordinate(int id);

/// "EPSG:32650".
[[nodiscard]] std::string CodeOf(const qvfd::CoordinateInfo& system);

/// What a `PrjInfo::coordinate_id` means: "32650 (WGS 84 / UTM zone 50N)", "none (local)", "99 (not known
/// here)".
[[nodiscard]] std::string CoordinateText(int id);

/// The unit of local coordinates in the system: "radian" where it is geographic; empty where nobody knows.
[[nodiscard]] std::string LocalUnit(const qvfd::CoordinateInfo& system);

enum class Direction { kToLocal, kFromLocal };

/// One prepared conversion between degrees on WGS 84 and the local coordinates of a system. Its results are
/// those of `QvProject::ToLocal` and `FromLocal`, bit for bit.
class Conversion {
 public:
  Conversion(const qvfd::CoordinateInfo& system, Direction direction);

  /// False when nothing at all can be converted.
  [[nodiscard]] bool IsPossible() const { return converter_.IsValid(); }

  /// False, and `x` and `y` as they were, for a position that cannot be converted.
  [[nodiscard]] bool Convert(double& x, double& y);

 private:
  qvmath::GeoPrj converter_;
  Direction direction_;
};

/// How many images have a position, as flown, that cannot be converted to the system.
[[nodiscard]] int CountUnconvertible(const qvfd::ImageInfoSet& images, const qvfd::CoordinateInfo& system);

}  // namespace qvapp
