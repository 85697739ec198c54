// Ground points and their measurements, from and to tables and OpenDroneMap's gcp_list.txt.
#pragma once

#include <optional>
#include <string>

#include "interchange/Report.h"
#include "interchange/mapping/Scene.h"
#include "interchange/project/FileCoordinates.h"
#include "qvprj/project/QvProject.h"

namespace interchange {

struct GroundControlOptions {
  /// Of the file's coordinates; where it is not given: what gcp_list.txt says itself; for tables the
  /// project's own system, and degrees where it has none.
  std::optional<std::string> crs;
  AxisOrder order = AxisOrder::kEastNorth;

  std::string columns;   ///< of a table without a first line, see GroundPointTable.h
  int control_type = 0;  ///< the type that a control point gets
  int check_type = 1;  ///< the type that a check point gets, and that counts as one when a project is written
  ProjectOptions project;
  PixelOrigin pixel_origin = PixelOrigin::kCorner;  ///< of the project; files count from the corner
};

/// Reads ground points into a project: those of a name that it has already take the place of the old ones,
/// with their measurements; others are added. They are stored in the project's coordinate system, and in
/// degrees where it has none. Measurements in images that the project does not have are passed over and told.
/// Throws `Failure` for a file that is neither a table nor a gcp_list.txt, and for a position that cannot be
/// converted; the project is then as it was.
Report ImportGroundControl(const std::string& path, const GroundControlOptions& options,
                           qvprj::QvProject& project);

/// Writes them: as a table where the path ends in ".csv", otherwise as gcp_list.txt, which holds measured
/// points only. Throws `Failure` when there is nothing to write, or a position cannot be converted.
Report ExportGroundControl(qvprj::QvProject& project, const std::string& path,
                           const GroundControlOptions& options);

}  // namespace interchange
