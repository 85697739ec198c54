#include "qvfd/ImageInfo.h"

#include <utility>

namespace qvfd {

ImageInfo::ImageInfo(int id, std::string name, std::string path, const EOP& eop)
    : id_(id), name_(std::move(name)), path_(std::move(path)), eop_(eop), updated_eop_(eop) {}

void ImageInfoSet::Clear() {
  images_.clear();
  extensions_.clear();
  positions_.Clear();
}

int ImageInfoSet::Size() const {
  return static_cast<int>(images_.size());
}

void ImageInfoSet::Reserve(int count) {
  const auto size = static_cast<std::size_t>(count < 0 ? 0 : count);
  images_.reserve(size);
  extensions_.reserve(size);
  positions_.Reserve(size);
}

std::size_t ImageInfoSet::PositionOfId(int id) const {
  const std::int32_t position = positions_.Find(id);
  return position == IdIndex::kMissing ? kNowhere : static_cast<std::size_t>(position);
}

std::size_t ImageInfoSet::PositionOf(int positionOrId) const {
  const bool isPosition = positionOrId >= 0 && positionOrId < Size();
  return isPosition ? static_cast<std::size_t>(positionOrId) : PositionOfId(positionOrId);
}

const ImageInfo* ImageInfoSet::GetImage(int positionOrId) const {
  const std::size_t position = PositionOf(positionOrId);
  return position == kNowhere ? nullptr : &images_[position];
}

const ImageInfoExt* ImageInfoSet::GetImageExt(int positionOrId) const {
  const std::size_t position = PositionOf(positionOrId);
  return position == kNowhere ? nullptr : &extensions_[position];
}

const ImageInfo* ImageInfoSet::FindImage(int id) const {
  const std::size_t position = PositionOfId(id);
  return position == kNowhere ? nullptr : &images_[position];
}

const ImageInfoExt* ImageInfoSet::FindImageExt(int id) const {
  const std::size_t position = PositionOfId(id);
  return position == kNowhere ? nullptr : &extensions_[position];
}

ImageInfo* ImageInfoSet::GetImage(int positionOrId) {
  return const_cast<ImageInfo*>(std::as_const(*this).GetImage(positionOrId));
}

ImageInfoExt* ImageInfoSet::GetImageExt(int positionOrId) {
  return const_cast<ImageInfoExt*>(std::as_const(*this).GetImageExt(positionOrId));
}

ImageInfo* ImageInfoSet::FindImage(int id) {
  return const_cast<ImageInfo*>(std::as_const(*this).FindImage(id));
}

ImageInfoExt* ImageInfoSet::FindImageExt(int id) {
  return const_cast<ImageInfoExt*>(std::as_const(*this).FindImageExt(id));
}

void ImageInfoSet::AddImage(int id, std::string name, std::string path, EOP eop, int camera_id, int strip_id,
                            bool enabled) {
  extensions_.push_back({strip_id, camera_id, enabled});
  try {
    images_.emplace_back(id, std::move(name), std::move(path), eop);
    positions_.Set(id, Size() - 1);
  } catch (...) {
    // The three grow together or not at all.
    if (images_.size() == extensions_.size()) {
      images_.pop_back();
    }
    extensions_.pop_back();
    throw;
  }
}

}  // namespace qvfd
