// Between projects and COLMAP: sparse models, and databases of features and matches.
#pragma once

#include <optional>
#include <string>

#include "interchange/Report.h"
#include "interchange/formats/ColmapModel.h"
#include "interchange/mapping/Georeference.h"
#include "interchange/mapping/Scene.h"
#include "qvprj/project/QvProject.h"

namespace interchange {

/// The camera in the smallest of COLMAP's models that holds it: SIMPLE_PINHOLE, PINHOLE, SIMPLE_RADIAL,
/// RADIAL, OPENCV or, with a k3, FULL_OPENCV. fx and fy count as one number where they differ by rounding.
[[nodiscard]] ColmapCamera ColmapCameraOf(const PixelCamera& camera, std::uint32_t id);

/// The inverse. Throws `Failure` for a model that no camera of a project holds exactly: fisheyes, FOV, and a
/// FULL_OPENCV whose k4, k5 or k6 is not 0.
[[nodiscard]] PixelCamera PixelCameraOf(const ColmapCamera& camera);

enum class ColmapForm { kBinary, kText };

/// Writes the project as a sparse model into a folder, with `kGeoreferenceName` beside it, which says where
/// the model lies and keeps the ids. Positions are those of the project's coordinate system less an offset,
/// so that they fit into float numbers. Throws `Failure` as `SceneOf` does, or when a file cannot be written.
Report ExportColmapModel(qvprj::QvProject& project, const std::string& folder, ColmapForm form,
                         const SceneOptions& options);

/// Writes cameras, images, features and matches as a new COLMAP database, in the layout of release 3.8, which
/// later ones bring up to date. Pairs (a, b) and (b, a) become one. Where the project has tracks and no
/// matches, these are made of the tracks. Takes the place of a file that is there, as a whole. Throws `Failure`
/// when it cannot be written; what was there is then as it was.
Report ExportColmapDatabase(qvprj::QvProject& project, const std::string& path, const SceneOptions& options);

struct ColmapImportOptions {
  ImportFrameOptions frame;
  SceneOptions scene;
  std::optional<std::string> database;  ///< whose features and matches belong to the model
};

/// Reads a sparse model from a folder, or a database from a file, in place of what the project holds. Throws
/// `Failure` when it is damaged or cannot be held; the project is then in no particular state.
Report ImportColmap(const std::string& path, const ColmapImportOptions& options, qvprj::QvProject& project);

}  // namespace interchange
