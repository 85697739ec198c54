// The frames in which other programs hold a scene, and how a project's positions and orientations come into
// them.
#include "interchange/project/WorldFrame.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

// As the project itself converts positions to and from its local frame, so that nothing moves on the way.
constexpr double kHalfTurnDegrees = 180.0;
constexpr double kPi = 3.141592653589793;
constexpr double kDegreesPerRadian = 57.29577951308232;

/// How a flight import turns degrees into what it stores.
constexpr double kStoredPerDegree = 0.0174533;

std::optional<std::pair<double, double>> Converted(qvmath::GeoPrj& converter, double x, double y) {
  double point[2] = {x, y};
  if (!converter.Transform(point, point)) {
    return std::nullopt;
  }
  return std::pair(point[0], point[1]);
}

std::optional<std::pair<double, double>> ToSystem(qvmath::GeoPrj& converter, double longitude,
                                                  double latitude) {
  return Converted(converter, longitude / kHalfTurnDegrees * kPi, latitude / kHalfTurnDegrees * kPi);
}

std::optional<std::pair<double, double>> ToDegrees(qvmath::GeoPrj& converter, double x, double y) {
  auto converted = Converted(converter, x, y);
  if (converted) {
    converted->first *= kDegreesPerRadian;
    converted->second *= kDegreesPerRadian;
  }
  return converted;
}

struct Convergence {
  double azimuth = 0.0;  ///< of true north in the grid, clockwise from its northing axis
  double scale = 0.0;    ///< units of the grid for a metre
};

std::optional<Convergence> ConvergenceAt(qvmath::GeoPrj& toSystem, const Geodetic& position) {
  // Far enough for the digits that a grid coordinate has, near enough for a straight line.
  constexpr double kHalfStep = 5e-4;
  const auto south = ToSystem(toSystem, position.longitude, position.latitude - kHalfStep);
  const auto north = ToSystem(toSystem, position.longitude, position.latitude + kHalfStep);
  if (!south || !north) {
    return std::nullopt;
  }
  const double east = north->first - south->first;
  const double up = north->second - south->second;
  return Convergence{std::atan2(east, up),
                     std::hypot(east, up) / (2 * kHalfStep * MetresPerDegreeOfLatitude(position.latitude))};
}

/// A geographic system converts degrees to about the same number of radians.
bool IsGeographic(qvmath::GeoPrj& toSystem, const Geodetic& near) {
  const auto converted = ToSystem(toSystem, near.longitude, near.latitude);
  return converted && std::fabs(converted->first - near.longitude * kDegree) < 1e-2 &&
         std::fabs(converted->second - near.latitude * kDegree) < 1e-2;
}

struct Extent {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();

  void Add(double value) {
    low = std::min(low, value);
    high = std::max(high, value);
  }
  [[nodiscard]] double Middle() const { return low <= high ? low + (high - low) / 2 : 0.0; }
};

/// Whether the positions of the images can be those of one survey in degrees.
bool AreDegrees(const qvprj::QvProject& project) {
  constexpr double kWidestSurvey = 1.0;
  Extent x;
  Extent y;
  for (const qvfd::ImageInfo& image : project.GetImageInfoSet()) {
    for (const qvfd::EOP& eop : {image.GetEOP(), image.GetUpdatedEOP()}) {
      if (!(std::fabs(eop.x) <= 180.0) || !(std::fabs(eop.y) <= 90.0)) {
        return false;
      }
      x.Add(eop.x);
      y.Add(eop.y);
    }
  }
  return !(x.high - x.low > kWidestSurvey) && !(y.high - y.low > kWidestSurvey);
}

double WholeHundreds(double value) {
  return std::isfinite(value) ? std::round(value / 100.0) * 100.0 : 0.0;
}

std::string TripleOf(const Vector3& v) {
  return "(" + TextOf(v.x) + ", " + TextOf(v.y) + ", " + TextOf(v.z) + ")";
}

}  // namespace

// ---- WorldFrame -------------------------------------------------------------------------------------------

WorldFrame WorldFrame::Grid(const qvfd::CoordinateInfo& system, const Vector3& offset) {
  WorldFrame frame;
  frame.kind_ = Kind::kGrid;
  frame.offset_ = offset;
  frame.system_ = system;
  frame.to_system_ = std::make_shared<qvmath::GeoPrj>(qvfd::CoordinateInfoSet::GetWGS84(), system);
  frame.to_globe_ = std::make_shared<qvmath::GeoPrj>(system, qvfd::CoordinateInfoSet::GetWGS84());
  if (!frame.to_system_->IsValid() || !frame.to_globe_->IsValid()) {
    throw Failure(NameOfSystem(system), "nothing can be converted to or from this coordinate system",
                  "choose another one ('qvprj crs find' finds them)");
  }
  return frame;
}

WorldFrame WorldFrame::Topocentric(const Geodetic& reference) {
  WorldFrame frame;
  frame.kind_ = Kind::kTopocentric;
  frame.reference_ = reference;
  return frame;
}

WorldFrame WorldFrame::Cartesian(const Vector3& offset) {
  WorldFrame frame;
  frame.offset_ = offset;
  return frame;
}

std::optional<Vector3> WorldFrame::FromGlobe(const Geodetic& position) const {
  switch (kind_) {
    case Kind::kGrid: {
      const auto converted = ToSystem(*to_system_, position.longitude, position.latitude);
      if (!converted) {
        return std::nullopt;
      }
      return Vector3{converted->first, converted->second, position.height} - offset_;
    }
    case Kind::kTopocentric: {
      const Vector3 local = LocalAxes(reference_) * (EarthCentred(position) - EarthCentred(reference_));
      return std::isfinite(Norm(local)) ? std::optional(local) : std::nullopt;
    }
    case Kind::kCartesian:
      break;
  }
  return Vector3{position.longitude, position.latitude, position.height} - offset_;
}

std::optional<Geodetic> WorldFrame::ToGlobe(const Vector3& position) const {
  const Vector3 whole = position + offset_;
  switch (kind_) {
    case Kind::kGrid: {
      const auto converted = ToDegrees(*to_globe_, whole.x, whole.y);
      if (!converted) {
        return std::nullopt;
      }
      return Geodetic{converted->first, converted->second, whole.z};
    }
    case Kind::kTopocentric: {
      const Vector3 earthCentred = Transposed(LocalAxes(reference_)) * position + EarthCentred(reference_);
      return std::isfinite(Norm(earthCentred)) ? std::optional(GeodeticOf(earthCentred)) : std::nullopt;
    }
    case Kind::kCartesian:
      break;
  }
  return Geodetic{whole.x, whole.y, whole.z};
}

Matrix3 WorldFrame::FromLocalAxes(const Geodetic& position) const {
  switch (kind_) {
    case Kind::kGrid: {
      const auto convergence = ConvergenceAt(*to_system_, position);
      return convergence ? RotationZ(-convergence->azimuth) : Identity();
    }
    case Kind::kTopocentric:
      return LocalAxes(reference_) * Transposed(LocalAxes(position));
    case Kind::kCartesian:
      break;
  }
  return Identity();
}

std::string WorldFrame::Description() const {
  const std::string less = offset_ == Vector3() ? "" : ", less " + TripleOf(offset_);
  switch (kind_) {
    case Kind::kGrid:
      return "easting, northing, height in " + NameOfSystem(system_) + less;
    case Kind::kTopocentric:
      return "metres east, north, up of longitude " + TextOf(reference_.longitude) + ", latitude " +
             TextOf(reference_.latitude) + ", height " + TextOf(reference_.height);
    case Kind::kCartesian:
      break;
  }
  return "the project's own Cartesian frame" + less;
}

// ---- Coordinate systems
// -------------------------------------------------------------------------------------

std::string NameOfSystem(const std::optional<qvfd::CoordinateInfo>& system) {
  return system ? "EPSG:" + std::to_string(system->id) : "none";
}

qvfd::CoordinateInfo SystemOfCode(const std::string& code) {
  const std::string lower = LowerCase(Trimmed(code));
  const auto number = IntegerOf(lower.starts_with("epsg:") ? lower.substr(5) : lower);
  qvfd::CoordinateInfo system;
  if (!number || *number < 0 || *number > std::numeric_limits<int>::max() ||
      !qvfd::QvConfiguration::Instance().GetCoordinateInfoSet().GetCoordinateByID(static_cast<int>(*number),
                                                                                  system)) {
    throw Failure(code, "is no coordinate system that is known here",
                  "'qvprj crs find' finds coordinate systems and their codes");
  }
  return system;
}

bool IsMetric(const qvfd::CoordinateInfo& system, const Geodetic& near) {
  constexpr double kTolerance = 0.01;  // a zone's edge has some 0.001, its neighbour's more
  qvmath::GeoPrj toSystem(qvfd::CoordinateInfoSet::GetWGS84(), system);
  const auto convergence = ConvergenceAt(toSystem, near);
  return convergence && std::fabs(convergence->scale - 1.0) < kTolerance;
}

// ---- ProjectFrame
// -------------------------------------------------------------------------------------------

ProjectFrame::ProjectFrame(const qvprj::QvProject& project, const ProjectOptions& options)
    : options_(options) {
  const int id = project.GetPrjInfo().coordinate_id;
  qvfd::CoordinateInfo system;
  if (id >= 0 && qvfd::QvConfiguration::Instance().GetCoordinateInfoSet().GetCoordinateByID(id, system)) {
    auto toSystem = std::make_shared<qvmath::GeoPrj>(qvfd::CoordinateInfoSet::GetWGS84(), system);
    auto toGlobe = std::make_shared<qvmath::GeoPrj>(system, qvfd::CoordinateInfoSet::GetWGS84());
    if (toSystem->IsValid() && toGlobe->IsValid()) {
      system_ = system;
      to_system_ = std::move(toSystem);
      to_globe_ = std::move(toGlobe);
    }
  }
  if (system_) {
    const Geodetic middle = Middle(project);
    if (!IsGeographic(*to_system_, middle)) {
      grid_ = WorldFrame::Grid(*system_, {});
    }
    return;
  }
  cartesian_ = id < 0 && (options.positions == Positions::kCartesian ||
                          (options.positions == Positions::kAuto && !AreDegrees(project)));
}

std::optional<Geodetic> ProjectFrame::PositionOfPoint(const Vector3& point) const {
  if (!system_) {
    return Geodetic{point.x, point.y, point.z};
  }
  const auto degrees = ToDegrees(*to_globe_, point.x, point.y);
  return degrees ? std::optional(Geodetic{degrees->first, degrees->second, point.z}) : std::nullopt;
}

std::optional<Vector3> ProjectFrame::PointOfPosition(const Geodetic& position) const {
  if (!system_) {
    return Vector3{position.longitude, position.latitude, position.height};
  }
  const auto local = ToSystem(*to_system_, position.longitude, position.latitude);
  return local ? std::optional(Vector3{local->first, local->second, position.height}) : std::nullopt;
}

std::optional<Vector3> ProjectFrame::PointIn(const WorldFrame& world, const Vector3& point) const {
  if (IsOwn(world)) {
    return point - world.Offset();
  }
  auto position = PositionOfPoint(point);
  if (!position) {
    return std::nullopt;
  }
  position->height += world.GetKind() == WorldFrame::Kind::kTopocentric ? GeoidHeight() : 0.0;
  return world.FromGlobe(*position);
}

std::optional<Vector3> ProjectFrame::PointFrom(const WorldFrame& world, const Vector3& position) const {
  if (IsOwn(world)) {
    return position + world.Offset();
  }
  auto onGlobe = world.ToGlobe(position);
  if (!onGlobe) {
    return std::nullopt;
  }
  onGlobe->height -= world.GetKind() == WorldFrame::Kind::kTopocentric ? GeoidHeight() : 0.0;
  return PointOfPosition(*onGlobe);
}

bool ProjectFrame::IsOwn(const WorldFrame& world) const {
  return world.GetKind() == WorldFrame::Kind::kGrid && system_ && system_->id >= 0 &&
         world.System().id == system_->id;
}

const qvfd::EOP& ProjectFrame::EopOf(const qvfd::ImageInfo& image) const {
  return options_.orientation == Orientation::kAdjusted ? image.GetUpdatedEOP() : image.GetEOP();
}

Angles ProjectFrame::AnglesOf(const qvfd::ImageInfo& image) const {
  if (options_.angles != Angles::kAuto) {
    return options_.angles;
  }
  const bool adjusted =
      options_.orientation == Orientation::kAdjusted && !(image.GetUpdatedEOP() == image.GetEOP());
  return adjusted ? Angles::kOpk : Angles::kNavigation;
}

Matrix3 ProjectFrame::LocalRotationOf(const qvfd::ImageInfo& image) const {
  const qvfd::EOP& eop = EopOf(image);
  if (AnglesOf(image) == Angles::kNavigation) {
    const double scale = kDegree / kStoredPerDegree;
    return MatrixOf(YawPitchRoll{eop.kappa * scale, -eop.phi * scale - options_.pitch_at_nadir * kDegree,
                                 eop.omega * scale});
  }
  const Matrix3 rotation = MatrixOf(Opk{eop.omega, eop.phi, eop.kappa});
  return grid_ ? Transposed(grid_->FromLocalAxes(PositionOf(eop))) * rotation : rotation;
}

Opk ProjectFrame::OpkAt(const Geodetic& position, const Matrix3& localRotation) const {
  return OpkOf(grid_ ? grid_->FromLocalAxes(position) * localRotation : localRotation);
}

std::optional<Pose> ProjectFrame::PoseIn(const WorldFrame& world, const qvfd::ImageInfo& image) const {
  Geodetic position = PositionOf(EopOf(image));
  const Matrix3 axes = world.FromLocalAxes(position) * LocalRotationOf(image);
  if (world.GetKind() == WorldFrame::Kind::kTopocentric) {
    position.height += GeoidHeight();
  }
  const auto centre = world.FromGlobe(position);
  return centre ? std::optional(Pose{*centre, axes}) : std::nullopt;
}

std::optional<ProjectFrame::Orientations> ProjectFrame::OrientationsOf(const WorldFrame& world,
                                                                       const Pose& pose) const {
  auto position = world.ToGlobe(pose.centre);
  if (!position) {
    return std::nullopt;
  }
  if (world.GetKind() == WorldFrame::Kind::kTopocentric) {
    position->height -= GeoidHeight();
  }
  return OrientationsAt(*position, Transposed(world.FromLocalAxes(*position)) * pose.axes);
}

ProjectFrame::Orientations ProjectFrame::OrientationsAt(const Geodetic& position,
                                                        const Matrix3& localRotation) const {
  const Opk adjusted = OpkAt(position, localRotation);
  const YawPitchRoll flown = YawPitchRollOf(localRotation);
  constexpr double kScale = kStoredPerDegree / kDegree;
  const qvfd::EOP place{position.longitude, position.latitude, position.height, 0.0, 0.0, 0.0};
  Orientations made{place, place};
  made.as_flown.omega = flown.roll * kScale;
  made.as_flown.phi = -(flown.pitch / kDegree + options_.pitch_at_nadir) * kStoredPerDegree;
  made.as_flown.kappa = flown.yaw * kScale;
  made.adjusted.omega = adjusted.omega;
  made.adjusted.phi = adjusted.phi;
  made.adjusted.kappa = adjusted.kappa;
  return made;
}

Geodetic ProjectFrame::Middle(const qvprj::QvProject& project) const {
  Extent x;
  Extent y;
  Extent z;
  for (const qvfd::ImageInfo& image : project.GetImageInfoSet()) {
    const qvfd::EOP& eop = EopOf(image);
    x.Add(eop.x);
    y.Add(eop.y);
    z.Add(eop.z);
  }
  return {x.Middle(), y.Middle(), std::isfinite(z.low) ? z.low : 0.0};
}

WorldFrame ProjectFrame::MetricFrame(const qvprj::QvProject& project) const {
  const Geodetic middle = Middle(project);
  if (cartesian_) {
    // What is small fits as it is.
    constexpr double kSmall = 10'000.0;
    const bool small = std::fabs(middle.longitude) < kSmall && std::fabs(middle.latitude) < kSmall;
    return WorldFrame::Cartesian(
        small ? Vector3() : Vector3{WholeHundreds(middle.longitude), WholeHundreds(middle.latitude), 0.0});
  }
  if (grid_ && IsMetric(*system_, middle)) {
    const auto whole = grid_->FromGlobe(middle);
    return WorldFrame::Grid(
        *system_, whole ? Vector3{WholeHundreds(whole->x), WholeHundreds(whole->y), 0.0} : Vector3());
  }
  return TopocentricFrame(project);
}

WorldFrame ProjectFrame::TopocentricFrame(const qvprj::QvProject& project) const {
  if (cartesian_) {
    return WorldFrame::Cartesian({});
  }
  Geodetic middle = Middle(project);
  middle.height = 0.0;
  return WorldFrame::Topocentric(middle);
}

double ProjectFrame::GridScaleAt(const Geodetic& position) const {
  const auto convergence = grid_ ? ConvergenceAt(*to_system_, position) : std::nullopt;
  return convergence ? convergence->scale : 1.0;
}

void ProjectFrame::Describe(const qvprj::QvProject& project, Report& report) const {
  report.Use("positions", cartesian_ ? "the project's own Cartesian frame"
                          : system_  ? "WGS 84 degrees, longitude in x; tie points and ground points in " +
                                          NameOfSystem(system_)
                                    : "WGS 84 degrees, longitude in x");
  std::size_t navigation = 0;
  for (const qvfd::ImageInfo& image : project.GetImageInfoSet()) {
    navigation += AnglesOf(image) == Angles::kNavigation ? 1U : 0U;
  }
  const auto images = static_cast<std::size_t>(project.GetImageInfoSet().Size());
  const std::string nadir = ", pitch " + TextOf(options_.pitch_at_nadir) + " straight down";
  const std::string opk = grid_ ? "omega, phi, kappa against the grid of " + NameOfSystem(system_)
                                : "omega, phi, kappa against north";
  report.Use(
      "angles",
      std::string(options_.orientation == Orientation::kAdjusted ? "adjusted: " : "as flown: ") +
          (navigation == 0        ? opk
           : navigation == images ? "navigation angles (roll, -pitch, yaw)" + nadir
                                  : "navigation angles (roll, -pitch, yaw)" + nadir + ", of " +
                                        std::to_string(navigation) + " images; " + opk + ", of the others"));
  report.Use(
      "heights",
      cartesian_ ? "of the project's own frame"
      : options_.geoid_height
          ? "stored heights are " + TextOf(*options_.geoid_height) + " m below those above the ellipsoid"
          : "as stored; a flight's are above mean sea level, and no geoid height was given");
}

}  // namespace interchange
