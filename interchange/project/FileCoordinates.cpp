// The coordinates of a text file.
#include "interchange/project/FileCoordinates.h"

#include <cmath>
#include <numbers>
#include <utility>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr int kWgs84 = 4326;

/// "wgs84 utm 32n" in any case, with or without a blank before the hemisphere: the EPSG code.
std::optional<int> UtmCode(const std::string& lower) {
  const std::vector<std::string_view> words = Words(lower);
  if (words.size() < 3 || words[0] != "wgs84" || words[1] != "utm") {
    return std::nullopt;
  }
  std::string zone(words[2]);
  if (words.size() > 3) {
    zone += words[3];
  }
  if (zone.empty() || (zone.back() != 'n' && zone.back() != 's')) {
    return std::nullopt;
  }
  const bool south = zone.back() == 's';
  zone.pop_back();
  const auto number = IntegerOf(zone);
  if (!number || *number < 1 || *number > 60) {
    return std::nullopt;
  }
  return (south ? 32700 : 32600) + static_cast<int>(*number);
}

/// Whether a system counts degrees: one degree of longitude moves it by little.
bool HasDegrees(qvmath::GeoPrj& fromGlobe) {
  double a[2] = {10.0 * kDegree, 10.0 * kDegree};
  double b[2] = {11.0 * kDegree, 10.0 * kDegree};
  return fromGlobe.Transform(a, a) && fromGlobe.Transform(b, b) && std::fabs(b[0] - a[0]) < 1.0 &&
         std::fabs(a[0] - 10.0 * kDegree) < 0.1;
}

}  // namespace

FileCoordinates FileCoordinates::Degrees(AxisOrder order) {
  return Of("EPSG:" + std::to_string(kWgs84), "WGS 84", order);
}

FileCoordinates FileCoordinates::Of(const std::string& text, const std::string& subject, AxisOrder order) {
  const std::string trimmed(Trimmed(text));
  const std::string lower = LowerCase(trimmed);
  FileCoordinates made;
  made.order_ = order;
  if (const auto utm = UtmCode(lower)) {
    made.system_ = SystemOfCode(std::to_string(*utm));
  } else if (lower.starts_with("epsg:") || IntegerOf(lower)) {
    made.system_ = SystemOfCode(trimmed);
  } else {
    made.system_.id = -1;
    made.system_.definition = trimmed;
  }
  const qvfd::CoordinateInfo wgs84 = qvfd::CoordinateInfoSet::GetWGS84();
  made.to_globe_ = std::make_shared<qvmath::GeoPrj>(made.system_, wgs84);
  made.from_globe_ = std::make_shared<qvmath::GeoPrj>(wgs84, made.system_);
  if (!made.to_globe_->IsValid() || !made.from_globe_->IsValid()) {
    throw Failure(subject, "'" + trimmed.substr(0, 80) + "' is no coordinate system that is known here",
                  "write EPSG and its code, such as EPSG:32650, or say --crs");
  }
  made.geographic_ = HasDegrees(*made.from_globe_);
  return made;
}

std::string FileCoordinates::Header() const {
  return system_.id >= 0 ? "EPSG:" + std::to_string(system_.id) : system_.definition;
}

std::string FileCoordinates::Description() const {
  if (!IsRelated()) {
    return "as they are, related to no place";
  }
  const bool north = order_ == AxisOrder::kNorthEast;
  return Header() + ", " +
         (geographic_ ? north ? "latitude then longitude in degrees" : "longitude then latitude in degrees"
          : north     ? "northing then easting"
                      : "easting then northing");
}

Vector3 FileCoordinates::Swapped(const Vector3& v) const {
  return order_ == AxisOrder::kNorthEast ? Vector3{v.y, v.x, v.z} : v;
}

std::optional<Geodetic> FileCoordinates::ToGlobe(const Vector3& inFile) const {
  const Vector3 v = Swapped(inFile);
  if (!IsRelated() || system_.id == kWgs84) {
    return Geodetic{v.x, v.y, v.z};
  }
  const double scale = geographic_ ? kDegree : 1.0;
  double point[2] = {v.x * scale, v.y * scale};
  if (!to_globe_->Transform(point, point)) {
    return std::nullopt;
  }
  return Geodetic{point[0] / kDegree, point[1] / kDegree, v.z};
}

std::optional<Vector3> FileCoordinates::FromGlobe(const Geodetic& position) const {
  if (!IsRelated() || system_.id == kWgs84) {
    return Swapped({position.longitude, position.latitude, position.height});
  }
  double point[2] = {position.longitude * kDegree, position.latitude * kDegree};
  if (!from_globe_->Transform(point, point)) {
    return std::nullopt;
  }
  const double scale = geographic_ ? 1.0 / kDegree : 1.0;
  return Swapped({point[0] * scale, point[1] * scale, position.height});
}

bool FileCoordinates::IsOf(const ProjectFrame& frame) const {
  return !geographic_ && frame.System() && IsRelated() && system_.id >= 0 && system_.id == frame.System()->id;
}

std::optional<Vector3> FileCoordinates::ToProject(const ProjectFrame& frame, const Vector3& inFile) const {
  if (IsOf(frame)) {
    return Swapped(inFile);
  }
  const auto position = ToGlobe(inFile);
  return position ? frame.PointOfPosition(*position) : std::nullopt;
}

std::optional<Vector3> FileCoordinates::FromProject(const ProjectFrame& frame, const Vector3& point) const {
  if (IsOf(frame)) {
    return Swapped(point);
  }
  const auto position = frame.PositionOfPoint(point);
  return position ? FromGlobe(*position) : std::nullopt;
}

}  // namespace interchange
