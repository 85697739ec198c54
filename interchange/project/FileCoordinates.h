// The coordinates of a text file: of a system that its first line or the user names, in the order that it has
// them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "interchange/geometry/Ellipsoid.h"
#include "interchange/geometry/Rotation.h"
#include "interchange/project/WorldFrame.h"
#include "qvfd/CoordinateInfo.h"

namespace interchange {

/// Which coordinate comes first.
enum class AxisOrder { kEastNorth, kNorthEast };

/// Positions of a file to the globe and back.
class FileCoordinates {
 public:
  /// Numbers that nothing relates to the globe: they are taken as they are.
  FileCoordinates() = default;

  /// Degrees of WGS 84.
  [[nodiscard]] static FileCoordinates Degrees(AxisOrder order = AxisOrder::kEastNorth);

  /// A system by what a file says of it: "EPSG:32650" or "32650", "WGS84 UTM 32N", a PROJ text or WKT. A
  /// geographic system has degrees. Throws `Failure`, of `subject`, when it is not understood.
  [[nodiscard]] static FileCoordinates Of(const std::string& text, const std::string& subject,
                                          AxisOrder order = AxisOrder::kEastNorth);

  [[nodiscard]] bool IsRelated() const { return to_globe_ != nullptr; }
  [[nodiscard]] bool IsGeographic() const { return geographic_; }

  /// The EPSG code; -1 where there is none.
  [[nodiscard]] int Code() const { return system_.id; }

  /// What goes into the first line of such a file: "EPSG:32650", or the definition.
  [[nodiscard]] std::string Header() const;

  /// In words, for a report.
  [[nodiscard]] std::string Description() const;

  /// None for a position that cannot be converted.
  [[nodiscard]] std::optional<Geodetic> ToGlobe(const Vector3& inFile) const;
  [[nodiscard]] std::optional<Vector3> FromGlobe(const Geodetic& position) const;

  /// A point that is kept in a project's own system, and back: as it is where both systems are one.
  [[nodiscard]] std::optional<Vector3> ToProject(const ProjectFrame& frame, const Vector3& inFile) const;
  [[nodiscard]] std::optional<Vector3> FromProject(const ProjectFrame& frame, const Vector3& point) const;

 private:
  [[nodiscard]] Vector3 Swapped(const Vector3& v) const;
  [[nodiscard]] bool IsOf(const ProjectFrame& frame) const;

  qvfd::CoordinateInfo system_;
  AxisOrder order_ = AxisOrder::kEastNorth;
  bool geographic_ = false;
  std::shared_ptr<qvmath::GeoPrj> to_globe_;
  std::shared_ptr<qvmath::GeoPrj> from_globe_;
};

}  // namespace interchange
