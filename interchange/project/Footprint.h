// What an image shows of the ground: rays through its corners, met with a horizontal plane.
#pragma once

#include <array>
#include <optional>

#include "interchange/geometry/Rotation.h"
#include "interchange/project/PixelCamera.h"

namespace interchange {

/// The ray through a pixel, in the axes of M: x right, y up, z backward; its z is -1. The distortion is
/// undone by iteration. None where that does not come back to the pixel within a hundredth of one.
[[nodiscard]] std::optional<Vector3> RayThrough(const PixelCamera& camera, const Pixel& pixel);

/// Why there is no footprint.
enum class NoFootprint {
  kHorizon,      ///< a corner looks above the horizon, or less than 0.6 degrees (1 in 100) below it
  kUnderground,  ///< the camera is not above the ground
  kDistortion,   ///< the distortion cannot be undone at a corner
};

struct Footprint {
  /// Where the corners of the image (top left, top right, bottom right, bottom left) are on the ground:
  /// metres east and north of the camera, and up (the same of all, negative).
  std::array<Vector3, 4> corners;
  double area = 0.0;  ///< square metres
};

/// The footprint of a camera `above` metres above the plane; `axes` is M with respect to east, north and up
/// there. Tells `why` where there is none.
[[nodiscard]] std::optional<Footprint> FootprintOf(const PixelCamera& camera, const Matrix3& axes,
                                                   double above, NoFootprint& why);

}  // namespace interchange
