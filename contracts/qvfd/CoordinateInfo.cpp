#include "qvfd/CoordinateInfo.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace qvfd {
namespace {

constexpr int kWGS84Type = 1;
constexpr int kWGS84Id = 4326;

bool IdBelow(const CoordinateInfo& info, int id) {
  return info.id < id;
}

}  // namespace

int CoordinateInfoSet::Size() const {
  return static_cast<int>(end() - begin());
}

const CoordinateInfo* CoordinateInfoSet::begin() const {
  return systems_ ? systems_->data() : nullptr;
}

const CoordinateInfo* CoordinateInfoSet::end() const {
  return systems_ ? systems_->data() + systems_->size() : nullptr;
}

bool CoordinateInfoSet::GetCoordinateByID(int id, CoordinateInfo& out) const {
  const CoordinateInfo* const found = std::lower_bound(begin(), end(), id, IdBelow);
  if (found == end() || found->id != id) {
    return false;
  }
  out = *found;
  return true;
}

CoordinateInfo CoordinateInfoSet::GetWGS84() {
  return {kWGS84Type, kWGS84Id, "WGS 84", "World Geodetic System 1984, geographic", "EPSG:4326"};
}

QvConfiguration::QvConfiguration() {
  registry_.systems_ = std::make_shared<const std::vector<CoordinateInfo>>(1, CoordinateInfoSet::GetWGS84());
}

QvConfiguration& QvConfiguration::Instance() {
  static QvConfiguration configuration;
  return configuration;
}

CoordinateInfoSet QvConfiguration::GetCoordinateInfoSet() const {
  const std::lock_guard lock(mutex_);
  return registry_;
}

bool QvConfiguration::AddCoordinate(CoordinateInfo info) {
  try {
    const std::lock_guard lock(mutex_);
    auto systems = std::make_shared<std::vector<CoordinateInfo>>(*registry_.systems_);
    const auto place = std::lower_bound(systems->begin(), systems->end(), info.id, IdBelow);
    if (info.id < 0 || (place != systems->end() && place->id == info.id)) {
      return false;
    }
    systems->insert(place, std::move(info));
    registry_.systems_ = std::move(systems);  // snapshots handed out earlier keep the old list
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace qvfd
