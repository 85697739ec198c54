// Texts with one image a line: its position and its angles.
//
//   omega, phi, kappa   "name X Y Z Omega Phi Kappa", blanks between, degrees; remarks begin with #
//   yaw, pitch, roll    a table with the first line "name,c1,c2,z,yaw,pitch,roll", and accH, accV where known
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace interchange {

/// One line: coordinates as they stand in the file, angles in degrees (omega, phi, kappa or yaw, pitch,
/// roll).
struct OrientationLine {
  std::string name;
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
  double angles[3] = {};
  bool has_angles = false;
  std::optional<double> horizontal_accuracy;  ///< metres
  std::optional<double> vertical_accuracy;
};

/// Reads omega, phi, kappa: names may hold blanks, for the six numbers are the last of a line. Throws
/// `Failure` for a line that is none.
[[nodiscard]] std::vector<OrientationLine> ReadOpkText(const std::string& path);
void WriteOpkText(const std::string& path, const std::vector<OrientationLine>& lines);

/// Reads yaw, pitch, roll: separated by commas, semicolons, tabs or blanks, with or without the first line. A
/// position without angles is one, too. Throws `Failure` for a line that is none.
[[nodiscard]] std::vector<OrientationLine> ReadYprText(const std::string& path);
void WriteYprText(const std::string& path, const std::vector<OrientationLine>& lines);

}  // namespace interchange
