// Ground points as tables: a line a point, or a line a measurement of a point in an image.
//
// The first line names the columns, in any order and in any case:
//
//   name | id | label | point          what the point is called; required
//   x | easting | east | e | lon | longitude, y | northing | north | n | lat | latitude; required
//   z | height | h | elevation | alt | altitude
//   role | kind, type                  "control" or "check", or the host's number, in either
//   enabled | enable | active          0, no, false: the point takes no part
//   accuracy_xy | accuracy_h | sigma_xy, accuracy_z | accuracy_v | sigma_z   metres
//   image | photo | file, column | px | im_x | u, row | py | im_y | v        a measurement, in pixels
//
// Without such a line the columns are name, x, y, z, or those that the caller names.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace interchange {

struct GroundPointLine {
  std::string name;
  double x = 0.0;  ///< as it stands in the file
  double y = 0.0;
  double z = 0.0;
  std::optional<int> type;       ///< the host's number, where the file has one
  std::optional<bool> is_check;  ///< where the file says in words
  bool enabled = true;
  std::optional<double> horizontal_accuracy;
  std::optional<double> vertical_accuracy;
  std::string image;  ///< empty where the line has no measurement
  double column = 0.0;
  double row = 0.0;
};

struct GroundPointTable {
  std::vector<GroundPointLine> lines;
  bool latitude_first = false;  ///< whether the first line names latitude, or northing, before the other
};

/// `columns` are names as above, in the order of the file, separated by commas; empty where its first line
/// has them. Throws `Failure` for a column that is missing or not known, and for a line that is none.
[[nodiscard]] GroundPointTable ReadGroundPointTable(const std::string& path, const std::string& columns);

/// Writes name, x, y, z, role, type, enabled, image, column, row.
void WriteGroundPointTable(const std::string& path, const GroundPointTable& table);

}  // namespace interchange
