// The frames in which other programs hold a scene, and how a project's positions and orientations come into
// them.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "interchange/Report.h"
#include "interchange/geometry/Ellipsoid.h"
#include "interchange/geometry/Rotation.h"
#include "qvfd/CoordinateInfo.h"
#include "qvfd/ImageInfo.h"
#include "qvmath/GeoPrj.h"
#include "qvprj/project/QvProject.h"

namespace interchange {

/// A right-handed frame of east, north and up in metres (or of no known unit, where it is Cartesian).
class WorldFrame {
 public:
  enum class Kind {
    kGrid,         ///< easting and northing of a projected coordinate system, and the height
    kTopocentric,  ///< the plane that touches the ellipsoid at a reference, its axes east, north and up there
    kCartesian,    ///< a frame that nothing relates to the globe
  };

  /// Of a projected system in metres; positions are those of the system less `offset`. Throws `Failure` when
  /// nothing can be converted to the system.
  [[nodiscard]] static WorldFrame Grid(const qvfd::CoordinateInfo& system, const Vector3& offset);

  /// Heights count from the ellipsoid.
  [[nodiscard]] static WorldFrame Topocentric(const Geodetic& reference);

  /// Stored positions less `offset`.
  [[nodiscard]] static WorldFrame Cartesian(const Vector3& offset);

  [[nodiscard]] Kind GetKind() const { return kind_; }
  [[nodiscard]] const Vector3& Offset() const { return offset_; }
  [[nodiscard]] const Geodetic& Reference() const { return reference_; }
  [[nodiscard]] const qvfd::CoordinateInfo& System() const { return system_; }  ///< of a grid

  /// A position of the globe in this frame; in a Cartesian frame the numbers as they are, less the offset.
  /// None for one that cannot be converted.
  [[nodiscard]] std::optional<Vector3> FromGlobe(const Geodetic& position) const;
  [[nodiscard]] std::optional<Geodetic> ToGlobe(const Vector3& position) const;

  /// Takes directions from east, north and up at a position of the globe to the axes of this frame. For a
  /// grid that is the rotation by the convergence of the meridian; for a Cartesian frame the identity. The
  /// identity, too, where the position cannot be converted.
  [[nodiscard]] Matrix3 FromLocalAxes(const Geodetic& position) const;

  /// In words, for a report: "EPSG:32650, less (448000, 3500000, 0)".
  [[nodiscard]] std::string Description() const;

 private:
  Kind kind_ = Kind::kCartesian;
  Vector3 offset_;
  Geodetic reference_;
  qvfd::CoordinateInfo system_;
  std::shared_ptr<qvmath::GeoPrj> to_system_;  // of a grid
  std::shared_ptr<qvmath::GeoPrj> to_globe_;
};

/// "EPSG:32650", or "none".
[[nodiscard]] std::string NameOfSystem(const std::optional<qvfd::CoordinateInfo>& system);

/// The system of a code such as "EPSG:32650" or "32650". Throws `Failure` when it is not known.
[[nodiscard]] qvfd::CoordinateInfo SystemOfCode(const std::string& code);

/// Whether the coordinates of a system are metres on the ground, to within 1 %: it is projected, in metres.
[[nodiscard]] bool IsMetric(const qvfd::CoordinateInfo& system, const Geodetic& near);

/// How a project keeps its positions.
enum class Positions {
  kAuto,       ///< degrees, unless there is no coordinate system and positions cannot be a survey's degrees
  kDegrees,    ///< WGS 84 longitude and latitude, as every project with a coordinate system and every flight
  kCartesian,  ///< a frame of its own, of a project without a coordinate system
};

/// What the angles of a stored exterior orientation are.
enum class Angles {
  kAuto,  ///< navigation angles as flown; omega, phi, kappa once the adjusted orientation differs from that
  kNavigation,  ///< as a flight import stores them: roll, -pitch, yaw, by 0.0174533 a degree
  kOpk,         ///< omega, phi, kappa against the grid of the project's system, or north where it has none
};

enum class Orientation { kAdjusted, kAsFlown };

/// How to read what a project holds.
struct ProjectOptions {
  Orientation orientation = Orientation::kAdjusted;
  Angles angles = Angles::kAuto;
  Positions positions = Positions::kAuto;

  /// The pitch, in degrees, that navigation angles have where the camera looks straight down: 0, or -90 for a
  /// gimbal's.
  double pitch_at_nadir = 0.0;

  /// What is added to stored heights to make them heights above the ellipsoid, in metres; where it is not
  /// given, stored heights are taken as they are, and the report says so.
  std::optional<double> geoid_height;
};

/// Where a camera was and how it looked.
struct Pose {
  Vector3 centre;
  Matrix3 axes = Identity();  ///< M, see Rotation.h

  friend bool operator==(const Pose&, const Pose&) = default;
};

/// A project's own positions and angles, in terms of the globe.
class ProjectFrame {
 public:
  /// Looks at the project; it need not live on.
  ProjectFrame(const qvprj::QvProject& project, const ProjectOptions& options);

  /// The project's coordinate system; none where it has none that is known.
  [[nodiscard]] const std::optional<qvfd::CoordinateInfo>& System() const { return system_; }
  [[nodiscard]] bool IsCartesian() const { return cartesian_; }

  /// The position of an orientation: degrees and the height; in a Cartesian project the numbers as they are.
  [[nodiscard]] Geodetic PositionOf(const qvfd::EOP& eop) const { return {eop.x, eop.y, eop.z}; }

  /// A tie point or ground point, which are kept in the project's coordinate system, and in degrees where it
  /// has none. None for one that cannot be converted.
  [[nodiscard]] std::optional<Geodetic> PositionOfPoint(const Vector3& point) const;
  [[nodiscard]] std::optional<Vector3> PointOfPosition(const Geodetic& position) const;

  /// A tie point or ground point in another frame, and back. None for one that cannot be converted.
  [[nodiscard]] std::optional<Vector3> PointIn(const WorldFrame& world, const Vector3& point) const;
  [[nodiscard]] std::optional<Vector3> PointFrom(const WorldFrame& world, const Vector3& position) const;

  /// The orientation of an image that the options ask for, and what its angles are: never `Angles::kAuto`.
  [[nodiscard]] const qvfd::EOP& EopOf(const qvfd::ImageInfo& image) const;
  [[nodiscard]] Angles AnglesOf(const qvfd::ImageInfo& image) const;

  /// M with respect to east, north and up at the image's own position.
  [[nodiscard]] Matrix3 LocalRotationOf(const qvfd::ImageInfo& image) const;

  /// Omega, phi and kappa as this project keeps them, for such a rotation at a position.
  [[nodiscard]] Opk OpkAt(const Geodetic& position, const Matrix3& localRotation) const;

  /// The image in another frame. None where its position cannot be converted.
  [[nodiscard]] std::optional<Pose> PoseIn(const WorldFrame& world, const qvfd::ImageInfo& image) const;

  /// The exterior orientation of a pose in another frame, as a project keeps it when nobody has adjusted it
  /// (navigation angles) and once it is adjusted (omega, phi, kappa). None where its position cannot be
  /// converted.
  struct Orientations {
    qvfd::EOP as_flown;
    qvfd::EOP adjusted;
  };
  [[nodiscard]] std::optional<Orientations> OrientationsOf(const WorldFrame& world, const Pose& pose) const;

  /// The same of a rotation with respect to east, north and up at a position.
  [[nodiscard]] Orientations OrientationsAt(const Geodetic& position, const Matrix3& localRotation) const;

  /// The frame for programs that want metres: the project's system where it is metric, Cartesian in a
  /// Cartesian project, otherwise topocentric at the middle of the images; its offset is the middle of the
  /// images, in whole hundreds, so that what remains fits into float numbers.
  [[nodiscard]] WorldFrame MetricFrame(const qvprj::QvProject& project) const;

  /// Topocentric at the middle of the images, their lowest height as it is; Cartesian in a Cartesian project.
  [[nodiscard]] WorldFrame TopocentricFrame(const qvprj::QvProject& project) const;

  /// What a metre on the ground is in the grid of the project's own system; 1 where it has none.
  [[nodiscard]] double GridScaleAt(const Geodetic& position) const;

  /// Tells a report what was taken for granted of the positions, angles and heights.
  void Describe(const qvprj::QvProject& project, Report& report) const;

  /// What is added to stored heights.
  [[nodiscard]] double GeoidHeight() const { return options_.geoid_height.value_or(0.0); }

 private:
  /// Whether a frame is the grid of the project's own system, so that points need no conversion.
  [[nodiscard]] bool IsOwn(const WorldFrame& world) const;
  [[nodiscard]] Geodetic Middle(const qvprj::QvProject& project) const;

  ProjectOptions options_;
  std::optional<qvfd::CoordinateInfo> system_;
  bool cartesian_ = false;
  std::optional<WorldFrame> grid_;  // of the project's own system, where that is metric
  std::shared_ptr<qvmath::GeoPrj> to_system_;
  std::shared_ptr<qvmath::GeoPrj> to_globe_;
};

}  // namespace interchange
