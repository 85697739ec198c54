// Coordinate systems as a person names them, and positions to and from the one of a project.
#include "common/CoordinateSystem.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>
#include <vector>

#include "common/Failure.h"
#include "qvfd/CoordinateCatalog.h"

namespace qvapp {
namespace {

constexpr const char* kHint = "see 'qvprj crs find TEXT'";

/// The number in "EPSG:32650" or "32650"; none in any other text.
std::optional<int> NumberIn(std::string_view code) {
  constexpr std::string_view kAuthority = "epsg:";
  const bool named = code.size() > kAuthority.size() &&
                     std::equal(kAuthority.begin(), kAuthority.end(), code.begin(), [](char a, char b) {
                       return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b - 'A' + 'a') : b);
                     });
  if (named) {
    code.remove_prefix(kAuthority.size());
  }
  int number = 0;
  const char* const end = code.data() + code.size();
  const auto result = std::from_chars(code.data(), end, number);
  const bool isWhole = result.ec == std::errc() && result.ptr == end;
  return isWhole && code.front() != '-' ? std::optional(number) : std::nullopt;
}

}  // namespace

qvfd::CoordinateInfo CoordinateOfCode(const std::string& code) {
  const auto number = NumberIn(code);
  if (!number) {
    throw Failure("--crs", "'" + code + "' is no code such as EPSG:32650", kHint, kWrongUsage);
  }
  auto system = FindCoordinate(*number);
  if (!system) {
    throw Failure("--crs", "no coordinate system with the code '" + code + "' is known", kHint, kWrongUsage);
  }
  if (!Conversion(*system, Direction::kToLocal).IsPossible()) {
    throw Failure("--crs", "no position can be converted to '" + code + "'", kHint, kWrongUsage);
  }
  return *std::move(system);
}

std::optional<qvfd::CoordinateInfo> FindCoordinate(int id) {
  qvfd::CoordinateInfo system;
  const bool known = qvfd::QvConfiguration::Instance().GetCoordinateInfoSet().GetCoordinateByID(id, system);
  return known ? std::optional(std::move(system)) : std::nullopt;
}

std::string CodeOf(const qvfd::CoordinateInfo& system) {
  return "EPSG:" + std::to_string(system.id);
}

std::string CoordinateText(int id) {
  if (id == kNoCoordinateSystem) {
    return "none (local)";
  }
  const auto system = FindCoordinate(id);
  return std::to_string(id) + " (" + (system ? qvfd::DisplayName(*system) : "not known here") + ")";
}

std::string LocalUnit(const qvfd::CoordinateInfo& system) {
  std::vector<qvfd::CatalogEntry> entry(1);
  entry.front().id = system.id;
  qvfd::FillUnits(entry);
  // Whatever angles a geographic system counts in, its local coordinates are radians.
  const std::string& unit = entry.front().unit;
  const bool isAngle = unit.find("degree") != std::string::npos || unit.find("rad") != std::string::npos;
  return isAngle ? "radian" : unit;
}

Conversion::Conversion(const qvfd::CoordinateInfo& system, Direction direction)
    : converter_(direction == Direction::kToLocal ? qvfd::CoordinateInfoSet::GetWGS84() : system,
                 direction == Direction::kToLocal ? system : qvfd::CoordinateInfoSet::GetWGS84()),
      direction_(direction) {}

bool Conversion::Convert(double& x, double& y) {
  // The same operations in the same order as in the library: their last digits depend on it.
  constexpr double kPi = 3.141592653589793;
  constexpr double kDegreesPerRadian = 57.29577951308232;
  const bool toLocal = direction_ == Direction::kToLocal;
  double in[2] = {toLocal ? x / 180.0 * kPi : x, toLocal ? y / 180.0 * kPi : y};
  double out[2] = {0.0, 0.0};
  if (!converter_.Transform(in, out)) {
    return false;
  }
  x = toLocal ? out[0] : out[0] * kDegreesPerRadian;
  y = toLocal ? out[1] : out[1] * kDegreesPerRadian;
  return true;
}

int CountUnconvertible(const qvfd::ImageInfoSet& images, const qvfd::CoordinateInfo& system) {
  Conversion conversion(system, Direction::kToLocal);
  const auto count = std::count_if(images.begin(), images.end(), [&](const qvfd::ImageInfo& image) {
    qvfd::EOP eop = image.GetEOP();
    return !conversion.Convert(eop.x, eop.y);
  });
  return static_cast<int>(count);
}

}  // namespace qvapp
