#include "qvgcp/GCPPrj.h"

#include <utility>

namespace qvgcp {

void GroundPoints::GetPointIndex(std::vector<int>& ids) const {
  ids.clear();
  ids.reserve(points_.size());
  for (const auto& [id, point] : points_) {
    ids.push_back(id);
  }
}

bool GroundPoints::GetPoint(int id, GroundPoint& point) const {
  const auto found = points_.find(id);
  if (found == points_.end()) {
    return false;
  }
  point = found->second;
  return true;
}

int GroundPoints::AddPoint(int id, GroundPoint point) {
  points_.insert_or_assign(id, std::move(point));
  return id;
}

void CommonPoints::AddGroundPoint(int id) {
  measurements_.try_emplace(id);
}

void CommonPoints::AddImagePoint(int id, int imageId, qvfd::Point2_T<double> pt) {
  measurements_[id].insert_or_assign(imageId, pt);
}

bool CommonPoints::GetGroundPoint(int id, std::map<int, qvfd::Point2_T<double>>& measurements) const {
  const auto found = measurements_.find(id);
  if (found == measurements_.end()) {
    return false;
  }
  measurements = found->second;
  return true;
}

}  // namespace qvgcp
