// Flight databases with other files beside them: tables as odd as those of projects, or, where the first byte
// says so, any bytes. It also says whether what was imported is saved.

#include <array>
#include <filesystem>

#include "Target.h"
#include "qvprj/flight/FlyProjectHelper.h"
#include "support/Folder.h"
#include "support/Memory.h"
#include "support/OddTables.h"
#include "support/ProjectChecks.h"
#include "support/Sql.h"

namespace {

using fuzz::Bytes;
using fuzz::Require;
using Mission = qvprj::FlyProjectHelper::FlyPrjInfo;

const fuzz::TableForm kMissionTable = {
    "flight_mission", {"id", "project_id", "flight_task_name", "created_at", "survey_average_altitude"}};
const fuzz::TableForm kPositionTable = {
    "pos_data", {"flight_mission_id", "img_idx", "lat", "lng", "alt_msl", "roll", "pitch", "yaw"}};
const fuzz::TableForm kStatusTable = {"uas_status", {"flight_mission_id", "uas_serial_id"}};
const fuzz::TableForm kProjectTable = {"project", {"id", "project_name"}};

constexpr std::array<const char*, 6> kIds = {"'a'", "'b'", "1", "'1'", "1.5", "'it''s'"};

Bytes OddDatabase(fuzz::Input& input, std::initializer_list<const fuzz::TableForm*> tables) {
  std::vector<std::string> statements = fuzz::OddBeginning(input);
  const auto append = [&statements](std::vector<std::string> more) {
    statements.insert(statements.end(), more.begin(), more.end());
  };
  for (const fuzz::TableForm* table : tables) {
    append(fuzz::OddTable(input, *table, kIds));
  }
  append(fuzz::OddEnd(input, **tables.begin()));
  Bytes file = fuzz::DatabaseOf(statements);
  fuzz::ChangeHeader(input, file);
  return file;
}

/// What lies beside a flight database: databases, photos, folders, links.
void AddSiblings(fuzz::Input& input, const fuzz::Folder& folder) {
  const std::size_t count = input.Below(4);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string path = folder.File(std::string(1, static_cast<char>('a' + i)));
    switch (input.Below(6)) {
      case 0:
        fuzz::WriteFile(path, input.Take(input.Byte()));
        break;
      case 1:
        std::filesystem::create_directory(path);
        break;
      case 2:
        std::filesystem::create_symlink(input.Flag() ? "f.db" : "missing", path);
        break;
      default:
        fuzz::WriteFile(path, OddDatabase(input, {&kProjectTable}));
        break;
    }
  }
}

/// How many missions raw statements give; none when the query fails.
std::optional<std::int64_t> MissionCount(const Bytes& database) {
  return fuzz::IntegerOf(database,
                         "SELECT count(*) FROM (SELECT DISTINCT flight_mission.id, "
                         "flight_mission.flight_task_name, flight_mission.created_at, "
                         "flight_mission.project_id FROM flight_mission, pos_data "
                         "WHERE flight_mission.id = pos_data.flight_mission_id)");
}

/// Imports a mission; saves it where there is a folder for that.
void ImportAndSave(const std::string& path, const std::string& missionId, const Bytes& database,
                   const fuzz::Folder* target) {
  qvprj::FlyProjectHelper helper;
  qvprj::QvProject project;
  const bool read = helper.Read(path, missionId, project);
  const bool quote = missionId.find('\'') != std::string::npos;
  Require(!read || !quote, "an id with a quote in it is no id");
  if (!read) {
    return;
  }
  if (missionId.find('\0') == std::string::npos) {
    const auto images = fuzz::IntegerOf(
        database, "SELECT count(*) FROM pos_data WHERE flight_mission_id = '" + missionId + "'");
    Require(!images || *images == project.GetImageInfoSet().Size(), "every position becomes an image");
  }
  if (target != nullptr) {
    target->Clear();
    fuzz::RequireSavesAndOpensTheSame(project, target->Path(), "imported");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const fuzz::Folder& folder = fuzz::EmptyFolder();
  static const fuzz::Folder saved;
  const std::string path = folder.File("f.db");
  const std::uint8_t choices = input.Byte();
  const bool raw = choices % 4 == 3;
  if (!raw) {
    AddSiblings(input, folder);
  }
  const Bytes database =
      raw ? input.Rest()
          : OddDatabase(input, {&kMissionTable, &kPositionTable, &kStatusTable, &kProjectTable});
  fuzz::WriteFile(path, database);
  const std::vector<std::string> before = folder.Contents();
  std::size_t bytes = 0;
  for (const std::string& file : before) {
    bytes += file.size();
  }

  const fuzz::Folder* const target = choices / 4 % 4 == 0 ? &saved : nullptr;
  std::vector<Mission> missions(1);
  missions[0].id = "there before";
  qvprj::FlyProjectHelper helper;
  bool listed = false;
  {
    const fuzz::MemoryWatch memory(bytes);
    listed = helper.QuickRead(path, missions);
  }
  Require(missions[0].id == "there before", "missions are appended");
  Require(listed || missions.size() == 1, "a list that fails appends nothing");
  if (listed) {
    const auto count = MissionCount(database);
    Require(!count || static_cast<std::size_t>(*count) + 1 == missions.size(), "every mission is listed");
  }
  for (std::size_t i = 1; i < missions.size() && i < 5; ++i) {
    ImportAndSave(path, missions[i].id, database, target);
  }
  ImportAndSave(path, "a", database, target);
  ImportAndSave(path, "a' OR '1' = '1", database, target);
  Require(folder.Contents() == before, "a flight database and its folder stay as they were");
  return 0;
}
