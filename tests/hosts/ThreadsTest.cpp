// Eight threads, each with projects of its own: the library has no state that they share. Run under the thread
// sanitizer too (preset tsan).

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <thread>
#include <vector>

#include "qvprj/flight/FlyProjectHelper.h"
#include "qvprj/qvprj.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

namespace {

using qvprj::FlyProjectHelper;
using qvprj::QvProject;

/// Everything that a host does with a project, `rounds` times; what went wrong first, empty for nothing.
std::string Work(const std::string& folder, const std::string& flight, std::uint64_t seed, int rounds) {
  support::ProjectShape shape;
  shape.seed = seed;
  QvProject project = support::BuildProject(shape);
  project.GetPrjInfo().coordinate_id = 32650;
  const std::string path = folder + "/" + std::to_string(seed) + ".db";
  for (int round = 0; round < rounds; ++round) {
    QvProject opened;
    if (!project.Save(path) || !opened.OpenPrj(path) || !opened.SaveDurably(path) ||
        !opened.QuickOpenPrj(path)) {
      return "files";
    }
    opened.GetPrjInfo().file_path = project.GetPrjInfo().file_path;
    if (std::string difference = support::FirstDifference(opened, project); !difference.empty()) {
      return difference;
    }
    if (opened.GetImageInfoSetLocal().Size() != project.GetImageInfoSet().Size() ||
        opened.ToLocal({117.0, 31.0}).x < 400'000.0) {
      return "local frame";
    }
    QvProject imported;
    std::vector<FlyProjectHelper::FlyPrjInfo> missions;
    if (!FlyProjectHelper().QuickRead(flight, missions) || missions.size() != 1 ||
        !FlyProjectHelper().Read(flight, missions.front().id, imported)) {
      return "flight";
    }
    std::vector<qvfd::CatalogEntry> systems;
    if (!qvfd::FindCoordinates("UTM zone 50N", systems) || systems.empty()) {
      return "catalogue";
    }
  }
  return {};
}

TEST(Threads, EightWithAProjectEach) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 5;
  const support::TempFolder folder;
  const std::string flight = folder.File("flight.db");
  support::Execute(
      flight,
      "CREATE TABLE flight_mission(id TEXT, project_id TEXT, flight_task_name TEXT, created_at TEXT,"
      " survey_average_altitude REAL);"
      "CREATE TABLE pos_data(flight_mission_id TEXT, img_idx INTEGER, lat REAL, lng REAL, alt_msl REAL,"
      " roll REAL, pitch REAL, yaw REAL);"
      "CREATE TABLE uas_status(flight_mission_id TEXT, uas_serial_id TEXT);"
      "INSERT INTO flight_mission VALUES('m', 'p', 'quarry', '2024', 100.5);"
      "INSERT INTO pos_data VALUES('m', 1, 31.25, 118.5, 200.25, 0, 0, 90);");
  std::array<std::string, kThreads> wrong;
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] { wrong[i] = Work(folder.Path().string(), flight, i + 1, kRounds); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const std::string& text : wrong) {
    EXPECT_EQ(text, "");
  }
}

/// Whether a project is one of others, as a whole.
bool IsOneOf(std::vector<QvProject>& projects, QvProject& opened) {
  return std::any_of(projects.begin(), projects.end(), [&opened](QvProject& project) {
    opened.GetPrjInfo().file_path = project.GetPrjInfo().file_path;
    return support::FirstDifference(opened, project).empty();
  });
}

TEST(Threads, EightThatSaveTheSameProjectDurably) {
  constexpr std::size_t kThreads = 8;
  constexpr int kRounds = 5;
  const support::TempFolder folder;
  const std::string path = folder.File("p.db");
  std::vector<QvProject> projects;
  for (std::size_t i = 0; i < kThreads; ++i) {
    support::ProjectShape shape;
    shape.seed = i + 1;
    projects.push_back(support::BuildProject(shape));
  }
  std::array<bool, kThreads> good{};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      std::vector<QvProject> mine = projects;
      good[i] = true;
      for (int round = 0; round < kRounds; ++round) {
        QvProject opened;
        good[i] = good[i] && mine[i].SaveDurably(path) && opened.OpenPrj(path) && IsOneOf(mine, opened);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const bool each : good) {
    EXPECT_TRUE(each);
  }
  QvProject opened;
  ASSERT_TRUE(opened.OpenPrj(path));
  int matching = 0;
  for (QvProject& project : projects) {
    opened.GetPrjInfo().file_path = project.GetPrjInfo().file_path;
    matching += support::FirstDifference(opened, project).empty() ? 1 : 0;
  }
  EXPECT_EQ(matching, 1) << "one of them, and whole";
  EXPECT_EQ(folder.Names(), (std::vector<std::string>{"p.db", "p.gb"}));
}

}  // namespace
