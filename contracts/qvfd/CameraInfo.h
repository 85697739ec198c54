// The cameras of a project.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "qvfd/Export.h"

namespace qvfd {

/// One camera: frame size, sensor, interior orientation and lens distortion.
struct CameraInfo {
  int id = -1;               ///< what `ImageInfoExt::camera_id` refers to; unique within a project
  std::string name;          ///< narrow text, stored byte for byte
  int width = 0;             ///< pixels
  int height = 0;            ///< pixels
  double ccdwidth = 0.0;     ///< sensor width in millimetres
  double ccdheight = 0.0;    ///< sensor height in millimetres
  double focallength = 0.0;  ///< millimetres
  double x0 = 0.0;           ///< principal point
  double y0 = 0.0;           ///< principal point
  int distortion_type = 1;   ///< which distortion model the coefficients belong to; not interpreted here

  /// k1, k2, k3, p1, p2, alpha, beta, n1, n2, n3.
  std::array<double, 10> distortion{};

  double pixel_size_x = 0.0;  ///< millimetres; not stored: a reader derives it as ccdwidth / width
  double pixel_size_y = 0.0;  ///< millimetres; not stored: a reader derives it as ccdheight / height

  friend bool operator==(const CameraInfo&, const CameraInfo&) = default;
};

/// The cameras in the order in which they were added. A copy is independent of its source.
///
/// Pointers that it hands out are valid until the set is changed or destroyed.
class QVFD_API CameraInfoSet {
 public:
  /// Removes all cameras.
  void Clear();

  [[nodiscard]] int Size() const;

  /// The camera at position 0 to `Size()` - 1; null elsewhere.
  [[nodiscard]] CameraInfo* GetCamera(int position);
  [[nodiscard]] const CameraInfo* GetCamera(int position) const;

  /// The camera with the id `id`, the one added last where several have it; null when none has. Looks at
  /// every camera.
  [[nodiscard]] CameraInfo* FindCamera(int id);
  [[nodiscard]] const CameraInfo* FindCamera(int id) const;

  /// Appends a camera, its id as it stands, also when another camera has that id. Returns its position.
  int AddCamera(CameraInfo camera);

 private:
  std::vector<CameraInfo> cameras_;
};

}  // namespace qvfd
