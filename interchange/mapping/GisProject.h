// A project as layers of a geographic information system. docs/gis.md lists the layers and their fields.
#pragma once

#include <optional>
#include <string>

#include "interchange/Report.h"
#include "interchange/formats/GisLayers.h"
#include "interchange/mapping/Scene.h"
#include "qvprj/project/QvProject.h"

namespace interchange {

struct GisOptions {
  SceneOptions scene;
  std::optional<std::string> crs;  ///< of the output, such as "EPSG:32650"; GeoJSON and KML have theirs
  std::optional<double> ground;  ///< height of the ground for the footprints, as the project's heights count
  int check_type = 1;            ///< the `GroundPoint::type` of check points; all others are control points
  bool tie_points = false;       ///< whether there is a layer of them
};

/// The layers cameras, footprints, flight_lines, control_points, check_points and, if asked for, tie_points,
/// in the coordinate system that `format` and the options ask for. Tells `report` the conventions, what was
/// read, and what has no place there. What has no position in that system is there without a geometry, and
/// counted. Throws `Failure` when the project's positions have no place on the globe and the output wants
/// one, or `crs` is not known. The project is not changed.
[[nodiscard]] GisData GisLayersOf(qvprj::QvProject& project, GisFormat format, const GisOptions& options,
                                  Report& report);

/// Writes them. `replace` is of tables in a database. Throws `Failure` as `GisLayersOf` and `WriteGisLayers`
/// do.
Report ExportGis(qvprj::QvProject& project, GisFormat format, const std::string& target, bool replace,
                 const GisOptions& options);

}  // namespace interchange
