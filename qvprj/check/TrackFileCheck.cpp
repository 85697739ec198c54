// The track file: its container, its check values, and every record of its blobs.
//
// A blob is looked into while it is read, and its check value is known only then: what was found in a blob
// that turns out to be damaged is dropped, since it says nothing that the damage does not say.

#include <cmath>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "qvfd/BlobFile.h"
#include "qvfd/PathHelper.h"
#include "qvfd/Track.h"
#include "qvprj/check/CheckState.h"

namespace qvprj {
namespace {

using qvfd::BlobFileReader;
using qvfd::Point2_T;
using qvfd::TrackObservation;

/// What is found in one blob.
struct BlobFindings {
  const CheckState& state;
  const char* blob;
  Findings findings;

  void Add(Severity severity, const char* kind, std::string text,
           std::optional<std::int64_t> record = std::nullopt) {
    findings.Add({severity, kind, state.track_file, {}, blob, record, std::move(text), 0});
  }

  void CheckImage(int id, std::int64_t record) {
    if (state.images_known && !state.images.Has(id)) {
      Add(Severity::kError, "unknown-image", "image " + std::to_string(id) + " is not among the images",
          record);
    }
  }

  void EndsEarly(std::int64_t record) {
    Add(Severity::kError, "cut-short", "the blob ends within it", record);
  }
};

/// Reads how many records there are. False, and a finding, when there are none.
bool ReadRecordCount(BlobFileReader& file, BlobFindings& found, std::int32_t& count) {
  if (!file.Read(count) || count < 0) {
    found.Add(Severity::kError, "no-count", "does not say how many records it has");
    return false;
  }
  return true;
}

/// Reads the elements of a record. False, and a finding, when the record is not whole.
template <class T>
bool ReadElements(BlobFileReader& file, std::int32_t count, std::int64_t record, BlobFindings& found,
                  std::vector<T>& values) {
  if (count < 0) {
    found.Add(Severity::kError, "negative-count", "has " + std::to_string(count) + " elements", record);
    return false;
  }
  if (!file.ReadArray(static_cast<std::size_t>(count), values)) {
    found.EndsEarly(record);
    return false;
  }
  return true;
}

void CheckEnd(const BlobFileReader& file, BlobFindings& found) {
  if (file.Remaining() > 0) {
    found.Add(Severity::kWarning, "extra-bytes",
              std::to_string(file.Remaining()) + " bytes behind the last record are not read");
  }
}

/// Complains about keys of records that come again, or not in ascending order.
template <class Key>
class KeyCheck {
 public:
  void Take(const Key& key, const std::string& name, std::int64_t record, BlobFindings& found) {
    if (!keys_.insert(key).second) {
      found.Add(Severity::kWarning, "repeated-record", name + " is there already: the last one counts",
                record);
    } else if (key < *keys_.rbegin()) {
      found.Add(Severity::kWarning, "order", name + " stands behind a higher one", record);
    }
  }

 private:
  std::set<Key> keys_;
};

template <class T>
std::size_t CountNotFinite(const std::vector<T>& points) {
  std::size_t count = 0;
  for (const T& point : points) {
    count += std::isfinite(point.x) && std::isfinite(point.y) ? 0U : 1U;
  }
  return count;
}

/// What was counted in a blob: records, and elements in them.
struct Tally {
  std::size_t records = 0;
  std::size_t elements = 0;
};

void ReadFeatures(BlobFileReader& file, BlobFindings& found, FeatureCounts& features, Tally& tally) {
  std::int32_t count = 0;
  if (!ReadRecordCount(file, found, count)) {
    return;
  }
  KeyCheck<int> keys;
  std::vector<Point2_T<float>> points;
  for (std::int64_t record = 1; record <= count; ++record) {
    int image = 0;
    std::int32_t pointCount = 0;
    if (!file.Read(image, pointCount)) {
      found.EndsEarly(record);
      return;
    }
    found.CheckImage(image, record);
    keys.Take(image, "image " + std::to_string(image), record, found);
    if (!ReadElements(file, pointCount, record, found, points)) {
      return;
    }
    if (const std::size_t wrong = CountNotFinite(points); wrong > 0) {
      found.Add(Severity::kWarning, "not-finite",
                std::to_string(wrong) + " of " + std::to_string(points.size()) +
                    " features have a position that is not finite",
                record);
    }
    features.insert_or_assign(image, points.size());
    ++tally.records;
    tally.elements += points.size();
  }
  CheckEnd(file, found);
}

void ReadMatches(BlobFileReader& file, BlobFindings& found, Tally& tally) {
  std::int32_t count = 0;
  if (!ReadRecordCount(file, found, count)) {
    return;
  }
  KeyCheck<std::pair<int, int>> keys;
  std::vector<Point2_T<int>> matches;
  for (std::int64_t record = 1; record <= count; ++record) {
    int left = 0;
    int right = 0;
    std::int32_t matchCount = 0;
    if (!file.Read(left, right, matchCount)) {
      found.EndsEarly(record);
      return;
    }
    found.CheckImage(left, record);
    found.CheckImage(right, record);
    keys.Take({left, right}, "image pair " + std::to_string(left) + ", " + std::to_string(right), record,
              found);
    if (!ReadElements(file, matchCount, record, found, matches)) {
      return;
    }
    MatchIndexCheck indices(found.state, left, right);
    for (const Point2_T<int>& match : matches) {
      indices.Take(match.x, match.y);
    }
    if (std::string complaint = indices.Complaint(); !complaint.empty()) {
      found.Add(Severity::kError, "unknown-feature", std::move(complaint), record);
    }
    ++tally.records;
    tally.elements += matches.size();
  }
  CheckEnd(file, found);
}

void CheckObservations(const std::vector<TrackObservation>& observations, std::int64_t record,
                       BlobFindings& found) {
  for (const TrackObservation& observation : observations) {
    found.CheckImage(observation.image_id, record);
  }
}

void ReadTracks(BlobFileReader& file, BlobFindings& found, Tally& tally) {
  std::int32_t count = 0;
  if (!ReadRecordCount(file, found, count)) {
    return;
  }
  std::vector<TrackObservation> observations;
  for (std::int64_t record = 1; record <= count; ++record) {
    double x = 0;
    double y = 0;
    double z = 0;
    std::int32_t observationCount = 0;
    if (!file.Read(x, y, z, observationCount)) {
      found.EndsEarly(record);
      return;
    }
    ++tally.records;
    if (observationCount <= 0) {
      found.Add(Severity::kWarning, "no-observation", "the track has no observation and is not read", record);
      continue;
    }
    if (!ReadElements(file, observationCount, record, found, observations)) {
      return;
    }
    CheckObservations(observations, record, found);
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z) || CountNotFinite(observations) > 0) {
      found.Add(Severity::kWarning, "not-finite", "a position of the track is not finite", record);
    }
    tally.elements += observations.size();
  }
  CheckEnd(file, found);
}

/// Reads one blob by `read`, and keeps what that found if the check value of the blob holds. False when it
/// does not.
template <class Read>
bool CheckBlob(BlobFileReader& file, int id, const char* name, CheckState& state, Read read) {
  if (!file.Begin(id)) {
    return true;
  }
  BlobFindings found{state, name, {}};
  read(found);
  const bool sound = file.IsSound(id);
  if (sound) {
    state.findings.Append(std::move(found.findings));
  } else {
    state.findings.Add({Severity::kError,
                        "check-value",
                        state.track_file,
                        {},
                        name,
                        std::nullopt,
                        "damaged: its check value does not hold; the project opens without tie points",
                        0});
  }
  return sound;
}

void CheckBlobs(BlobFileReader& file, CheckState& state) {
  FeatureCounts features;
  Tally tally;
  const bool featuresSound = CheckBlob(
      file, 1, "features", state, [&](BlobFindings& found) { ReadFeatures(file, found, features, tally); });
  if (!state.features_in_table) {
    state.features_known = featuresSound;
    state.features = std::move(features);
    state.counts.feature_images = featuresSound ? tally.records : 0;
    state.counts.features = featuresSound ? tally.elements : 0;
  }
  tally = {};
  if (CheckBlob(file, 2, "matches", state, [&](BlobFindings& found) { ReadMatches(file, found, tally); })) {
    state.counts.match_pairs = tally.records;
    state.counts.matches = tally.elements;
  }
  tally = {};
  if (CheckBlob(file, 0, "tracks", state, [&](BlobFindings& found) { ReadTracks(file, found, tally); })) {
    state.counts.tracks = tally.records;
    state.counts.observations = tally.elements;
  }
  for (const int id : file.Ids()) {
    if (id < 0 || id > 2) {
      const bool sound = file.IsSound(id);
      state.findings.Add(
          {sound ? Severity::kWarning : Severity::kError,
           sound ? "extra-blob" : "check-value",
           state.track_file,
           {},
           {},
           std::nullopt,
           "blob " + std::to_string(id) +
               (sound ? " is none of a project" : " is damaged: its check value does not hold"),
           0});
    }
  }
}

void CheckStamps(std::uint32_t ofDatabase, std::uint32_t ofTrackFile, CheckState& state) {
  if (ofDatabase == ofTrackFile) {
    return;
  }
  const bool bothStamped = ofDatabase != 0 && ofTrackFile != 0;
  const char* const text = bothStamped ? "the track file belongs to another project or another save"
                           : ofDatabase != 0
                               ? "the database has the stamp of a save and the track file has none"
                               : "the track file has the stamp of a save and the database has none";
  state.findings.Add({bothStamped ? Severity::kError : Severity::kWarning,
                      bothStamped ? "other-stamp" : "one-stamp",
                      state.track_file,
                      {},
                      {},
                      std::nullopt,
                      text,
                      0});
}

}  // namespace

void CheckTrackFile(std::uint32_t databaseStamp, CheckState& state) {
  const auto add = [&state](Severity severity, const char* kind, const char* text) {
    state.findings.Add({severity, kind, state.track_file, {}, {}, std::nullopt, text, 0});
  };
  if (!qvfd::PathHelper::IsFileExisted(state.tracks_now)) {
    add(Severity::kWarning, "no-track-file", "no track file; there are no tie points");
    return;
  }
  BlobFileReader file;
  if (!file.Open(state.tracks_now)) {
    add(Severity::kError, "no-container",
        "no track file, or its header or directory is damaged; the project opens without tie points");
    return;
  }
  CheckStamps(databaseStamp, file.Stamp(), state);
  CheckBlobs(file, state);
}

}  // namespace qvprj
