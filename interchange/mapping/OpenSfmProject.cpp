// Between projects and OpenSfM's reconstruction.json and tracks.csv.
#include "interchange/mapping/OpenSfmProject.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <set>
#include <unordered_map>

#include "interchange/Failure.h"
#include "interchange/formats/OpenSfm.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

OpenSfmCamera OpenSfmCameraOf(const SceneCamera& camera, std::set<std::string>& names) {
  const PixelCamera& c = camera.camera;
  const double size = std::max(c.width, c.height);
  OpenSfmCamera made;
  made.name = camera.name.empty() ? "camera" : camera.name;
  if (!names.insert(made.name).second) {
    made.name += "_" + std::to_string(camera.id);
    names.insert(made.name);
  }
  made.width = c.width;
  made.height = c.height;
  made.focal_x = c.fx / size;
  made.focal_y = c.fy / size;
  made.c_x = (c.cx - c.width / 2.0) / size;
  made.c_y = (c.cy - c.height / 2.0) / size;
  made.k1 = c.k1;
  made.k2 = c.k2;
  made.k3 = c.k3;
  made.p1 = c.p1;
  made.p2 = c.p2;
  return made;
}

PixelCamera PixelCameraOf(const OpenSfmCamera& camera, const std::string& path) {
  const double size = std::max(camera.width, camera.height);
  if (camera.width <= 0 || camera.height <= 0 || !(camera.focal_x > 0.0) || !(camera.focal_y > 0.0)) {
    throw Failure(path, "camera '" + camera.name + "' has no size or no focal length",
                  "take a whole copy of the file");
  }
  return {camera.width,
          camera.height,
          camera.focal_x * size,
          camera.focal_y * size,
          camera.c_x * size + camera.width / 2.0,
          camera.c_y * size + camera.height / 2.0,
          camera.k1,
          camera.k2,
          camera.k3,
          camera.p1,
          camera.p2};
}

/// reconstruction.json by what the user names: it, its folder, or a project of OpenDroneMap.
std::string ReconstructionAt(const std::string& path) {
  for (const std::string& candidate :
       {path, PathIn(path, "reconstruction.json"), PathIn(PathIn(path, "opensfm"), "reconstruction.json")}) {
    if (IsFile(candidate)) {
      return candidate;
    }
  }
  throw Failure(path, "holds no reconstruction.json",
                "name the folder of an OpenSfM or OpenDroneMap project");
}

/// The points of the images, by what tracks.csv has of them, and the tracks themselves.
void AddTracks(const std::string& path, const OpenSfmReconstruction& reconstruction, Scene& scene,
               Report& report) {
  const std::vector<OpenSfmObservation> observations = ReadOpenSfmTracks(path);
  std::unordered_map<std::string, std::uint32_t> images;
  for (std::size_t i = 0; i < scene.images.size(); ++i) {
    images.emplace(scene.images[i].name, static_cast<std::uint32_t>(i));
  }
  // Features in the order of their numbers, which have gaps where a feature is in no track.
  std::vector<std::map<long long, std::uint32_t>> features(scene.images.size());
  for (const OpenSfmObservation& observation : observations) {
    const auto image = images.find(observation.image);
    if (image != images.end()) {
      features[image->second].emplace(observation.feature, 0);
    }
  }
  for (std::size_t i = 0; i < features.size(); ++i) {
    std::uint32_t place = 0;
    for (auto& feature : features[i]) {
      feature.second = place++;
    }
    scene.images[i].points.resize(place);
  }
  std::unordered_map<std::string, std::size_t> points;
  for (std::size_t i = 0; i < reconstruction.points.size(); ++i) {
    points.emplace(reconstruction.points[i].id, i);
  }
  std::size_t elsewhere = 0;
  std::size_t unplaced = 0;
  for (const OpenSfmObservation& observation : observations) {
    const auto image = images.find(observation.image);
    if (image == images.end()) {
      ++elsewhere;
      continue;
    }
    SceneImage& shown = scene.images[image->second];
    const PixelCamera& camera = scene.cameras[shown.camera].camera;
    const double size = std::max(camera.width, camera.height);
    const std::uint32_t place = features[image->second].at(observation.feature);
    shown.points[place] = {observation.x * size + camera.width / 2.0,
                           observation.y * size + camera.height / 2.0};
    const auto point = points.find(observation.track);
    if (point == points.end()) {
      ++unplaced;
    } else {
      scene.points[point->second].track.push_back({image->second, place});
    }
  }
  report.read.emplace_back("observations", observations.size());
  report.Lose(elsewhere, "observations in images that the reconstruction does not have");
  report.Lose(unplaced, "observations of tracks without a point (they stay as features)");
}

}  // namespace

Report ExportOpenSfm(qvprj::QvProject& project, const std::string& folder, const SceneOptions& options) {
  Report report;
  const ProjectFrame frame(project, options.project);
  const WorldFrame world = frame.TopocentricFrame(project);
  const Scene scene = SceneOf(project, frame, world, options, report);
  OpenSfmReconstruction reconstruction;
  if (world.GetKind() == WorldFrame::Kind::kTopocentric) {
    reconstruction.reference = world.Reference();
  }
  std::set<std::string> names;
  for (const SceneCamera& camera : scene.cameras) {
    reconstruction.cameras.push_back(OpenSfmCameraOf(camera, names));
  }
  for (const SceneImage& image : scene.images) {
    if (image.name.find('\t') != std::string::npos) {
      throw Failure("image " + std::to_string(image.id), "its name has a tab, which tracks.csv cannot hold",
                    "give it another name");
    }
    const WorldToCamera pose = WorldToCameraOf(image.pose->axes, image.pose->centre);
    reconstruction.shots.push_back({image.name, reconstruction.cameras[image.camera].name,
                                    AngleAxisOf(pose.rotation), pose.translation});
  }
  std::vector<OpenSfmObservation> observations;
  std::size_t inTracks = 0;
  for (std::size_t i = 0; i < scene.points.size(); ++i) {
    const std::string id = std::to_string(i);
    reconstruction.points.push_back({id, scene.points[i].position});
    for (const ScenePoint::Element& element : scene.points[i].track) {
      const SceneImage& image = scene.images[element.image];
      const PixelCamera& camera = scene.cameras[image.camera].camera;
      const double size = std::max(camera.width, camera.height);
      const Pixel& pixel = image.points[element.point];
      observations.push_back({image.name, id, element.point, (pixel.x - camera.width / 2.0) / size,
                              (pixel.y - camera.height / 2.0) / size});
    }
    inTracks += scene.points[i].track.size();
  }
  std::size_t points = 0;
  for (const SceneImage& image : scene.images) {
    points += image.points.size();
  }
  MakeFolder(folder);
  report.files = {PathIn(folder, "reconstruction.json"), PathIn(folder, "tracks.csv")};
  WriteOpenSfmReconstruction(report.files[0], reconstruction);
  WriteOpenSfmTracks(report.files[1], observations);
  report.Use("axes", world.Description());
  report.Use("image positions", "normalised from the middle of the image by the larger of width and height");
  report.written = {{"cameras", reconstruction.cameras.size()},
                    {"shots", reconstruction.shots.size()},
                    {"points", reconstruction.points.size()},
                    {"observations", observations.size()}};
  report.Lose(points - std::min(points, inTracks), "features that no tie point has");
  report.Lose(scene.cameras.size(), "sizes of sensors in millimetres");
  TellWhatScenesLack(project, true, report);
  return report;
}

Report ImportOpenSfm(const std::string& path, const ImportFrameOptions& frameOptions,
                     const SceneOptions& options, qvprj::QvProject& project) {
  Report report;
  const std::string file = ReconstructionAt(path);
  const OpenSfmReconstruction reconstruction = ReadOpenSfmReconstruction(file);
  Scene scene;
  std::unordered_map<std::string, std::size_t> cameras;
  for (const OpenSfmCamera& camera : reconstruction.cameras) {
    cameras.emplace(camera.name, scene.cameras.size());
    scene.cameras.push_back(
        {static_cast<int>(scene.cameras.size()) + 1, camera.name, PixelCameraOf(camera, file)});
  }
  for (const OpenSfmShot& shot : reconstruction.shots) {
    const auto camera = cameras.find(shot.camera);
    if (camera == cameras.end()) {
      throw Failure(file, "shot '" + shot.name + "' refers to a camera that is not there",
                    "take a whole copy of it");
    }
    const WorldToCamera pose{MatrixOfAngleAxis(shot.rotation), shot.translation};
    scene.images.push_back({static_cast<int>(scene.images.size()) + 1,
                            shot.name,
                            camera->second,
                            Pose{CentreOf(pose), CameraAxesOf(pose)},
                            {}});
  }
  for (const OpenSfmPoint& point : reconstruction.points) {
    scene.points.push_back({point.position, {}});
  }
  report.read = {{"cameras", reconstruction.cameras.size()},
                 {"shots", reconstruction.shots.size()},
                 {"points", reconstruction.points.size()}};
  const std::string tracks = (std::filesystem::path(file).parent_path() / "tracks.csv").string();
  if (IsFile(tracks)) {
    AddTracks(tracks, reconstruction, scene, report);
  } else {
    report.notes.emplace_back("there is no tracks.csv: points come without the images that show them");
  }

  // The frame is that of the file; a coordinate system is one to keep tie points in.
  ProjectOptions made;
  made.geoid_height = frameOptions.geoid_height;
  made.positions = reconstruction.reference ? Positions::kDegrees : Positions::kCartesian;
  if (frameOptions.crs && !reconstruction.reference) {
    throw Failure(file,
                  "does not say where on the globe it lies, so that it has no place in a coordinate system",
                  "leave --crs away");
  }
  project.GetPrjInfo().coordinate_id = frameOptions.crs ? SystemOfCode(*frameOptions.crs).id : -1;
  const WorldFrame world = reconstruction.reference ? WorldFrame::Topocentric(*reconstruction.reference)
                                                    : WorldFrame::Cartesian({});
  const ProjectFrame frame(project, made);
  report.Use("positions", frame.IsCartesian()
                              ? "as they are, in a project without a coordinate system"
                              : "WGS 84 degrees; tie points in " + NameOfSystem(frame.System()));
  report.Use("heights", made.geoid_height ? "stored heights are " + TextOf(*made.geoid_height) +
                                                " m below those above the ellipsoid"
                                          : "above the ellipsoid");
  TakeScene(scene, frame, world, options, project, report);
  report.Lose(reconstruction.other_reconstructions, "further reconstructions, which lie apart");
  report.Lose(reconstruction.colours, "colours of points");
  report.Lose(reconstruction.gps, "GPS positions and times of shots");
  return report;
}

}  // namespace interchange
