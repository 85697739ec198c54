// Blobs in memory. Their file is that of BlobFile.cpp.

#include "qvfd/BinaryData.h"

#include <exception>
#include <utility>

#include "qvfd/BlobFile.h"

namespace qvfd {

BinaryData::BinaryData(int tag) : tag_(tag) {}

void BinaryData::AddBlob(int id, const std::vector<unsigned char>& blob) {
  blobs_[id] = blob;
}

void BinaryData::AddBlob(int id, std::vector<unsigned char>&& blob) {
  blobs_[id] = std::move(blob);
}

bool BinaryData::GetBlob(int id, std::vector<unsigned char>& blob) const noexcept {
  blob.clear();
  try {
    std::span<const unsigned char> view;
    if (!ViewBlob(id, view)) {
      return false;
    }
    blob.assign(view.begin(), view.end());
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool BinaryData::ViewBlob(int id, std::span<const unsigned char>& view) const noexcept {
  const auto found = blobs_.find(id);
  if (found == blobs_.end()) {
    return false;
  }
  view = found->second;
  return true;
}

bool BinaryData::Write(std::string path) const noexcept {
  try {
    return WriteBlobFile(path, {.tag = tag_}, [this](BlobFileWriter& file) {
      for (const auto& [id, blob] : blobs_) {
        file.Begin(id);
        file.WriteArray(blob);
      }
      return true;
    });
  } catch (const std::exception&) {
    return false;
  }
}

bool BinaryData::Read(std::string path) noexcept {
  blobs_.clear();
  try {
    BlobFileReader file;
    bool read = file.Open(path);
    if (read) {
      for (const int id : file.Ids()) {
        read = read && file.Begin(id) && file.ReadArray(file.Remaining(), blobs_[id]);
      }
    }
    if (read && file.IsSound()) {
      tag_ = file.Tag();
      return true;
    }
  } catch (const std::exception&) {
    // out of memory: the same as a file that cannot be read
  }
  blobs_.clear();
  return false;
}

}  // namespace qvfd
