// Between projects and OpenSfM's reconstruction.json and tracks.csv.
#pragma once

#include <string>

#include "interchange/Report.h"
#include "interchange/mapping/Georeference.h"
#include "interchange/mapping/Scene.h"
#include "qvprj/project/QvProject.h"

namespace interchange {

/// Writes reconstruction.json and tracks.csv into a folder. Throws `Failure` as `SceneOf` does, when
/// an image name has a tab, or when a file cannot be written.
Report ExportOpenSfm(qvprj::QvProject& project, const std::string& folder, const SceneOptions& options);

/// Reads the largest reconstruction of a folder (of OpenSfM itself, or of OpenDroneMap, which keeps it in
/// opensfm/), or of a reconstruction.json, and the tracks.csv beside it. The project's positions are degrees;
/// with a coordinate system its tie points are in that. Throws `Failure` when something is damaged or cannot
/// be held.
Report ImportOpenSfm(const std::string& path, const ImportFrameOptions& frame, const SceneOptions& options,
                     qvprj::QvProject& project);

}  // namespace interchange
