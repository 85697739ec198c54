// Points, and the track of one tie point through the images that show it.
#pragma once

#include <cstdint>
#include <vector>

namespace qvfd {

/// A pair of values: a position in an image or in the plane, a pair of image ids, a pair of feature indices.
template <class T>
struct Point2_T {
  T x{};
  T y{};

  friend bool operator==(const Point2_T&, const Point2_T&) = default;

  /// Lexicographic: by `x`, then by `y`. The order of image pairs in a map and in the track file.
  friend bool operator<(const Point2_T& a, const Point2_T& b) {
    return a.x < b.x || (a.x == b.x && a.y < b.y);
  }
};

/// Where one image shows a tie point.
struct TrackObservation {
  std::int32_t image_id = 0;  ///< the `Id()` of the image
  float x = 0.0F;             ///< pixels
  float y = 0.0F;             ///< pixels

  friend bool operator==(const TrackObservation&, const TrackObservation&) = default;
};

/// A tie point: its position in object space and the images in which it was measured.
struct Track {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
  std::vector<TrackObservation> observations;

  friend bool operator==(const Track&, const Track&) = default;
};

}  // namespace qvfd
