// A camera in pixels, as computer vision has it, from and to the project's camera in millimetres.
#include "interchange/project/PixelCamera.h"

#include <cmath>
#include <cstddef>

#include "interchange/Failure.h"

namespace interchange {
namespace {

enum Coefficient : std::size_t { kK1, kK2, kK3, kP1, kP2, kAlpha };

bool IsPositive(double value) {
  return value > 0.0 && std::isfinite(value);
}

/// A sensor height for which `height` pixels give `fy` again: the quotients are rounded, and their inverse
/// may be a neighbour.
double SensorHeight(double focal, double height, double fy) {
  const double wanted = focal * height / fy;
  double up = wanted;
  double down = wanted;
  for (int i = 0; i < 8; ++i) {
    for (const double candidate : {up, down}) {
      if (focal / (candidate / height) == fy) {
        return candidate;
      }
    }
    up = std::nextafter(up, 2 * wanted);
    down = std::nextafter(down, 0.0);
  }
  return wanted;
}

}  // namespace

PixelCamera PixelCameraOf(const qvfd::CameraInfo& camera, PrincipalPoint principal) {
  const std::string subject = "camera " + std::to_string(camera.id);
  if (camera.width <= 0 || camera.height <= 0 || !IsPositive(camera.ccdwidth) ||
      !IsPositive(camera.ccdheight) || !IsPositive(camera.focallength)) {
    throw Failure(subject, "its image size, sensor size or focal length is not known",
                  "give the project a complete camera");
  }
  for (std::size_t i = kAlpha; i < camera.distortion.size(); ++i) {
    if (camera.distortion[i] != 0.0) {
      throw Failure(
          subject,
          "its coefficients alpha, beta, n1, n2, n3 are not all 0, and the other program has none of them",
          "adjust with k1, k2, k3, p1 and p2 alone");
    }
  }
  const double pixelX = camera.ccdwidth / camera.width;
  const double pixelY = camera.ccdheight / camera.height;
  PixelCamera made;
  made.width = camera.width;
  made.height = camera.height;
  made.fx = camera.focallength / pixelX;
  made.fy = camera.focallength / pixelY;
  if (principal == PrincipalPoint::kMillimetres) {
    made.cx = camera.width / 2.0 + camera.x0 / pixelX;
    made.cy = camera.height / 2.0 - camera.y0 / pixelY;
  } else {
    made.cx = camera.x0;
    made.cy = camera.y0;
  }
  made.k1 = camera.distortion[kK1];
  made.k2 = camera.distortion[kK2];
  made.k3 = camera.distortion[kK3];
  made.p1 = camera.distortion[kP1];
  made.p2 = camera.distortion[kP2];
  return made;
}

qvfd::CameraInfo CameraInfoOf(const PixelCamera& camera, int id, const std::string& name, double pixel,
                              PrincipalPoint principal) {
  qvfd::CameraInfo made;
  made.id = id;
  made.name = name;
  made.width = camera.width;
  made.height = camera.height;
  made.ccdwidth = pixel * camera.width;
  made.focallength = camera.fx * pixel;
  made.ccdheight = camera.fx == camera.fy ? pixel * camera.height
                                          : SensorHeight(made.focallength, camera.height, camera.fy);
  made.pixel_size_x = made.ccdwidth / made.width;
  made.pixel_size_y = made.ccdheight / made.height;
  if (principal == PrincipalPoint::kMillimetres) {
    made.x0 = (camera.cx - camera.width / 2.0) * made.pixel_size_x;
    made.y0 = (camera.height / 2.0 - camera.cy) * made.pixel_size_y;
  } else {
    made.x0 = camera.cx;
    made.y0 = camera.cy;
  }
  made.distortion = {camera.k1, camera.k2, camera.k3, camera.p1, camera.p2};
  return made;
}

Pixel Projected(const PixelCamera& camera, double x, double y, double z) {
  const double u = x / z;
  const double v = y / z;
  const double r2 = u * u + v * v;
  const double radial = 1.0 + r2 * (camera.k1 + r2 * (camera.k2 + r2 * camera.k3));
  return {camera.fx * (u * radial + 2 * camera.p1 * u * v + camera.p2 * (r2 + 2 * u * u)) + camera.cx,
          camera.fy * (v * radial + camera.p1 * (r2 + 2 * v * v) + 2 * camera.p2 * u * v) + camera.cy};
}

}  // namespace interchange
