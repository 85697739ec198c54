// Flight databases: listing their missions and importing one.
//
// Of a flight database's tables these columns are relied on:
//   flight_mission  id, project_id, flight_task_name, created_at, survey_average_altitude
//   pos_data        flight_mission_id, img_idx, lat, lng, roll, pitch, yaw (degrees), alt_msl (metres)
//   uas_status      flight_mission_id, uas_serial_id
// and of the databases beside it:
//   project         id, project_name

#include "qvprj/flight/FlyProjectHelper.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "detail/FixedText.h"
#include "detail/NoThrow.h"
#include "detail/NumberText.h"
#include "qvfd/PathHelper.h"
#include "qvprj/flight/RowCollector.h"

namespace qvprj {
namespace {

/// Not pi / 180, and on purpose: projects imported by all earlier hosts have angles made with this factor.
constexpr double kRadiansPerDegree = 0.0174533;

constexpr int kImportedCamera = 0;
constexpr int kImportedStrip = 1;

constexpr char kMissionQuery[] =
    "SELECT DISTINCT flight_mission.id, flight_mission.flight_task_name, flight_mission.created_at,  "
    "flight_mission.project_id FROM flight_mission, pos_data WHERE flight_mission.id = "
    "pos_data.flight_mission_id "
    "ORDER BY flight_mission.created_at DESC";
constexpr char kProjectQuery[] = "SELECT id, project_name FROM project";

// These are followed by the mission id in single quotes.
constexpr char kPositionsOfMission[] =
    "SELECT img_idx, lat, lng, alt_msl, roll, pitch, yaw FROM pos_data WHERE flight_mission_id = ";
constexpr char kInfoOfMission[] =
    "SELECT flight_task_name, created_at, survey_average_altitude FROM flight_mission WHERE id = ";
constexpr char kSerialOfMission[] = "SELECT uas_serial_id FROM uas_status WHERE flight_mission_id = ";

std::string KeyedQuery(const char* query, const std::string& missionId) {
  return query + ("'" + missionId + "'");
}

/// The cells of a query, and how much memory more of them may take.
struct LimitedCells {
  std::vector<std::string>& cells;
  std::size_t left;
};

/// Collects a row; ends the statement where it goes past the limit.
int CollectRowWithin(void* user, int columnCount, char** values, char** names) {
  auto& limited = *static_cast<LimitedCells*>(user);
  std::size_t size = 0;
  for (int column = 0; column < columnCount; ++column) {
    size += sizeof(std::string) +
            (values[column] == nullptr ? 0 : std::char_traits<char>::length(values[column]));
  }
  if (size > limited.left) {
    return 1;
  }
  limited.left -= size;
  return CollectRow(&limited.cells, columnCount, values, names);
}

/// Runs a query and collects its cells: as many as a file of that size can have stored. What goes far beyond
/// that is no flight but a schema that computes values, of which a small file can have as many as it likes.
bool Collect(qvsql::Database& database, std::string query, std::vector<std::string>& cells) {
  constexpr std::size_t kSlack = std::size_t{12} << 20U;
  constexpr std::size_t kMemoryPerByte = 48;
  std::vector<std::string> pages;
  if (!database.ExecSQL("SELECT page_count * page_size FROM pragma_page_count, pragma_page_size", CollectRow,
                        &pages) ||
      pages.empty()) {
    return false;
  }
  const auto fileSize = static_cast<std::size_t>(qvdetail::ParseReal(pages.front()));
  LimitedCells limited{cells, kSlack + kMemoryPerByte * fileSize};
  return database.ExecSQL(std::move(query), CollectRowWithin, &limited);
}

}  // namespace

bool FlyProjectHelper::QuickRead(std::string path, std::vector<FlyPrjInfo>& missions) {
  return qvdetail::NoThrow([&] {
    constexpr std::size_t kColumns = 4;
    qvsql::Database database;
    std::vector<std::string> cells;
    if (!database.Open(path) || !Collect(database, kMissionQuery, cells)) {
      return false;
    }
    const std::size_t before = missions.size();
    try {
      for (std::size_t i = 0; i + kColumns <= cells.size(); i += kColumns) {
        FlyPrjInfo& mission = missions.emplace_back();
        mission.id = std::move(cells[i]);
        mission.flight_task_name = std::move(cells[i + 1]);
        mission.created_at = std::move(cells[i + 2]);
        mission.project_id = std::move(cells[i + 3]);
      }
      UpdateFlyPrjInfo(std::move(path), missions);
    } catch (...) {
      missions.resize(before);
      throw;
    }
    return true;
  });
}

void FlyProjectHelper::UpdateFlyPrjInfo(std::string path, std::vector<FlyPrjInfo>& missions) {
  std::vector<std::string> files;
  qvfd::PathHelper::GetFileNames(qvfd::PathHelper::GetFileDirectory(std::move(path)), files);
  std::vector<std::pair<std::string, std::string>> projects;  // id and name, the first of an id counts
  for (std::string& file : files) {
    if (!qvsql::Database::HasHeader(file)) {
      continue;  // most files of a flight's folder are photos
    }
    qvsql::Database database;
    std::vector<std::string> cells;
    if (database.Open(std::move(file)) && Collect(database, kProjectQuery, cells) && cells.size() == 2) {
      projects.emplace_back(std::move(cells[0]), std::move(cells[1]));
    }
  }
  for (FlyPrjInfo& mission : missions) {
    const auto project = std::find_if(projects.begin(), projects.end(), [&mission](const auto& entry) {
      return entry.first == mission.project_id;
    });
    if (project != projects.end()) {
      mission.project_name = project->second;
    }
  }
}

bool FlyProjectHelper::Read(std::string path, std::string missionId, QvProject& project) {
  return qvdetail::NoThrow([&] {
    // The id becomes part of a statement as it stands; with a quote in it, it would be another statement.
    if (missionId.find('\'') != std::string::npos) {
      return false;
    }
    qvsql::Database database;
    return database.Open(path) && ReadImagePos(database, missionId, project.GetImageInfoSet()) &&
           ReadPrjInfo(database, missionId, project.GetPrjInfo());
  });
}

bool FlyProjectHelper::ReadImagePos(qvsql::Database& db, std::string missionId, qvfd::ImageInfoSet& images) {
  constexpr std::size_t kColumns = 7;
  std::vector<std::string> cells;
  if (!Collect(db, KeyedQuery(kPositionsOfMission, missionId), cells)) {
    return false;
  }
  for (std::size_t i = 0; i + kColumns <= cells.size(); i += kColumns) {
    const auto real = [&cells, i](std::size_t column) { return qvdetail::ParseReal(cells[i + column]); };
    qvfd::EOP eop;
    eop.y = real(1);
    eop.x = real(2);
    eop.z = real(3);
    eop.omega = real(4) * kRadiansPerDegree;
    eop.phi = -(real(5) * kRadiansPerDegree);
    eop.kappa = real(6) * kRadiansPerDegree;
    images.AddImage(qvdetail::ParseInteger(cells[i]), "", "", eop, kImportedCamera, kImportedStrip, true);
  }
  return true;
}

bool FlyProjectHelper::ReadPrjInfo(qvsql::Database& db, std::string missionId, PrjInfo& info) {
  constexpr std::size_t kNameCapacity = 64;
  constexpr std::size_t kDateCapacity = 32;
  constexpr std::size_t kSerialCapacity = 25;
  std::vector<std::string> cells;
  if (!Collect(db, KeyedQuery(kInfoOfMission, missionId), cells) || cells.size() < 3) {
    return false;
  }
  qvdetail::CopyText(info.project_name, kNameCapacity, cells[0]);
  qvdetail::CopyText(info.date, kDateCapacity, cells[1]);
  info.height = qvdetail::ParseReal(cells[2]);

  std::vector<std::string> serials;
  if (Collect(db, KeyedQuery(kSerialOfMission, missionId), serials) && !serials.empty()) {
    std::fill_n(info.description, kSerialCapacity, '\0');
    qvdetail::CopyText(info.description, kSerialCapacity, serials.front());
  }
  return true;
}

bool FlyProjectHelper::ReadCamera(qvsql::Database& /*db*/, std::string /*missionId*/,
                                  qvfd::CameraInfoSet& /*cameras*/) {
  return true;
}

}  // namespace qvprj
