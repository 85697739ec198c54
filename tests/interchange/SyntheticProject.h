// A survey over rolling land of which everything is known: what every conversion must carry.
#pragma once

#include <array>

#include "interchange/project/PixelCamera.h"
#include "qvprj/qvprj.h"

namespace interchange_test {

struct SyntheticOptions {
  int strips = 3;
  int images_per_strip = 6;
  int points_per_side = 14;
  int coordinate_id = 32650;
  double longitude = 118.25;  ///< of the middle
  double latitude = 31.5;
  bool distortion = true;
  int first_image_id = 0;  ///< ids are that, and every third behind it
};

/// Images in strips that turn at their ends, adjusted orientations that differ from those as flown, tie
/// points on rolling land, and their exact image positions (as float) as features, matches and tracks. Image
/// positions are computed by the collinearity equations, with no function of the library under test.
[[nodiscard]] qvprj::QvProject SyntheticProject(const SyntheticOptions& options = {});

/// Row by row, from the textbook's product Rx(omega) Ry(phi) Rz(kappa).
using Rows = std::array<std::array<double, 3>, 3>;
[[nodiscard]] Rows OpkRows(double omega, double phi, double kappa);

/// Where a camera at `centre`, turned by `rows`, shows `point`: column and row in pixels from the corner.
[[nodiscard]] std::array<double, 2> Collinear(const qvfd::CameraInfo& camera, const Rows& rows,
                                              const std::array<double, 3>& centre,
                                              const std::array<double, 3>& point);

}  // namespace interchange_test
