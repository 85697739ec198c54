// What commands say about a file that is not the database they need.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "Commands.h"

using namespace apps_test;
using qvapp::kFailed;

namespace {

constexpr const char* kGiveFlight = "; give the database that the flight controller left behind\n";
constexpr const char* kGiveProject = "; give the database file of a saved project\n";

/// The commands that read a flight, or a project, agree on what is wrong with a file.
class WrongFile : public testing::Test {
 protected:
  void ExpectOfFlight(const std::string& path, const std::string& problem) {
    const auto before = support::Snapshot(folder_.Path());
    EXPECT_THAT(Missions(path), FailsWith(kFailed, path, problem));
    EXPECT_THAT(Missions(path, true), FailsWith(kFailed, path, problem));
    EXPECT_THAT(Import(ImportOf(path, "latest", folder_.File("out.db"))), FailsWith(kFailed, path, problem));
    EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  }

  void ExpectOfProject(const std::string& path, const std::string& problem) {
    const auto before = support::Snapshot(folder_.Path());
    EXPECT_THAT(Info(path), FailsWith(kFailed, path, problem));
    EXPECT_THAT(Copy({path, folder_.File("copy.db")}), FailsWith(kFailed, path, problem));
    EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  }

  void ExpectOfBoth(const std::string& path, const std::string& problem, const std::string& flightRemedy,
                    const std::string& projectRemedy) {
    ExpectOfFlight(path, problem + flightRemedy);
    ExpectOfProject(path, problem + projectRemedy);
  }

  /// A file whose first page is a database's and whose rest is not.
  void Damage(const std::string& path) {
    support::Bytes bytes = support::ReadBytes(path);
    ASSERT_GT(bytes.size(), 4096U);
    std::fill(bytes.begin() + 100, bytes.end(), static_cast<unsigned char>(0xA5));
    support::WriteBytes(path, bytes);
  }

  support::TempFolder folder_;
  std::string file_ = folder_.File("file.db");
};

}  // namespace

TEST_F(WrongFile, IsMissing) {
  ExpectOfBoth(file_, "no such file", "; check the path\n", "; check the path\n");
  std::filesystem::create_symlink("nowhere", file_);
  ExpectOfBoth(file_, "no such file", "; check the path\n", "; check the path\n");
}

TEST_F(WrongFile, HasNoName) {
  EXPECT_THAT(Missions(""), FailsWith(kFailed, "''", "no such file"));
  EXPECT_THAT(Info(""), FailsWith(kFailed, "''", "no such file"));
}

TEST_F(WrongFile, IsBelowAFile) {
  support::WriteText(file_, "text");
  ExpectOfBoth(file_ + "/inner.db", "no such file", "; check the path\n", "; check the path\n");
}

TEST_F(WrongFile, HasANameThatTheSystemRefuses) {
  ExpectOfBoth(folder_.File(std::string(300, 'x') + ".db"), "cannot be reached: ", "", "");
}

TEST_F(WrongFile, IsAFolder) {
  std::filesystem::create_directory(file_);
  ExpectOfBoth(file_, "is a folder, not a database", kGiveFlight, kGiveProject);
}

TEST_F(WrongFile, IsAPipe) {
  ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
  ExpectOfBoth(file_, "is no regular file", kGiveFlight, kGiveProject);
}

TEST_F(WrongFile, IsEmpty) {
  support::WriteText(file_, "");
  ExpectOfBoth(file_, "empty file, not a database", kGiveFlight, kGiveProject);
}

TEST_F(WrongFile, IsNoDatabase) {
  support::WriteText(
      file_, "no database at all, but more than enough bytes to look like one: " + std::string(1000, 'x'));
  ExpectOfBoth(file_, "not a database", kGiveFlight, kGiveProject);
}

TEST_F(WrongFile, MayNotBeRead) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "run as root, who may read everything";
  }
  MakeFlight(file_, {{"m1", "Early"}});
  std::filesystem::permissions(file_, std::filesystem::perms::none);
  EXPECT_THAT(Missions(file_), FailsWith(kFailed, file_, "cannot be read: Permission denied"));
}

TEST_F(WrongFile, IsDamaged) {
  support::Execute(file_, std::string(kFlightTables) + "CREATE TABLE data_project(id);");
  Damage(file_);
  ExpectOfBoth(file_, "cannot be read: the file is damaged, or in use by another program", "", "");
}

TEST_F(WrongFile, IsNoFlight) {
  MakeProject(file_);
  ExpectOfFlight(file_, std::string("table flight_mission is missing: not a flight database") + kGiveFlight);
}

TEST_F(WrongFile, IsAFlightWithoutPositions) {
  support::Execute(file_, std::string(kFlightTables) + "DROP TABLE pos_data;");
  ExpectOfFlight(file_, std::string("table pos_data is missing: not a flight database") + kGiveFlight);
}

TEST_F(WrongFile, IsAFlightOfAnotherMake) {
  support::Execute(file_, std::string(kFlightTables) + "ALTER TABLE flight_mission DROP COLUMN created_at;");
  ExpectOfFlight(
      file_, std::string("table flight_mission has no column created_at: not a flight database as known") +
                 kGiveFlight);
}

TEST_F(WrongFile, IsAFlightWithOtherPositions) {
  MakeFlight(file_, {{"m1", "Early"}});
  support::Execute(file_, "ALTER TABLE pos_data DROP COLUMN yaw;");
  EXPECT_THAT(Import(ImportOf(file_, "latest", folder_.File("out.db"))),
              FailsWith(kFailed, file_, "table pos_data has no column yaw: not a flight database as known"));
}

TEST_F(WrongFile, IsAFlightAndNoProject) {
  MakeFlight(file_, {{"m1", "Early"}});
  ExpectOfProject(
      file_, std::string("table data_project is missing: not a project, or a damaged one") + kGiveProject);
}

TEST_F(WrongFile, LacksATableOfAProject) {
  for (const std::string table : {"data_image", "data_camera"}) {
    const std::string path = folder_.File(table + ".db");
    MakeProject(path);
    support::Execute(path, "DROP TABLE " + table + ";");
    EXPECT_THAT(Info(path),
                FailsWith(kFailed, path,
                          "table " + table + " is missing: not a project, or a damaged one" + kGiveProject));
  }
}

TEST_F(WrongFile, HasNoProjectRecord) {
  MakeProject(file_);
  support::Execute(file_, "DELETE FROM data_project;");
  ExpectOfProject(file_, "table data_project is empty: not a project, or a damaged one; ");
}

TEST_F(WrongFile, HasDamagedImages) {
  MakeProject(file_, "Site", 2000);
  support::Bytes bytes = support::ReadBytes(file_);
  const std::string root =
      support::QueryOne(file_, "SELECT rootpage FROM sqlite_master WHERE name = 'data_image'");
  const auto pageSize = static_cast<std::size_t>(bytes[16] * 256 + bytes[17]);
  const std::size_t start = (std::stoul(root) - 1) * pageSize;
  ASSERT_LT(start + pageSize, bytes.size());
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(start), pageSize, static_cast<unsigned char>(0xA5));
  support::WriteBytes(file_, bytes);
  EXPECT_THAT(Info(file_), FailsWith(kFailed, file_, "table data_image cannot be read: the file is damaged"));
}
