// A camera in pixels, as computer vision has it, from and to the project's camera in millimetres.
#pragma once

#include <string>

#include "qvfd/CameraInfo.h"

namespace interchange {

/// A pinhole with Brown's distortion. x to the right, y down, (0, 0) is the corner of the image. For a point
/// (X, Y, Z) in camera axes (z forward), with x = X/Z, y = Y/Z, r^2 = x^2 + y^2:
///
///   x' = x (1 + k1 r^2 + k2 r^4 + k3 r^6) + 2 p1 x y + p2 (r^2 + 2 x^2),  column = fx x' + cx
///   y' = y (1 + k1 r^2 + k2 r^4 + k3 r^6) + p1 (r^2 + 2 y^2) + 2 p2 x y,  row    = fy y' + cy
struct PixelCamera {
  int width = 0;
  int height = 0;
  double fx = 0.0;
  double fy = 0.0;
  double cx = 0.0;
  double cy = 0.0;
  double k1 = 0.0;
  double k2 = 0.0;
  double k3 = 0.0;
  double p1 = 0.0;
  double p2 = 0.0;

  friend bool operator==(const PixelCamera&, const PixelCamera&) = default;
};

/// What the principal point (x0, y0) of a project's camera means.
enum class PrincipalPoint {
  kMillimetres,  ///< from the middle of the image, x right, y up
  kPixels,       ///< from the corner of the image, x right, y down
};

/// The camera in pixels. Its coefficients are taken as those of the formula above. Throws `Failure` for a
/// camera without a size, a sensor or a focal length, and for one whose alpha, beta, n1, n2 or n3 is not 0:
/// there is no place for them, and without them every measurement would be wrong.
[[nodiscard]] PixelCamera PixelCameraOf(const qvfd::CameraInfo& camera,
                                        PrincipalPoint principal = PrincipalPoint::kMillimetres);

/// The pixel, in millimetres, that is taken for a camera of which nobody knows it: a power of two, so that
/// nothing is rounded.
inline constexpr double kAssumedPixel = 1.0 / 256.0;

/// The project's camera: of pixels `pixel` millimetres wide. `PixelCameraOf` gives the same camera back, bit
/// for bit with `kAssumedPixel` where fx and fy are one number.
[[nodiscard]] qvfd::CameraInfo CameraInfoOf(const PixelCamera& camera, int id, const std::string& name,
                                            double pixel = kAssumedPixel,
                                            PrincipalPoint principal = PrincipalPoint::kMillimetres);

/// Column and row of a point in camera axes (z forward), which must lie before the camera.
struct Pixel {
  double x = 0.0;
  double y = 0.0;
};
[[nodiscard]] Pixel Projected(const PixelCamera& camera, double x, double y, double z);

}  // namespace interchange
