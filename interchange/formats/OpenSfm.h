// OpenSfM's reconstruction.json and tracks.csv, as its manual and sources describe them
// (doc/source/dataset.rst, opensfm/io.py).
//
// The world is topocentric: metres east, north and up of "reference_lla", heights above the ellipsoid. A
// shot's rotation (axis times angle) and translation go from the world to the camera: x right, y down, z
// forward. Image positions are normalised: from the middle of the image, divided by the larger of width and
// height.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "interchange/geometry/Ellipsoid.h"
#include "interchange/geometry/Rotation.h"

namespace interchange {

/// A camera as it stands in the file. `focal_x`, `focal_y` and the principal point are divided by the larger
/// of width and height; the principal point counts from the middle of the image.
struct OpenSfmCamera {
  std::string name;
  std::string projection = "brown";  ///< "perspective", "brown", "simple_radial" or "radial"
  int width = 0;
  int height = 0;
  double focal_x = 0.0;
  double focal_y = 0.0;
  double c_x = 0.0;
  double c_y = 0.0;
  double k1 = 0.0;
  double k2 = 0.0;
  double k3 = 0.0;
  double p1 = 0.0;
  double p2 = 0.0;
};

struct OpenSfmShot {
  std::string name;
  std::string camera;
  Vector3 rotation;
  Vector3 translation;
};

struct OpenSfmPoint {
  std::string id;
  Vector3 position;
};

struct OpenSfmReconstruction {
  std::optional<Geodetic> reference;
  std::vector<OpenSfmCamera> cameras;
  std::vector<OpenSfmShot> shots;
  std::vector<OpenSfmPoint> points;

  // Of one that was read: what it has besides.
  std::size_t other_reconstructions = 0;
  std::size_t colours = 0;
  std::size_t gps = 0;  ///< shots with a GPS position or a time
};

struct OpenSfmObservation {
  std::string image;
  std::string track;
  long long feature = 0;
  double x = 0.0;
  double y = 0.0;
};

/// The largest reconstruction of a file. Throws `Failure` when it is damaged, or a camera has a projection
/// that is not among those above.
[[nodiscard]] OpenSfmReconstruction ReadOpenSfmReconstruction(const std::string& path);
void WriteOpenSfmReconstruction(const std::string& path, const OpenSfmReconstruction& reconstruction);

/// Reads tracks.csv of the versions 0, 1 and 2. Throws `Failure` when it is damaged.
[[nodiscard]] std::vector<OpenSfmObservation> ReadOpenSfmTracks(const std::string& path);
void WriteOpenSfmTracks(const std::string& path, const std::vector<OpenSfmObservation>& observations);

}  // namespace interchange
