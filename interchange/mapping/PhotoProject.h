// Photos into a project: to the images that a flight has left in it, or as a project of their own.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "interchange/Report.h"
#include "interchange/mapping/PhotoMatch.h"
#include "qvfd/CameraInfo.h"
#include "qvprj/project/QvProject.h"

namespace interchange {

struct PhotoOptions {
  std::string folder;  ///< of the photos; those in folders below it count too
  std::string
      project;  ///< where the project is going to be: paths of photos below its folder are relative to it
  MatchOptions match;

  /// A table of every decision is written here, also where the match is refused.
  std::optional<std::string> report;
};

/// Ties photos to the images of a flight, which have positions and ids and nothing else: gives those that
/// were tied name, path, camera and strip. Cameras are made, one for each make, model, size and focal length,
/// only where the project has none. Images without a photo get a strip and keep the rest; photos without an
/// image are left out.
///
/// Throws `Failure` when there are no photos, or the match is refused; the project is then as it was. The
/// report's `decisions` say what was decided of every photo and image.
Report AddPhotos(const PhotoOptions& options, qvprj::QvProject& project);

struct PhotoProjectOptions {
  PhotoOptions photos;
  std::optional<std::string> log;  ///< positions (and angles, where it has them) in place of the photos' own
  std::string columns;             ///< see `ReadPositionLog`; a log named geo.txt is read as OpenDroneMap's

  /// Used in place of cameras made of the photos, where there are any: all images refer to the first.
  std::vector<qvfd::CameraInfo> cameras;

  /// The coordinate system of the project, and of the numbers in the log; where the log has longitudes and
  /// latitudes and this is a projected system, of the project alone.
  std::optional<std::string> crs;
};

/// Makes a project of photos, in place of the cameras and images that it has. Ids count from 1 in the order
/// in which the photos were taken. Without a log, photos without a position are left out. With one, photos
/// that it has no row for.
///
/// Throws `Failure` as `AddPhotos`, when the log cannot be read, or a position cannot be converted.
Report ImportPhotos(const PhotoProjectOptions& options, qvprj::QvProject& project);

}  // namespace interchange
