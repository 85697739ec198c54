// OpenDroneMap's geo.txt and gcp_list.txt, as its manual describes them (source/map-accuracy.rst). The first
// line of both names the coordinate system; easting or longitude comes first.
//
//   geo.txt       name x y [z] [yaw pitch roll] [horizontal accuracy, vertical accuracy]; degrees and metres
//   gcp_list.txt  x y z column row image [name of the point]
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "interchange/formats/OrientationText.h"

namespace interchange {

struct GeoText {
  std::string system;  ///< the first line
  std::vector<OrientationLine> images;
  std::vector<bool> has_height;  ///< one an image
};

/// Throws `Failure` for a file without a first line, and for a line that is none.
[[nodiscard]] GeoText ReadGeoText(const std::string& path);

/// Throws `Failure` when a name has a blank or the file cannot be written.
void WriteGeoText(const std::string& path, const GeoText& text);

struct GcpObservation {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
  double column = 0.0;
  double row = 0.0;
  std::string image;
  std::string point;  ///< its name; empty where the line has none
};

struct GcpList {
  std::string system;
  std::vector<GcpObservation> observations;
};

[[nodiscard]] GcpList ReadGcpList(const std::string& path);
void WriteGcpList(const std::string& path, const GcpList& list);

}  // namespace interchange
