// Everything that can fail, fails once: each system call on a file, each allocation of ours and each of the SQL
// engine's, in every operation. Each ends as its header says, throws nothing, leaves no file open, and works the
// next time. Leaks are found where these tests run under the address and leak sanitizers; there each fault is tried,
// elsewhere each third one, for the time that takes.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <functional>
#include <ostream>
#include <utility>

#include "qvprj/check/ProjectCheck.h"
#include "qvprj/check/Recovery.h"
#include "qvprj/flight/FlyProjectHelper.h"
#include "support/ContractsFailingMemory.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"
#include "support/RawSqlite.h"
#include "support/SystemCalls.h"
#include "support/TestFiles.h"

namespace {

using qvprj::FlyProjectHelper;
using qvprj::QvProject;
using support::Fault;
namespace fs = std::filesystem;

// ---- The engine's memory -----------------------------------------------------------------------------

sqlite3_mem_methods enginesOwn;
long engineAllows = -1;  // allocations that still succeed; -1: all
bool engineStruck = false;

bool EngineFails() {
  if (engineAllows < 0) {
    return false;
  }
  if (engineAllows > 0) {
    --engineAllows;
    return false;
  }
  engineStruck = true;
  return true;
}

void* EngineAllocates(int size) {
  return EngineFails() ? nullptr : enginesOwn.xMalloc(size);
}

void* EngineReallocates(void* memory, int size) {
  return EngineFails() ? nullptr : enginesOwn.xRealloc(memory, size);
}

/// While the object lives, `allowed` allocations of the engine succeed and every later one fails.
class FailingEngine {
 public:
  explicit FailingEngine(long allowed) {
    engineStruck = false;
    engineAllows = allowed;
  }
  ~FailingEngine() { engineAllows = -1; }
  FailingEngine(const FailingEngine&) = delete;
  FailingEngine& operator=(const FailingEngine&) = delete;

  [[nodiscard]] bool Struck() const { return engineStruck; }
};

/// Before the first use of the engine, which takes no other allocator afterwards.
const bool engineIsPrepared = [] {
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &enginesOwn);
  sqlite3_mem_methods failing = enginesOwn;
  failing.xMalloc = EngineAllocates;
  failing.xRealloc = EngineReallocates;
  return sqlite3_config(SQLITE_CONFIG_MALLOC, &failing) == SQLITE_OK;
}();

// ---- The operations ----------------------------------------------------------------------------------

/// What the operations work on; the folder has a project "p.db", tables of all kinds in "t.db" and, without its
/// first page, "d.db", an empty database "e.db", and a flight "flight.db" with a sibling.
struct Field {
  QvProject project;  // what is saved
  QvProject opened;   // what is read into, again and again
  std::string folder;
  std::string copy;  // another argument that is made before
  qvprj::ProjectReport checked;
  qvprj::RecoveryReport recovered;

  [[nodiscard]] std::string Path(const char* name) const { return folder + "/" + name; }
};

/// The operation's argument is made before memory fails: it is the caller's.
struct Operation {
  const char* name;
  const char* file;
  std::function<bool(Field&, std::string path)> run;
  std::function<std::string(Field&)> what_is_wrong;  // after it has succeeded without a fault
};

std::ostream& operator<<(std::ostream& out, const Operation& operation) {
  return out << operation.name;
}

std::string Nothing(Field& /*field*/) {
  return {};
}

std::string OpensAsSaved(Field& field) {
  QvProject again;
  if (!again.OpenPrj(field.Path("p.db"))) {
    return "does not open";
  }
  again.GetPrjInfo().file_path = field.project.GetPrjInfo().file_path;
  return support::FirstDifference(again, field.project);
}

const support::Bytes kJournal = {'o', 'l', 'd'};

bool Copies(Field& field, std::string path) {
  QvProject::CopyTo(std::move(path), std::move(field.copy));
  return true;
}

std::string AreCopied(Field& field) {
  const bool both = fs::exists(field.Path("copy.db")) && fs::exists(field.Path("copy.gb"));
  return both ? std::string() : std::string("not copied");
}

using Member = bool (QvProject::*)(qvsql::Database&);

Operation Reads(const char* name, const std::function<bool(QvProject&, qvsql::Database&)>& read) {
  return {name, "t.db",
          [read](Field& field, std::string path) {
            qvsql::Database database;
            return database.Open(std::move(path)) && read(field.opened, database);
          },
          Nothing};
}

/// False when no row was written, whatever failed.
Operation Writes(const char* name, const char* table, Member create, Member write) {
  return {name, "e.db",
          [create, write](Field& field, std::string path) {
            qvsql::Database database;
            return database.Open(std::move(path)) && (field.project.*create)(database) &&
                   (field.project.*write)(database);
          },
          [table](Field& field) {
            const std::string all = std::string("SELECT * FROM ") + table;
            return support::Query(field.Path("e.db"), all) == support::Query(field.Path("t.db"), all)
                       ? std::string()
                       : "other rows";
          }};
}

std::vector<Operation> Operations() {
  return {
      {"OpenPrj", "p.db",
       [](Field& field, std::string path) { return field.opened.OpenPrj(std::move(path)); },
       [](Field& field) {
         field.opened.GetPrjInfo().file_path = field.project.GetPrjInfo().file_path;
         return support::FirstDifference(field.opened, field.project);
       }},
      {"QuickOpenPrj", "p.db",
       [](Field& field, std::string path) { return field.opened.QuickOpenPrj(std::move(path)); }, Nothing},
      {"Save", "p.db", [](Field& field, std::string path) { return field.project.Save(std::move(path)); },
       OpensAsSaved},
      {"SaveDurably", "p.db",
       [](Field& field, std::string path) { return field.project.SaveDurably(std::move(path)); },
       OpensAsSaved},
      {"CopyTo", "p.db", Copies, AreCopied},
      {"CopyToWithAJournal", "p.db", Copies,
       [](Field& field) {
         const bool isCopied = support::ReadBytes(field.Path("copy.db-journal")) == kJournal;
         return isCopied ? AreCopied(field) : std::string("no journal");
       }},
      {"WriteTracks", "tracks.gb",
       [](Field& field, std::string path) { return field.project.WriteTracks(std::move(path)); }, Nothing},
      Reads("ReadPrjRecords",
            [](QvProject& project, qvsql::Database& database) {
              return project.ReadPrjRecords(database, "p");
            }),
      Reads("ReadCameraRecords", std::mem_fn(&QvProject::ReadCameraRecords)),
      Reads("ReadImageRecords", std::mem_fn(&QvProject::ReadImageRecords)),
      Reads("ReadGCPRecords", std::mem_fn(&QvProject::ReadGCPRecords)),
      Reads("ReadCPRecords", std::mem_fn(&QvProject::ReadCPRecords)),
      Reads("ReadFeatures", std::mem_fn(static_cast<Member>(&QvProject::ReadFeatures))),
      Reads("ReadMatches", std::mem_fn(static_cast<Member>(&QvProject::ReadMatches))),
      Writes("WritePrjRecords", "data_project", &QvProject::CreatePrjTable, &QvProject::WritePrjRecords),
      Writes("WriteCameraRecords", "data_camera", &QvProject::CreateCameraTable,
             &QvProject::WriteCameraRecords),
      Writes("WriteImageRecords", "data_image", &QvProject::CreateImageTable, &QvProject::WriteImageRecords),
      Writes("WriteGCPRecords", "data_gcp", &QvProject::CreateGCPTable, &QvProject::WriteGCPRecords),
      Writes("WriteCPRecords", "data_cp", &QvProject::CreateCPTable, &QvProject::WriteCPRecords),
      Writes("WriteFeatures", "data_feature", &QvProject::CreateFeatureTable, &QvProject::WriteFeatures),
      Writes("WriteMatches", "data_match", &QvProject::CreateMatchTable, &QvProject::WriteMatches),
      {"CheckProject", "p.db",
       [](Field& field, std::string path) { return qvprj::CheckProject(path, field.checked); },
       [](Field& field) { return field.checked.IsSound() ? std::string() : field.checked.findings[0].text; }},
      {"RecoverProject", "p.db",
       [](Field& field, std::string path) {
         return qvprj::RecoverProject(path, field.copy, field.recovered);
       },
       [](Field& field) {
         return field.recovered.IsComplete() ? std::string() : std::string("not complete");
       }},
      {"RecoverWithoutFirstPage", "d.db",
       [](Field& field, std::string path) {
         return qvprj::RecoverProject(path, field.copy, field.recovered);
       },
       [](Field& field) {
         const bool isFound =
             field.recovered.tables.size() == 7 && field.recovered.tables[2].found_by_scan == 2;
         return isFound ? std::string() : std::string("not found");
       }},
      {"QuickRead", "flight.db",
       [](Field& /*field*/, std::string path) {
         std::vector<FlyProjectHelper::FlyPrjInfo> missions;
         const bool read = FlyProjectHelper().QuickRead(std::move(path), missions);
         return read && missions.size() == 1 && missions.front().project_name == "quarry";
       },
       Nothing},
      {"ReadMission", "flight.db",
       [](Field& field, std::string path) {
         field.opened.GetImageInfoSet().Clear();
         return FlyProjectHelper().Read(std::move(path), "m", field.opened) &&
                field.opened.GetImageInfoSet().Size() == 2;
       },
       Nothing},
  };
}

// ---- The faults --------------------------------------------------------------------------------------

#if defined(__SANITIZE_ADDRESS__)
constexpr long kStep = 1;
#else
constexpr long kStep = 3;
#endif

class FaultTest : public ::testing::TestWithParam<Operation> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(engineIsPrepared);
    support::ProjectShape shape;
    shape.cameras = 1;
    shape.images = 2;
    shape.ground_points = 1;
    shape.pairs = 2;
    shape.tracks = 2;
    field_.project = support::BuildProject(shape);
    field_.folder = folder_.Path().string();
    ASSERT_TRUE(field_.project.Save(field_.Path("p.db")));
    MakeTables();
    support::Bytes damaged = support::ReadBytes(field_.Path("t.db"));
    constexpr std::size_t kPageSize = 16384;
    std::fill_n(damaged.begin(), kPageSize, static_cast<unsigned char>(0));
    support::WriteBytes(field_.Path("d.db"), damaged);
    support::Execute(field_.Path("e.db"), "PRAGMA user_version = 1");
    support::Execute(
        field_.Path("flight.db"),
        "CREATE TABLE flight_mission(id, flight_task_name, created_at, project_id,"
        " survey_average_altitude);"
        "CREATE TABLE pos_data(flight_mission_id, img_idx, lat, lng, alt_msl, roll, pitch, yaw);"
        "CREATE TABLE uas_status(flight_mission_id, uas_serial_id);"
        "INSERT INTO pos_data VALUES('m', 1, 31, 118, 200, 0, 0, 0), ('m', 2, 31, 118, 200, 0, 0, 0);"
        "INSERT INTO flight_mission VALUES('m', 'a name that is no short string', '2024', 'P', 100);");
    support::Execute(field_.Path("project.db"),
                     "CREATE TABLE project(id, project_name); INSERT INTO project VALUES('P', 'quarry')");
    if (GetParam().name == std::string("CopyToWithAJournal")) {
      support::WriteBytes(field_.Path("p.db-journal"), kJournal);
    }
    before_ = support::Snapshot(folder_.Path());
  }

  void MakeTables() {
    qvsql::Database database;
    ASSERT_TRUE(database.Create(field_.Path("t.db")));
    QvProject& p = field_.project;
    ASSERT_TRUE(p.CreatePrjTable(database) && p.WritePrjRecords(database) && p.CreateCameraTable(database) &&
                p.WriteCameraRecords(database) && p.CreateImageTable(database) &&
                p.WriteImageRecords(database) && p.CreateGCPTable(database) && p.WriteGCPRecords(database) &&
                p.CreateCPTable(database) && p.WriteCPRecords(database) && p.CreateFeatureTable(database) &&
                p.WriteFeatures(database) && p.CreateMatchTable(database) && p.WriteMatches(database));
  }

  /// How one try went: what the operation returned, and whether something failed in it.
  struct Try {
    bool result;
    bool struck;
  };

  /// Runs the operation while `fail()` lives, with its arguments made before.
  template <class Fail>
  Try Run(Fail fail) {
    std::string path = field_.Path(GetParam().file);
    field_.copy = field_.Path("copy.db");
    const auto faults = fail();
    const bool result = GetParam().run(field_, std::move(path));
    return {result, faults.Struck()};
  }

  bool RunWithoutFaults() {
    std::string path = field_.Path(GetParam().file);
    field_.copy = field_.Path("copy.db");
    return GetParam().run(field_, std::move(path));
  }

  /// Lets one thing after the other fail, as `fail(number)` has it, until there is nothing left to fail.
  template <class Fail>
  void FailEach(const std::string& what, int least, Fail fail) {
    constexpr long kMany = 100'000;
    long number = 0;
    for (bool struck = true; struck; number += kStep) {
      ++tries_;
      ASSERT_LT(number, kMany);
      const Try attempt = Run([&] { return fail(number); });
      struck = attempt.struck;
      const std::string fault = what + " " + std::to_string(number);
      ASSERT_NO_FATAL_FAILURE(CheckAfter(attempt.result, fault));
      Restore();
      if (!struck || number % Apart() == 0) {
        ASSERT_NO_FATAL_FAILURE(CheckTheNextTime(fault));
        Restore();
      }
      ASSERT_TRUE(attempt.result || struck) << what << " " << number;
    }
    EXPECT_GT(number, least) << "hardly anything was seen to fail";
    RecordProperty("tries", std::to_string(tries_));
  }

  /// The folder as it was at first.
  void Restore() {
    for (const auto& entry : fs::directory_iterator(folder_.Path())) {
      fs::remove(entry.path());
    }
    for (const auto& [path, bytes] : before_) {
      support::WriteBytes((folder_.Path() / path).string(), bytes);
    }
  }

  /// After a try with a fault, which `fault` describes.
  void CheckAfter(bool result, const std::string& fault) {
    ASSERT_EQ(support::OpenFilesBelow(field_.folder), 0) << fault;
    if (GetParam().name == std::string("SaveDurably")) {
      // Old and new have the same content here, so what is left must open as that, whatever the result.
      ASSERT_EQ(OpensAsSaved(field_), "") << fault;
    } else if (result) {
      ASSERT_EQ(WhatIsWrongWithPartialSuccess(), "") << fault;
    }
  }

  /// After how many tries the operation is done without a fault: after each one where an object is used again.
  /// Recovering has none, so that a try leaves little behind, and takes longest.
  [[nodiscard]] static long Apart() { return std::string(GetParam().name).starts_with("Recover") ? 10 : 1; }

  void CheckTheNextTime(const std::string& fault) {
    ASSERT_TRUE(RunWithoutFaults()) << "the next time, after " << fault;
    ASSERT_EQ(GetParam().what_is_wrong(field_), "") << "the next time, after " << fault;
    ASSERT_EQ(support::OpenFilesBelow(field_.folder), 0) << fault;
  }

  /// A project may open without its tie points and ground control: what could be read. Files that cannot be
  /// copied are passed over in silence. What cannot be read is a finding, and is not recovered.
  std::string WhatIsWrongWithPartialSuccess() {
    const std::string name = GetParam().name;
    const bool mayBePart = name == "OpenPrj" || name.starts_with("CopyTo") || name == "CheckProject" ||
                           name.starts_with("Recover");
    return mayBePart ? std::string() : GetParam().what_is_wrong(field_);
  }

  support::TempFolder folder_;
  long tries_ = 0;
  Field field_;
  std::vector<std::pair<std::string, support::Bytes>> before_;
};

TEST_P(FaultTest, EverySystemCall) {
  struct Way {
    Fault fault;
    bool lasting;
    const char* name;
  };
  const Way ways[] = {{Fault::kDeviceError, false, "a device error"},
                      {Fault::kDeviceError, true, "a device that is gone"},
                      {Fault::kDiskFull, true, "a full disk"},
                      {Fault::kNoPermission, false, "no permission"},
                      {Fault::kShort, false, "a short read or write"}};
  for (const Way& way : ways) {
    ASSERT_NO_FATAL_FAILURE(FailEach(std::string(way.name) + " in call", 3, [&](long number) {
      return support::FailingCalls(field_.folder, number, way.fault, way.lasting);
    }));
  }
}

TEST_P(FaultTest, EveryAllocation) {
  FailEach("allocation", 3, [](long number) { return support::FailingMemory(number); });
}

TEST_P(FaultTest, EveryAllocationOfTheEngine) {
  const std::string name = GetParam().name;
  const bool usesEngine = name != "WriteTracks" && !name.starts_with("CopyTo");
  FailEach("allocation of the engine", usesEngine ? 3 : 0, [](long number) { return FailingEngine(number); });
}

INSTANTIATE_TEST_SUITE_P(All, FaultTest, ::testing::ValuesIn(Operations()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
