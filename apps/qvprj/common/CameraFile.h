// Cameras that a person describes in a JSON file.
#pragma once

#include <string>
#include <vector>

#include "qvfd/CameraInfo.h"

namespace qvapp {

/// The cameras in the file at `path`, in its order: one object, or an array of objects, with the keys
///
///   width, height             pixels; required
///   ccdwidth, ccdheight       sensor size in millimetres; required
///   focallength               millimetres; required
///   id                        what images refer to; 0 when it is not given
///   name, x0, y0, distortion_type, k1, k2, k3, p1, p2, alpha, beta, n1, n2, n3
///
/// Throws a `Failure` that names the file and the key when there is anything else in it, a value makes no
/// sense, or two cameras have one id: a camera that is not quite the one meant spoils all that is computed
/// with it.
[[nodiscard]] std::vector<qvfd::CameraInfo> ReadCameraFile(const std::string& path);

}  // namespace qvapp
