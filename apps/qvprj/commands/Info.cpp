// qvprj info: what a project holds.
#include "commands/Info.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <utility>

#include "common/CoordinateSystem.h"
#include "common/DatabaseFiles.h"
#include "common/Failure.h"
#include "common/Json.h"
#include "common/ProjectPair.h"
#include "common/ProjectRecord.h"
#include "common/Text.h"
#include "qvfd/BinaryData.h"
#include "qvfd/PathHelper.h"
#include "qvprj/project/QvProject.h"

namespace qvapp {
namespace {

constexpr const char* kFooter =
    "Extent and heights are those of the images as flown; what has no finite number is left out. The\n"
    "local extent is that in the project's coordinate system, of the images that can be converted to it;\n"
    "where that is geographic it is in radians.\n"
    "\n"
    "With --json: {\"file\", \"project\": {\"id\", \"name\", \"operator\", \"date\", \"description\", "
    "\"height\",\n"
    "\"coordinate_id\", \"coordinate_name\", \"uavtype\", \"nadir\"}, \"cameras\", \"images\", "
    "\"enabled_images\",\n"
    "\"strips\", \"control_points\", \"control_point_measurements\", \"features\": {\"images\", "
    "\"points\"},\n"
    "\"matches\": {\"pairs\", \"matches\"}, \"tracks\", \"extent\": {\"x_min\", \"x_max\", \"y_min\", "
    "\"y_max\"},\n"
    "\"extent_local\": {\"x_min\", \"x_max\", \"y_min\", \"y_max\", \"unit\"}, \"unconvertible_images\",\n"
    "\"height_range\": {\"z_min\", \"z_max\"}, \"track_file_state\" (\"ok\", \"missing\" or \"damaged\"), "
    "\"files\":\n"
    "{\"database\": {\"path\", \"bytes\"}, \"track_file\": {\"path\", \"bytes\"}}}; null for what there is "
    "not.\n"
    "\n"
    "Example:\n"
    "  qvprj info survey.db";

/// Smallest and largest of some numbers.
struct Span {
  double least;
  double most;
};

class SpanOf {
 public:
  void Take(double value) {
    if (!std::isfinite(value)) {
      return;
    }
    if (!span_) {
      span_ = Span{value, value};
      return;
    }
    span_->least = std::min(span_->least, value);
    span_->most = std::max(span_->most, value);
  }

  [[nodiscard]] const std::optional<Span>& Get() const { return span_; }

 private:
  std::optional<Span> span_;
};

struct ImageFacts {
  int images = 0;
  int enabled = 0;
  std::size_t strips = 0;
  std::optional<Span> x;
  std::optional<Span> y;
  std::optional<Span> z;
};

/// Of a map to lists: how many lists have an element, and how many elements there are.
struct ListFacts {
  std::size_t lists = 0;
  std::size_t elements = 0;
};

/// The images in the project's coordinate system.
struct LocalFacts {
  bool exists = false;  ///< whether there is a system to which positions can be converted
  std::optional<Span> x;
  std::optional<Span> y;
  std::string unit;
  int unconvertible = 0;
};

struct Facts {
  qvprj::PrjInfo record;
  int cameras = 0;
  ImageFacts images;
  LocalFacts local;
  std::size_t control_points = 0;
  std::size_t measurements = 0;
  ListFacts features;
  ListFacts matches;
  std::size_t tracks = 0;
  ProjectPair pair;
  const char* track_file_state = "";
};

ImageFacts LookAtImages(const qvfd::ImageInfoSet& images) {
  ImageFacts facts;
  std::set<int> strips;
  SpanOf x;
  SpanOf y;
  SpanOf z;
  facts.images = images.Size();
  for (int position = 0; position < images.Size(); ++position) {
    const qvfd::EOP& eop = images.GetImage(position)->GetEOP();
    const qvfd::ImageInfoExt& extension = *images.GetImageExt(position);
    facts.enabled += extension.enabled ? 1 : 0;
    strips.insert(extension.strip_id);
    x.Take(eop.x);
    y.Take(eop.y);
    z.Take(eop.z);
  }
  facts.strips = strips.size();
  facts.x = x.Get();
  facts.y = y.Get();
  facts.z = z.Get();
  return facts;
}

template <class Lists>
ListFacts Count(const Lists& lists) {
  ListFacts facts;
  for (const auto& entry : lists) {
    facts.lists += entry.second.empty() ? 0U : 1U;
    facts.elements += entry.second.size();
  }
  return facts;
}

std::size_t CountMeasurements(const qvgcp::GCPPrj& control, const std::vector<int>& points) {
  std::size_t count = 0;
  for (const int id : points) {
    std::map<int, qvfd::Point2_T<double>> measurements;
    count += control.common_points.GetGroundPoint(id, measurements) ? measurements.size() : 0U;
  }
  return count;
}

LocalFacts LookAtLocalFrame(const qvfd::ImageInfoSet& images, int coordinateId) {
  LocalFacts facts;
  if (coordinateId == kNoCoordinateSystem) {
    return facts;
  }
  facts.unconvertible = images.Size();
  const auto system = FindCoordinate(coordinateId);
  if (!system) {
    return facts;
  }
  Conversion conversion(*system, Direction::kToLocal);
  facts.exists = conversion.IsPossible();
  facts.unit = LocalUnit(*system);
  SpanOf x;
  SpanOf y;
  for (const qvfd::ImageInfo& image : images) {
    qvfd::EOP eop = image.GetEOP();
    if (conversion.Convert(eop.x, eop.y)) {
      --facts.unconvertible;
      x.Take(eop.x);
      y.Take(eop.y);
    }
  }
  facts.x = x.Get();
  facts.y = y.Get();
  return facts;
}

/// Opening passes over a damaged track file, so it is read once more on its own. What `project` has of it is
/// replaced meanwhile.
const char* TrackFileState(const std::string& path, qvprj::QvProject& project) {
  if (!qvfd::PathHelper::IsFileExisted(path)) {
    return "missing";
  }
  qvfd::BinaryData blobs(1);
  if (!blobs.Read(path)) {
    return "damaged";
  }
  const auto isWhole = [&blobs, &project](int id, bool (qvprj::QvProject::*read)(qvfd::BinaryData&)) {
    std::span<const unsigned char> bytes;
    return !blobs.ViewBlob(id, bytes) || (project.*read)(blobs);
  };
  const bool whole = isWhole(0, &qvprj::QvProject::ReadTracks) &&
                     isWhole(1, &qvprj::QvProject::ReadFeatures) &&
                     isWhole(2, &qvprj::QvProject::ReadMatches);
  return whole ? "ok" : "damaged";
}

Facts Collect(const InfoOptions& options, Console& console) {
  const StatusLine status(console, "Reading", options.project);
  RequireDatabase(options.project, DatabaseKind::kProject);
  qvprj::QvProject project;
  if (!project.OpenPrj(options.project)) {
    ThrowWhyNotProject(options.project);
  }
  std::vector<int> points;
  project.GetGroundControl().ground_points.GetPointIndex(points);
  Facts facts;
  facts.record = project.GetPrjInfo();
  facts.cameras = project.GetCameraInfoSet().Size();
  facts.images = LookAtImages(project.GetImageInfoSet());
  facts.local = LookAtLocalFrame(project.GetImageInfoSet(), facts.record.coordinate_id);
  facts.control_points = points.size();
  facts.measurements = CountMeasurements(project.GetGroundControl(), points);
  facts.features = Count(project.GetFeatures());
  facts.matches = Count(project.GetMatches());
  facts.tracks = project.GetTracks().size();
  facts.pair = PairOf(options.project);
  facts.track_file_state = TrackFileState(facts.pair.track_file, project);
  return facts;
}

Json ExtentJson(const ImageFacts& images) {
  if (!images.x || !images.y) {
    return nullptr;
  }
  return {{"x_min", images.x->least},
          {"x_max", images.x->most},
          {"y_min", images.y->least},
          {"y_max", images.y->most}};
}

Json LocalExtentJson(const LocalFacts& local) {
  if (!local.x || !local.y) {
    return nullptr;
  }
  return {{"x_min", local.x->least},
          {"x_max", local.x->most},
          {"y_min", local.y->least},
          {"y_max", local.y->most},
          {"unit", local.unit.empty() ? Json(nullptr) : JsonText(local.unit)}};
}

Json HeightsJson(const ImageFacts& images) {
  if (!images.z) {
    return nullptr;
  }
  return {{"z_min", images.z->least}, {"z_max", images.z->most}};
}

void PrintAsJson(const std::string& project, const Facts& facts, std::ostream& out) {
  PrintJson(out, {{"file", JsonText(project)},
                  {"project", RecordJson(facts.record)},
                  {"cameras", facts.cameras},
                  {"images", facts.images.images},
                  {"enabled_images", facts.images.enabled},
                  {"strips", facts.images.strips},
                  {"control_points", facts.control_points},
                  {"control_point_measurements", facts.measurements},
                  {"features", {{"images", facts.features.lists}, {"points", facts.features.elements}}},
                  {"matches", {{"pairs", facts.matches.lists}, {"matches", facts.matches.elements}}},
                  {"tracks", facts.tracks},
                  {"extent", ExtentJson(facts.images)},
                  {"extent_local", LocalExtentJson(facts.local)},
                  {"unconvertible_images", facts.local.unconvertible},
                  {"height_range", HeightsJson(facts.images)},
                  {"track_file_state", facts.track_file_state},
                  {"files", JsonFiles(facts.pair)}});
}

std::string RangeText(const std::optional<Span>& span, std::string (*format)(double),
                      const std::string& unit) {
  return span ? format(span->least) + " to " + format(span->most) + unit : "none";
}

void AddLocalRows(const LocalFacts& local, Table& table) {
  if (local.exists) {
    const auto format = local.unit == "radian" ? Radians : Metres;
    const std::string unit = local.unit.empty() ? "" : " " + local.unit;
    table.Add({"extent local x", RangeText(local.x, format, unit)});
    table.Add({"extent local y", RangeText(local.y, format, unit)});
  }
  if (local.unconvertible > 0) {
    table.Add({"not convertible", Counted(static_cast<std::size_t>(local.unconvertible), "image", "images")});
  }
}

std::string FileText(const std::string& path, const std::string& state) {
  const auto bytes = FileBytes(path);
  return path + ": " + (bytes ? std::to_string(*bytes) + " bytes" : "missing") +
         (state == "damaged" ? ", damaged: what it holds is lost or incomplete" : "");
}

void PrintAsText(const std::string& project, const Facts& facts, std::ostream& out) {
  using enum Table::Align;
  Table table({kLeft, kLeft});
  AddRecordRows(facts.record, table);
  table.Add({"cameras", std::to_string(facts.cameras)});
  table.Add({"images", std::to_string(facts.images.images) + ", " + std::to_string(facts.images.enabled) +
                           " enabled, in " + Counted(facts.images.strips, "strip", "strips")});
  table.Add({"control points", std::to_string(facts.control_points) + ", with " +
                                   Counted(facts.measurements, "measurement", "measurements") +
                                   " in images"});
  table.Add({"features", std::to_string(facts.features.elements) + " in " +
                             Counted(facts.features.lists, "image", "images")});
  table.Add({"matches", std::to_string(facts.matches.elements) + " in " +
                            Counted(facts.matches.lists, "image pair", "image pairs")});
  table.Add({"tracks", std::to_string(facts.tracks)});
  table.Add({"extent x", RangeText(facts.images.x, Degrees, " degrees")});
  table.Add({"extent y", RangeText(facts.images.y, Degrees, " degrees")});
  AddLocalRows(facts.local, table);
  table.Add({"heights z", RangeText(facts.images.z, Metres, " m")});
  table.Add({"database", FileText(facts.pair.database, "")});
  table.Add({"track file", FileText(facts.pair.track_file, facts.track_file_state)});
  out << Printable(project) << '\n';
  table.Print(out, "  ");
}

}  // namespace

int RunInfo(const InfoOptions& options, Console& console) {
  return Reported(console.err, [&] {
    const Facts facts = Collect(options, console);
    const auto print = options.json ? PrintAsJson : PrintAsText;
    print(options.project, facts, console.out);
    return kDone;
  });
}

void AddInfo(CLI::App& program, Action& action) {
  const auto options = std::make_shared<InfoOptions>();
  CLI::App* const command = program.add_subcommand("info", "Tell what a project holds");
  command->add_option("SURVEY.db", options->project, "the project")->required();
  command->add_flag("--json", options->json, "print one JSON document");
  command->footer(kFooter);
  command->callback(
      [options, &action] { action = [options](Console& console) { return RunInfo(*options, console); }; });
}

}  // namespace qvapp
