// The flight strips of a sequence of camera positions.
#pragma once

#include <vector>

namespace interchange {

/// A position in a plane, in metres.
struct PlanePoint {
  double x = 0.0;  ///< east
  double y = 0.0;  ///< north
};

/// The strip of each position, numbered from 1 in the order of flight. Positions stand in the order in which
/// they were taken.
///
/// A strip ends where the course over ground leaves the mean course of its last legs by more than 45 degrees,
/// and the line behind does not go on the same way, as after a long turn.
/// Legs shorter than a quarter of the median one have no course: an aircraft that hovers stays in its strip.
/// What is left between two turns and has fewer than three positions, as photos taken while turning, goes to
/// the neighbouring strip whose line it lies nearer to; so a flight of fewer than three positions is one
/// strip.
[[nodiscard]] std::vector<int> StripsOf(const std::vector<PlanePoint>& positions);

}  // namespace interchange
