// What a program that embeds the library may have done to its process, and what may happen to its files.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <memory>

#include "qvprj/flight/FlyProjectHelper.h"
#include "support/ContractsLocale.h"
#include "support/ContractsProcess.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

namespace {

using qvprj::FlyProjectHelper;
using qvprj::QvProject;
namespace fs = std::filesystem;

/// What may come back differently: the path.
std::string DifferenceFrom(QvProject& expected, QvProject& opened) {
  opened.GetPrjInfo().file_path = expected.GetPrjInfo().file_path;
  return support::FirstDifference(opened, expected);
}

/// Saves in every way, opens, and tells what differs.
std::string RoundTrip(const std::string& path) {
  support::ProjectShape shape;
  shape.any_numbers = true;
  QvProject project = support::BuildProject(shape);
  QvProject opened;
  if (!project.Save(path) || !opened.OpenPrj(path)) {
    return "not saved or not opened";
  }
  if (std::string difference = DifferenceFrom(project, opened); !difference.empty()) {
    return difference;
  }
  QvProject again;
  if (!project.SaveDurably(path) || !again.OpenPrj(path)) {
    return "not saved durably or not opened";
  }
  return DifferenceFrom(project, again);
}

void MakeFlight(const std::string& path, const std::string& journalMode = "DELETE") {
  support::Execute(path,
                   "PRAGMA journal_mode = " + journalMode +
                       ";CREATE TABLE flight_mission(id TEXT, project_id TEXT, flight_task_name TEXT,"
                       " created_at TEXT, survey_average_altitude REAL);"
                       "CREATE TABLE pos_data(flight_mission_id TEXT, img_idx INTEGER, lat REAL, lng REAL,"
                       " alt_msl REAL, roll REAL, pitch REAL, yaw REAL);"
                       "CREATE TABLE uas_status(flight_mission_id TEXT, uas_serial_id TEXT);"
                       "INSERT INTO flight_mission VALUES('m', 'p', 'quarry', '2024', 100.5);"
                       "INSERT INTO pos_data VALUES('m', 1, 31.25, 118.5, 200.25, 0, 0, 90);");
}

bool Imports(const std::string& path) {
  QvProject project;
  std::vector<FlyProjectHelper::FlyPrjInfo> missions;
  FlyProjectHelper helper;
  if (!helper.QuickRead(path, missions) || missions.size() != 1 || !helper.Read(path, "m", project)) {
    return false;
  }
  const qvfd::ImageInfo* const image = project.GetImageInfoSet().FindImage(1);
  return image != nullptr && image->GetEOP().y == 31.25 && image->GetEOP().z == 200.25;
}

// ---- Locales and names -------------------------------------------------------------------------------

struct Locale {
  const char* definition;
  const char* charmap;
  const char* name;  // of a folder, as such a system writes it
};

class LocaleTest : public ::testing::TestWithParam<Locale> {};

TEST_P(LocaleTest, ProjectsAndFlightsAreTheSame) {
  const support::GeneratedLocale locale(GetParam().definition, GetParam().charmap);
  if (!locale.InForce()) {
    GTEST_SKIP() << "localedef has not " << GetParam().definition << "." << GetParam().charmap;
  }
  const support::CommaStreams commas;
  const support::TempFolder folder;
  fs::create_directory(folder.File(GetParam().name));
  const std::string inside = folder.File(GetParam().name) + "/" + GetParam().name;
  EXPECT_EQ(RoundTrip(inside + ".db"), "");
  MakeFlight(inside + ".flight.db");
  EXPECT_TRUE(Imports(inside + ".flight.db"));
}

INSTANTIATE_TEST_SUITE_P(Systems, LocaleTest,
                         ::testing::Values(Locale{"de_DE", "UTF-8",
                                                  "Vermessung S\xC3\xBC"
                                                  "d"},
                                           Locale{"de_DE", "ISO-8859-1",
                                                  "Vermessung S\xFC"
                                                  "d"},
                                           Locale{"zh_CN", "GBK", "\xB2\xE2\xBB\xE6\x81\x5C"},
                                           Locale{"ja_JP", "SHIFT_JIS", "\x91\xAA\x97\xCA\x83\x5C"},
                                           Locale{"zh_CN", "UTF-8", "\xE6\xB5\x8B\xE7\xBB\x98"}),
                         [](const auto& test) {
                           std::string name = std::string(test.param.definition) + test.param.charmap;
                           std::erase_if(name, [](char c) { return c == '-' || c == '_'; });
                           return name;
                         });

TEST(Names, ThatAreNoTextInAnyEncodingAreNamesAllTheSame) {
  const support::TempFolder folder;
  EXPECT_EQ(RoundTrip(folder.File("\xFF\xFE\x80 %s %n .. '\"; $(x) `y` \n.db")), "");
}

TEST(Names, OfFourThousandBytesFailAndLeaveNothing) {
  const support::TempFolder folder;
  std::string path = folder.Path().string();
  while (path.size() < 4000) {
    path += "/" + std::string(200, 'd');
  }
  QvProject project;
  std::vector<FlyProjectHelper::FlyPrjInfo> missions;
  EXPECT_FALSE(project.OpenPrj(path + "/p.db"));
  EXPECT_FALSE(project.QuickOpenPrj(path + "/p.db"));
  EXPECT_FALSE(project.Save(path + "/p.db"));
  EXPECT_FALSE(project.SaveDurably(path + "/p.db"));
  QvProject::CopyTo(path + "/p.db", folder.File("copy.db"));
  EXPECT_FALSE(FlyProjectHelper().QuickRead(path + "/flight.db", missions));
  EXPECT_TRUE(folder.Names().empty());
}

// ---- Files and folders -------------------------------------------------------------------------------

TEST(Files, AFlightLeftInWriteAheadModeIsImported) {
  const support::TempFolder folder;
  MakeFlight(folder.File("flight.db"), "WAL");
  const auto before = support::Snapshot(folder.Path());
  EXPECT_TRUE(Imports(folder.File("flight.db")));
  EXPECT_EQ(support::Snapshot(folder.Path()), before);
}

TEST(Files, AFlightWhoseTextsHoldMegabytesIsImported) {
  const support::TempFolder folder;
  MakeFlight(folder.File("flight.db"));
  support::Execute(folder.File("flight.db"),
                   "UPDATE flight_mission SET flight_task_name = hex(zeroblob(4000000)), created_at = "
                   "hex(zeroblob(1000000)); INSERT INTO uas_status VALUES('m', hex(zeroblob(2000000)))");
  EXPECT_TRUE(Imports(folder.File("flight.db")));
}

TEST(Files, AMissionIdThatIsAStatementRunsNone) {
  const support::TempFolder folder;
  MakeFlight(folder.File("flight.db"));
  const auto before = support::Snapshot(folder.Path());
  for (const char* const id : {"x'; DELETE FROM pos_data; --", "x' OR '1' = '1", "'; DROP TABLE pos_data"}) {
    QvProject project;
    EXPECT_FALSE(FlyProjectHelper().Read(folder.File("flight.db"), id, project)) << id;
    EXPECT_EQ(project.GetImageInfoSet().Size(), 0) << id;
  }
  EXPECT_EQ(support::Snapshot(folder.Path()), before);
}

TEST(Files, AFlightOnReadOnlyMediaIsImported) {
  const support::TempFolder folder;
  MakeFlight(folder.File("flight.db"), "WAL");
  const support::ReadOnlyFolder closed(folder.Path());
  EXPECT_EQ(support::AsOrdinaryUser([&] { return Imports(folder.File("flight.db")); }), true);
}

TEST(Files, AProjectOnAFolderThatDisappears) {
  const support::TempFolder folder;
  fs::create_directory(folder.File("stick"));
  const std::string path = folder.File("stick") + "/p.db";
  QvProject project = support::BuildProject();
  ASSERT_TRUE(project.Save(path));
  QvProject opened;
  ASSERT_TRUE(opened.OpenPrj(path));
  fs::remove_all(folder.File("stick"));
  EXPECT_FALSE(opened.Save(path));
  EXPECT_FALSE(opened.SaveDurably(path));
  EXPECT_FALSE(QvProject().OpenPrj(path));
  EXPECT_EQ(DifferenceFrom(project, opened), "") << "what is in memory stays";
  fs::create_directory(folder.File("stick"));
  EXPECT_TRUE(opened.SaveDurably(path));
}

TEST(Files, AProjectThatIsLockedIsWaitedForButNotForEver) {
  const support::TempFolder folder;
  ASSERT_TRUE(support::BuildProject().Save(folder.File("p.db")));
  // Another process: in one process, closing any handle of a file gives its locks up.
  int ready[2];
  int done[2];
  ASSERT_EQ(pipe(ready) + pipe(done), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    sqlite3* engine = nullptr;
    const bool locked = sqlite3_open(folder.File("p.db").c_str(), &engine) == SQLITE_OK &&
                        sqlite3_exec(engine, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) == SQLITE_OK;
    char word = locked ? 'y' : 'n';
    [[maybe_unused]] ssize_t ignored = write(ready[1], &word, 1);
    ignored = read(done[0], &word, 1);
    _exit(0);
  }
  char word = '-';
  ASSERT_EQ(read(ready[0], &word, 1), 1);
  ASSERT_EQ(word, 'y');
  const auto start = std::chrono::steady_clock::now();
  QvProject opened;
  EXPECT_FALSE(opened.OpenPrj(folder.File("p.db")));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  ASSERT_EQ(write(done[1], &word, 1), 1);
  waitpid(holder, nullptr, 0);
  for (const int end : {ready[0], ready[1], done[0], done[1]}) {
    close(end);
  }
  EXPECT_TRUE(opened.OpenPrj(folder.File("p.db")));
}

TEST(Files, AFolderWithAHundredThousandFiles) {
  const support::TempFolder folder;
  for (int i = 0; i < 100'000; ++i) {
    const std::string path = folder.File("photo" + std::to_string(i) + ".jpg");
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(file, 0);
    close(file);
  }
  MakeFlight(folder.File("flight.db"));
  EXPECT_TRUE(Imports(folder.File("flight.db")));
  EXPECT_EQ(RoundTrip(folder.File("p.db")), "");
}

TEST(Files, ThingsThatAreNoFilesAreNotOpened) {
  const support::TempFolder folder;
  fs::create_directory(folder.File("folder.db"));
  ASSERT_EQ(mkfifo(folder.File("fifo.db").c_str(), 0644), 0);
  ASSERT_EQ(mkfifo(folder.File("p.gb").c_str(), 0644), 0);
  fs::create_symlink("loop.db", folder.File("loop.db"));
  fs::create_symlink("/dev/zero", folder.File("zero.db"));
  EXPECT_EQ(support::InChild([&] {
              for (const char* const name : {"folder.db", "fifo.db", "loop.db", "zero.db", "missing.db"}) {
                std::vector<FlyProjectHelper::FlyPrjInfo> missions;
                QvProject project;
                if (project.OpenPrj(folder.File(name)) || project.QuickOpenPrj(folder.File(name)) ||
                    FlyProjectHelper().QuickRead(folder.File(name), missions) ||
                    project.SaveDurably(folder.File("p.db"))) {
                  return false;
                }
                QvProject::CopyTo(folder.File(name), folder.File("copy.db"));
              }
              return !fs::exists(folder.File("copy.db"));
            }),
            true);
}

// ---- Processes ---------------------------------------------------------------------------------------

TEST(Processes, ForkingBetweenCallsIsInOrder) {
  const support::TempFolder folder;
  MakeFlight(folder.File("flight.db"));
  QvProject project = support::BuildProject();
  ASSERT_TRUE(project.Save(folder.File("p.db")));
  QvProject opened;
  ASSERT_TRUE(opened.OpenPrj(folder.File("p.db")));
  for (int i = 0; i < 3; ++i) {
    const std::string copy = folder.File("copy" + std::to_string(i) + ".db");
    EXPECT_EQ(support::InChild([&] {
                QvProject again;
                return opened.SaveDurably(copy) && again.OpenPrj(copy) &&
                       DifferenceFrom(opened, again).empty() && Imports(folder.File("flight.db"));
              }),
              true);
    QvProject again;
    EXPECT_TRUE(again.OpenPrj(copy));
    EXPECT_EQ(DifferenceFrom(project, again), "");
    EXPECT_TRUE(project.SaveDurably(folder.File("p.db")));
  }
}

}  // namespace
