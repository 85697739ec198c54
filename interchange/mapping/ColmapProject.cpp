// Between projects and COLMAP: sparse models, and databases of features and matches.
#include "interchange/mapping/ColmapProject.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <unordered_map>
#include <utility>

#include "interchange/Failure.h"
#include "interchange/formats/ColmapDatabase.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

/// fx and fy that differ by less are one number.
constexpr double kRounding = 1e-12;

/// COLMAP's ids of images are below that.
constexpr std::uint32_t kIdLimit = 2'147'483'647;

// ---- ids
// ---------------------------------------------------------------------------------------------------

/// New ids for the ids of a project: the same where all are above 0, otherwise 1, 2, 3 and so on.
template <class Elements>
std::vector<RenumberedId> Numbered(const Elements& elements) {
  const bool fit = std::all_of(elements.begin(), elements.end(), [](const auto& element) {
    return element.id > 0 && static_cast<std::uint32_t>(element.id) < kIdLimit;
  });
  std::vector<RenumberedId> ids;
  for (const auto& element : elements) {
    const auto from = static_cast<std::uint64_t>(static_cast<std::int64_t>(element.id));
    ids.push_back({from, fit ? from : ids.size() + 1});
  }
  return ids;
}

std::vector<RenumberedId> Changed(const std::vector<RenumberedId>& ids) {
  std::vector<RenumberedId> changed;
  std::copy_if(ids.begin(), ids.end(), std::back_inserter(changed),
               [](const RenumberedId& id) { return id.from != id.to; });
  return changed;
}

/// Project ids for foreign ones: those that the file beside the import keeps for all of them; otherwise the
/// same where they fit; otherwise 0, 1, 2 and so on.
std::vector<int> ProjectIds(const std::vector<std::uint32_t>& foreign,
                            const std::vector<RenumberedId>& kept) {
  std::unordered_map<std::uint64_t, std::uint64_t> known;
  for (const RenumberedId& id : kept) {
    known.emplace(id.to, id.from);
  }
  std::vector<int> ids;
  std::set<int> used;
  for (const std::uint32_t id : foreign) {
    const auto found = known.find(id);
    if (found == known.end() || !used.insert(static_cast<int>(found->second)).second) {
      break;
    }
    ids.push_back(static_cast<int>(found->second));
  }
  if (ids.size() == foreign.size()) {
    return ids;
  }
  const bool fit =
      std::all_of(foreign.begin(), foreign.end(), [](std::uint32_t id) { return id < kIdLimit; });
  ids.clear();
  for (std::size_t i = 0; i < foreign.size(); ++i) {
    ids.push_back(static_cast<int>(fit ? foreign[i] : i));
  }
  return ids;
}

std::vector<RenumberedId> Changed(const std::vector<std::uint32_t>& foreign, const std::vector<int>& ids) {
  std::vector<RenumberedId> all;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    all.push_back({foreign[i], static_cast<std::uint64_t>(static_cast<std::int64_t>(ids[i]))});
  }
  return Changed(all);
}

template <class Elements>
std::vector<std::uint32_t> IdsOf(const Elements& elements) {
  std::vector<std::uint32_t> ids;
  ids.reserve(elements.size());
  for (const auto& element : elements) {
    ids.push_back(element.id);
  }
  return ids;
}

/// Positions by id. Throws when two elements have one id.
template <class Elements>
std::unordered_map<std::uint32_t, std::size_t> PositionsOf(const Elements& elements, const std::string& path,
                                                           const std::string& kind) {
  std::unordered_map<std::uint32_t, std::size_t> positions;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (!positions.emplace(elements[i].id, i).second) {
      throw Failure(path, "two " + kind + " have the id " + std::to_string(elements[i].id),
                    "take a whole copy of it");
    }
  }
  return positions;
}

// ---- export
// ------------------------------------------------------------------------------------------------

std::vector<ColmapCamera> ColmapCameras(const Scene& scene, const std::vector<RenumberedId>& ids) {
  std::vector<ColmapCamera> cameras;
  for (std::size_t i = 0; i < scene.cameras.size(); ++i) {
    cameras.push_back(ColmapCameraOf(scene.cameras[i].camera, static_cast<std::uint32_t>(ids[i].to)));
  }
  return cameras;
}

ColmapModel ModelOf(const Scene& scene, const std::vector<RenumberedId>& images,
                    const std::vector<RenumberedId>& cameras) {
  ColmapModel model;
  model.cameras = ColmapCameras(scene, cameras);
  for (std::size_t i = 0; i < scene.images.size(); ++i) {
    const SceneImage& image = scene.images[i];
    const WorldToCamera pose = WorldToCameraOf(image.pose->axes, image.pose->centre);
    ColmapImage& made = model.images.emplace_back();
    made.id = static_cast<std::uint32_t>(images[i].to);
    made.rotation = QuaternionOf(pose.rotation);
    made.translation = pose.translation;
    made.camera = static_cast<std::uint32_t>(cameras[image.camera].to);
    made.name = image.name;
    made.points.reserve(image.points.size());
    for (const Pixel& pixel : image.points) {
      made.points.push_back({pixel.x, pixel.y, kNoColmapPoint});
    }
  }
  model.points.reserve(scene.points.size());
  for (std::size_t i = 0; i < scene.points.size(); ++i) {
    const ScenePoint& point = scene.points[i];
    ColmapPoint& made = model.points.emplace_back();
    made.id = i + 1;
    made.position = point.position;
    made.error = ReprojectionError(scene, point).value_or(-1.0);
    made.track.reserve(point.track.size());
    for (const ScenePoint::Element& element : point.track) {
      made.track.push_back({model.images[element.image].id, element.point});
      model.images[element.image].points[element.point].point = made.id;
    }
  }
  return model;
}

/// The matches of a project by the ids of the database, those of (a, b) and (b, a) together.
struct MergedMatches {
  ColmapMatches matches;
  std::size_t dangling = 0;  ///< of images or features that are not there
  std::size_t twice = 0;
};

class MatchMerger {
 public:
  void Add(std::uint32_t a, std::uint32_t b, qvfd::Point2_T<int> match) {
    const bool ordered = a < b;
    const std::pair key = ordered ? std::pair(a, b) : std::pair(b, a);
    if (known_[key].insert(ordered ? std::pair(match.x, match.y) : std::pair(match.y, match.x)).second) {
      merged_.matches[key].push_back(ordered ? match : qvfd::Point2_T<int>{match.y, match.x});
    } else {
      ++merged_.twice;
    }
  }
  void CountDangling(std::size_t count) { merged_.dangling += count; }
  [[nodiscard]] MergedMatches Take() { return std::move(merged_); }

 private:
  MergedMatches merged_;
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::set<std::pair<int, int>>> known_;
};

MergedMatches MergeMatches(const qvprj::QvProject::Matches& matches, const Scene& scene,
                           const std::vector<RenumberedId>& ids) {
  std::unordered_map<int, std::size_t> positions;
  for (std::size_t i = 0; i < scene.images.size(); ++i) {
    positions.emplace(scene.images[i].id, i);
  }
  MatchMerger merger;
  for (const auto& [pair, list] : matches) {
    const auto a = positions.find(pair.x);
    const auto b = positions.find(pair.y);
    if (a == positions.end() || b == positions.end() || a == b) {
      merger.CountDangling(list.size());
      continue;
    }
    const auto has = [&scene](std::size_t image, int feature) {
      return feature >= 0 && static_cast<std::size_t>(feature) < scene.images[image].points.size();
    };
    for (const qvfd::Point2_T<int>& match : list) {
      if (!has(a->second, match.x) || !has(b->second, match.y)) {
        merger.CountDangling(1);
        continue;
      }
      merger.Add(static_cast<std::uint32_t>(ids[a->second].to), static_cast<std::uint32_t>(ids[b->second].to),
                 match);
    }
  }
  return merger.Take();
}

MergedMatches MatchesOfTracks(const Scene& scene, const std::vector<RenumberedId>& ids) {
  MatchMerger merger;
  for (const ScenePoint& point : scene.points) {
    for (std::size_t i = 0; i < point.track.size(); ++i) {
      for (std::size_t j = i + 1; j < point.track.size(); ++j) {
        const ScenePoint::Element& a = point.track[i];
        const ScenePoint::Element& b = point.track[j];
        if (a.image != b.image) {
          merger.Add(static_cast<std::uint32_t>(ids[a.image].to), static_cast<std::uint32_t>(ids[b.image].to),
                     {static_cast<int>(a.point), static_cast<int>(b.point)});
        }
      }
    }
  }
  return merger.Take();
}

std::size_t Count(const ColmapMatches& matches) {
  std::size_t count = 0;
  for (const auto& entry : matches) {
    count += entry.second.size();
  }
  return count;
}

// ---- import
// ------------------------------------------------------------------------------------------------

std::vector<SceneCamera> SceneCameras(const std::vector<ColmapCamera>& cameras, const std::vector<int>& ids) {
  std::vector<SceneCamera> made;
  for (std::size_t i = 0; i < cameras.size(); ++i) {
    const ColmapCameraModel* const model = FindColmapCameraModel(cameras[i].model);
    made.push_back({ids[i], model == nullptr ? "" : std::string(model->name), PixelCameraOf(cameras[i])});
  }
  return made;
}

Scene SceneOfModel(const ColmapModel& model, const std::string& path, const std::vector<int>& images,
                   const std::vector<int>& cameras) {
  const auto cameraAt = PositionsOf(model.cameras, path, "cameras");
  const auto imageAt = PositionsOf(model.images, path, "images");
  Scene scene;
  scene.cameras = SceneCameras(model.cameras, cameras);
  scene.images.reserve(model.images.size());
  for (std::size_t i = 0; i < model.images.size(); ++i) {
    const ColmapImage& image = model.images[i];
    const auto camera = cameraAt.find(image.camera);
    if (camera == cameraAt.end()) {
      throw Failure(path,
                    "image " + image.name + " refers to camera " + std::to_string(image.camera) +
                        ", which is not there",
                    "take a whole copy of it");
    }
    const WorldToCamera pose{MatrixOf(image.rotation), image.translation};
    SceneImage& made = scene.images.emplace_back();
    made.id = images[i];
    made.name = image.name;
    made.camera = camera->second;
    made.pose = Pose{CentreOf(pose), CameraAxesOf(pose)};
    made.points.reserve(image.points.size());
    for (const ColmapImagePoint& point : image.points) {
      made.points.push_back({point.x, point.y});
    }
  }
  scene.points.reserve(model.points.size());
  for (const ColmapPoint& point : model.points) {
    ScenePoint& made = scene.points.emplace_back();
    made.position = point.position;
    made.track.reserve(point.track.size());
    for (const ColmapPoint::Element& element : point.track) {
      const auto image = imageAt.find(element.image);
      if (image == imageAt.end() || element.point >= scene.images[image->second].points.size()) {
        throw Failure(path,
                      "point " + std::to_string(point.id) + " refers to an image point that is not there",
                      "take a whole copy of it");
      }
      made.track.push_back({static_cast<std::uint32_t>(image->second), element.point});
    }
  }
  return scene;
}

/// The matches of a database for the images of a project, by its ids of them; images that the project does
/// not have are passed over.
void TakeMatches(const ColmapDatabase& database, const std::unordered_map<std::uint32_t, int>& ids,
                 qvprj::QvProject& project, Report& report) {
  const ColmapMatches& from = database.verified.empty() ? database.matches : database.verified;
  report.Use("matches", database.verified.empty() ? "as they were found: none are verified"
                                                  : "those that fit the geometry of two views");
  project.GetMatches().clear();
  std::size_t taken = 0;
  for (const auto& [pair, list] : from) {
    const auto a = ids.find(pair.first);
    const auto b = ids.find(pair.second);
    if (a != ids.end() && b != ids.end()) {
      project.GetMatches()[{a->second, b->second}] = list;
      taken += list.size();
    }
  }
  report.written.emplace_back("matches", taken);
  report.Lose(Count(from) - taken, "matches of images that the model does not have");
  report.Lose(database.verified.empty()
                  ? 0
                  : Count(database.matches) - std::min(Count(from), Count(database.matches)),
              "matches that were not verified");
  report.Lose(database.shapes, "scales and shapes of features");
  report.Lose(database.geometries, "matrices and poses of pairs of images");
  report.Lose(database.priors, "priors of positions or orientations of images");
  report.Lose(database.descriptors, "images' descriptors");
}

void TakeDatabase(const std::string& path, const SceneOptions& options, qvprj::QvProject& project,
                  Report& report) {
  const ColmapDatabase database = ReadColmapDatabase(path);
  std::unordered_map<std::string, int> byName;
  for (const qvfd::ImageInfo& image : project.GetImageInfoSet()) {
    byName.emplace(image.Name(), image.Id());
  }
  std::unordered_map<std::uint32_t, int> ids;
  for (const ColmapDatabaseImage& image : database.images) {
    const auto found = byName.find(image.name);
    if (found != byName.end()) {
      ids.emplace(image.id, found->second);
    }
  }
  const float shift = options.pixel_origin == PixelOrigin::kCentre ? 0.5F : 0.0F;
  std::size_t features = 0;
  for (const auto& [image, points] : database.keypoints) {
    const auto id = ids.find(image);
    if (id == ids.end()) {
      continue;
    }
    std::vector<qvfd::Point2_T<float>>& stored = project.GetFeatures()[id->second];
    stored = points;
    for (qvfd::Point2_T<float>& point : stored) {
      point = {point.x - shift, point.y - shift};
    }
    features += stored.size();
  }
  for (auto& entry : report.written) {
    if (entry.first == "features") {
      entry.second = features;
    }
  }
  report.Lose(database.images.size() - ids.size(), "images of the database that the model does not have");
  TakeMatches(database, ids, project, report);
}

Report ImportModel(const std::string& path, const ColmapImportOptions& options, qvprj::QvProject& project) {
  Report report;
  const ColmapModel model = ReadColmapModel(path);
  const auto georeference = ReadGeoreference(PathIn(path, kGeoreferenceName));
  const ImportFrame frame = ImportFrameOf(options.frame, georeference, project, report);
  const std::vector<std::uint32_t> images = IdsOf(model.images);
  const std::vector<std::uint32_t> cameras = IdsOf(model.cameras);
  const auto kept = georeference.value_or(Georeference());
  const std::vector<int> imageIds = ProjectIds(images, kept.images);
  const std::vector<int> cameraIds = ProjectIds(cameras, kept.cameras);
  report.images = Changed(images, imageIds);
  report.cameras = Changed(cameras, cameraIds);
  report.read = {
      {"cameras", model.cameras.size()}, {"images", model.images.size()}, {"points", model.points.size()}};

  const Scene scene = SceneOfModel(model, path, imageIds, cameraIds);
  TakeScene(scene, frame.project, frame.world, options.scene, project, report);
  std::size_t colours = 0;
  std::size_t errors = 0;
  for (const ColmapPoint& point : model.points) {
    colours += point.colour == std::array<std::uint8_t, 3>{} ? 0U : 1U;
    errors += point.error >= 0.0 ? 1U : 0U;
  }
  report.Lose(colours, "colours of points");
  report.Lose(errors, "errors of points, which an export computes anew");
  if (options.database) {
    TakeDatabase(*options.database, options.scene, project, report);
  }
  return report;
}

Report ImportDatabase(const std::string& path, const ColmapImportOptions& options,
                      qvprj::QvProject& project) {
  Report report;
  const ColmapDatabase database = ReadColmapDatabase(path);
  const auto georeference = ReadGeoreference(path + "." + kGeoreferenceName);
  const ImportFrame frame = ImportFrameOf(options.frame, georeference, project, report);
  const auto kept = georeference.value_or(Georeference());
  const std::vector<std::uint32_t> images = IdsOf(database.images);
  const std::vector<std::uint32_t> cameras = IdsOf(database.cameras);
  const std::vector<int> imageIds = ProjectIds(images, kept.images);
  const std::vector<int> cameraIds = ProjectIds(cameras, kept.cameras);
  report.images = Changed(images, imageIds);
  report.cameras = Changed(cameras, cameraIds);
  report.read = {{"cameras", cameras.size()},
                 {"images", images.size()},
                 {"matches", Count(database.matches)},
                 {"verified matches", Count(database.verified)}};

  const auto cameraAt = PositionsOf(database.cameras, path, "cameras");
  PositionsOf(database.images, path, "images");
  Scene scene;
  scene.cameras = SceneCameras(database.cameras, cameraIds);
  std::unordered_map<std::uint32_t, int> ids;
  for (std::size_t i = 0; i < images.size(); ++i) {
    const ColmapDatabaseImage& image = database.images[i];
    const auto camera = cameraAt.find(image.camera);
    if (camera == cameraAt.end()) {
      throw Failure(path, "image " + image.name + " refers to a camera that is not there",
                    "take a whole copy of it");
    }
    SceneImage& made = scene.images.emplace_back();
    made.id = imageIds[i];
    made.name = image.name;
    made.camera = camera->second;
    const auto points = database.keypoints.find(image.id);
    if (points != database.keypoints.end()) {
      for (const qvfd::Point2_T<float>& point : points->second) {
        made.points.push_back({static_cast<double>(point.x), static_cast<double>(point.y)});
      }
    }
    ids.emplace(image.id, imageIds[i]);
  }
  TakeScene(scene, frame.project, frame.world, options.scene, project, report);
  TakeMatches(database, ids, project, report);
  return report;
}

}  // namespace

ColmapCamera ColmapCameraOf(const PixelCamera& camera, std::uint32_t id) {
  ColmapCamera made;
  made.id = id;
  made.width = static_cast<std::uint64_t>(camera.width);
  made.height = static_cast<std::uint64_t>(camera.height);
  const bool square = std::fabs(camera.fx - camera.fy) <= kRounding * camera.fx;
  const bool tangential = camera.p1 != 0.0 || camera.p2 != 0.0;
  const auto use = [&made](std::string_view model, std::vector<double> parameters) {
    made.model = FindColmapCameraModel(model)->number;
    made.parameters = std::move(parameters);
  };
  const PixelCamera& c = camera;
  if (c.k3 != 0.0) {
    use("FULL_OPENCV", {c.fx, c.fy, c.cx, c.cy, c.k1, c.k2, c.p1, c.p2, c.k3, 0.0, 0.0, 0.0});
  } else if (tangential || (!square && (c.k1 != 0.0 || c.k2 != 0.0))) {
    use("OPENCV", {c.fx, c.fy, c.cx, c.cy, c.k1, c.k2, c.p1, c.p2});
  } else if (c.k2 != 0.0) {
    use("RADIAL", {c.fx, c.cx, c.cy, c.k1, c.k2});
  } else if (c.k1 != 0.0) {
    use("SIMPLE_RADIAL", {c.fx, c.cx, c.cy, c.k1});
  } else if (!square) {
    use("PINHOLE", {c.fx, c.fy, c.cx, c.cy});
  } else {
    use("SIMPLE_PINHOLE", {c.fx, c.cx, c.cy});
  }
  return made;
}

PixelCamera PixelCameraOf(const ColmapCamera& camera) {
  const std::string subject = "camera " + std::to_string(camera.id);
  const ColmapCameraModel* const model = FindColmapCameraModel(camera.model);
  constexpr std::uint64_t kMost = std::numeric_limits<int>::max();
  if (model == nullptr || camera.parameters.size() != model->parameter_count || camera.width == 0 ||
      camera.height == 0 || camera.width > kMost || camera.height > kMost) {
    throw Failure(subject, "is damaged: its model, size or number of parameters makes no sense",
                  "take a whole copy of the file");
  }
  PixelCamera made;
  made.width = static_cast<int>(camera.width);
  made.height = static_cast<int>(camera.height);
  const std::vector<std::string_view> names = Words(model->parameters);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const double value = camera.parameters[i];
    if (names[i] == "f") {
      made.fx = value;
      made.fy = value;
      continue;
    }
    const std::pair<std::string_view, double*> places[] = {
        {"fx", &made.fx}, {"fy", &made.fy}, {"cx", &made.cx}, {"cy", &made.cy}, {"k", &made.k1},
        {"k1", &made.k1}, {"k2", &made.k2}, {"k3", &made.k3}, {"p1", &made.p1}, {"p2", &made.p2}};
    const auto* const place = std::find_if(std::begin(places), std::end(places),
                                           [&](const auto& entry) { return entry.first == names[i]; });
    if (place != std::end(places)) {
      *place->second = value;
    } else if (value != 0.0) {
      throw Failure(subject,
                    "has the model " + std::string(model->name) + " with a " + std::string(names[i]) +
                        " that is not 0, which no camera of a project holds",
                    "take it over with the model OPENCV");
    }
  }
  const bool fisheye = model->name.find("FISHEYE") != std::string_view::npos || model->name == "FOV";
  if (fisheye) {
    throw Failure(subject,
                  "has the model " + std::string(model->name) +
                      ", which no camera of a project holds: it is no pinhole with Brown's distortion",
                  "remove the distortion from the images, or take the camera over with the model OPENCV");
  }
  return made;
}

Report ExportColmapModel(qvprj::QvProject& project, const std::string& folder, ColmapForm form,
                         const SceneOptions& options) {
  Report report;
  const ProjectFrame frame(project, options.project);
  const WorldFrame world = frame.MetricFrame(project);
  const Scene scene = SceneOf(project, frame, world, options, report);
  const std::vector<RenumberedId> images = Numbered(scene.images);
  const std::vector<RenumberedId> cameras = Numbered(scene.cameras);
  const ColmapModel model = ModelOf(scene, images, cameras);
  report.files =
      form == ColmapForm::kBinary ? WriteColmapBinary(folder, model) : WriteColmapText(folder, model);
  report.files.push_back(PathIn(folder, kGeoreferenceName));
  WriteGeoreference(report.files.back(), {world, options.project.geoid_height, images, cameras});

  std::size_t points = 0;
  for (const ColmapImage& image : model.images) {
    points += image.points.size();
  }
  report.images = Changed(images);
  report.cameras = Changed(cameras);
  report.written = {{"cameras", model.cameras.size()},
                    {"images", model.images.size()},
                    {"image points", points},
                    {"points", model.points.size()}};
  report.Lose(scene.cameras.size(), "names of cameras, sizes of sensors in millimetres");
  TellWhatScenesLack(project, true, report);
  return report;
}

Report ExportColmapDatabase(qvprj::QvProject& project, const std::string& path, const SceneOptions& options) {
  Report report;
  const ProjectFrame frame(project, options.project);
  const WorldFrame world = frame.MetricFrame(project);
  const Scene scene = SceneOf(project, frame, world, options, report);
  const std::vector<RenumberedId> images = Numbered(scene.images);
  const std::vector<RenumberedId> cameras = Numbered(scene.cameras);

  ColmapDatabase database;
  database.cameras = ColmapCameras(scene, cameras);
  std::size_t keypoints = 0;
  for (std::size_t i = 0; i < scene.images.size(); ++i) {
    const auto id = static_cast<std::uint32_t>(images[i].to);
    database.images.push_back(
        {id, scene.images[i].name, static_cast<std::uint32_t>(cameras[scene.images[i].camera].to)});
    std::vector<qvfd::Point2_T<float>>& points = database.keypoints[id];
    for (const Pixel& pixel : scene.images[i].points) {
      points.push_back({static_cast<float>(pixel.x), static_cast<float>(pixel.y)});
    }
    keypoints += points.size();
  }
  const bool ofTracks = project.GetMatches().empty() && !scene.points.empty();
  MergedMatches merged =
      ofTracks ? MatchesOfTracks(scene, images) : MergeMatches(project.GetMatches(), scene, images);
  database.matches = std::move(merged.matches);
  database.verified = database.matches;
  WriteColmapDatabase(path, database);
  report.files = {path, path + "." + kGeoreferenceName};
  WriteGeoreference(report.files.back(), {world, options.project.geoid_height, images, cameras});

  report.images = Changed(images);
  report.cameras = Changed(cameras);
  report.read.emplace_back("matches", Count(database.matches) + merged.dangling + merged.twice);
  report.written = {{"cameras", database.cameras.size()},
                    {"images", database.images.size()},
                    {"features", keypoints},
                    {"pairs", database.matches.size()},
                    {"matches", Count(database.matches)}};
  report.Lose(scene.images.size(), "orientations of images");
  report.Lose(ofTracks ? 0 : scene.points.size(), "tie points");
  report.Lose(merged.dangling, "matches of images or features that are not there");
  report.Lose(ofTracks ? 0 : merged.twice, "matches that both orders of a pair have");
  if (ofTracks) {
    report.notes.emplace_back("the project has no matches: they were made of the tie points");
  }
  report.notes.emplace_back(
      "all matches are written as verified (config 2, calibrated), since the mapper takes no others");
  report.Lose(scene.cameras.size(), "names of cameras, sizes of sensors in millimetres");
  TellWhatScenesLack(project, false, report);
  return report;
}

Report ImportColmap(const std::string& path, const ColmapImportOptions& options, qvprj::QvProject& project) {
  return IsFolder(path) ? ImportModel(path, options, project) : ImportDatabase(path, options, project);
}

}  // namespace interchange
