// Between projects and texts with one image a line: omega-phi-kappa, yaw-pitch-roll, and OpenDroneMap's
// geo.txt.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "interchange/Report.h"
#include "interchange/project/FileCoordinates.h"
#include "interchange/project/WorldFrame.h"
#include "qvfd/CameraInfo.h"
#include "qvprj/project/QvProject.h"

namespace interchange {

struct TextOptions {
  /// Of the file's coordinates; read and written in the project's own system, and in degrees where it has
  /// none, when it is not given. For geo.txt, which names its own, it is the system of the project that is
  /// made.
  std::optional<std::string> crs;
  AxisOrder order = AxisOrder::kEastNorth;
  ProjectOptions project;
};

/// What a text holds besides positions.
enum class TextKind {
  kOpk,  ///< omega, phi, kappa against the grid of its system; against north where it has degrees
  kYpr,  ///< yaw from north, pitch 0 straight down unless the options say -90, roll
};

/// Writes one line an image. Throws `Failure` when the project has no images, or a position cannot be
/// converted.
Report ExportText(qvprj::QvProject& project, const std::string& path, TextKind kind,
                  const TextOptions& options);

/// Makes images of the lines, with the ids 1, 2, 3 and so on, of camera 0, in place of those of the project,
/// whose cameras become `cameras`. Omega, phi, kappa are taken for adjusted; yaw, pitch, roll for angles as
/// flown. Without a system positions are kept as they are. Throws `Failure` for a file that is none, or a
/// position that cannot be converted.
Report ImportText(const std::string& path, TextKind kind, const TextOptions& options,
                  const std::vector<qvfd::CameraInfo>& cameras, qvprj::QvProject& project);

/// Writes geo.txt and, where the project has measured ground points, gcp_list.txt into a folder.
Report ExportOdm(qvprj::QvProject& project, const std::string& folder, const TextOptions& options);

/// Reads a geo.txt, or a folder with any of geo.txt, gcp_list.txt, and an OpenSfM reconstruction: that gives
/// adjusted orientations and tie points, geo.txt the positions as flown.
Report ImportOdm(const std::string& path, const TextOptions& options,
                 const std::vector<qvfd::CameraInfo>& cameras, qvprj::QvProject& project);

}  // namespace interchange
