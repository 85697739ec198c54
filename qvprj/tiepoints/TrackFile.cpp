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
#include "qvfd/BinaryData.h"
#include "qvfd/ByteStream.h"
#include "qvprj/project/QvProject.h"

namespace qvprj {
namespace {

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

constexpr std::size_t kCountSize = sizeof(std::int32_t);
constexpr std::size_t kFeatureRecordSize = 4 + 4;
constexpr std::size_t kMatchRecordSize = 4 + 4 + 4;
constexpr std::size_t kTrackRecordSize = 8 + 8 + 8 + 4;
constexpr std::size_t kObservationSize = 4 + 4 + 4;

// What is copied as a block must be in memory as it is in the file.
static_assert(sizeof(Point2_T<float>) == 8 && sizeof(Point2_T<int>) == 8);
static_assert(sizeof(TrackObservation) == kObservationSize);

/// Whether a 32-bit count can tell the size of the container and of everything in it.
template <class Container, class Inner>
bool IsCountable(const Container& container, Inner inner) {
  const auto fits = [](std::size_t size) { return size <= std::numeric_limits<std::int32_t>::max(); };
  return fits(container.size()) && std::all_of(container.begin(), container.end(),
                                               [&](const auto& entry) { return fits(inner(entry).size()); });
}

/// The number of elements in all inner vectors of a container.
template <class Container, class Inner>
std::size_t CountElements(const Container& container, Inner inner) {
  std::size_t count = 0;
  for (const auto& entry : container) {
    count += inner(entry).size();
  }
  return count;
}

void WriteCount(ByteWriter& bytes, std::size_t count) {
  bytes.Write(static_cast<std::int32_t>(count));
}

std::vector<unsigned char> TracksBlob(const QvProject::Tracks& tracks) {
  const auto observationsOf = [](const Track& track) -> const auto& {
    return track.observations;
  };
  ByteWriter bytes;
  bytes.Reserve(kCountSize + tracks.size() * kTrackRecordSize +
                CountElements(tracks, observationsOf) * kObservationSize);
  WriteCount(bytes, tracks.size());
  for (const Track& track : tracks) {
    bytes.Write(track.x);
    bytes.Write(track.y);
    bytes.Write(track.z);
    WriteCount(bytes, track.observations.size());
    bytes.WriteArray(track.observations);
  }
  return bytes.Take();
}

bool AreCountable(const QvProject::Tracks& tracks) {
  return IsCountable(
      tracks, [](const Track& track) -> const auto& { return track.observations; });
}

constexpr auto kValuesOf = [](const auto& entry) -> const auto& {
  return entry.second;
};

bool ReadKey(ByteReader& reader, int& imageId) {
  return reader.Read(imageId);
}

bool ReadKey(ByteReader& reader, Point2_T<int>& pair) {
  return reader.Read(pair.x) && reader.Read(pair.y);
}

/// Reads the records of features or matches. False when they are corrupt: `records` then holds the whole
/// records before the damage, and the record with a negative count, if that is the damage, empty.
template <class Map>
bool ReadRecords(std::span<const unsigned char> blob, Map& records) {
  ByteReader reader(blob);
  std::int32_t recordCount = 0;
  if (!reader.Read(recordCount)) {
    return false;
  }
  for (std::int32_t i = 0; i < recordCount; ++i) {
    typename Map::key_type key{};
    std::int32_t count = 0;
    if (!ReadKey(reader, key) || !reader.Read(count)) {
      return false;
    }
    if (count < 0) {
      records.try_emplace(key);
      return false;
    }
    typename Map::mapped_type values;
    if (!reader.ReadArray(static_cast<std::size_t>(count), values)) {
      return false;
    }
    records.insert_or_assign(key, std::move(values));
  }
  return true;
}

/// Reads the rest of a track's record behind its position, keeping the observations in known images. False
/// when the record is not whole.
bool ReadObservations(ByteReader& reader, const qvfd::ImageInfoSet& images,
                      std::vector<TrackObservation>& kept) {
  std::int32_t count = 0;
  if (!reader.Read(count) ||
      (count > 0 && static_cast<std::size_t>(count) > reader.Remaining() / kObservationSize)) {
    return false;
  }
  kept.reserve(static_cast<std::size_t>(std::max(count, 0)));
  for (std::int32_t i = 0; i < count; ++i) {
    TrackObservation observation;
    if (!reader.Read(observation.image_id) || !reader.Read(observation.x) || !reader.Read(observation.y)) {
      return false;
    }
    if (images.FindImage(observation.image_id) != nullptr) {
      kept.push_back(observation);
    }
  }
  return true;
}

}  // namespace

bool QvProject::WriteFeatures(qvfd::BinaryData& blobs) {
  return qvdetail::NoThrow([&] {
    if (features_.empty()) {
      return true;
    }
    if (!IsCountable(features_, kValuesOf)) {
      return false;
    }
    ByteWriter bytes;
    bytes.Reserve(kCountSize + features_.size() * kFeatureRecordSize +
                  CountElements(features_, kValuesOf) * sizeof(Point2_T<float>));
    WriteCount(bytes, features_.size());
    for (const auto& [imageId, points] : features_) {
      bytes.Write(imageId);
      WriteCount(bytes, points.size());
      bytes.WriteArray(points);
    }
    blobs.AddBlob(kFeaturesBlob, bytes.Take());
    return true;
  });
}

bool QvProject::WriteMatches(qvfd::BinaryData& blobs) {
  return qvdetail::NoThrow([&] {
    if (matches_.empty()) {
      return true;
    }
    if (!IsCountable(matches_, kValuesOf)) {
      return false;
    }
    ByteWriter bytes;
    bytes.Reserve(kCountSize + matches_.size() * kMatchRecordSize +
                  CountElements(matches_, kValuesOf) * sizeof(Point2_T<int>));
    WriteCount(bytes, matches_.size());
    for (const auto& [pair, matches] : matches_) {
      bytes.Write(pair.x);
      bytes.Write(pair.y);
      WriteCount(bytes, matches.size());
      bytes.WriteArray(matches);
    }
    blobs.AddBlob(kMatchesBlob, bytes.Take());
    return true;
  });
}

bool QvProject::WriteTracks(qvfd::BinaryData& blobs) {
  return qvdetail::NoThrow([&] {
    if (tracks_.empty()) {
      return true;
    }
    if (!AreCountable(tracks_)) {
      return false;
    }
    blobs.AddBlob(kTracksBlob, TracksBlob(tracks_));
    return true;
  });
}

bool QvProject::WriteTracks(std::string path) {
  return qvdetail::NoThrow([&] {
    qvfd::BinaryData blobs(kTrackFileTag);
    return tracks_.empty() || (WriteTracks(blobs) && blobs.Write(std::move(path)));
  });
}

bool QvProject::ReadFeatures(qvfd::BinaryData& blobs) {
  features_.clear();
  return qvdetail::NoThrow([&] {
    std::span<const unsigned char> blob;
    if (!blobs.ViewBlob(kFeaturesBlob, blob) || !ReadRecords(blob, features_)) {
      return false;
    }
    std::erase_if(features_, [this](const auto& entry) { return images_.FindImage(entry.first) == nullptr; });
    return true;
  });
}

bool QvProject::ReadMatches(qvfd::BinaryData& blobs) {
  matches_.clear();
  return qvdetail::NoThrow([&] {
    std::span<const unsigned char> blob;
    if (!blobs.ViewBlob(kMatchesBlob, blob) || !ReadRecords(blob, matches_)) {
      return false;
    }
    std::erase_if(matches_, [this](const auto& entry) {
      return images_.FindImage(entry.first.x) == nullptr || images_.FindImage(entry.first.y) == nullptr;
    });
    return true;
  });
}

bool QvProject::ReadTracks(qvfd::BinaryData& blobs) {
  tracks_.clear();
  return qvdetail::NoThrow([&] {
    std::span<const unsigned char> blob;
    if (!blobs.ViewBlob(kTracksBlob, blob)) {
      return false;
    }
    ByteReader reader(blob);
    std::int32_t trackCount = 0;
    if (!reader.Read(trackCount)) {
      return false;
    }
    // A track that is kept has an observation, so the bytes that are there bound how many can come.
    const std::size_t most = reader.Remaining() / (kTrackRecordSize + kObservationSize);
    tracks_.reserve(std::min(most, static_cast<std::size_t>(std::max(trackCount, 0))));
    for (std::int32_t i = 0; i < trackCount; ++i) {
      Track track;
      if (!reader.Read(track.x) || !reader.Read(track.y) || !reader.Read(track.z) ||
          !ReadObservations(reader, images_, track.observations)) {
        return false;
      }
      if (!track.observations.empty()) {
        tracks_.push_back(std::move(track));
      }
    }
    return true;
  });
}

}  // namespace qvprj
