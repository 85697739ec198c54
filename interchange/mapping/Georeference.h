// The file that goes beside what was exported and says how to get back: the frame, and the ids that were
// given anew.
//
//   {"frame": "grid", "crs": "EPSG:32650", "offset": [448000, 3500000, 0],
//    "geoid_height": 12.5, "images": [{"here": 1, "project": 0}, ...], "cameras": [...]}
//
// "frame" is "grid", "topocentric" (with "reference": {"longitude", "latitude", "height"}) or "cartesian"
// (with "offset"); "geoid_height" stands where one was used.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "interchange/Report.h"
#include "interchange/project/WorldFrame.h"

namespace interchange {

struct Georeference {
  WorldFrame frame;
  std::optional<double> geoid_height;
  std::vector<RenumberedId> images;   ///< every image: from its id in the project to the one that was written
  std::vector<RenumberedId> cameras;  ///< every camera
};

/// The name of the file in a folder; behind the path and a point where a single file was exported.
inline constexpr const char* kGeoreferenceName = "georeference.json";

/// Throws `Failure` when it cannot be written.
void WriteGeoreference(const std::string& path, const Georeference& georeference);

/// None where there is no such file. Throws `Failure` when it is damaged or names an unknown system.
[[nodiscard]] std::optional<Georeference> ReadGeoreference(const std::string& path);

/// Where what is imported lies, as the user says; what is not said is taken from the file beside it.
struct ImportFrameOptions {
  std::optional<std::string> crs;      ///< of the numbers, and of the project that is made
  std::optional<Vector3> offset;       ///< what was taken off them
  std::optional<double> geoid_height;  ///< see `ProjectOptions`
};

/// The frame of what is imported, and that of the new project, whose coordinate id is set.
struct ImportFrame {
  WorldFrame world;
  ProjectFrame project;
};
[[nodiscard]] ImportFrame ImportFrameOf(const ImportFrameOptions& options,
                                        const std::optional<Georeference>& georeference,
                                        qvprj::QvProject& project, Report& report);

}  // namespace interchange
