// Projects as output of Bundler.
#pragma once

#include <string>

#include "interchange/Report.h"
#include "interchange/mapping/Scene.h"
#include "qvprj/project/QvProject.h"

namespace interchange {

struct BundlerOptions {
  SceneOptions scene;

  /// Whether to write cameras without what Bundler has no place for: a principal point beside the middle, k3,
  /// p1, p2, and pixels that are not square. Otherwise such a camera is refused.
  bool approximate = false;
};

/// Writes bundle.out, list.txt and `kGeoreferenceName` into a folder. Throws `Failure` as `SceneOf` does, for
/// a camera that is refused, or when a file cannot be written.
Report ExportBundler(qvprj::QvProject& project, const std::string& folder, const BundlerOptions& options);

}  // namespace interchange
