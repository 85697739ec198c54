// Other programs, where they are installed, and how near what they find is to what is true.
#pragma once

#include <string>

#include "interchange/formats/ColmapModel.h"

namespace interchange_test {

[[nodiscard]] bool IsInstalled(const std::string& program);

struct Output {
  int code = -1;
  std::string text;  ///< of both streams
};

/// Runs a command line in a shell, without a screen.
[[nodiscard]] Output RunPeer(const std::string& commandLine);

/// The bytes of a file; empty where there is none.
[[nodiscard]] std::string ReadText(const std::string& path);

struct Aligned {
  double worst_distance = 0.0;  ///< between centres, in the unit of the truth
  double worst_angle = 0.0;     ///< radians
  double extent = 0.0;          ///< the largest distance of a true centre from their mean
  double scale = 0.0;
};

/// Moves, turns and scales the centres of `found` onto those of `truth`, images by name, by least squares
/// (Horn 1987).
[[nodiscard]] Aligned Align(const interchange::ColmapModel& found, const interchange::ColmapModel& truth);

}  // namespace interchange_test
