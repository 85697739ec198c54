// Opening a project that a command reads, and saving what an import made.
#include "common/SaveProject.h"

#include <cstdint>

#include "common/DatabaseFiles.h"
#include "common/Failure.h"

namespace qvapp {
namespace {

/// Generous: a row of an image takes about half of that, and tie points what they take.
std::uintmax_t BytesNeeded(qvprj::QvProject& project) {
  constexpr std::uintmax_t kEmptyPair = std::uintmax_t{1} << 20U;
  constexpr std::uintmax_t kImage = 512;
  constexpr std::uintmax_t kTrack = 28;
  constexpr std::uintmax_t kObservation = 12;
  constexpr std::uintmax_t kPoint = 8;
  std::uintmax_t bytes = kEmptyPair + kImage * static_cast<std::uintmax_t>(project.GetImageInfoSet().Size());
  for (const auto& entry : project.GetFeatures()) {
    bytes += kPoint * (entry.second.size() + 1);
  }
  for (const auto& entry : project.GetMatches()) {
    bytes += kPoint * (entry.second.size() + 2);
  }
  for (const qvfd::Track& track : project.GetTracks()) {
    bytes += kTrack + kObservation * track.observations.size();
  }
  return bytes;
}

bool OpensAgain(const std::string& path, qvprj::QvProject& saved) {
  qvprj::QvProject opened;
  return opened.OpenPrj(path) && opened.GetImageInfoSet().Size() == saved.GetImageInfoSet().Size() &&
         opened.GetCameraInfoSet().Size() == saved.GetCameraInfoSet().Size() &&
         opened.GetTracks().size() == saved.GetTracks().size() &&
         opened.GetPrjInfo().coordinate_id == saved.GetPrjInfo().coordinate_id;
}

}  // namespace

void OpenProject(const std::string& path, qvprj::QvProject& project, Console& console) {
  const StatusLine status(console, "Reading", path);
  RequireDatabase(path, DatabaseKind::kProject);
  if (!project.OpenPrj(path)) {
    ThrowWhyNotProject(path);
  }
}

void SaveAndCheck(const ProjectPair& pair, qvprj::QvProject& project, Console& console) {
  const StatusLine status(console, "Saving", pair.database);
  const std::uintmax_t bytes = BytesNeeded(project);
  ReplaceProject(pair, bytes, [&](const ProjectPair& made) {
    if (!project.Save(made.database)) {
      throw Failure(pair.database, "cannot be saved: " + WhyNotWritable(pair.database, bytes),
                    "make room, or choose another place; " + WhatStays(pair));
    }
    if (!OpensAgain(made.database, project)) {
      throw Failure(pair.database, "was saved, but does not open again as it was saved",
                    "check the disk; " + WhatStays(pair));
    }
  });
}

}  // namespace qvapp
