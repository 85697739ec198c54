// COLMAP's sparse model: three files in a folder, binary or text, as its manual describes them
// (doc/format.rst).
//
//   cameras.bin   u64 count; each: u32 id, i32 model, u64 width, u64 height, f64 parameters
//   images.bin    u64 count; each: u32 id, f64 qw qx qy qz tx ty tz (world to camera), u32 camera, name, NUL,
//                 u64 points; each: f64 x, f64 y, u64 id of the point in space
//   points3D.bin  u64 count; each: u64 id, f64 x y z, u8 r g b, f64 error, u64 length; each: u32 image,
//                 u32 point
//
// Pixels count from the corner of the image: the middle of the first pixel is (0.5, 0.5).
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "interchange/geometry/Rotation.h"

namespace interchange {

/// Of a point of an image that no point in space belongs to; -1 in text.
inline constexpr std::uint64_t kNoColmapPoint = std::numeric_limits<std::uint64_t>::max();

/// A camera model: its number, its name and the names of its parameters, in their order.
struct ColmapCameraModel {
  int number;
  std::string_view name;
  std::string_view parameters;  ///< between blanks
  std::size_t parameter_count;
};

/// All models that the format has; those that can be read here are told by `PixelCameraOf` of the mapping.
[[nodiscard]] const ColmapCameraModel* FindColmapCameraModel(int number);
[[nodiscard]] const ColmapCameraModel* FindColmapCameraModel(std::string_view name);

struct ColmapCamera {
  std::uint32_t id = 0;
  int model = 0;
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  std::vector<double> parameters;

  friend bool operator==(const ColmapCamera&, const ColmapCamera&) = default;
};

struct ColmapImagePoint {
  double x = 0.0;
  double y = 0.0;
  std::uint64_t point = kNoColmapPoint;

  friend bool operator==(const ColmapImagePoint&, const ColmapImagePoint&) = default;
};

struct ColmapImage {
  std::uint32_t id = 0;
  Quaternion rotation;  ///< world to camera
  Vector3 translation;
  std::uint32_t camera = 0;
  std::string name;
  std::vector<ColmapImagePoint> points;
};

struct ColmapPoint {
  struct Element {
    std::uint32_t image = 0;
    std::uint32_t point = 0;  ///< position among the points of that image

    friend bool operator==(const Element&, const Element&) = default;
  };
  std::uint64_t id = 0;
  Vector3 position;
  std::array<std::uint8_t, 3> colour{};
  double error = -1.0;  ///< mean distance in pixels; -1 where it is not known
  std::vector<Element> track;
};

struct ColmapModel {
  std::vector<ColmapCamera> cameras;
  std::vector<ColmapImage> images;
  std::vector<ColmapPoint> points;
};

/// Reads the model in a folder: the binary files where they are there, otherwise the text files. Throws
/// `Failure` when neither are there or one is damaged. What refers to something that is not there is not
/// looked for.
[[nodiscard]] ColmapModel ReadColmapModel(const std::string& folder);

/// Writes the three files of a model into a folder, which is made. Throws `Failure` when one cannot be
/// written; in text also when a name has a blank, where readers would cut it, or a number is not finite. Returns their paths.
std::vector<std::string> WriteColmapBinary(const std::string& folder, const ColmapModel& model);
std::vector<std::string> WriteColmapText(const std::string& folder, const ColmapModel& model);

}  // namespace interchange
