// What is left of a damaged track file. Private to this room.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "qvfd/BlobFile.h"
#include "qvprj/check/CheckState.h"
#include "qvprj/check/Recovery.h"

namespace qvprj {

/// A blob, with its count of records in front.
struct SalvagedBlob {
  BlobRecovery recovery;
  std::vector<unsigned char> bytes;
};

/// The blobs of a track file, whatever its state.
class TrackFileSalvage {
 public:
  /// `images` are all images of the project, where they are known; it has to outlive the object.
  TrackFileSalvage(const std::string& path, const IdSet* images);

  [[nodiscard]] TrackFileState State() const { return state_; }

  /// A blob by its id; none when there is none, or it cannot be found. Each can be taken once.
  [[nodiscard]] std::optional<SalvagedBlob> Take(int id);

  /// Ids of blobs, ascending.
  static constexpr int kIds[] = {0, 1, 2};

 private:
  struct Place {
    int id;
    std::size_t offset;
  };
  void FindByLayout(const std::string& path);

  const IdSet* images_;
  TrackFileState state_ = TrackFileState::kMissing;
  qvfd::BlobFileReader file_;         // where the directory could be read
  std::vector<unsigned char> bytes_;  // the whole file, where it could not
  std::vector<Place> places_;         // of blobs in it
};

}  // namespace qvprj
