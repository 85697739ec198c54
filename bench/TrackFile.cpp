// Opening and saving the track file against building the same containers from bytes in memory, and against
// writing the same bytes.

#include <cstring>
#include <filesystem>
#include <memory>

#include "Figure.h"
#include "Workloads.h"
#include "Workspace.h"
#include "qvfd/BinaryData.h"
#include "support/ProjectCompare.h"

namespace bench {
namespace {

using Features = qvprj::QvProject::Features;
using Matches = qvprj::QvProject::Matches;
using Tracks = qvprj::QvProject::Tracks;
using Bytes = std::vector<unsigned char>;

/// The library's own way to the track file alone.
struct Project : qvprj::QvProject {
  explicit Project(qvprj::QvProject&& project) : QvProject(std::move(project)) {}
  using QvProject::ReadTrackFile;
  using QvProject::WriteTrackFile;
};

/// A value at `next`, which moves on.
template <class T>
T Take(const unsigned char*& next) {
  T value;
  std::memcpy(&value, next, sizeof value);
  next += sizeof value;
  return value;
}

/// The floor of opening: the simplest loops that build the same containers from trusted bytes.
Features BuildFeatures(const Bytes& blob) {
  Features features;
  const unsigned char* next = blob.data();
  const auto count = Take<std::int32_t>(next);
  for (std::int32_t i = 0; i < count; ++i) {
    const auto id = Take<std::int32_t>(next);
    const auto n = Take<std::int32_t>(next);
    const auto* const first = reinterpret_cast<const qvfd::Point2_T<float>*>(next);
    features.emplace_hint(features.end(), id, std::vector<qvfd::Point2_T<float>>(first, first + n));
    next += static_cast<std::size_t>(n) * sizeof *first;
  }
  return features;
}

Matches BuildMatches(const Bytes& blob) {
  Matches matches;
  const unsigned char* next = blob.data();
  const auto count = Take<std::int32_t>(next);
  for (std::int32_t i = 0; i < count; ++i) {
    const auto left = Take<std::int32_t>(next);
    const auto right = Take<std::int32_t>(next);
    const auto n = Take<std::int32_t>(next);
    const auto* const first = reinterpret_cast<const qvfd::Point2_T<int>*>(next);
    matches.emplace_hint(matches.end(), qvfd::Point2_T<int>{left, right},
                         std::vector<qvfd::Point2_T<int>>(first, first + n));
    next += static_cast<std::size_t>(n) * sizeof *first;
  }
  return matches;
}

Tracks BuildTracks(const Bytes& blob) {
  Tracks tracks;
  const unsigned char* next = blob.data();
  const auto count = Take<std::int32_t>(next);
  tracks.reserve(static_cast<std::size_t>(count));
  for (std::int32_t i = 0; i < count; ++i) {
    qvfd::Track& track = tracks.emplace_back();
    track.x = Take<double>(next);
    track.y = Take<double>(next);
    track.z = Take<double>(next);
    const auto n = Take<std::int32_t>(next);
    const auto* const first = reinterpret_cast<const qvfd::TrackObservation*>(next);
    track.observations.assign(first, first + n);
    next += static_cast<std::size_t>(n) * sizeof *first;
  }
  return tracks;
}

/// A project's track file, and its blobs in memory.
class TrackFile {
 public:
  explicit TrackFile(const support::ProjectShape& shape) : project_(support::BuildProject(shape)) {
    Require(project_.WriteTrackFile(Path()), "writing the track file");
    qvfd::BinaryData data(1);
    Require(data.Read(Path()), "reading the track file");
    for (int id = 0; id < 3; ++id) {
      Require(data.GetBlob(id, blobs_[id]), "reading a blob");
    }
    size_ = std::filesystem::file_size(Path());
  }

  /// As opening does: into an empty project that has the images.
  double Open() const {
    qvprj::QvProject empty;
    empty.SetImageInfoSet(project_.GetImageInfoSet());
    Project opened(std::move(empty));
    ForgetFreeMemory();
    WarmUp(Path());
    const double cost = Milliseconds([&] { opened.ReadTrackFile(Path(), true, true); });
    Require(opened.GetFeatures().size() == static_cast<std::size_t>(project_.GetImageInfoSet().Size()) &&
                !opened.GetMatches().empty() && !opened.GetTracks().empty(),
            "opening the track file");
    return cost;
  }

  double Build() const {
    Features features;
    Matches matches;
    Tracks tracks;
    ForgetFreeMemory();
    const double cost = Milliseconds([&] {
      features = BuildFeatures(blobs_[1]);
      matches = BuildMatches(blobs_[2]);
      tracks = BuildTracks(blobs_[0]);
    });
    Require(!features.empty() && !matches.empty() && !tracks.empty(), "building by hand");
    return cost;
  }

  double Save() const {
    std::filesystem::remove(Copy());
    const double cost = Milliseconds([&] { Require(project_.WriteTrackFile(Copy()), "saving"); });
    Require(std::filesystem::file_size(Copy()) == size_, "saving all bytes");
    return cost;
  }

  double WriteRaw() const {
    std::filesystem::remove(Copy());
    return Milliseconds([&] {
      RawFile file(Copy());
      for (const Bytes& blob : blobs_) {
        file.Write(blob.data(), blob.size());
      }
    });
  }

 private:
  [[nodiscard]] std::string Path() const { return folder_.File("survey.gb"); }
  [[nodiscard]] std::string Copy() const { return folder_.File("copy.gb"); }

  Workspace folder_;
  Project project_;
  Bytes blobs_[3];
  std::uintmax_t size_ = 0;
};

Round RoundOf(const std::shared_ptr<const TrackFile>& file, double (TrackFile::*work)() const) {
  return [file, work] { return ((*file).*work)(); };
}

Figure Opening(const char* name, const support::ProjectShape& shape, double goal) {
  return {.operation = std::string("track file ") + name + ": open",
          .floor_name = "build from memory",
          .unit = "ms",
          .goal = goal,
          .prepare = [shape] {
            const auto file = std::make_shared<const TrackFile>(shape);
            return std::pair(RoundOf(file, &TrackFile::Open), RoundOf(file, &TrackFile::Build));
          }};
}

Figure Saving(const char* name, const support::ProjectShape& shape, double goal) {
  return {.operation = std::string("track file ") + name + ": save",
          .floor_name = "write() of the bytes",
          .unit = "ms",
          .goal = goal,
          .writes_large_files = true,
          .prepare = [shape] {
            const auto file = std::make_shared<const TrackFile>(shape);
            return std::pair(RoundOf(file, &TrackFile::Save), RoundOf(file, &TrackFile::WriteRaw));
          }};
}

}  // namespace

std::vector<Figure> TrackFileFigures(const Scale& scale) {
  return {Opening("M", ShapeM(scale), 1.2), Opening("L", ShapeL(scale), 1.3),
          Saving("M", ShapeM(scale), 1.6)};
}

}  // namespace bench
