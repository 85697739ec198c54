// What is left of a damaged track file.
//
// The header says where the directory is, and the directory where the blobs are, each with a check value. With
// a damaged header the directory is found from the end of the file. With a damaged directory, or a file that
// has lost its end, the blobs are looked for where the layout puts them: in ascending order of their ids, each
// at the first multiple of 64 behind the one before, and each as long as its records are.

#include "qvprj/check/BlobSalvage.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <span>

#include "qvfd/ByteStream.h"
#include "qvfd/PathHelper.h"

namespace qvprj {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr std::size_t kAlignment = 64;
constexpr std::size_t kCountSize = 4;

/// The directory of three blobs: what is no longer than this behind a blob is no blob.
constexpr std::size_t kLongestDirectory = 3 * 32 + 8;

/// How the records of a blob are laid out: a head, which ends with the number of elements, and the elements.
struct RecordLayout {
  const char* name;
  std::size_t head;
  std::size_t ids;       // how many image ids the head begins with
  std::size_t element;   // size of one
  bool elementsHaveIds;  // whether each element begins with an image id
};

constexpr std::array<RecordLayout, 3> kLayouts = {{
    {"tracks", 28, 0, 12, true},
    {"features", 8, 1, 8, false},
    {"matches", 12, 2, 8, false},
}};

std::int32_t IntegerAt(Bytes bytes, std::size_t offset) {
  std::int32_t value = 0;
  qvfd::CopyValues(bytes.data() + offset, value);
  return value;
}

/// The whole records at the start of a blob.
struct Walk {
  std::size_t kept = 0;
  std::size_t claimed = 0;
  std::size_t end = 0;  // where the next record would begin

  [[nodiscard]] bool IsFinished() const { return claimed > 0 && kept == claimed; }
};

bool NamesKnownImages(Bytes record, const RecordLayout& layout, const IdSet& images) {
  for (std::size_t i = 0; i < layout.ids; ++i) {
    if (!images.Has(IntegerAt(record, i * 4))) {
      return false;
    }
  }
  if (layout.elementsHaveIds) {
    for (std::size_t at = layout.head; at < record.size(); at += layout.element) {
      if (!images.Has(IntegerAt(record, at))) {
        return false;
      }
    }
  }
  return true;
}

/// Goes through the records until the end or the damage. With `images`, a record that names another one is
/// damage.
Walk WalkRecords(Bytes blob, const RecordLayout& layout, const IdSet* images) {
  Walk walk;
  if (blob.size() < kCountSize) {
    return walk;
  }
  walk.claimed = static_cast<std::size_t>(std::max(0, IntegerAt(blob, 0)));
  walk.end = kCountSize;
  while (walk.kept < walk.claimed) {
    const Bytes rest = blob.subspan(walk.end);
    if (rest.size() < layout.head) {
      break;
    }
    const std::int32_t count = IntegerAt(rest, layout.head - 4);
    if (count < 0 || static_cast<std::size_t>(count) > (rest.size() - layout.head) / layout.element) {
      break;
    }
    const std::size_t size = layout.head + static_cast<std::size_t>(count) * layout.element;
    if (images != nullptr && !NamesKnownImages(rest.first(size), layout, *images)) {
      break;
    }
    walk.end += size;
    ++walk.kept;
  }
  return walk;
}

std::size_t Align(std::size_t offset) {
  return (offset + kAlignment - 1) / kAlignment * kAlignment;
}

/// Whether nothing but the padding stands between the end of a blob and the next place for one.
bool IsPadded(Bytes file, std::size_t end) {
  const std::size_t next = std::min(Align(end), file.size());
  return std::all_of(file.begin() + static_cast<std::ptrdiff_t>(end),
                     file.begin() + static_cast<std::ptrdiff_t>(next),
                     [](unsigned char byte) { return byte == 0; });
}

std::vector<unsigned char> WholeFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  std::vector<unsigned char> bytes(file ? static_cast<std::size_t>(file.tellg()) : 0);
  file.seekg(0);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

/// The whole records of a blob, as a blob.
SalvagedBlob WholeRecords(Bytes blob, const RecordLayout& layout, const IdSet* images) {
  const Walk walk = WalkRecords(blob, layout, images);
  SalvagedBlob salvaged{{layout.name, false, walk.kept, walk.claimed}, {}};
  if (walk.kept > 0) {
    salvaged.bytes.assign(blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(walk.end));
    const auto count = static_cast<std::int32_t>(walk.kept);
    std::memcpy(salvaged.bytes.data(), &count, kCountSize);
  }
  return salvaged;
}

}  // namespace

TrackFileSalvage::TrackFileSalvage(const std::string& path, const IdSet* images) : images_(images) {
  if (!qvfd::PathHelper::IsFileExisted(path)) {
    return;
  }
  if (file_.Open(path)) {
    state_ = TrackFileState::kSound;
    return;
  }
  state_ = TrackFileState::kDamaged;
  if (!file_.OpenWithoutHeader(path)) {
    FindByLayout(path);
  }
}

void TrackFileSalvage::FindByLayout(const std::string& path) {
  bytes_ = WholeFile(path);
  const Bytes file(bytes_);
  std::size_t at = kAlignment;
  std::size_t id = 0;
  while (id < kLayouts.size() && at + kCountSize <= file.size()) {
    // Which blob is it? One that is whole and followed by padding, or else the one with the most records.
    std::size_t best = kLayouts.size();
    Walk bestWalk;
    bool bestIsWhole = false;
    for (std::size_t candidate = id; candidate < kLayouts.size(); ++candidate) {
      const Walk walk = WalkRecords(file.subspan(at), kLayouts[candidate], images_);
      const bool isWhole = walk.IsFinished() && IsPadded(file, at + walk.end);
      if (walk.kept > 0 && (isWhole > bestIsWhole || (isWhole == bestIsWhole && walk.kept > bestWalk.kept))) {
        best = candidate;
        bestWalk = walk;
        bestIsWhole = isWhole;
      }
    }
    const bool mayBeDirectory = file.size() - at <= kLongestDirectory;
    if (best == kLayouts.size() || (mayBeDirectory && !bestIsWhole)) {
      return;
    }
    places_.push_back({static_cast<int>(best), at});
    if (!bestIsWhole) {
      return;  // where the next one begins is not known
    }
    at = Align(at + bestWalk.end);
    id = best + 1;
  }
}

std::optional<SalvagedBlob> TrackFileSalvage::Take(int id) {
  const RecordLayout& layout = kLayouts[static_cast<std::size_t>(id)];
  if (file_.Begin(id)) {
    std::vector<unsigned char> bytes;
    static_cast<void>(file_.ReadArray(file_.Remaining(), bytes));
    if (!file_.IsSound(id)) {
      return WholeRecords(bytes, layout, images_);
    }
    const Walk walk = WalkRecords(bytes, layout, nullptr);
    return SalvagedBlob{{layout.name, true, walk.kept, walk.claimed}, std::move(bytes)};
  }
  for (const Place& place : places_) {
    if (place.id == id) {
      return WholeRecords(Bytes(bytes_).subspan(place.offset), layout, images_);
    }
  }
  return std::nullopt;
}

}  // namespace qvprj
