// A project as layers of a geographic information system.
#include "interchange/mapping/GisProject.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <numbers>
#include <unordered_map>
#include <utility>

#include "interchange/Failure.h"
#include "interchange/project/Footprint.h"
#include "interchange/text/TextFile.h"
#include "qvmath/GeoPrj.h"

namespace interchange {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kNull = std::numeric_limits<double>::quiet_NaN();

bool IsFinite(const Vector3& v) {
  return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

bool WantsDegrees(GisFormat format) {
  return format == GisFormat::kGeoJson || format == GisFormat::kKml;
}

// ---- Where things come to lie
// ---------------------------------------------------------------------------------

/// The coordinates of the output: WGS 84 degrees, a coordinate system, or the project's Cartesian frame.
class Target {
 public:
  Target(const ProjectFrame& frame, GisFormat format, const GisOptions& options, Report& report)
      : frame_(frame) {
    if (frame.IsCartesian()) {
      if (WantsDegrees(format) || options.crs) {
        throw Failure("the project",
                      "its positions are in a frame of its own that nothing relates to the globe",
                      "choose a format that needs no coordinate system, without --crs; or see --positions");
      }
      return;
    }
    if (WantsDegrees(format)) {
      if (options.crs && SystemOfCode(*options.crs).id != qvfd::CoordinateInfoSet::GetWGS84().id) {
        throw Failure("--crs", "this format is in WGS 84 degrees always",
                      "leave it out, or choose another format");
      }
    } else if (options.crs) {
      Take(SystemOfCode(*options.crs), true, report);
    } else if (frame.System()) {
      Take(*frame.System(), false, report);
    }
    if (!to_system_) {
      system_ = qvfd::CoordinateInfoSet::GetWGS84();
    }
    if (format == GisFormat::kGeoJson) {
      added_height_ = frame.GeoidHeight();
    }
  }

  [[nodiscard]] std::string Definition() const { return system_ ? system_->definition : std::string(); }
  [[nodiscard]] const std::optional<qvfd::CoordinateInfo>& System() const { return system_; }
  [[nodiscard]] bool IsGeographic() const { return system_ && radians_ != 0.0; }

  /// None for what cannot be converted.
  [[nodiscard]] std::optional<Vector3> Of(const Geodetic& position) const {
    Vector3 made{position.longitude, position.latitude, position.height + added_height_};
    if (to_system_) {
      // As the project itself converts.
      double point[2] = {position.longitude / 180.0 * std::numbers::pi,
                         position.latitude / 180.0 * std::numbers::pi};
      if (!to_system_->Transform(point, point)) {
        return std::nullopt;
      }
      made.x = IsGeographic() ? point[0] / radians_ : point[0];
      made.y = IsGeographic() ? point[1] / radians_ : point[1];
    }
    return IsFinite(made) ? std::optional(made) : std::nullopt;
  }

  /// A tie point or ground point. In the project's own system its coordinates stay what they are.
  [[nodiscard]] std::optional<Vector3> OfPoint(const Vector3& point) const {
    if (!IsGeographic() && frame_.System() && system_ && system_->id == frame_.System()->id) {
      return IsFinite(point) ? std::optional(point) : std::nullopt;
    }
    const auto position = frame_.PositionOfPoint(point);
    return position ? Of(*position) : std::nullopt;
  }

 private:
  void Take(const qvfd::CoordinateInfo& system, bool asked, Report& report) {
    const GisSystem known = GisSystemOf(system.definition);
    auto toSystem = std::make_shared<qvmath::GeoPrj>(qvfd::CoordinateInfoSet::GetWGS84(), system);
    if (known.known && toSystem->IsValid()) {
      system_ = system;
      to_system_ = std::move(toSystem);
      radians_ = known.geographic ? known.radians : 0.0;
      return;
    }
    if (asked) {
      throw Failure(NameOfSystem(system), "nothing can be written in this coordinate system",
                    "choose another one ('qvprj crs find' finds them)");
    }
    report.notes.push_back("the project's coordinate system, " + qvfd::DisplayName(system) +
                           ", is known to this program alone: coordinates are WGS 84 degrees");
  }

  const ProjectFrame& frame_;
  std::optional<qvfd::CoordinateInfo> system_;  // none in a Cartesian frame
  std::shared_ptr<qvmath::GeoPrj> to_system_;   // null for WGS 84 and a Cartesian frame
  double radians_ = kDegree;                    // in a unit of the output; 0 where that is projected
  double added_height_ = 0.0;
};

// ---- The project, prepared
// ------------------------------------------------------------------------------------

/// One project on its way into layers.
struct Source {
  qvprj::QvProject& project;
  const GisOptions& options;
  ProjectFrame frame;
  WorldFrame metric;                             // for residuals
  std::unordered_map<int, PixelCamera> cameras;  // those that are complete
  std::size_t incomplete_cameras = 0;

  Source(qvprj::QvProject& theProject, const GisOptions& theOptions)
      : project(theProject),
        options(theOptions),
        frame(theProject, theOptions.scene.project),
        metric(frame.MetricFrame(theProject)) {
    for (int i = 0; i < project.GetCameraInfoSet().Size(); ++i) {
      const qvfd::CameraInfo& camera = *project.GetCameraInfoSet().GetCamera(i);
      try {
        cameras.insert_or_assign(camera.id, PixelCameraOf(camera, options.scene.principal_point));
      } catch (const Failure&) {
        ++incomplete_cameras;
      }
    }
  }

  [[nodiscard]] const PixelCamera* CameraOf(int position) const {
    const auto found = cameras.find(project.GetImageInfoSet().GetImageExt(position)->camera_id);
    return found == cameras.end() ? nullptr : &found->second;
  }
};

bool WasAdjusted(const qvfd::ImageInfo& image) {
  return !(image.GetEOP() == image.GetUpdatedEOP());
}

/// Whether a distance from the measured pixel says how well the image is oriented: as flown it says nothing
/// of an adjustment.
bool HasResiduals(const Source& source, const qvfd::ImageInfo& image) {
  const ProjectOptions& options = source.options.scene.project;
  return options.orientation == Orientation::kAdjusted &&
         (WasAdjusted(image) || options.angles != Angles::kAuto);
}

/// Projects points into the images that show them, and averages how far from the measurements they come out.
class Residuals {
 public:
  explicit Residuals(const Source& source) : source_(source) {
    const qvfd::ImageInfoSet& images = source.project.GetImageInfoSet();
    for (int i = 0; i < images.Size(); ++i) {
      const qvfd::ImageInfo& image = *images.GetImage(i);
      const PixelCamera* const camera = source.CameraOf(i);
      if (camera == nullptr || !HasResiduals(source, image)) {
        continue;
      }
      if (const auto pose = source.frame.PoseIn(source.metric, image)) {
        views_.insert_or_assign(image.Id(), View{*pose, camera});
      }
    }
  }

  [[nodiscard]] bool Any() const { return !views_.empty(); }

  /// One point; `Add` each of its measurements, `Mean` is then their mean distance, not a number of none.
  class Point {
   public:
    Point(const Residuals& residuals, const Vector3& stored)
        : residuals_(residuals),
          position_(residuals.views_.empty()
                        ? std::nullopt
                        : residuals.source_.frame.PointIn(residuals.source_.metric, stored)) {}

    void Add(int image, double x, double y) {
      const auto view = residuals_.views_.find(image);
      if (!position_ || view == residuals_.views_.end()) {
        return;
      }
      const Vector3 p = Transposed(view->second.pose.axes) * (*position_ - view->second.pose.centre);
      if (!(p.z < 0.0)) {
        return;  // behind the camera
      }
      const double shift = residuals_.source_.options.scene.pixel_origin == PixelOrigin::kCentre ? 0.5 : 0.0;
      const Pixel seen = Projected(*view->second.camera, p.x, -p.y, -p.z);
      sum_ += std::hypot(seen.x - (x + shift), seen.y - (y + shift));
      ++count_;
    }

    [[nodiscard]] double Mean() const { return count_ == 0 ? kNull : sum_ / count_; }

   private:
    const Residuals& residuals_;
    std::optional<Vector3> position_;
    double sum_ = 0.0;
    int count_ = 0;
  };

 private:
  struct View {
    Pose pose;
    const PixelCamera* camera;
  };

  const Source& source_;
  std::unordered_map<int, View> views_;
};

// ---- The ground
// -------------------------------------------------------------------------------------------------

double Median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// How high the ground is, as far as the project tells.
struct Ground {
  std::optional<double> height;  ///< the same everywhere
  double below_images = 0.0;     ///< otherwise as far below each image; 0 where nothing is known
  std::string source;

  [[nodiscard]] std::optional<double> Below(double image) const {
    if (height) {
      return height;
    }
    return below_images > 0.0 ? std::optional(image - below_images) : std::nullopt;
  }
};

Ground GroundOf(qvprj::QvProject& project, const GisOptions& options) {
  if (options.ground) {
    return {options.ground, 0.0, "the given height " + TextOf(*options.ground)};
  }
  std::vector<double> heights;
  for (const qvfd::Track& track : project.GetTracks()) {
    // A track without a position has zeros.
    if (std::isfinite(track.z) && (track.x != 0.0 || track.y != 0.0 || track.z != 0.0)) {
      heights.push_back(track.z);
    }
  }
  if (!heights.empty()) {
    const double median = Median(heights);
    return {median, 0.0, "the median height of the tie points, " + TextOf(median, 3)};
  }
  std::vector<int> ids;
  qvgcp::GroundPoint point;
  project.GetGroundControl().ground_points.GetPointIndex(ids);
  for (const int id : ids) {
    if (project.GetGroundControl().ground_points.GetPoint(id, point) && std::isfinite(point.z)) {
      heights.push_back(point.z);
    }
  }
  if (!heights.empty()) {
    const double median = Median(heights);
    return {median, 0.0, "the median height of the ground points, " + TextOf(median, 3)};
  }
  const double flying = project.GetPrjInfo().height;
  if (flying > 0.0 && std::isfinite(flying)) {
    return {std::nullopt, flying, "the project's flying height, " + TextOf(flying) + " m, below each image"};
  }
  return {};
}

// ---- Layers
// -------------------------------------------------------------------------------------------------------

using enum GisFieldType;

GisLayer CameraLayer(const Source& source, const Target& target, Report& report) {
  GisLayer layer{"cameras",
                 "Where the camera was when it took an image.",
                 GisGeometry::kPoint,
                 false,
                 false,
                 {{"image_id", kInteger, ""},
                  {"name", kText, ""},
                  {"path", kText, ""},
                  {"strip", kInteger, ""},
                  {"camera_id", kInteger, ""},
                  {"camera", kText, ""},
                  {"enabled", kBoolean, ""},
                  {"adjusted", kBoolean, ""},
                  {"longitude", kReal, ""},
                  {"latitude", kReal, ""},
                  {"height", kReal, ""},
                  {"omega", kReal, ""},
                  {"phi", kReal, ""},
                  {"kappa", kReal, ""},
                  {"yaw", kReal, ""},
                  {"pitch", kReal, ""},
                  {"roll", kReal, ""}},
                 {}};
  const qvfd::ImageInfoSet& images = source.project.GetImageInfoSet();
  std::size_t nowhere = 0;
  for (int i = 0; i < images.Size(); ++i) {
    const qvfd::ImageInfo& image = *images.GetImage(i);
    const qvfd::ImageInfoExt& extension = *images.GetImageExt(i);
    const qvfd::EOP& eop = source.frame.EopOf(image);
    const Geodetic position = source.frame.PositionOf(eop);
    const Matrix3 rotation = source.frame.LocalRotationOf(image);
    const Opk opk = source.frame.OpkAt(position, rotation);
    const YawPitchRoll turn = YawPitchRollOf(rotation);
    const qvfd::CameraInfo* const camera = source.project.GetCameraInfoSet().FindCamera(extension.camera_id);
    const bool cartesian = source.frame.IsCartesian();
    const auto place = target.Of(position);
    GisFeature& feature = layer.features.emplace_back();
    if (place) {
      feature.points.push_back(*place);
    }
    nowhere += place ? 0U : 1U;
    feature.values = {std::int64_t{image.Id()},
                      image.Name(),
                      image.Path(),
                      std::int64_t{extension.strip_id},
                      std::int64_t{extension.camera_id},
                      camera != nullptr ? GisValue(camera->name) : GisValue(),
                      std::int64_t{extension.enabled},
                      std::int64_t{WasAdjusted(image)},
                      cartesian ? kNull : position.longitude,
                      cartesian ? kNull : position.latitude,
                      position.height,
                      opk.omega / kDegree,
                      opk.phi / kDegree,
                      opk.kappa / kDegree,
                      turn.yaw / kDegree,
                      turn.pitch / kDegree,
                      turn.roll / kDegree};
  }
  report.Note(nowhere, "image is there without a point: its position cannot be converted",
              "images are there without a point: their positions cannot be converted");
  return layer;
}

/// The corners of a footprint in the coordinates of the output; none where one cannot be converted.
std::vector<Vector3> RingOf(const Source& source, const Target& target, const Geodetic& camera,
                            const Footprint& footprint, double ground) {
  std::vector<Vector3> ring;
  const WorldFrame local = source.frame.IsCartesian()
                               ? WorldFrame::Cartesian({camera.longitude, camera.latitude, camera.height})
                               : WorldFrame::Topocentric(camera);
  for (const Vector3& corner : footprint.corners) {
    auto position =
        source.frame.IsCartesian()
            ? std::optional(Geodetic{camera.longitude + corner.x, camera.latitude + corner.y, ground})
            : local.ToGlobe(corner);
    if (!position) {
      return {};
    }
    position->height = ground;  // the plane is flat and the Earth is not: some millimetres
    const auto place = target.Of(*position);
    if (!place) {
      return {};
    }
    ring.push_back(*place);
  }
  return ring;
}

GisLayer FootprintLayer(const Source& source, const Target& target, const Ground& ground, Report& report) {
  GisLayer layer{"footprints",
                 "What an image shows of the ground.",
                 GisGeometry::kPolygon,
                 false,
                 true,
                 {{"image_id", kInteger, ""},
                  {"name", kText, ""},
                  {"strip", kInteger, ""},
                  {"ground", kReal, ""},
                  {"above", kReal, ""},
                  {"gsd", kReal, ""},
                  {"area", kReal, ""}},
                 {}};
  const qvfd::ImageInfoSet& images = source.project.GetImageInfoSet();
  std::size_t noCamera = 0;
  std::size_t nowhere = 0;
  std::map<NoFootprint, std::size_t> missing;
  for (int i = 0; i < images.Size(); ++i) {
    const qvfd::ImageInfo& image = *images.GetImage(i);
    const Geodetic position = source.frame.PositionOf(source.frame.EopOf(image));
    const auto height = ground.Below(position.height);
    const PixelCamera* const camera = source.CameraOf(i);
    if (!height) {
      continue;
    }
    if (camera == nullptr) {
      ++noCamera;
      continue;
    }
    NoFootprint why = NoFootprint::kHorizon;
    const double above = position.height - *height;
    const auto footprint = FootprintOf(*camera, source.frame.LocalRotationOf(image), above, why);
    if (!footprint) {
      ++missing[why];
      continue;
    }
    GisFeature feature;
    feature.points = RingOf(source, target, position, *footprint, *height);
    if (feature.points.empty()) {
      ++nowhere;
      continue;
    }
    feature.values = {std::int64_t{image.Id()},
                      image.Name(),
                      std::int64_t{images.GetImageExt(i)->strip_id},
                      *height,
                      above,
                      above / camera->fx,
                      footprint->area};
    layer.features.push_back(std::move(feature));
  }
  const auto tell = [&](std::size_t count, const char* why) {
    report.Note(count, std::string("image has no footprint: ") + why,
                std::string("images have no footprint: ") + why);
  };
  if (!ground.height && !(ground.below_images > 0.0) && images.Size() > 0) {
    tell(static_cast<std::size_t>(images.Size()), "the height of the ground is not known; give --ground");
  }
  tell(noCamera,
       "the camera is not in the project, not complete, or has coefficients beyond k1, k2, k3, p1, p2");
  tell(missing[NoFootprint::kHorizon], "a corner shows the horizon or the sky");
  tell(missing[NoFootprint::kUnderground], "not above the ground");
  tell(missing[NoFootprint::kDistortion], "the distortion of the camera cannot be undone at a corner");
  tell(nowhere, "a corner cannot be converted");
  return layer;
}

GisLayer FlightLineLayer(const Source& source, const Target& target, Report& report) {
  GisLayer layer{"flight_lines",
                 "The images of a strip in their order.",
                 GisGeometry::kLine,
                 false,
                 false,
                 {{"strip", kInteger, ""},
                  {"images", kInteger, ""},
                  {"first_id", kInteger, ""},
                  {"last_id", kInteger, ""},
                  {"length", kReal, ""}},
                 {}};
  struct Strip {
    std::vector<Vector3> points;
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::optional<Vector3> end;  // in metres
    double length = 0.0;
  };
  std::map<int, Strip> strips;
  const qvfd::ImageInfoSet& images = source.project.GetImageInfoSet();
  for (int i = 0; i < images.Size(); ++i) {
    const qvfd::ImageInfo& image = *images.GetImage(i);
    const Geodetic position = source.frame.PositionOf(source.frame.EopOf(image));
    const auto place = target.Of(position);
    if (!place) {
      continue;
    }
    Strip& strip = strips[images.GetImageExt(i)->strip_id];
    const Vector3 metres = source.frame.IsCartesian() ? *place : EarthCentred(position);
    if (strip.end) {
      strip.length += Norm(metres - *strip.end);
    }
    strip.end = metres;
    strip.first = strip.points.empty() ? image.Id() : strip.first;
    strip.last = image.Id();
    strip.points.push_back(*place);
  }
  std::size_t single = 0;
  for (auto& [id, strip] : strips) {
    if (strip.points.size() < 2) {
      ++single;
      continue;
    }
    GisFeature& feature = layer.features.emplace_back();
    feature.values = {std::int64_t{id}, static_cast<std::int64_t>(strip.points.size()), strip.first,
                      strip.last, strip.length};
    feature.points = std::move(strip.points);
  }
  report.Note(single, "strip of one image has no flight line", "strips of one image have no flight line");
  return layer;
}

void AddGroundPoints(const Source& source, const Target& target, const Residuals& residuals,
                     GisLayer& control, GisLayer& check, Report& report) {
  qvgcp::GCPPrj& all = source.project.GetGroundControl();
  std::vector<int> ids;
  all.ground_points.GetPointIndex(ids);
  std::size_t nowhere = 0;
  for (const int id : ids) {
    qvgcp::GroundPoint point;
    if (!all.ground_points.GetPoint(id, point)) {
      continue;
    }
    std::map<int, qvfd::Point2_T<double>> measurements;
    all.common_points.GetGroundPoint(id, measurements);
    Residuals::Point residual(residuals, {point.x, point.y, point.z});
    for (const auto& [image, pixel] : measurements) {
      residual.Add(image, pixel.x, pixel.y);
    }
    const auto place = target.OfPoint({point.x, point.y, point.z});
    GisLayer& layer = point.type == source.options.check_type ? check : control;
    GisFeature& feature = layer.features.emplace_back();
    if (place) {
      feature.points.push_back(*place);
    }
    nowhere += place ? 0U : 1U;
    feature.values = {std::int64_t{id},
                      point.name,
                      std::int64_t{point.type},
                      std::int64_t{point.enable},
                      point.x,
                      point.y,
                      point.z,
                      static_cast<std::int64_t>(measurements.size()),
                      residual.Mean()};
  }
  report.Note(nowhere, "ground point is there without a point: its position cannot be converted",
              "ground points are there without a point: their positions cannot be converted");
}

GisLayer GroundPointLayer(const char* name, const char* description) {
  return {name,
          description,
          GisGeometry::kPoint,
          false,
          false,
          {{"point_id", kInteger, ""},
           {"name", kText, ""},
           {"type", kInteger, ""},
           {"enabled", kBoolean, ""},
           {"x", kReal, ""},
           {"y", kReal, ""},
           {"z", kReal, ""},
           {"images", kInteger, ""},
           {"residual_px", kReal, "resid_px"}},
          {}};
}

GisLayer TiePointLayer(const Source& source, const Target& target, const Residuals& residuals,
                       Report& report) {
  GisLayer layer{"tie_points",
                 "Tie points.",
                 GisGeometry::kPoint,
                 false,
                 false,
                 {{"track", kInteger, ""}, {"images", kInteger, ""}, {"residual_px", kReal, "resid_px"}},
                 {}};
  std::int64_t number = 0;
  std::size_t nowhere = 0;
  layer.features.reserve(source.project.GetTracks().size());
  for (const qvfd::Track& track : source.project.GetTracks()) {
    Residuals::Point residual(residuals, {track.x, track.y, track.z});
    for (const qvfd::TrackObservation& observation : track.observations) {
      residual.Add(observation.image_id, static_cast<double>(observation.x),
                   static_cast<double>(observation.y));
    }
    const auto place = target.OfPoint({track.x, track.y, track.z});
    GisFeature& feature = layer.features.emplace_back();
    if (place) {
      feature.points.push_back(*place);
    }
    nowhere += place ? 0U : 1U;
    feature.values = {number++, static_cast<std::int64_t>(track.observations.size()), residual.Mean()};
  }
  report.Note(nowhere, "tie point is there without a point: its position cannot be converted",
              "tie points are there without a point: their positions cannot be converted");
  return layer;
}

// ---- What was taken for granted
// -----------------------------------------------------------------------------------

void Describe(const Source& source, const Target& target, GisFormat format, const Ground& ground,
              const Residuals& residuals, Report& report) {
  source.frame.Describe(source.project, report);
  if (!target.System()) {
    report.Use("coordinates", "the project's own Cartesian frame");
    report.Use("axes", "x, y, height");
  } else {
    report.Use("coordinates",
               NameOfSystem(target.System()) + " (" + qvfd::DisplayName(*target.System()) + ")");
    report.Use("axes", target.IsGeographic() ? "longitude, latitude, height, whatever order the authority has"
                                             : "easting, northing, height, whatever order the authority has");
  }
  const auto& geoid = source.options.scene.project.geoid_height;
  if (format == GisFormat::kGeoJson) {
    report.Use("heights",
               geoid ? "above the WGS 84 ellipsoid: " + TextOf(*geoid) + " m were added to stored heights"
                     : "as stored, which are above mean sea level where a flight gave them; the format's are "
                       "above the WGS 84 ellipsoid");
    if (!geoid) {
      report.notes.emplace_back(
          "heights are written as stored: give --geoid-height for those above the ellipsoid, as the format "
          "has them");
    }
  } else if (!source.frame.IsCartesian()) {
    report.Use("heights", std::string("as stored; a flight's are above mean sea level") +
                              (format == GisFormat::kKml ? ", as the format's are" : "") +
                              (geoid ? ", " + TextOf(*geoid) + " m below those above the ellipsoid" : ""));
  }
  report.Use("footprints", ground.source.empty()
                               ? "none, since the height of the ground is not known"
                               : "corners of the image on a horizontal plane at " + ground.source);
  report.Use(
      "residuals",
      residuals.Any()
          ? "mean distance in pixels of a point's measurements from its projection through adjusted images"
          : "none, since no image is adjusted");
  report.Use("check points", "ground points of type " + std::to_string(source.options.check_type));
}

}  // namespace

GisData GisLayersOf(qvprj::QvProject& project, GisFormat format, const GisOptions& options, Report& report) {
  const Source source(project, options);
  const Target target(source.frame, format, options, report);
  const Ground ground = GroundOf(project, options);
  const Residuals residuals(source);
  GisData data;
  data.definition = target.Definition();
  data.layers.push_back(CameraLayer(source, target, report));
  data.layers.push_back(FootprintLayer(source, target, ground, report));
  data.layers.push_back(FlightLineLayer(source, target, report));
  GisLayer control = GroundPointLayer("control_points", "Ground points that are no check points.");
  GisLayer check = GroundPointLayer("check_points", "Check points.");
  AddGroundPoints(source, target, residuals, control, check, report);
  const std::size_t groundPoints = control.features.size() + check.features.size();
  data.layers.push_back(std::move(control));
  data.layers.push_back(std::move(check));
  if (options.tie_points) {
    data.layers.push_back(TiePointLayer(source, target, residuals, report));
  }

  Describe(source, target, format, ground, residuals, report);
  data.conventions = report.conventions;
  report.read = {{"cameras", static_cast<std::size_t>(project.GetCameraInfoSet().Size())},
                 {"images", static_cast<std::size_t>(project.GetImageInfoSet().Size())},
                 {"ground points", groundPoints},
                 {"tie points", project.GetTracks().size()}};
  for (const GisLayer& layer : data.layers) {
    std::string what = layer.name;
    std::replace(what.begin(), what.end(), '_', ' ');
    report.written.emplace_back(what, layer.features.size());
  }

  std::size_t other = 0;
  for (const qvfd::ImageInfo& image : project.GetImageInfoSet()) {
    other += WasAdjusted(image) ? 1U : 0U;
  }
  report.Lose(other, options.scene.project.orientation == Orientation::kAdjusted
                         ? "orientations as flown, which differ"
                         : "adjusted orientations");
  report.Lose(options.tie_points ? 0 : project.GetTracks().size(), "tie points: --tie-points writes them");
  report.Lose(static_cast<std::size_t>(project.GetCameraInfoSet().Size()),
              "interior orientations and distortions of cameras");
  std::size_t features = 0;
  for (const auto& entry : project.GetFeatures()) {
    features += entry.second.size();
  }
  std::size_t matches = 0;
  for (const auto& entry : project.GetMatches()) {
    matches += entry.second.size();
  }
  report.Lose(features, "features");
  report.Lose(matches, "matches");
  return data;
}

Report ExportGis(qvprj::QvProject& project, GisFormat format, const std::string& target, bool replace,
                 const GisOptions& options) {
  Report report;
  const GisData data = GisLayersOf(project, format, options, report);
  GisWritten written = WriteGisLayers(target, format, data, replace);
  report.files = std::move(written.files);
  report.Note(written.empty_layers, "layer has nothing in it, and no file: FlatGeobuf holds no empty ones",
              "layers have nothing in them, and no file: FlatGeobuf holds no empty ones");
  report.Lose(written.unplaced, "rows without a geometry, which FlatGeobuf does not hold");
  report.Lose(written.cut_texts, "ends of texts longer than 254 bytes");
  return report;
}

}  // namespace interchange
