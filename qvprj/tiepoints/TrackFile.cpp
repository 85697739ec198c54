// The three blobs of the track file. All values are little-endian, without padding; counts are signed.
//
//   blob 1  features := N:i32, N x record, 8 + 8 n bytes:   image:i32 n:i32, n x (x:f32 y:f32)
//   blob 2  matches  := N:i32, N x record, 12 + 8 n bytes:  left:i32 right:i32 n:i32, n x (i:i32 j:i32)
//   blob 0  tracks   := N:i32, N x record, 28 + 12 n bytes: x:f64 y:f64 z:f64 n:i32, n x (id:i32 x:f32 y:f32)
//
// A match is a feature index in the left image and one in the right; an observation names its image.
// Features are in ascending order of their images, matches in that of their pairs, tracks in the order in
// which the project holds them. What is empty has no blob.

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "detail/NoThrow.h"
#include "detail/TouchAhead.h"
#include "qvfd/BinaryData.h"
#include "qvfd/BlobFile.h"
#include "qvfd/ByteStream.h"
#include "qvprj/project/QvProject.h"

namespace qvprj {
namespace {

using qvfd::BlobFileReader;
using qvfd::BlobFileWriter;
using qvfd::ByteReader;
using qvfd::ByteWriter;
using qvfd::Point2_T;
using qvfd::Track;
using qvfd::TrackObservation;

constexpr int kTracksBlob = 0;
constexpr int kFeaturesBlob = 1;
constexpr int kMatchesBlob = 2;

/// Stored in track files and not interpreted.
constexpr int kTrackFileTag = 1;

constexpr std::size_t kTrackRecordSize = 8 + 8 + 8 + 4;
constexpr std::size_t kObservationSize = 4 + 4 + 4;

// What is copied as a block must be in memory as it is in the file.
static_assert(sizeof(Point2_T<float>) == 8 && sizeof(Point2_T<int>) == 8);
static_assert(sizeof(TrackObservation) == kObservationSize);

// ---- Writing -----------------------------------------------------------------------------------------
//
// A sink is a ByteWriter, for a blob in memory, or a BlobFileWriter, for one that goes into the file.

/// Every Put... is false when a 32-bit count cannot tell how many elements there are.
template <class Sink>
bool PutCount(Sink& sink, std::size_t count) {
  sink.Write(static_cast<std::int32_t>(count));
  return count <= std::numeric_limits<std::int32_t>::max();
}

template <class Sink, class T>
bool PutArray(Sink& sink, const std::vector<T>& values) {
  if (!PutCount(sink, values.size())) {
    return false;
  }
  sink.WriteArray(values);
  return true;
}

template <class Sink>
bool Put(Sink& sink, const QvProject::Features& features) {
  bool countable = PutCount(sink, features.size());
  for (auto entry = features.begin(); countable && entry != features.end(); ++entry) {
    sink.Write(entry->first);
    countable = PutArray(sink, entry->second);
  }
  return countable;
}

template <class Sink>
bool Put(Sink& sink, const QvProject::Matches& matches) {
  bool countable = PutCount(sink, matches.size());
  for (auto entry = matches.begin(); countable && entry != matches.end(); ++entry) {
    sink.Write(entry->first.x);
    sink.Write(entry->first.y);
    countable = PutArray(sink, entry->second);
  }
  return countable;
}

template <class Sink>
bool Put(Sink& sink, const QvProject::Tracks& tracks) {
  bool countable = PutCount(sink, tracks.size());
  for (auto track = tracks.begin(); countable && track != tracks.end(); ++track) {
    sink.Write(track->x);
    sink.Write(track->y);
    sink.Write(track->z);
    countable = PutArray(sink, track->observations);
  }
  return countable;
}

/// A sink that only counts.
class ByteCounter {
 public:
  template <class T>
  void Write(T /*value*/) {
    count_ += sizeof(T);
  }
  template <class T>
  void WriteArray(const std::vector<T>& values) {
    count_ += values.size() * sizeof(T);
  }
  [[nodiscard]] std::size_t Count() const { return count_; }

 private:
  std::size_t count_ = 0;
};

/// Adds a container as a blob; none where it is empty.
template <class Container>
bool AddTo(qvfd::BinaryData& blobs, int id, const Container& container) {
  return qvdetail::NoThrow([&] {
    if (container.empty()) {
      return true;
    }
    ByteCounter size;
    ByteWriter bytes;
    if (!Put(size, container)) {
      return false;
    }
    bytes.Reserve(size.Count());
    static_cast<void>(Put(bytes, container));
    blobs.AddBlob(id, bytes.Take());
    return true;
  });
}

template <class Container>
bool AddTo(BlobFileWriter& file, int id, const Container& container) {
  if (container.empty()) {
    return true;
  }
  file.Begin(id);
  return Put(file, container);
}

// ---- Reading -----------------------------------------------------------------------------------------
//
// A source is a ByteReader, for a blob in memory, or a BlobFileReader, for one that comes from the file.

/// Which ids are those of images of the project: asked for every observation, so made once for all of them.
class ImageFilter {
 public:
  explicit ImageFilter(const qvfd::ImageInfoSet& images) : images_(images) {
    if (images.Size() == 0) {
      return;
    }
    const auto [low, high] = std::minmax_element(
        images.begin(), images.end(), [](const auto& a, const auto& b) { return a.Id() < b.Id(); });
    const std::int64_t range = std::int64_t{high->Id()} - low->Id() + 1;
    constexpr std::int64_t kFlagsPerImage = 64;  // wider apart, flags would take much memory for little
    if (range <= kFlagsPerImage * images.Size()) {
      first_ = low->Id();
      flags_.resize(static_cast<std::size_t>(range));
      for (const qvfd::ImageInfo& image : images) {
        flags_[FlagOf(image.Id())] = 1;
      }
    }
  }

  [[nodiscard]] bool Has(int id) const {
    if (flags_.empty()) {
      return images_.FindImage(id) != nullptr;
    }
    const std::size_t flag = FlagOf(id);
    return flag < flags_.size() && flags_[flag] != 0;
  }

  [[nodiscard]] bool Has(Point2_T<int> pair) const { return Has(pair.x) && Has(pair.y); }

 private:
  /// Beyond all flags for an id below the first one.
  [[nodiscard]] std::size_t FlagOf(int id) const {
    return static_cast<std::size_t>(std::int64_t{id} - first_);
  }

  const qvfd::ImageInfoSet& images_;
  std::int64_t first_ = 0;
  std::vector<char> flags_;  // by id, from the first one; empty when the ids are too far apart
};

/// Reads what stands before the values of a record.
template <class Source>
bool ReadHead(Source& source, int& imageId, std::int32_t& count) {
  return source.Read(imageId, count);
}

template <class Source>
bool ReadHead(Source& source, Point2_T<int>& pair, std::int32_t& count) {
  return source.Read(pair.x, pair.y, count);
}

/// The entry of a key, made if there is none. Keys come in ascending order from our own writer.
template <class Map>
typename Map::mapped_type& EntryOf(Map& map, const typename Map::key_type& key) {
  return map.try_emplace(map.end(), key)->second;
}

/// Reads the records of features or matches. False when they are corrupt: `records` then holds the whole
/// records before the damage, and the record with a negative count, if that is the damage, empty.
template <class Source, class Map>
bool ReadRecords(Source& source, Map& records) {
  using Values = typename Map::mapped_type;
  std::int32_t recordCount = 0;
  if (!source.Read(recordCount)) {
    return false;
  }
  for (std::int32_t i = 0; i < recordCount; ++i) {
    typename Map::key_type key{};
    std::int32_t count = 0;
    if (!ReadHead(source, key, count)) {
      return false;
    }
    if (count < 0) {
      EntryOf(records, key);
      return false;
    }
    if (static_cast<std::size_t>(count) > source.Remaining() / sizeof(typename Values::value_type) ||
        !source.ReadArray(static_cast<std::size_t>(count), EntryOf(records, key))) {
      return false;
    }
  }
  return true;
}

/// Reads a blob of features or matches, and keeps those of images that the project has.
template <class Source, class Map>
bool ReadBlob(Source& source, const ImageFilter& filter, Map& records) {
  if (!ReadRecords(source, records)) {
    return false;
  }
  std::erase_if(records, [&filter](const auto& entry) { return !filter.Has(entry.first); });
  return true;
}

/// Reads a track, with the observations in images that the project has. False when the record is not whole.
template <class Source>
bool ReadTrack(Source& source, const ImageFilter& filter, Track& track) {
  std::int32_t count = 0;
  if (!source.Read(track.x, track.y, track.z, count)) {
    return false;
  }
  if (count > 0 && !source.ReadArray(static_cast<std::size_t>(count), track.observations)) {
    return false;
  }
  std::erase_if(track.observations,
                [&filter](const TrackObservation& observation) { return !filter.Has(observation.image_id); });
  return true;
}

/// Reads a blob of tracks, and keeps those with an observation in an image that the project has.
template <class Source>
bool ReadBlob(Source& source, const ImageFilter& filter, QvProject::Tracks& tracks) {
  std::int32_t trackCount = 0;
  if (!source.Read(trackCount)) {
    return false;
  }
  // A track that is kept has an observation, so the bytes that are there bound how many can come.
  const std::size_t most = source.Remaining() / (kTrackRecordSize + kObservationSize);
  tracks.reserve(std::min(most, static_cast<std::size_t>(std::max(trackCount, 0))));
  qvdetail::TouchAhead(tracks.data(), tracks.capacity() * sizeof(Track));
  for (std::int32_t i = 0; i < trackCount; ++i) {
    Track& track = tracks.emplace_back();
    const bool whole = ReadTrack(source, filter, track);
    if (!whole || track.observations.empty()) {
      tracks.pop_back();
    }
    if (!whole) {
      return false;
    }
  }
  return true;
}

template <class Container>
bool ReadFrom(const qvfd::BinaryData& blobs, int id, const qvfd::ImageInfoSet& images, Container& container) {
  container.clear();
  return qvdetail::NoThrow([&] {
    std::span<const unsigned char> blob;
    if (!blobs.ViewBlob(id, blob)) {
      return false;
    }
    ByteReader reader(blob);
    return ReadBlob(reader, ImageFilter(images), container);
  });
}

template <class Container>
bool ReadFrom(BlobFileReader& file, int id, const ImageFilter& filter, Container& container) {
  container.clear();
  return qvdetail::NoThrow([&] { return file.Begin(id) && ReadBlob(file, filter, container); });
}

}  // namespace

bool QvProject::WriteFeatures(qvfd::BinaryData& blobs) {
  return AddTo(blobs, kFeaturesBlob, features_);
}

bool QvProject::WriteMatches(qvfd::BinaryData& blobs) {
  return AddTo(blobs, kMatchesBlob, matches_);
}

bool QvProject::WriteTracks(qvfd::BinaryData& blobs) {
  return AddTo(blobs, kTracksBlob, tracks_);
}

bool QvProject::WriteTracks(std::string path) {
  return tracks_.empty() || qvdetail::NoThrow([&] {
           return qvfd::WriteBlobFile(path, {.tag = kTrackFileTag}, [this](BlobFileWriter& file) {
             return AddTo(file, kTracksBlob, tracks_);
           });
         });
}

bool QvProject::ReadFeatures(qvfd::BinaryData& blobs) {
  return ReadFrom(blobs, kFeaturesBlob, images_, features_);
}

bool QvProject::ReadMatches(qvfd::BinaryData& blobs) {
  return ReadFrom(blobs, kMatchesBlob, images_, matches_);
}

bool QvProject::ReadTracks(qvfd::BinaryData& blobs) {
  return ReadFrom(blobs, kTracksBlob, images_, tracks_);
}

bool QvProject::WriteTrackFile(const std::string& path) const {
  return WriteStampedTrackFile(path, 0, Under::kItsName);
}

bool QvProject::WriteStampedTrackFile(const std::string& path, std::uint32_t stamp, Under name) const {
  return qvdetail::NoThrow([&] {
    const auto write = name == Under::kItsName ? qvfd::WriteBlobFile : qvfd::WriteBlobFileInPlace;
    return write(path, {kTrackFileTag, stamp}, [this](BlobFileWriter& file) {
      return AddTo(file, kTracksBlob, tracks_) && AddTo(file, kFeaturesBlob, features_) &&
             AddTo(file, kMatchesBlob, matches_);
    });
  });
}

void QvProject::ReadTrackFile(const std::string& path, bool features, bool matches) {
  BlobFileReader file;
  static_cast<void>(file.Open(path));
  ReadOpenTrackFile(file, features, matches);
}

void QvProject::ReadOpenTrackFile(BlobFileReader& file, bool features, bool matches) {
  const auto clear = [&] {
    tracks_.clear();
    if (features) {
      features_.clear();
    }
    if (matches) {
      matches_.clear();
    }
  };
  const bool sound = qvdetail::NoThrow([&] {
    clear();
    const ImageFilter filter(images_);
    if (features) {
      static_cast<void>(ReadFrom(file, kFeaturesBlob, filter, features_));
    }
    if (matches) {
      static_cast<void>(ReadFrom(file, kMatchesBlob, filter, matches_));
    }
    static_cast<void>(ReadFrom(file, kTracksBlob, filter, tracks_));
    return file.IsSound();
  });
  if (!sound) {
    clear();  // a damaged file is as good as none
  }
}

}  // namespace qvprj
