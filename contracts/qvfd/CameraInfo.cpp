#include "qvfd/CameraInfo.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace qvfd {

void CameraInfoSet::Clear() {
  cameras_.clear();
}

int CameraInfoSet::Size() const {
  return static_cast<int>(cameras_.size());
}

const CameraInfo* CameraInfoSet::GetCamera(int position) const {
  return position < 0 || position >= Size() ? nullptr : &cameras_[static_cast<std::size_t>(position)];
}

CameraInfo* CameraInfoSet::GetCamera(int position) {
  return const_cast<CameraInfo*>(std::as_const(*this).GetCamera(position));
}

const CameraInfo* CameraInfoSet::FindCamera(int id) const {
  const auto found = std::find_if(cameras_.rbegin(), cameras_.rend(),
                                  [id](const CameraInfo& camera) { return camera.id == id; });
  return found == cameras_.rend() ? nullptr : &*found;
}

CameraInfo* CameraInfoSet::FindCamera(int id) {
  return const_cast<CameraInfo*>(std::as_const(*this).FindCamera(id));
}

int CameraInfoSet::AddCamera(CameraInfo camera) {
  cameras_.push_back(std::move(camera));
  return Size() - 1;
}

}  // namespace qvfd
