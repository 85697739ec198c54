// A project as the programs of computer vision see one.
#include "interchange/mapping/Scene.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

constexpr double kHalfPixel = 0.5;

double ShiftOf(const SceneOptions& options) {
  return options.pixel_origin == PixelOrigin::kCentre ? kHalfPixel : 0.0;
}

const char* Describe(PixelOrigin origin) {
  return origin == PixelOrigin::kCorner
             ? "the project's pixels count from the corner of the image, y down"
             : "the project's pixels count from the middle of the first one, y down";
}

std::vector<SceneCamera> CamerasOf(const qvprj::QvProject& project, const SceneOptions& options) {
  std::vector<SceneCamera> cameras;
  const qvfd::CameraInfoSet& all = project.GetCameraInfoSet();
  std::unordered_set<int> used;
  for (int i = 0; i < project.GetImageInfoSet().Size(); ++i) {
    used.insert(project.GetImageInfoSet().GetImageExt(i)->camera_id);
  }
  for (int i = 0; i < all.Size(); ++i) {
    const qvfd::CameraInfo& camera = *all.GetCamera(i);
    if (all.FindCamera(camera.id) == &camera && used.contains(camera.id)) {
      cameras.push_back({camera.id, camera.name, PixelCameraOf(camera, options.principal_point)});
    }
  }
  return cameras;
}

/// Where each position stands among the points of an image. By the bits of both numbers, so that any are told
/// apart.
using PlaceOfPixel = std::unordered_map<std::uint64_t, std::uint32_t>;

std::uint64_t KeyOf(float x, float y) {
  return std::uint64_t{std::bit_cast<std::uint32_t>(x)} << 32U | std::bit_cast<std::uint32_t>(y);
}

/// The points of the images that tracks refer to: features where they are, otherwise points behind them.
class ImagePoints {
 public:
  ImagePoints(qvprj::QvProject& project, Scene& scene, double shift) : scene_(scene), shift_(shift) {
    places_.resize(scene.images.size());
    taken_.resize(scene.images.size());
    for (std::size_t i = 0; i < scene.images.size(); ++i) {
      const auto features = project.GetFeatures().find(scene.images[i].id);
      if (features == project.GetFeatures().end()) {
        continue;
      }
      scene.images[i].points.reserve(features->second.size());
      for (const qvfd::Point2_T<float>& feature : features->second) {
        Add(i, feature.x, feature.y);
      }
    }
  }

  /// The first point of an image that is there and in no track yet; a new one otherwise.
  std::uint32_t Take(std::size_t image, float x, float y) {
    const auto place = places_[image].find(KeyOf(x, y));
    if (place != places_[image].end() && !taken_[image][place->second]) {
      taken_[image][place->second] = true;
      return place->second;
    }
    const std::uint32_t added = Add(image, x, y);
    taken_[image][added] = true;
    return added;
  }

 private:
  std::uint32_t Add(std::size_t image, float x, float y) {
    std::vector<Pixel>& points = scene_.images[image].points;
    const auto place = static_cast<std::uint32_t>(points.size());
    points.push_back({static_cast<double>(x) + shift_, static_cast<double>(y) + shift_});
    taken_[image].push_back(false);
    places_[image].emplace(KeyOf(x, y), place);
    return place;
  }

  Scene& scene_;
  double shift_;
  std::vector<PlaceOfPixel> places_;
  std::vector<std::vector<bool>> taken_;
};

void AddTracks(qvprj::QvProject& project, const ProjectFrame& frame, const WorldFrame& world, double shift,
               Scene& scene) {
  std::unordered_map<int, std::uint32_t> images;
  for (std::size_t i = 0; i < scene.images.size(); ++i) {
    images.emplace(scene.images[i].id, static_cast<std::uint32_t>(i));
  }
  ImagePoints points(project, scene, shift);
  scene.points.reserve(project.GetTracks().size());
  for (const qvfd::Track& track : project.GetTracks()) {
    const auto position = frame.PointIn(world, {track.x, track.y, track.z});
    if (!position) {
      throw Failure("tie point " + std::to_string(scene.points.size()),
                    "its position cannot be converted to " + world.Description(),
                    "give the project the coordinate system that its tie points are in");
    }
    ScenePoint& point = scene.points.emplace_back();
    point.position = *position;
    point.track.reserve(track.observations.size());
    for (const qvfd::TrackObservation& observation : track.observations) {
      const auto image = images.find(observation.image_id);
      if (image != images.end()) {
        point.track.push_back({image->second, points.Take(image->second, observation.x, observation.y)});
      }
    }
  }
}

/// A pixel as the project stores it, and whether a float holds it.
bool Stored(const Pixel& pixel, double shift, qvfd::Point2_T<float>& stored) {
  stored = {static_cast<float>(pixel.x - shift), static_cast<float>(pixel.y - shift)};
  return static_cast<double>(stored.x) == pixel.x - shift && static_cast<double>(stored.y) == pixel.y - shift;
}

/// A grid is no plane of the globe: it stretches distances and leaves heights alone. Where a scene leaves it,
/// its image points are no longer quite where its points in space say.
void TellOfStretch(const Scene& scene, const ProjectFrame& frame, const WorldFrame& world,
                   const qvfd::EOP& position, Report& report) {
  constexpr double kNoticed = 0.05;
  if (world.GetKind() != WorldFrame::Kind::kTopocentric || scene.points.empty()) {
    return;
  }
  const double scale = frame.GridScaleAt(frame.PositionOf(position));
  double pixels = 0.0;
  for (const SceneCamera& camera : scene.cameras) {
    pixels =
        std::max(pixels, std::fabs(scale - 1.0) * std::max(camera.camera.width, camera.camera.height) / 2.0);
  }
  if (pixels > kNoticed) {
    report.notes.push_back("the grid's scale is " + TextOf(scale, 6) +
                           " here: outside of the grid image points are up to " + TextOf(pixels, 2) +
                           " pixels beside where the tie points are seen");
  }
}

}  // namespace

std::vector<std::string> UniqueNames(const qvfd::ImageInfoSet& images, Report& report) {
  std::vector<std::string> names;
  std::unordered_set<std::string> known;
  std::size_t made = 0;
  for (const qvfd::ImageInfo& image : images) {
    std::string name = image.Name().empty() ? FileNameOf(image.Path()) : image.Name();
    const bool unnamed = name.empty();
    if (unnamed) {
      name = "image_" + std::to_string(image.Id());
    }
    bool renamed = unnamed;
    while (!known.insert(name).second) {
      name += "_" + std::to_string(image.Id());
      renamed = true;
    }
    made += renamed ? 1U : 0U;
    names.push_back(std::move(name));
  }
  report.Note(made, "image has no name of its own: it was made of the id",
              "images have no name of their own: theirs was made of the id");
  return names;
}

Scene SceneOf(qvprj::QvProject& project, const ProjectFrame& frame, const WorldFrame& world,
              const SceneOptions& options, Report& report) {
  const qvfd::ImageInfoSet& images = project.GetImageInfoSet();
  if (images.Size() == 0) {
    throw Failure("the project", "has no images, so that there is nothing to write", "import a flight first");
  }
  Scene scene;
  scene.cameras = CamerasOf(project, options);
  std::unordered_map<int, std::size_t> cameras;
  for (std::size_t i = 0; i < scene.cameras.size(); ++i) {
    cameras.emplace(scene.cameras[i].id, i);
  }
  const std::vector<std::string> names = UniqueNames(images, report);
  std::size_t disabled = 0;
  std::size_t as_flown = 0;
  for (int i = 0; i < images.Size(); ++i) {
    const qvfd::ImageInfo& image = *images.GetImage(i);
    const qvfd::ImageInfoExt& extension = *images.GetImageExt(i);
    const std::string subject = "image " + std::to_string(image.Id());
    if (images.FindImage(image.Id()) != &image) {
      throw Failure(subject, "another image has the same id", "see 'qvprj check'");
    }
    const auto camera = cameras.find(extension.camera_id);
    if (camera == cameras.end()) {
      throw Failure(subject, "its camera " + std::to_string(extension.camera_id) + " is not in the project",
                    "import with --camera FILE.json");
    }
    const auto pose = frame.PoseIn(world, image);
    if (!pose) {
      throw Failure(subject, "its position cannot be converted to " + world.Description(),
                    "give the project another coordinate system ('qvprj set --help')");
    }
    scene.images.push_back({image.Id(), names[static_cast<std::size_t>(i)], camera->second, pose, {}});
    disabled += extension.enabled ? 0U : 1U;
    as_flown += image.GetEOP() == image.GetUpdatedEOP() ? 0U : 1U;
  }
  AddTracks(project, frame, world, ShiftOf(options), scene);

  TellOfStretch(scene, frame, world, frame.EopOf(*images.GetImage(0)), report);
  frame.Describe(project, report);
  report.Use("axes", world.Description());
  report.Use("pixel origin", Describe(options.pixel_origin));
  report.Use("camera", std::string("x0, y0 in ") +
                           (options.principal_point == PrincipalPoint::kMillimetres
                                ? "millimetres from the middle of the image, y up"
                                : "pixels from the corner of the image, y down") +
                           "; k1, k2, k3, p1, p2 as OpenCV has them");
  report.read = {{"cameras", scene.cameras.size()},
                 {"images", scene.images.size()},
                 {"features", 0},
                 {"tie points", scene.points.size()}};
  for (const auto& entry : project.GetFeatures()) {
    report.read[2].second += entry.second.size();
  }
  report.Lose(disabled, "that images take no part in processing");
  report.Lose(as_flown, options.project.orientation == Orientation::kAdjusted
                            ? "orientations as flown, which differ"
                            : "adjusted orientations");
  return scene;
}

void TellWhatIsNowhere(const qvprj::QvProject& project, Report& report) {
  const qvprj::PrjInfo& info = project.GetPrjInfo();
  std::size_t texts = 0;
  for (const char* const text : {info.project_name, info.operator_name, info.date, info.description}) {
    texts += text[0] != '\0' ? 1U : 0U;
  }
  report.Lose(texts + (info.height != 0.0 ? 1U : 0U),
              "project information: name, operator, date, description, flying height");
  std::size_t paths = 0;
  std::unordered_set<int> strips;
  const qvfd::ImageInfoSet& images = project.GetImageInfoSet();
  for (int i = 0; i < images.Size(); ++i) {
    const qvfd::ImageInfo& image = *images.GetImage(i);
    paths += !image.Path().empty() && image.Path() != image.Name() ? 1U : 0U;
    strips.insert(images.GetImageExt(i)->strip_id);
  }
  report.Lose(paths, "paths of images");
  report.Lose(strips.size() > 1 ? strips.size() : 0, "flight strips");
}

void TellWhatScenesLack(qvprj::QvProject& project, bool matchesToo, Report& report) {
  std::vector<int> ids;
  project.GetGroundControl().ground_points.GetPointIndex(ids);
  report.Lose(ids.size(), "ground points and their measurements: 'qvprj gcp export' writes them");
  if (matchesToo) {
    std::size_t matches = 0;
    for (const auto& entry : project.GetMatches()) {
      matches += entry.second.size();
    }
    report.Lose(matches, "matches");
  }
  TellWhatIsNowhere(project, report);
}

void TakeScene(const Scene& scene, const ProjectFrame& frame, const WorldFrame& world,
               const SceneOptions& options, qvprj::QvProject& project, Report& report) {
  const double shift = ShiftOf(options);
  qvfd::CameraInfoSet cameras;
  for (const SceneCamera& camera : scene.cameras) {
    cameras.AddCamera(
        CameraInfoOf(camera.camera, camera.id, camera.name, kAssumedPixel, options.principal_point));
  }
  qvfd::ImageInfoSet images;
  images.Reserve(static_cast<int>(scene.images.size()));
  std::size_t unposed = 0;
  std::size_t inexact = 0;
  std::size_t points = 0;
  qvprj::QvProject::Features features;
  for (const SceneImage& image : scene.images) {
    ProjectFrame::Orientations orientations;
    if (image.pose) {
      const auto converted = frame.OrientationsOf(world, *image.pose);
      if (!converted) {
        throw Failure("image " + image.name, "its position cannot be converted from " + world.Description(),
                      "check --crs and --offset");
      }
      orientations = *converted;
    }
    unposed += image.pose ? 0U : 1U;
    images.AddImage(image.id, image.name, image.name, orientations.as_flown, scene.cameras[image.camera].id,
                    0, true);
    images.GetImage(images.Size() - 1)->Update(orientations.adjusted);
    if (!image.points.empty()) {
      std::vector<qvfd::Point2_T<float>>& stored = features[image.id];
      stored.resize(image.points.size());
      for (std::size_t i = 0; i < image.points.size(); ++i) {
        inexact += Stored(image.points[i], shift, stored[i]) ? 0U : 1U;
      }
      points += stored.size();
    }
  }
  qvprj::QvProject::Tracks tracks;
  tracks.reserve(scene.points.size());
  for (const ScenePoint& point : scene.points) {
    const auto position = frame.PointFrom(world, point.position);
    if (!position) {
      throw Failure("tie point " + std::to_string(tracks.size()),
                    "its position cannot be converted from " + world.Description(),
                    "check --crs and --offset");
    }
    qvfd::Track& track = tracks.emplace_back();
    track.x = position->x;
    track.y = position->y;
    track.z = position->z;
    track.observations.reserve(point.track.size());
    for (const ScenePoint::Element& element : point.track) {
      const SceneImage& image = scene.images[element.image];
      qvfd::Point2_T<float> stored;
      Stored(image.points[element.point], shift, stored);
      track.observations.push_back({image.id, stored.x, stored.y});
    }
  }
  project.SetCameraInfoSet(cameras);
  project.SetImageInfoSet(images);
  project.GetFeatures() = std::move(features);
  project.GetTracks() = std::move(tracks);

  report.Use("axes", world.Description());
  report.Use("angles", "omega, phi, kappa, made of the poses; as flown the same as navigation angles");
  report.Use("pixel origin", Describe(options.pixel_origin));
  report.Use("camera",
             "pixels of " + TextOf(kAssumedPixel * 1000) +
                 " micrometres, since nobody says how large they are; k1, k2, k3, p1, p2 as OpenCV has them");
  report.written = {{"cameras", scene.cameras.size()},
                    {"images", scene.images.size()},
                    {"features", points},
                    {"tie points", scene.points.size()}};
  report.Lose(inexact, "digits of image points beyond those of a float");
  report.Note(unposed, "image is not oriented: its orientation is zeros",
              "images are not oriented: their orientation is zeros");
}

std::optional<double> ReprojectionError(const Scene& scene, const ScenePoint& point) {
  double sum = 0.0;
  for (const ScenePoint::Element& element : point.track) {
    const SceneImage& image = scene.images[element.image];
    if (!image.pose) {
      return std::nullopt;
    }
    const Vector3 inCamera = Transposed(image.pose->axes) * (point.position - image.pose->centre);
    if (!(inCamera.z < 0.0)) {
      return std::nullopt;
    }
    const Pixel seen = Projected(scene.cameras[image.camera].camera, inCamera.x, -inCamera.y, -inCamera.z);
    sum += std::hypot(seen.x - image.points[element.point].x, seen.y - image.points[element.point].y);
  }
  return point.track.empty() ? std::nullopt : std::optional(sum / static_cast<double>(point.track.size()));
}

}  // namespace interchange
