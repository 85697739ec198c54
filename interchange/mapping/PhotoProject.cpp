// Photos into a project: to the images that a flight has left in it, or as a project of their own.
#include "interchange/mapping/PhotoProject.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <limits>
#include <map>
#include <numbers>
#include <numeric>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "interchange/Failure.h"
#include "interchange/formats/OdmText.h"
#include "interchange/formats/PhotoMetadata.h"
#include "interchange/formats/PositionLog.h"
#include "interchange/geometry/Ellipsoid.h"
#include "interchange/geometry/NavigationAngles.h"
#include "interchange/mapping/Strips.h"
#include "interchange/project/FileCoordinates.h"
#include "interchange/project/WorldFrame.h"
#include "interchange/text/TextFile.h"

namespace fs = std::filesystem;

namespace interchange {
namespace {

constexpr std::size_t kMostNotes = 10;  // of one kind; a report file has all

constexpr const char* kHowToSettle =
    "see the table that --report FILE.csv writes; --tie says by what to tie, --leave-ambiguous leaves such "
    "photos out";

// ---- Reading ----------------------------------------------------------------------------------------------

/// What of many things is told one by one.
class Notes {
 public:
  explicit Notes(Report& report) : report_(report) {}
  ~Notes() {
    if (count_ > kMostNotes) {
      report_.notes.push_back("and " + std::to_string(count_ - kMostNotes) + " more of that kind");
    }
  }
  Notes(const Notes&) = delete;
  Notes& operator=(const Notes&) = delete;

  void Add(const std::string& note) {
    if (++count_ <= kMostNotes) {
      report_.notes.push_back(note);
    }
  }

 private:
  Report& report_;
  std::size_t count_ = 0;
};

/// The photos of the folder that can be read; tells of the others, and of what was passed over in these.
std::vector<PhotoMetadata> ReadablePhotos(const std::string& folder, Report& report) {
  std::vector<PhotoMetadata> photos = ReadPhotos(folder);
  const std::size_t found = photos.size();
  {
    Notes notes(report);
    for (const PhotoMetadata& photo : photos) {
      for (const std::string& note : photo.notes) {
        if (!photo.readable) {
          notes.Add(photo.name + " " + note + "; it was left out");
        }
      }
    }
  }
  std::erase_if(photos, [](const PhotoMetadata& photo) { return !photo.readable; });
  std::map<std::string, std::pair<std::string, std::size_t>>
      told;  // a note, the first photo with it, and how often
  for (const PhotoMetadata& photo : photos) {
    for (const std::string& note : photo.notes) {
      auto& [first, count] = told[note];
      first = count++ == 0 ? photo.name : first;
    }
  }
  {
    Notes notes(report);
    for (const auto& [note, first] : told) {
      notes.Add(first.first +
                (first.second > 1 ? " and " + std::to_string(first.second - 1) + " more: " : ": ") + note);
    }
  }
  report.read.emplace_back("photos", photos.size());
  report.Lose(found - photos.size(), "photos that cannot be read");
  if (photos.empty()) {
    throw Failure(
        folder,
        found == 0 ? "no photos are in it (JPEG, TIFF, DNG or PNG)" : "none of its photos can be read",
        "name the folder that holds the photos");
  }
  return photos;
}

std::vector<MatchPhoto> MatchPhotosOf(const std::vector<PhotoMetadata>& photos) {
  std::vector<MatchPhoto> made;
  made.reserve(photos.size());
  for (const PhotoMetadata& photo : photos) {
    MatchPhoto match{photo.name, photo.time, {}};
    if (photo.longitude && photo.latitude) {
      match.position = GroundPosition{*photo.longitude, *photo.latitude};
    }
    made.push_back(std::move(match));
  }
  return made;
}

// ---- Decisions --------------------------------------------------------------------------------------------

std::string Rounded(const std::optional<double>& value) {
  return value ? TextOf(*value, 2) : std::string();
}

std::vector<DecisionTable::Column> DecisionColumns() {
  return {{"photo"}, {"record"}, {"tied_by"}, {"distance_m", true}, {"seconds", true}, {"reason"}};
}

/// `records` names the records in the table.
void TellDecisions(const Match& match, const std::vector<PhotoMetadata>& photos,
                   const std::vector<std::string>& records, Report& report) {
  report.decisions.columns = DecisionColumns();
  for (const Decision& decision : match.decisions) {
    report.decisions.rows.push_back({decision.photo ? photos[*decision.photo].name : std::string(),
                                     decision.record ? records[*decision.record] : std::string(),
                                     TextOf(decision.how), Rounded(decision.distance),
                                     Rounded(decision.seconds), decision.reason});
  }
}

std::string CsvCell(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  for (const char c : text) {
    quoted += c == '"' ? "\"\"" : std::string(1, c);
  }
  return quoted + "\"";
}

void WriteDecisions(const std::string& path, const DecisionTable& table) {
  std::string text;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    text += (i == 0 ? "" : ",") + CsvCell(table.columns[i].name);
  }
  text += '\n';
  for (const std::vector<std::string>& row : table.rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      text += (i == 0 ? "" : ",") + CsvCell(row[i]);
    }
    text += '\n';
  }
  WriteWholeFile(path, text);
}

/// Matches, tells of it, and throws where it is refused.
Match Matched(const std::vector<MatchRecord>& records, const std::vector<std::string>& names,
              const std::vector<PhotoMetadata>& photos, const PhotoOptions& options, Report& report) {
  Match match = MatchPhotos(records, MatchPhotosOf(photos), options.match);
  TellDecisions(match, photos, names, report);
  if (options.report) {
    WriteDecisions(*options.report, report.decisions);
    report.files.push_back(*options.report);
  }
  if (!match.refusal.empty()) {
    throw Failure(options.folder, "the photos cannot be tied to the positions: " + match.refusal,
                  kHowToSettle);
  }
  if (match.Tied() == 0) {
    throw Failure(options.folder, "none of the photos could be tied to a position", kHowToSettle);
  }
  std::map<std::string, std::size_t> counts;
  std::size_t photosLeft = 0;
  std::size_t recordsLeft = 0;
  for (const Decision& decision : match.decisions) {
    if (decision.photo && decision.record) {
      ++counts[TextOf(decision.how)];
    }
    photosLeft += decision.photo && !decision.record ? 1U : 0U;
    recordsLeft += decision.photo ? 0U : 1U;
  }
  std::string how;
  for (const auto& [name, count] : counts) {
    how += (how.empty() ? "" : ", ") + name + " (" + std::to_string(count) + ")";
  }
  report.Use("photos", "tied by " + how);
  if (match.clock_offset) {
    report.Use("clocks", "photo time " + std::string(*match.clock_offset < 0.0 ? "- " : "+ ") +
                             TextOf(std::fabs(*match.clock_offset), 1) + " s is the log's time, as " +
                             std::to_string(match.clock_pairs) + " pairs agree");
  }
  report.Lose(photosLeft, "photos that belong to no position");
  report.notes.insert(report.notes.end(), match.notes.begin(), match.notes.end());
  report.Note(recordsLeft, "position has no photo", "positions have no photo");
  Notes notes(report);
  for (const Decision& decision : match.decisions) {
    if (decision.photo && !decision.record) {
      notes.Add(photos[*decision.photo].name + ": " + decision.reason);
    }
  }
  return match;
}

// ---- Names, cameras, strips -------------------------------------------------------------------------------

/// The path of a photo as a project at `project` keeps it: relative to its folder where it lies below it.
std::string StoredPath(const std::string& photo, const std::string& project) {
  std::error_code error;
  const fs::path folder = fs::weakly_canonical(fs::absolute(project, error).parent_path(), error);
  const fs::path found = fs::weakly_canonical(photo, error);
  if (error || folder.empty()) {
    return photo;
  }
  const fs::path relative = found.lexically_relative(folder);
  if (relative.empty() || *relative.begin() == "..") {
    return photo;
  }
  return relative.generic_string();
}

using CameraKey = std::tuple<std::string, std::string, int, int, double>;

CameraKey KeyOf(const PhotoMetadata& photo) {
  return {photo.make, photo.model, photo.width, photo.height, photo.focal_length};
}

/// The maker is in the model's name already with some makers.
std::string CameraName(const PhotoMetadata& photo) {
  if (photo.make.empty() || LowerCase(photo.model).starts_with(LowerCase(photo.make))) {
    return photo.model;
  }
  return photo.model.empty() ? photo.make : photo.make + " " + photo.model;
}

/// One camera for each make, model, size and focal length among `used`; the one with most photos first, which
/// is camera 0, to which a flight's images refer.
std::map<CameraKey, int> AddCameras(const std::vector<const PhotoMetadata*>& used,
                                    qvfd::CameraInfoSet& cameras, Report& report) {
  std::map<CameraKey, std::vector<const PhotoMetadata*>> kinds;
  for (const PhotoMetadata* photo : used) {
    kinds[KeyOf(*photo)].push_back(photo);
  }
  std::vector<const std::vector<const PhotoMetadata*>*> order;
  order.reserve(kinds.size());
  for (const auto& [key, photos] : kinds) {
    order.push_back(&photos);
  }
  std::stable_sort(order.begin(), order.end(),
                   [](const auto* a, const auto* b) { return a->size() > b->size(); });
  std::map<CameraKey, int> ids;
  for (std::size_t i = 0; i < order.size(); ++i) {
    // The first that tells its sensor: photos of one camera may differ in that.
    const auto with = std::find_if(order[i]->begin(), order[i]->end(),
                                   [](const PhotoMetadata* photo) { return photo->sensor_width > 0.0; });
    const PhotoMetadata& photo = with == order[i]->end() ? *order[i]->front() : **with;
    qvfd::CameraInfo camera;
    camera.id = static_cast<int>(i);
    camera.name = CameraName(photo);
    camera.width = photo.width;
    camera.height = photo.height;
    camera.ccdwidth = photo.sensor_width;
    camera.ccdheight = photo.sensor_height;
    camera.focallength = photo.focal_length;
    if (photo.sensor_width > 0.0) {
      camera.pixel_size_x = camera.ccdwidth / camera.width;
      camera.pixel_size_y = camera.ccdheight / camera.height;
    }
    const std::string name = camera.name.empty() ? "camera " + std::to_string(camera.id) : camera.name;
    if (photo.sensor_width <= 0.0) {
      report.notes.push_back(name +
                             ": the photos do not tell the size of its sensor, which is 0 in the project");
    } else {
      report.notes.push_back(name + ": sensor " + TextOf(camera.ccdwidth, 3) + " x " +
                             TextOf(camera.ccdheight, 3) + " mm from " + photo.sensor_from);
    }
    if (photo.focal_length <= 0.0) {
      report.notes.push_back(name + ": the photos do not tell its focal length, which is 0 in the project");
    }
    ids[KeyOf(photo)] = camera.id;
    cameras.AddCamera(camera);
  }
  return ids;
}

/// Gives every image its strip, from the positions as flown in the order of the images. How many there are.
std::size_t AssignStrips(qvfd::ImageInfoSet& images) {
  std::vector<PlanePoint> points;
  double longitude = 0.0;
  double north = 1.0;
  double east = 1.0;
  for (const qvfd::ImageInfo& image : images) {
    const qvfd::EOP& eop = image.GetEOP();
    if (points.empty()) {
      longitude = eop.x;
      north = MetresPerDegreeOfLatitude(eop.y);
      east = north * std::cos(eop.y * std::numbers::pi / 180.0);
    }
    points.push_back({std::remainder(eop.x - longitude, 360.0) * east, eop.y * north});
  }
  const std::vector<int> strips = StripsOf(points);
  for (std::size_t i = 0; i < strips.size(); ++i) {
    images.GetImageExt(static_cast<int>(i))->strip_id = strips[i];
  }
  return std::set<int>(strips.begin(), strips.end()).size();
}

// ---- Projects of photos -----------------------------------------------------------------------------------

/// The log, of whichever form. "geo.txt" has its form by its name, as OpenDroneMap has it.
PositionLog LogOf(const PhotoProjectOptions& options, std::string& system) {
  if (LowerCase(FileNameOf(*options.log)) != "geo.txt") {
    return ReadPositionLog(*options.log, options.columns);
  }
  const GeoText text = ReadGeoText(*options.log);
  system = text.system;
  PositionLog log;
  log.format = "geo.txt";
  for (std::size_t i = 0; i < text.images.size(); ++i) {
    const OrientationLine& line = text.images[i];
    PositionRecord record;
    record.name = line.name;
    record.x = line.x;
    record.y = line.y;
    if (text.has_height[i]) {
      record.height = line.z;
    }
    if (line.has_angles) {
      record.attitude = NavigationAngles{line.angles[0], line.angles[1], line.angles[2]};
    }
    log.records.push_back(std::move(record));
  }
  return log;
}

/// What the numbers of a log are: of the system that it or --crs names. Where the log has longitudes and
/// latitudes, a projected --crs is the project's alone.
FileCoordinates CoordinatesOf(const PhotoProjectOptions& options, const PositionLog& log,
                              const std::string& system) {
  if (!system.empty()) {
    return FileCoordinates::Of(system, *options.log);
  }
  if (options.crs) {
    FileCoordinates coordinates = FileCoordinates::Of(*options.crs, "--crs");
    return log.is_grid || coordinates.IsGeographic() ? coordinates : FileCoordinates::Degrees();
  }
  if (log.is_grid) {
    throw Failure(*options.log, "its positions are eastings and northings, and nobody says of which system",
                  "give --crs CODE");
  }
  return FileCoordinates::Degrees();
}

GroundPosition PositionOf(const PositionRecord& record, const FileCoordinates& coordinates,
                          const std::string& path) {
  const auto position = coordinates.ToGlobe({record.x, record.y, record.height.value_or(0.0)});
  if (!position) {
    throw Failure(record.line > 0 ? LineOf(path, record.line) : path + ", " + record.name,
                  "its position cannot be converted to degrees", "check --crs and the columns");
  }
  return {position->longitude, position->latitude};
}

/// One image to be.
struct Shot {
  const PhotoMetadata* photo = nullptr;
  qvfd::EOP eop;
  std::optional<DateTime> time;
};

void TellAttitudes(const std::map<std::string, std::size_t>& sources, std::size_t without, Report& report) {
  std::string words;
  for (const auto& [source, count] : sources) {
    words += (words.empty() ? "" : "; ") + source + " (" + std::to_string(count) + ")";
  }
  report.Use("angles", (words.empty() ? "none is told" : words) +
                           "; kept as navigation angles: omega roll, phi -pitch, kappa yaw, times 0.0174533");
  report.Note(without, "image has no known attitude: its angles are 0",
              "images have no known attitude: their angles are 0");
}

std::vector<Shot> ShotsOfPhotos(const std::vector<PhotoMetadata>& photos, const std::string& folder,
                                Report& report) {
  std::vector<Shot> shots;
  std::map<std::string, std::size_t> attitudes;
  std::size_t without = 0;
  std::size_t withoutHeight = 0;
  std::size_t withoutPosition = 0;
  report.decisions.columns = DecisionColumns();
  for (const PhotoMetadata& photo : photos) {
    const bool placed = photo.longitude && photo.latitude;
    report.decisions.rows.push_back(
        {photo.name, "", "", "", "", placed ? "its own position" : "it has no position and was left out"});
    if (!placed) {
      ++withoutPosition;
      continue;
    }
    Shot shot{&photo, {}, photo.time};
    shot.eop.x = *photo.longitude;
    shot.eop.y = *photo.latitude;
    shot.eop.z = photo.altitude.value_or(0.0);
    withoutHeight += photo.altitude ? 0U : 1U;
    if (photo.attitude) {
      StoreNavigation(*photo.attitude, shot.eop);
      ++attitudes[photo.attitude_from];
    } else {
      ++without;
    }
    shots.push_back(shot);
  }
  if (shots.empty()) {
    throw Failure(folder, "none of the photos has a position", "give a position log: --log FILE");
  }
  report.Use("positions", "longitude and latitude of the photos' GPS, WGS 84");
  report.Use("heights", "above mean sea level, as EXIF has them");
  TellAttitudes(attitudes, without, report);
  report.Lose(withoutPosition, "photos without a position");
  report.Note(withoutHeight, "image has no known height: it is 0", "images have no known height: it is 0");
  return shots;
}

std::vector<Shot> ShotsOfLog(const PhotoProjectOptions& options, const std::vector<PhotoMetadata>& photos,
                             Report& report) {
  std::string system;
  const PositionLog log = LogOf(options, system);
  report.read.emplace_back("positions", log.records.size());
  report.notes.push_back("the log is a " + log.format);
  {
    Notes notes(report);
    for (const std::string& note : log.notes) {
      notes.Add("log: " + note);
    }
  }
  const FileCoordinates coordinates = CoordinatesOf(options, log, system);
  report.Use("positions", "of the log, in " + coordinates.Description() + "; kept as WGS 84 degrees");
  std::vector<MatchRecord> records;
  std::vector<std::string> names;
  for (const PositionRecord& record : log.records) {
    records.push_back(
        {record.index, record.name, record.time, PositionOf(record, coordinates, *options.log)});
    names.push_back(!record.name.empty() ? record.name
                    : record.index       ? std::to_string(*record.index)
                                         : "line " + std::to_string(record.line));
  }
  const Match match = Matched(records, names, photos, options.photos, report);
  std::vector<Shot> shots;
  std::map<std::string, std::size_t> attitudes;
  std::size_t without = 0;
  std::size_t withoutHeight = 0;
  for (const Decision& decision : match.decisions) {
    if (!decision.photo || !decision.record) {
      continue;
    }
    const PositionRecord& record = log.records[*decision.record];
    const PhotoMetadata& photo = photos[*decision.photo];
    Shot shot{&photo, {}, photo.time};
    shot.eop.x = records[*decision.record].position->longitude;
    shot.eop.y = records[*decision.record].position->latitude;
    shot.eop.z = record.height.value_or(0.0);
    withoutHeight += record.height ? 0U : 1U;
    if (const auto& attitude = record.attitude ? record.attitude : photo.attitude) {
      StoreNavigation(*attitude, shot.eop);
      ++attitudes[record.attitude ? "roll, pitch and yaw of the log (pitch 0 straight down)"
                                  : photo.attitude_from];
    } else {
      ++without;
    }
    shots.push_back(shot);
  }
  report.Use("heights", log.heights_are_ellipsoidal
                            ? "above the ellipsoid, as the log's column says; kept as they are"
                            : "as the log has them; they should be above mean sea level");
  TellAttitudes(attitudes, without, report);
  report.Note(withoutHeight, "image has no known height: it is 0", "images have no known height: it is 0");
  return shots;
}

}  // namespace

Report AddPhotos(const PhotoOptions& options, qvprj::QvProject& project) {
  Report report;
  const std::vector<PhotoMetadata> photos = ReadablePhotos(options.folder, report);
  qvfd::ImageInfoSet images = project.GetImageInfoSet();
  std::vector<MatchRecord> records;
  std::vector<std::string> names;
  for (const qvfd::ImageInfo& image : images) {
    const qvfd::EOP& eop = image.GetEOP();
    MatchRecord record;
    record.index = image.Id();
    if (eop.x != 0.0 || eop.y != 0.0) {
      record.position = GroundPosition{eop.x, eop.y};
    }
    records.push_back(std::move(record));
    names.push_back(std::to_string(image.Id()));
  }
  report.read.emplace_back("positions", records.size());
  const Match match = Matched(records, names, photos, options, report);

  std::vector<const PhotoMetadata*> used;
  for (const Decision& decision : match.decisions) {
    if (decision.photo && decision.record) {
      used.push_back(&photos[*decision.photo]);
    }
  }
  qvfd::CameraInfoSet cameras = project.GetCameraInfoSet();
  const bool made = cameras.Size() == 0;
  const std::map<CameraKey, int> ids = made ? AddCameras(used, cameras, report) : std::map<CameraKey, int>();
  if (!made) {
    report.notes.emplace_back("the project has cameras already; none was made of the photos");
  }
  for (const Decision& decision : match.decisions) {
    if (!decision.photo || !decision.record) {
      continue;
    }
    const PhotoMetadata& photo = photos[*decision.photo];
    const auto position = static_cast<int>(*decision.record);
    qvfd::ImageInfo* const image = images.GetImage(position);
    image->SetName(photo.name);
    image->SetPath(StoredPath(photo.path, options.project));
    if (made) {
      images.GetImageExt(position)->camera_id = ids.at(KeyOf(photo));
    }
  }
  const std::size_t strips = AssignStrips(images);
  report.written = {{"images with a photo", used.size()},
                    {"images without a photo", static_cast<std::size_t>(images.Size()) - used.size()},
                    {"cameras", static_cast<std::size_t>(cameras.Size())},
                    {"strips", strips}};
  project.SetImageInfoSet(images);
  project.SetCameraInfoSet(cameras);
  return report;
}

Report ImportPhotos(const PhotoProjectOptions& options, qvprj::QvProject& project) {
  Report report;
  const auto system = options.crs ? std::optional(SystemOfCode(*options.crs)) : std::nullopt;
  const std::vector<PhotoMetadata> photos = ReadablePhotos(options.photos.folder, report);
  std::vector<Shot> shots = options.log ? ShotsOfLog(options, photos, report)
                                        : ShotsOfPhotos(photos, options.photos.folder, report);
  if (!options.log && options.photos.report) {
    WriteDecisions(*options.photos.report, report.decisions);
    report.files.push_back(*options.photos.report);
  }
  const bool timed =
      std::all_of(shots.begin(), shots.end(), [](const Shot& shot) { return shot.time.has_value(); });
  if (timed) {
    std::stable_sort(shots.begin(), shots.end(),
                     [](const Shot& a, const Shot& b) { return a.time->seconds < b.time->seconds; });
  }
  report.Use("ids", timed ? "from 1 in the order of the photos' times"
                          : "from 1 in the order of the photos' names: not all of them tell their time");

  std::vector<const PhotoMetadata*> used;
  used.reserve(shots.size());
  for (const Shot& shot : shots) {
    used.push_back(shot.photo);
  }
  qvfd::CameraInfoSet cameras;
  std::map<CameraKey, int> ids;
  if (options.cameras.empty()) {
    ids = AddCameras(used, cameras, report);
  }
  for (const qvfd::CameraInfo& camera : options.cameras) {
    cameras.AddCamera(camera);
  }
  qvfd::ImageInfoSet images;
  images.Reserve(static_cast<int>(shots.size()));
  for (std::size_t i = 0; i < shots.size(); ++i) {
    const PhotoMetadata& photo = *shots[i].photo;
    images.AddImage(static_cast<int>(i + 1), photo.name, StoredPath(photo.path, options.photos.project),
                    shots[i].eop, ids.empty() ? options.cameras.front().id : ids.at(KeyOf(photo)), 1, true);
  }
  const std::size_t strips = AssignStrips(images);
  report.written = {{"images", static_cast<std::size_t>(images.Size())},
                    {"cameras", static_cast<std::size_t>(cameras.Size())},
                    {"strips", strips}};
  qvprj::PrjInfo& record = project.GetPrjInfo();
  record.coordinate_id = system ? system->id : -1;
  if (timed) {
    project.string2char(record.date, 32, TextOfDateTime(shots.front().time->seconds));
  }
  project.SetImageInfoSet(images);
  project.SetCameraInfoSet(cameras);
  return report;
}

}  // namespace interchange
