// Ground points and their measurements, from and to tables and gcp_list.txt.
#include "interchange/mapping/GroundControl.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include "interchange/Failure.h"
#include "interchange/formats/GroundPointTable.h"
#include "interchange/formats/OdmText.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

double ShiftOf(PixelOrigin origin) {
  return origin == PixelOrigin::kCentre ? 0.5 : 0.0;
}

/// Whether a file is a gcp_list.txt: its first line names a system, which no table does.
bool IsGcpList(const std::string& path) {
  const std::string text = ReadWholeFile(path);
  Lines lines(text);
  while (const auto line = lines.Next()) {
    const std::string first = LowerCase(Trimmed(*line));
    if (first.empty() || first.front() == '#') {
      continue;
    }
    constexpr std::array kStarts = {"epsg:", "wgs84 utm", "+proj", "projcs", "geogcs", "projcrs", "geogcrs"};
    return std::ranges::any_of(kStarts, [&first](const char* start) { return first.starts_with(start); });
  }
  return false;
}

/// A point and its measurements, as any file has them.
struct FoundPoint {
  GroundPointLine line;
  std::vector<GroundPointLine> measurements;  ///< with image, column and row
};

std::vector<FoundPoint> PointsOf(const GcpList& list) {
  std::vector<FoundPoint> points;
  std::map<std::string, std::size_t> known;
  for (const GcpObservation& observation : list.observations) {
    const std::string place =
        TextOf(observation.x) + " " + TextOf(observation.y) + " " + TextOf(observation.z);
    const auto [found, added] =
        known.emplace(observation.point.empty() ? place : observation.point, points.size());
    if (added) {
      FoundPoint& point = points.emplace_back();
      point.line.name = observation.point.empty() ? "gcp" + std::to_string(points.size()) : observation.point;
      point.line.x = observation.x;
      point.line.y = observation.y;
      point.line.z = observation.z;
    }
    GroundPointLine measurement;
    measurement.image = observation.image;
    measurement.column = observation.column;
    measurement.row = observation.row;
    points[found->second].measurements.push_back(std::move(measurement));
  }
  return points;
}

std::vector<FoundPoint> PointsOf(const GroundPointTable& table) {
  std::vector<FoundPoint> points;
  std::map<std::string, std::size_t> known;
  for (const GroundPointLine& line : table.lines) {
    const auto [found, added] = known.emplace(line.name, points.size());
    if (added) {
      points.push_back({line, {}});
    } else if (points[found->second].line.x != line.x || points[found->second].line.y != line.y ||
               points[found->second].line.z != line.z) {
      throw Failure("point " + line.name, "has two positions in the file",
                    "give each point a name of its own");
    }
    if (!line.image.empty()) {
      points[found->second].measurements.push_back(line);
    }
  }
  return points;
}

/// Images by what a file may call them: the name, the file name of the path; in any case, without the
/// extension, where that is unique.
class ImageNames {
 public:
  explicit ImageNames(const qvfd::ImageInfoSet& images) {
    for (const qvfd::ImageInfo& image : images) {
      Add(image.Name(), image.Id());
      Add(FileNameOf(image.Path()), image.Id());
    }
  }

  [[nodiscard]] std::optional<int> Find(const std::string& name) const {
    for (const std::string& key : {"=" + name, LowerCase(name), LowerCase(TitleOf(name))}) {
      const auto found = ids_.find(key);
      if (found != ids_.end() && found->second.size() == 1) {
        return *found->second.begin();
      }
    }
    return std::nullopt;
  }

 private:
  void Add(const std::string& name, int id) {
    if (!name.empty()) {
      ids_["=" + name].insert(id);
      ids_[LowerCase(name)].insert(id);
      ids_[LowerCase(TitleOf(name))].insert(id);
    }
  }
  std::unordered_map<std::string, std::set<int>> ids_;
};

FileCoordinates DefaultCoordinates(const ProjectFrame& frame, AxisOrder order) {
  if (frame.IsCartesian()) {
    return {};
  }
  return frame.System() ? FileCoordinates::Of(NameOfSystem(frame.System()), "the project", order)
                        : FileCoordinates::Degrees(order);
}

/// The ids of ground points by name, and the next one that is free.
struct PointIds {
  std::map<std::string, int> by_name;
  int next = 1;
};

PointIds IdsOf(const qvgcp::GCPPrj& control) {
  PointIds ids;
  std::vector<int> all;
  control.ground_points.GetPointIndex(all);
  for (const int id : all) {
    qvgcp::GroundPoint point;
    control.ground_points.GetPoint(id, point);
    ids.by_name.emplace(point.name, id);
    ids.next = std::max(ids.next, id + 1);
  }
  return ids;
}

/// The ground control without the measurements of one point: there is no operation that removes them.
qvgcp::CommonPoints Without(const qvgcp::GCPPrj& control, const std::set<int>& replaced) {
  qvgcp::CommonPoints kept;
  std::vector<int> ids;
  control.ground_points.GetPointIndex(ids);
  for (const int id : ids) {
    std::map<int, qvfd::Point2_T<double>> measurements;
    if (replaced.contains(id) || !control.common_points.GetGroundPoint(id, measurements)) {
      continue;
    }
    kept.AddGroundPoint(id);
    for (const auto& [image, pixel] : measurements) {
      kept.AddImagePoint(id, image, pixel);
    }
  }
  return kept;
}

int TypeOf(const GroundPointLine& line, const GroundControlOptions& options) {
  return line.type ? *line.type : line.is_check.value_or(false) ? options.check_type : options.control_type;
}

}  // namespace

Report ImportGroundControl(const std::string& path, const GroundControlOptions& options,
                           qvprj::QvProject& project) {
  Report report;
  const ProjectFrame frame(project, options.project);
  std::vector<FoundPoint> points;
  FileCoordinates coordinates;
  if (IsGcpList(path)) {
    const GcpList list = ReadGcpList(path);
    coordinates = FileCoordinates::Of(options.crs.value_or(list.system), path, options.order);
    points = PointsOf(list);
  } else {
    const GroundPointTable table = ReadGroundPointTable(path, options.columns);
    coordinates = options.crs ? FileCoordinates::Of(*options.crs, "--crs", options.order)
                              : DefaultCoordinates(frame, options.order);
    points = PointsOf(table);
  }
  if (points.empty()) {
    throw Failure(path, "holds no ground point", "check that it is the right file");
  }
  if (frame.IsCartesian() && coordinates.IsRelated()) {
    throw Failure(path, "lies in " + coordinates.Description() + ", and the project in a frame of its own",
                  "give the project a coordinate system");
  }

  const qvgcp::GCPPrj& old = project.GetGroundControl();
  PointIds ids = IdsOf(old);
  std::set<int> replaced;
  qvgcp::GroundPoints made = old.ground_points;
  std::vector<std::pair<int, const FoundPoint*>> placed;
  std::size_t accuracies = 0;
  for (const FoundPoint& point : points) {
    const auto stored = coordinates.ToProject(frame, {point.line.x, point.line.y, point.line.z});
    if (!stored) {
      throw Failure("point " + point.line.name,
                    "its position cannot be converted from " + coordinates.Description(),
                    "check --crs and the order of the coordinates");
    }
    const auto known = ids.by_name.find(point.line.name);
    const int id = known == ids.by_name.end() ? ids.next++ : known->second;
    if (known != ids.by_name.end()) {
      replaced.insert(id);
    }
    qvgcp::GroundPoint ground;
    ground.name = point.line.name;
    ground.x = stored->x;
    ground.y = stored->y;
    ground.z = stored->z;
    ground.type = TypeOf(point.line, options);
    ground.enable = point.line.enabled;
    made.AddPoint(id, ground);
    placed.emplace_back(id, &point);
    accuracies += point.line.horizontal_accuracy || point.line.vertical_accuracy ? 1U : 0U;
  }
  qvgcp::CommonPoints measured = Without(old, replaced);
  const ImageNames names(project.GetImageInfoSet());
  const double shift = ShiftOf(options.pixel_origin);
  std::size_t taken = 0;
  std::set<std::string> unknown;
  std::size_t passed = 0;
  for (const auto& [id, point] : placed) {
    measured.AddGroundPoint(id);
    for (const GroundPointLine& measurement : point->measurements) {
      const auto image = names.Find(measurement.image);
      if (!image) {
        unknown.insert(measurement.image);
        ++passed;
        continue;
      }
      measured.AddImagePoint(id, *image, {measurement.column - shift, measurement.row - shift});
      ++taken;
    }
  }
  project.GetGroundControl().ground_points = std::move(made);
  project.GetGroundControl().common_points = std::move(measured);

  report.read = {{"ground points", points.size()}, {"measurements", taken + passed}};
  report.written = {{"ground points", points.size()}, {"measurements", taken}};
  report.Use("coordinates read", coordinates.Description());
  report.Use("coordinates stored", frame.System() ? "easting and northing of " + NameOfSystem(frame.System())
                                   : frame.IsCartesian() ? "as they are"
                                                         : "WGS 84 degrees, longitude in x");
  report.Use("heights", "stored as they are");
  report.Use("pixel origin", "the file's pixels count from the corner of the image, y down");
  report.Use("point types", std::to_string(options.control_type) + " control, " +
                                std::to_string(options.check_type) + " check");
  report.Lose(accuracies, "accuracies of points");
  report.Lose(passed, "measurements in images that the project does not have" +
                          (unknown.empty() ? std::string() : ", such as " + *unknown.begin()));
  if (!replaced.empty()) {
    report.notes.push_back(std::to_string(replaced.size()) + " points of the same names were replaced");
  }
  return report;
}

Report ExportGroundControl(qvprj::QvProject& project, const std::string& path,
                           const GroundControlOptions& options) {
  Report report;
  const ProjectFrame frame(project, options.project);
  const FileCoordinates coordinates = options.crs ? FileCoordinates::Of(*options.crs, "--crs", options.order)
                                                  : DefaultCoordinates(frame, options.order);
  std::vector<int> ids;
  project.GetGroundControl().ground_points.GetPointIndex(ids);
  if (ids.empty()) {
    throw Failure("the project", "has no ground points, so that there is nothing to write",
                  "import some with 'qvprj gcp import'");
  }
  const bool asTable = LowerCase(path).ends_with(".csv");
  const double shift = ShiftOf(options.pixel_origin);
  std::unordered_map<int, std::string> names;
  const std::vector<std::string> unique = UniqueNames(project.GetImageInfoSet(), report);
  for (int i = 0; i < project.GetImageInfoSet().Size(); ++i) {
    names.emplace(project.GetImageInfoSet().GetImage(i)->Id(), unique[static_cast<std::size_t>(i)]);
  }
  GroundPointTable table;
  GcpList list;
  list.system = coordinates.Header();
  std::size_t unmeasured = 0;
  std::size_t measurements = 0;
  std::size_t checks = 0;
  for (const int id : ids) {
    qvgcp::GroundPoint point;
    project.GetGroundControl().ground_points.GetPoint(id, point);
    const auto inFile = coordinates.FromProject(frame, {point.x, point.y, point.z});
    if (!inFile) {
      throw Failure("point " + point.name, "its position cannot be converted to " + coordinates.Description(),
                    "choose another coordinate system with --crs");
    }
    GroundPointLine line;
    line.name = point.name.empty() ? "point_" + std::to_string(id) : point.name;
    line.x = inFile->x;
    line.y = inFile->y;
    line.z = inFile->z;
    line.type = point.type;
    line.is_check = point.type == options.check_type;
    line.enabled = point.enable;
    checks += *line.is_check ? 1U : 0U;
    std::map<int, qvfd::Point2_T<double>> measured;
    project.GetGroundControl().common_points.GetGroundPoint(id, measured);
    unmeasured += measured.empty() ? 1U : 0U;
    if (measured.empty()) {
      table.lines.push_back(line);
    }
    for (const auto& [image, pixel] : measured) {
      const auto name = names.find(image);
      line.image = name == names.end() ? "image_" + std::to_string(image) : name->second;
      line.column = pixel.x + shift;
      line.row = pixel.y + shift;
      table.lines.push_back(line);
      list.observations.push_back({line.x, line.y, line.z, line.column, line.row, line.image, line.name});
      ++measurements;
    }
  }
  asTable ? WriteGroundPointTable(path, table) : WriteGcpList(path, list);
  report.files = {path};
  report.read = {{"ground points", ids.size()}, {"measurements", measurements}};
  report.written = {{"ground points", asTable ? ids.size() : ids.size() - unmeasured},
                    {"measurements", measurements}};
  report.Use("coordinates written", coordinates.Description());
  report.Use("heights", "as stored");
  report.Use("pixel origin", "the corner of the image, y down");
  if (!asTable) {
    report.Lose(unmeasured, "points that no image shows, which gcp_list.txt has no place for: '.csv' has");
    report.Lose(checks, "that points are check points: '.csv' holds it");
  }
  return report;
}

}  // namespace interchange
