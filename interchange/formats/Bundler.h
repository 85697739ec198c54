// Bundler's output, version 0.3, as its manual describes it (README.md).
//
// Camera axes are x right, y up, the camera looking down -z: R X + t. Image positions count from the middle
// of the image, x right, y up, in pixels.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "interchange/geometry/Rotation.h"

namespace interchange {

struct BundlerCamera {
  std::string image;  ///< its name, for list.txt
  double focal = 0.0;
  double k1 = 0.0;
  double k2 = 0.0;
  Matrix3 rotation = Identity();
  Vector3 translation;
};

struct BundlerPoint {
  struct View {
    std::uint32_t camera = 0;
    std::uint32_t key = 0;
    double x = 0.0;
    double y = 0.0;
  };
  Vector3 position;
  std::vector<View> views;
};

struct Bundle {
  std::vector<BundlerCamera> cameras;
  std::vector<BundlerPoint> points;
};

/// Writes bundle.out and list.txt into a folder, which is made. Returns their paths. Throws `Failure` when
/// one cannot be written.
std::vector<std::string> WriteBundle(const std::string& folder, const Bundle& bundle);

}  // namespace interchange
