// Projects as output of Bundler.
#include "interchange/mapping/BundlerProject.h"

#include <cmath>

#include "interchange/Failure.h"
#include "interchange/formats/Bundler.h"
#include "interchange/mapping/Georeference.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

/// In words, what of a camera Bundler has no place for; empty where there is nothing.
std::string Excess(const PixelCamera& camera) {
  constexpr double kRounding = 1e-9;
  std::string excess;
  const auto add = [&excess](bool there, const char* what) {
    if (there) {
      excess += std::string(excess.empty() ? "" : ", ") + what;
    }
  };
  add(std::fabs(camera.cx - camera.width / 2.0) > kRounding * camera.width ||
          std::fabs(camera.cy - camera.height / 2.0) > kRounding * camera.height,
      "a principal point beside the middle of the image");
  add(std::fabs(camera.fx - camera.fy) > kRounding * camera.fx, "pixels that are not square");
  add(camera.k3 != 0.0, "k3");
  add(camera.p1 != 0.0 || camera.p2 != 0.0, "p1, p2");
  return excess;
}

void RequireHeld(const Scene& scene, bool approximate, Report& report) {
  for (const SceneCamera& camera : scene.cameras) {
    const std::string excess = Excess(camera.camera);
    if (excess.empty()) {
      continue;
    }
    if (!approximate) {
      throw Failure("camera " + std::to_string(camera.id), "Bundler has no place for its " + excess,
                    "remove the distortion from the images, or accept the loss with --approximate");
    }
    report.not_carried.push_back(excess + " of camera " + std::to_string(camera.id));
  }
}

}  // namespace

Report ExportBundler(qvprj::QvProject& project, const std::string& folder, const BundlerOptions& options) {
  Report report;
  const ProjectFrame frame(project, options.scene.project);
  const WorldFrame world = frame.MetricFrame(project);
  const Scene scene = SceneOf(project, frame, world, options.scene, report);
  RequireHeld(scene, options.approximate, report);
  Bundle bundle;
  for (const SceneImage& image : scene.images) {
    const PixelCamera& camera = scene.cameras[image.camera].camera;
    const Matrix3 rotation = Transposed(image.pose->axes);
    bundle.cameras.push_back(
        {image.name, camera.fx, camera.k1, camera.k2, rotation, -(rotation * image.pose->centre)});
  }
  std::size_t observations = 0;
  for (const ScenePoint& point : scene.points) {
    BundlerPoint& made = bundle.points.emplace_back();
    made.position = point.position;
    for (const ScenePoint::Element& element : point.track) {
      const SceneImage& image = scene.images[element.image];
      const PixelCamera& camera = scene.cameras[image.camera].camera;
      const Pixel& pixel = image.points[element.point];
      made.views.push_back(
          {element.image, element.point, pixel.x - camera.width / 2.0, camera.height / 2.0 - pixel.y});
    }
    observations += made.views.size();
  }
  report.files = WriteBundle(folder, bundle);
  report.files.push_back(PathIn(folder, kGeoreferenceName));
  WriteGeoreference(report.files.back(), {world, options.scene.project.geoid_height, {}, {}});
  report.Use("image positions", "pixels from the middle of the image, x right, y up");
  report.written = {
      {"cameras", bundle.cameras.size()}, {"points", bundle.points.size()}, {"views", observations}};
  std::size_t features = 0;
  for (const SceneImage& image : scene.images) {
    features += image.points.size();
  }
  report.Lose(features - std::min(features, observations), "features that no tie point has");
  report.Lose(scene.cameras.size(), "sizes of images and sensors");
  TellWhatScenesLack(project, true, report);
  return report;
}

}  // namespace interchange
