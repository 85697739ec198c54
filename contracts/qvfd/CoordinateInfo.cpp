// The registry of coordinate systems: the built-in ones as text, and those of the geodesy database on demand.

#include "qvfd/CoordinateInfo.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "detail/BuiltInSystems.h"
#include "qvfd/CoordinateDatabase.h"

namespace qvfd {
namespace {

using qvdetail::BuiltInSystem;
using qvdetail::ZoneKind;

constexpr int kWGS84Id = 4326;

bool IdBelow(const CoordinateInfo& info, int id) {
  return info.id < id;
}

std::string NameOf(const BuiltInSystem& system) {
  std::string name = system.family->name;
  if (!system.IsGeographic()) {
    name += qvdetail::FormatInteger(system.Number());
  }
  switch (system.family->kind) {
    case ZoneKind::kUtmNorth:
      return name + 'N';
    case ZoneKind::kUtmSouth:
      return name + 'S';
    case ZoneKind::kByMeridian:
      return name + 'E';
    default:
      return name;
  }
}

std::string DescriptionOf(const BuiltInSystem& system) {
  if (system.IsGeographic()) {
    return "longitude and latitude";
  }
  const int meridian = system.CentralMeridian();
  return "transverse Mercator, central meridian " + qvdetail::FormatInteger(std::abs(meridian)) +
         (meridian < 0 ? " W" : " E") + ", false easting " + qvdetail::FormatInteger(system.FalseEasting()) +
         ", metres";
}

CoordinateInfo InfoOf(const BuiltInSystem& system) {
  return {.type = system.family->type,
          .id = system.code,
          .name = NameOf(system),
          .description = DescriptionOf(system),
          .definition = "EPSG:" + qvdetail::FormatInteger(system.code)};
}

}  // namespace

std::string DisplayName(const CoordinateInfo& info) {
  switch (info.type) {
    case qvdetail::kTypeXian1980:
      return "Xian 1980 " + info.name;
    case qvdetail::kTypeCGCS2000:
      return "CGCS2000 " + info.name;
    default:
      return info.name;
  }
}

int CoordinateInfoSet::Size() const {
  return static_cast<int>(end() - begin());
}

const CoordinateInfo* CoordinateInfoSet::begin() const {
  return systems_ ? systems_->data() : nullptr;
}

const CoordinateInfo* CoordinateInfoSet::end() const {
  return systems_ ? systems_->data() + systems_->size() : nullptr;
}

bool CoordinateInfoSet::GetCoordinateByID(int id, CoordinateInfo& out) const noexcept {
  try {
    const CoordinateInfo* const found = std::lower_bound(begin(), end(), id, IdBelow);
    if (found == end() || found->id != id) {
      return systems_ != nullptr && ReadCoordinate(id, out);
    }
    CoordinateInfo copy = *found;
    out = std::move(copy);
    return true;
  } catch (const std::exception&) {
    return false;  // out of memory
  }
}

CoordinateInfo CoordinateInfoSet::GetWGS84() {
  return InfoOf(*qvdetail::FindBuiltIn(kWGS84Id));
}

QvConfiguration::QvConfiguration() {
  auto systems = std::make_shared<std::vector<CoordinateInfo>>();
  qvdetail::EachBuiltIn([&systems](const BuiltInSystem& system) { systems->push_back(InfoOf(system)); });
  registry_.systems_ = std::move(systems);
}

QvConfiguration& QvConfiguration::Instance() {
  static QvConfiguration configuration;
  return configuration;
}

CoordinateInfoSet QvConfiguration::GetCoordinateInfoSet() const {
  const std::lock_guard lock(mutex_);
  return registry_;
}

bool QvConfiguration::AddCoordinate(CoordinateInfo info) noexcept {
  try {
    CoordinateInfo taken;
    if (info.id < 0 || ReadCoordinate(info.id, taken)) {
      return false;
    }
    const std::lock_guard lock(mutex_);
    const auto& listed = *registry_.systems_;
    const auto place = std::lower_bound(listed.begin(), listed.end(), info.id, IdBelow);
    if (place != listed.end() && place->id == info.id) {
      return false;
    }
    auto systems = std::make_shared<std::vector<CoordinateInfo>>();
    systems->reserve(listed.size() + 1);
    systems->assign(listed.begin(), place);
    systems->push_back(std::move(info));
    systems->insert(systems->end(), place, listed.end());
    registry_.systems_ = std::move(systems);  // snapshots handed out earlier keep the old list
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace qvfd
