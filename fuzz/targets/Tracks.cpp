// Blob 0 of the track file: the tracks.

#include "targets/TiePointBlob.h"

namespace {

constexpr fuzz::BlobKind kTracks = {0, &qvprj::QvProject::ReadTracks, &qvprj::QvProject::WriteTracks};

/// A track of so many elements.
fuzz::Bytes LargeRecord(std::int32_t count) {
  fuzz::Bytes record(24, 0x41);
  fuzz::Append(record, count);
  for (std::int32_t i = 0; i < count; ++i) {
    fuzz::Append(record, i % 50);
    record.resize(record.size() + 8, 0x42);
  }
  return record;
}

/// What the format page says of tracks. False when they are damaged.
bool ExpectTracks(const fuzz::Bytes& blob, const qvfd::ImageInfoSet& images,
                  qvprj::QvProject::Tracks& tracks) {
  fuzz::PlainReader reader(blob);
  std::int32_t count = 0;
  if (!reader.Get(count)) {
    return false;
  }
  for (std::int32_t i = 0; i < count; ++i) {
    qvfd::Track track;
    std::int32_t size = 0;
    if (!reader.Get(track.x) || !reader.Get(track.y) || !reader.Get(track.z) || !reader.Get(size)) {
      return false;
    }
    if (size > 0 && static_cast<std::size_t>(size) > reader.Left() / 12) {
      return false;
    }
    for (std::int32_t k = 0; k < size; ++k) {
      qvfd::TrackObservation observation;
      fuzz::Require(
          reader.Get(observation.image_id) && reader.Get(observation.x) && reader.Get(observation.y),
          "the expectation counts right");
      if (images.FindImage(observation.image_id) != nullptr) {
        track.observations.push_back(observation);
      }
    }
    if (!track.observations.empty()) {
      tracks.push_back(track);
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::uint8_t choices = input.Byte();
  fuzz::TiePointProject expected;
  fuzz::AddImages(input, expected);
  fuzz::Bytes blob = input.Rest();
  if (fuzz::PutsLargeRecord(choices)) {
    fuzz::PutInFront(blob, LargeRecord(fuzz::LargeCount(choices, 12)));
  }
  const bool whole = ExpectTracks(blob, expected.GetImageInfoSet(), expected.GetTracks());
  fuzz::RequireBlobReads(kTracks, blob, expected, whole, choices);
  return 0;
}
