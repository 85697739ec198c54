// What an image shows of the ground.
#include "interchange/project/Footprint.h"

#include <cmath>
#include <cstddef>

namespace interchange {

std::optional<Vector3> RayThrough(const PixelCamera& camera, const Pixel& pixel) {
  constexpr int kRounds = 100;
  constexpr double kClose = 1e-12;
  constexpr double kPixels = 0.01;
  const double x = (pixel.x - camera.cx) / camera.fx;
  const double y = (pixel.y - camera.cy) / camera.fy;
  double u = x;
  double v = y;
  for (int round = 0; round < kRounds; ++round) {
    const double r2 = u * u + v * v;
    const double radial = 1.0 + r2 * (camera.k1 + r2 * (camera.k2 + r2 * camera.k3));
    const double nextU = (x - 2 * camera.p1 * u * v - camera.p2 * (r2 + 2 * u * u)) / radial;
    const double nextV = (y - camera.p1 * (r2 + 2 * v * v) - 2 * camera.p2 * u * v) / radial;
    const double step = std::hypot(nextU - u, nextV - v);
    u = nextU;
    v = nextV;
    if (step < kClose) {
      break;
    }
  }
  const Pixel seen = Projected(camera, u, v, 1.0);
  if (!(std::hypot(seen.x - pixel.x, seen.y - pixel.y) < kPixels)) {
    return std::nullopt;
  }
  return Vector3{u, -v, -1.0};
}

std::optional<Footprint> FootprintOf(const PixelCamera& camera, const Matrix3& axes, double above,
                                     NoFootprint& why) {
  constexpr double kFlattest = 0.01;
  if (!(above > 0.0)) {
    why = NoFootprint::kUnderground;
    return std::nullopt;
  }
  const double width = camera.width;
  const double height = camera.height;
  const std::array<Pixel, 4> pixels = {Pixel{0.0, 0.0}, {width, 0.0}, {width, height}, {0.0, height}};
  Footprint made;
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const auto ray = RayThrough(camera, pixels[i]);
    if (!ray) {
      why = NoFootprint::kDistortion;
      return std::nullopt;
    }
    const Vector3 down = axes * *ray;
    if (!(-down.z > kFlattest * std::hypot(down.x, down.y))) {
      why = NoFootprint::kHorizon;
      return std::nullopt;
    }
    const double scale = above / -down.z;
    made.corners[i] = {down.x * scale, down.y * scale, -above};
  }
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const Vector3& a = made.corners[i];
    const Vector3& b = made.corners[(i + 1) % pixels.size()];
    made.area += (a.x * b.y - b.x * a.y) / 2;
  }
  made.area = std::fabs(made.area);
  return made;
}

}  // namespace interchange
