// A catalogue of projects.
#include "interchange/mapping/Catalog.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <system_error>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "interchange/Failure.h"
#include "interchange/formats/GisLayers.h"
#include "interchange/text/TextFile.h"
#include "qvfd/CoordinateInfo.h"
#include "qvfd/PathHelper.h"
#include "qvprj/check/ProjectCheck.h"
#include "qvprj/project/QvProject.h"
#include "qvsql/Database.h"

namespace fs = std::filesystem;

namespace interchange {
namespace {

constexpr std::size_t kBatch = 200;
constexpr int kDeepest = 64;

// ---- The row of a project
// ---------------------------------------------------------------------------------------

/// Columns in their order; `kFields` spells them.
enum Column : std::size_t {
  kPath,
  kStatus,
  kReason,
  kName,
  kProjectId,
  kDate,
  kOperator,
  kDescription,
  kCrs,
  kCrsName,
  kLongitude,
  kLatitude,
  kImages,
  kDisabledImages,
  kAdjustedImages,
  kCameras,
  kGroundPoints,
  kFeatures,
  kMatches,
  kTiePoints,
  kFlyingHeight,
  kNadir,
  kUavType,
  kTrackFile,
  kDatabaseBytes,
  kDatabaseModified,
  kTrackFileBytes,
  kTrackFileModified,
  kErrors,
  kWarnings,
  kFirstFinding,
  kCataloguedAt,
  kColumns,
};

GisLayer Layout() {
  using enum GisFieldType;
  return {kCatalogTable,
          "Projects, one a row, by the absolute path of their database.",
          GisGeometry::kPolygon,
          true,
          false,
          {{"path", kText, ""},
           {"status", kText, ""},
           {"reason", kText, ""},
           {"name", kText, ""},
           {"project_id", kText, ""},
           {"date", kText, ""},
           {"operator", kText, ""},
           {"description", kText, ""},
           {"crs", kText, ""},
           {"crs_name", kText, ""},
           {"longitude", kReal, ""},
           {"latitude", kReal, ""},
           {"images", kInteger, ""},
           {"disabled_images", kInteger, ""},
           {"adjusted_images", kInteger, ""},
           {"cameras", kInteger, ""},
           {"ground_points", kInteger, ""},
           {"features", kInteger, ""},
           {"matches", kInteger, ""},
           {"tie_points", kInteger, ""},
           {"flying_height", kReal, ""},
           {"nadir", kInteger, ""},
           {"uavtype", kInteger, ""},
           {"track_file", kText, ""},
           {"database_bytes", kInteger, ""},
           {"database_modified", kText, ""},
           {"track_file_bytes", kInteger, ""},
           {"track_file_modified", kText, ""},
           {"errors", kInteger, ""},
           {"warnings", kInteger, ""},
           {"first_finding", kText, ""},
           {"catalogued_at", kText, ""}},
          {}};
}

template <std::size_t N>
GisValue TextOrNull(const char (&array)[N]) {
  const std::string text(array, std::find(array, array + N, '\0'));
  return text.empty() ? GisValue() : GisValue(text);
}

GisValue Count(std::size_t count) {
  return static_cast<std::int64_t>(count);
}

/// UTC, as ISO 8601 has it, to the nanosecond.
std::string TimeText(std::time_t seconds, long nanoseconds) {
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 80> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%09ldZ", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, nanoseconds);
  return text.data();
}

std::string Now() {
  using namespace std::chrono;
  const auto now = system_clock::now().time_since_epoch();
  const auto whole = duration_cast<seconds>(now);
  return TimeText(static_cast<std::time_t>(whole.count()),
                  static_cast<long>(duration_cast<nanoseconds>(now - whole).count()));
}

/// Size and time of last change of a file; nulls where there is none.
struct Stamp {
  GisValue bytes;
  GisValue modified;

  friend bool operator==(const Stamp&, const Stamp&) = default;
};

Stamp StampOf(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0 || !S_ISREG(found.st_mode)) {
    return {};
  }
  return {std::int64_t{found.st_size}, TimeText(found.st_mtim.tv_sec, found.st_mtim.tv_nsec)};
}

/// The track file that belongs to a database.
std::string TrackFileOf(const std::string& database) {
  using qvfd::PathHelper;
  return PathHelper::Merge(PathHelper::GetFileDirectory(database),
                           PathHelper::GetFileTitle2(database) + ".gb");
}

GisFeature EmptyRow() {
  GisFeature row;
  row.values.resize(kColumns);
  return row;
}

// ---- The footprint
// ------------------------------------------------------------------------------------------------

double Cross(const Vector3& o, const Vector3& a, const Vector3& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

/// The convex hull, counter-clockwise; nothing of points that lie on a line.
std::vector<Vector3> HullOf(std::vector<Vector3> points) {
  constexpr double kThinnest = 1e-14;  // square degrees: about a square centimetre
  std::sort(points.begin(), points.end(),
            [](const Vector3& a, const Vector3& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
  points.erase(std::unique(points.begin(), points.end()), points.end());
  std::vector<Vector3> hull;
  const auto half = [&](auto begin, auto end) {
    const std::size_t start = hull.size();
    for (auto at = begin; at != end; ++at) {
      while (hull.size() >= start + 2 && Cross(hull[hull.size() - 2], hull.back(), *at) <= 0.0) {
        hull.pop_back();
      }
      hull.push_back(*at);
    }
    hull.pop_back();  // the next half begins with it
  };
  if (points.size() < 3) {
    return {};
  }
  half(points.begin(), points.end());
  half(points.rbegin(), points.rend());
  double area = 0.0;
  for (std::size_t i = 2; i < hull.size(); ++i) {
    area += Cross(hull[0], hull[i - 1], hull[i]) / 2;
  }
  return hull.size() < 3 || area < kThinnest ? std::vector<Vector3>() : hull;
}

void AddPlace(qvprj::QvProject& project, const ProjectOptions& options, GisFeature& row) {
  const ProjectFrame frame(project, options);
  if (frame.IsCartesian()) {
    return;
  }
  std::vector<Vector3> points;
  for (const qvfd::ImageInfo& image : project.GetImageInfoSet()) {
    const Geodetic position = frame.PositionOf(frame.EopOf(image));
    if (std::fabs(position.longitude) <= 180.0 && std::fabs(position.latitude) <= 90.0) {
      points.push_back({position.longitude, position.latitude, 0.0});
    }
  }
  if (points.empty()) {
    return;
  }
  // A survey across the 180th meridian goes on past it.
  const auto byX = [](const Vector3& a, const Vector3& b) { return a.x < b.x; };
  const auto byY = [](const Vector3& a, const Vector3& b) { return a.y < b.y; };
  auto [west, east] = std::minmax_element(points.begin(), points.end(), byX);
  if (east->x - west->x > 180.0) {
    for (Vector3& point : points) {
      point.x += point.x < 0.0 ? 360.0 : 0.0;
    }
    std::tie(west, east) = std::minmax_element(points.begin(), points.end(), byX);
  }
  const auto [south, north] = std::minmax_element(points.begin(), points.end(), byY);
  row.values[kLongitude] = west->x + (east->x - west->x) / 2;
  row.values[kLatitude] = south->y + (north->y - south->y) / 2;
  row.points = HullOf(std::move(points));
}

// ---- Looking at one project
// -----------------------------------------------------------------------------------------

bool HasProjectTable(qvsql::Database& database) {
  bool found = false;
  const auto see = [](void* user, int /*count*/, char** /*values*/, char** /*names*/) {
    *static_cast<bool*>(user) = true;
    return 0;
  };
  return database.ExecSQL("SELECT 1 FROM sqlite_master WHERE type = 'table' AND lower(name) = 'data_project'",
                          see, &found) &&
         found;
}

enum class Kind { kProject, kDamagedProject, kOther };

/// What a file is that begins as a database does.
Kind KindOf(const std::string& path, bool hasTrackFile) {
  qvsql::Database database;
  if (database.Open(path)) {
    return HasProjectTable(database) ? Kind::kProject : Kind::kOther;
  }
  return hasTrackFile || (database.OpenDamaged(path) && HasProjectTable(database)) ? Kind::kDamagedProject
                                                                                   : Kind::kOther;
}

void AddRecord(qvprj::QvProject& project, GisFeature& row) {
  const qvprj::PrjInfo& info = project.GetPrjInfo();
  row.values[kName] = TextOrNull(info.project_name);
  row.values[kProjectId] = TextOrNull(info.id);
  row.values[kDate] = TextOrNull(info.date);
  row.values[kOperator] = TextOrNull(info.operator_name);
  row.values[kDescription] = TextOrNull(info.description);
  row.values[kFlyingHeight] = info.height;
  row.values[kNadir] = std::int64_t{info.nadir};
  row.values[kUavType] = std::int64_t{info.uavtype};
  if (info.coordinate_id >= 0) {
    row.values[kCrs] = "EPSG:" + std::to_string(info.coordinate_id);
    const qvfd::CoordinateInfo system = project.GetCoordinate();
    if (system.id == info.coordinate_id) {
      row.values[kCrsName] = qvfd::DisplayName(system);
    }
  }
}

void AddContents(qvprj::QvProject& project, GisFeature& row) {
  const qvfd::ImageInfoSet& images = project.GetImageInfoSet();
  std::size_t disabled = 0;
  std::size_t adjusted = 0;
  for (int i = 0; i < images.Size(); ++i) {
    disabled += images.GetImageExt(i)->enabled ? 0U : 1U;
    adjusted += images.GetImage(i)->GetEOP() == images.GetImage(i)->GetUpdatedEOP() ? 0U : 1U;
  }
  std::vector<int> points;
  project.GetGroundControl().ground_points.GetPointIndex(points);
  row.values[kImages] = std::int64_t{images.Size()};
  row.values[kDisabledImages] = Count(disabled);
  row.values[kAdjustedImages] = Count(adjusted);
  row.values[kCameras] = std::int64_t{project.GetCameraInfoSet().Size()};
  row.values[kGroundPoints] = Count(points.size());
}

void AddCheck(const std::string& path, GisFeature& row) {
  qvprj::ProjectReport report;
  if (!qvprj::CheckProject(path, report)) {
    return;
  }
  row.values[kErrors] = Count(report.errors);
  row.values[kWarnings] = Count(report.warnings);
  row.values[kFeatures] = Count(report.counts.features);
  row.values[kMatches] = Count(report.counts.matches);
  row.values[kTiePoints] = Count(report.counts.tracks);
  if (!report.findings.empty()) {
    const qvprj::Finding& first = report.findings.front();
    const std::string& place = first.table.empty() ? first.blob : first.table;
    row.values[kFirstFinding] = first.kind + ": " + (place.empty() ? "" : place + ": ") + first.text;
  }
}

/// Why a project cannot be read; nothing when it was, and `row` has what it holds.
std::optional<std::string> Read(const std::string& path, const CatalogOptions& options, GisFeature& row) {
  qvprj::QvProject project;
  qvsql::Database database;
  if (!std::ifstream(path, std::ios::binary)) {
    return "the file cannot be read";
  }
  if (!database.Open(path)) {
    return "the database cannot be opened: see 'qvprj check'";
  }
  if (!project.ReadPrjRecords(database, path)) {
    return "the project information cannot be read: see 'qvprj check'";
  }
  AddRecord(project, row);
  if (!project.ReadImageRecords(database) || !project.ReadCameraRecords(database)) {
    return "images or cameras cannot be read: see 'qvprj check'";
  }
  static_cast<void>(project.ReadGCPRecords(database));
  AddContents(project, row);
  AddPlace(project, options.project, row);
  return std::nullopt;
}

// ---- The walk
// -------------------------------------------------------------------------------------------------------

/// A run over all folders.
class Run {
 public:
  Run(const CatalogOptions& options, const std::function<void(const std::string&)>& progress)
      : options_(options), progress_(progress), table_(options.target, Layout()) {
    std::error_code error;
    own_file_ = IsConnection(options.target) ? "" : fs::canonical(options.target, error).string();
    for (GisTable::Row& row : table_.Rows()) {
      if (const auto* const path = std::get_if<std::string>(&row.values[kPath])) {
        const std::string key = GisText(*path);
        known_.insert_or_assign(key, std::move(row));
      }
    }
  }

  Report Do(const std::vector<std::string>& roots) {
    for (const std::string& root : roots) {
      Walk(root);
    }
    for (const std::string& root : roots) {
      MarkGone(root);
    }
    Flush();
    report_.read = {{"folders", walked_.size()}, {"files", files_}, {"projects", projects_}};
    report_.written = {{"new", new_},
                       {"changed", changed_},
                       {"unchanged", unchanged_},
                       {"unreadable", unreadable_},
                       {"gone", gone_}};
    return std::move(report_);
  }

 private:
  void Walk(const std::string& root) {
    std::vector<std::pair<std::string, int>> waiting = {{root, 0}};
    while (!waiting.empty()) {
      const auto [folder, depth] = std::move(waiting.back());
      waiting.pop_back();
      if (!walked_.insert(folder).second) {
        continue;  // below another root
      }
      if (depth > kDeepest) {
        report_.notes.push_back(folder + " is too deep: it was not walked");
        continue;
      }
      std::vector<std::string> names;
      std::error_code error;
      for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        std::error_code ignored;
        if (at->is_symlink(ignored)) {
          continue;
        }
        if (at->is_directory(ignored)) {
          waiting.emplace_back(at->path().string(), depth + 1);
        } else if (at->is_regular_file(ignored)) {
          names.push_back(at->path().filename().string());
        }
      }
      if (error) {
        report_.notes.push_back(folder + " cannot be read: " + error.message());
      }
      std::sort(names.begin(), names.end());
      for (const std::string& name : names) {
        ++files_;
        const std::string path = PathIn(folder, name);
        // What a save that is at work keeps beside the project.
        if (!name.starts_with(".qv-") && path != own_file_) {
          Look(path, names);
        }
      }
    }
  }

  void Look(const std::string& path, const std::vector<std::string>& siblings) {
    const std::string key = GisText(path);
    const auto known = known_.find(key);
    const std::string trackFile = TrackFileOf(path);
    if (path == trackFile) {
      return;
    }
    if (known != known_.end()) {
      seen_.insert(key);
      ++projects_;
      const std::vector<GisValue>& row = known->second.values;
      const Stamp database = StampOf(path);
      const bool same = row[kStatus] == GisValue(kCatalogued) &&
                        database == Stamp{row[kDatabaseBytes], row[kDatabaseModified]} &&
                        StampOf(trackFile) == Stamp{row[kTrackFileBytes], row[kTrackFileModified]};
      if (same && (!options_.check || row[kErrors] != GisValue())) {
        ++unchanged_;
        return;
      }
      Take(path, trackFile, known->second.id);
      return;
    }
    const bool hasTrackFile = std::binary_search(siblings.begin(), siblings.end(), FileNameOf(trackFile));
    const bool looksRight = qvsql::Database::HasHeader(path) ? KindOf(path, hasTrackFile) != Kind::kOther
                                                             : hasTrackFile && !std::ifstream(path);
    if (looksRight) {
      ++projects_;
      Take(path, trackFile, std::nullopt);
    }
  }

  void Take(const std::string& path, const std::string& trackFile, std::optional<std::int64_t> id) {
    if (progress_) {
      progress_(path);
    }
    GisFeature row = EmptyRow();
    // Before it is opened: what changes in the meantime is looked at again next time.
    const Stamp database = StampOf(path);
    const Stamp tracks = StampOf(trackFile);
    const auto reason = Read(path, options_, row);
    if (options_.check) {
      AddCheck(path, row);
    }
    row.values[kPath] = path;
    row.values[kStatus] = std::string(reason ? kUnreadable : kCatalogued);
    row.values[kReason] = reason ? GisValue(*reason) : GisValue();
    row.values[kTrackFile] = trackFile;
    row.values[kDatabaseBytes] = database.bytes;
    row.values[kDatabaseModified] = database.modified;
    row.values[kTrackFileBytes] = tracks.bytes;
    row.values[kTrackFileModified] = tracks.modified;
    row.values[kCataloguedAt] = Now();
    if (reason) {
      ++unreadable_;
      report_.notes.push_back(path + ": " + *reason);
    }
    ++(id ? changed_ : new_);
    batch_.push_back({id, std::move(row), false});
    FlushWhenFull();
  }

  void MarkGone(const std::string& root) {
    const std::string below = root.back() == '/' ? root : root + "/";
    for (auto& [key, known] : known_) {
      const auto& path = std::get<std::string>(known.values[kPath]);
      if (!path.starts_with(below) || seen_.contains(key) || known.values[kStatus] == GisValue(kGone)) {
        continue;
      }
      // What cannot be looked at may be there.
      std::error_code error;
      const fs::file_type type = fs::symlink_status(path, error).type();
      if (type == fs::file_type::regular || type == fs::file_type::none || type == fs::file_type::unknown) {
        continue;
      }
      ++gone_;
      known.values[kStatus] = std::string(kGone);
      known.values[kReason] = std::string("the database is there no more");
      known.values[kCataloguedAt] = Now();
      batch_.push_back({known.id, {{}, known.values}, true});
      FlushWhenFull();
    }
  }

  void FlushWhenFull() {
    if (batch_.size() >= kBatch) {
      Flush();
    }
  }

  void Flush() {
    if (!batch_.empty()) {
      table_.Write(batch_);
      batch_.clear();
    }
  }

  const CatalogOptions& options_;
  const std::function<void(const std::string&)>& progress_;
  GisTable table_;
  std::string own_file_;
  std::unordered_map<std::string, GisTable::Row> known_;
  std::vector<GisTable::Change> batch_;
  std::set<std::string> walked_;
  std::set<std::string> seen_;
  Report report_;
  std::size_t files_ = 0;
  std::size_t projects_ = 0;
  std::size_t new_ = 0;
  std::size_t changed_ = 0;
  std::size_t unchanged_ = 0;
  std::size_t unreadable_ = 0;
  std::size_t gone_ = 0;
};

}  // namespace

Report UpdateCatalog(const CatalogOptions& options,
                     const std::function<void(const std::string& project)>& progress) {
  if (options.folders.empty()) {
    throw Failure("the catalogue", "no folder is given", "name the folders that hold the projects");
  }
  std::vector<std::string> roots;
  for (const std::string& folder : options.folders) {
    std::error_code error;
    const fs::path path = fs::canonical(folder, error);
    if (error || !fs::is_directory(path, error)) {
      throw Failure(folder, "is no folder that can be read", "check the path");
    }
    roots.push_back(path.string());
  }
  Report report = Run(options, progress).Do(roots);
  report.Use("coordinates", "EPSG:4326 (WGS 84)");
  report.Use("axes", "longitude, latitude, whatever order the authority has");
  report.Use("positions",
             std::string(options.project.orientation == Orientation::kAdjusted ? "adjusted" : "as flown") +
                 "; the footprint is the convex hull of the images of a project");
  report.files.push_back(WithoutPassword(options.target));
  return report;
}

}  // namespace interchange
