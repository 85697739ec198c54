// The blob container: numbered byte blobs, written to one file and read back.
#pragma once

#include <map>
#include <span>
#include <string>
#include <vector>

#include "qvfd/Export.h"

namespace qvfd {

/// Blobs by id. `Read` and `Write` move all of them between memory and one file, whose layout is described at
/// the head of BlobFile.cpp and in docs/formats/track-file.md.
class QVFD_API BinaryData {
 public:
  /// An empty container. The tag is stored in the file and not compared when one is read.
  explicit BinaryData(int tag);

  /// Stores the bytes under `id`, in place of earlier ones. The first form copies them, the second takes them
  /// over.
  void AddBlob(int id, const std::vector<unsigned char>& blob);
  void AddBlob(int id, std::vector<unsigned char>&& blob);

  /// Copies the bytes stored under `id` into `blob` and returns true; false when there are none, or when
  /// memory for the copy is not to be had: `blob` is then empty.
  bool GetBlob(int id, std::vector<unsigned char>& blob) const noexcept;

  /// Like `GetBlob`, without a copy: `view` is valid until the container is changed or destroyed. `view` is
  /// as it was when false is returned.
  [[nodiscard]] bool ViewBlob(int id, std::span<const unsigned char>& view) const noexcept;

  /// Writes all blobs to the file at `path`. The file is written beside the target and renamed over it, so a
  /// reader never sees half a file, and a write that fails leaves what was there and no other trace. False
  /// when the file cannot be written or `path` names something that is no file.
  [[nodiscard]] bool Write(std::string path) const noexcept;

  /// Replaces all blobs by those of the file at `path`. False, and no blobs at all, when the file is missing,
  /// is no regular file, is no container, is damaged (a check value does not hold) or does not fit into
  /// memory.
  bool Read(std::string path) noexcept;

 private:
  int tag_;
  std::map<int, std::vector<unsigned char>> blobs_;
};

}  // namespace qvfd
