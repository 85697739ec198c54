#include <gmock/gmock.h>

#include <filesystem>
#include <type_traits>

#include "FlightTest.h"
#include "support/ContractsLocale.h"

#if defined(__unix__)
#include <sys/stat.h>
#endif

namespace {

using qvprj::FlyProjectHelper;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

static_assert(std::is_empty_v<FlyProjectHelper>);

class MissionListTest : public FlightTest {
 protected:
  using Texts = std::vector<std::string>;

  MissionListTest() { MakeFlightDatabase(); }

  bool List() { return helper_.QuickRead(Path(), missions_); }

  /// A mission that is listed, of the project "P".
  void AddListedMission(const std::string& id, const std::string& created = "2024-01-01",
                        const std::string& project = "P", const std::string& name = "mission") {
    AddMission(id, created, project, name);
    AddPosition(id, 1);
  }

  /// A sibling database that knows projects by id and name.
  void AddSibling(const std::string& file, const std::vector<std::pair<std::string, std::string>>& projects) {
    support::Execute(Path(file), "CREATE TABLE project(id TEXT, project_name TEXT);");
    for (const auto& [id, name] : projects) {
      support::Execute(Path(file), "INSERT INTO project VALUES(" + Quoted(id) + ", " + Quoted(name) + ");");
    }
  }

  [[nodiscard]] Texts Ids() const {
    Texts ids;
    for (const Mission& mission : missions_) {
      ids.push_back(mission.id);
    }
    return ids;
  }

  [[nodiscard]] std::string ListedProjectName() {
    EXPECT_TRUE(List());
    EXPECT_EQ(missions_.size(), 1U);
    return missions_.empty() ? "" : missions_.front().project_name;
  }

  std::vector<Mission> missions_;
};

TEST_F(MissionListTest, GivesEveryFieldAsItIsStored) {
  AddListedMission("m-1", "1718000000", "p-1", "North field");
  ASSERT_TRUE(List());
  ASSERT_EQ(missions_.size(), 1U);
  EXPECT_EQ(missions_[0].id, "m-1");
  EXPECT_EQ(missions_[0].project_id, "p-1");
  EXPECT_EQ(missions_[0].flight_task_name, "North field");
  EXPECT_EQ(missions_[0].project_name, "");
  EXPECT_EQ(missions_[0].created_at, "1718000000");
}

TEST_F(MissionListTest, NumbersBecomeTexts) {
  Execute(
      "DROP TABLE flight_mission; CREATE TABLE flight_mission(id INTEGER, project_id INTEGER,"
      " flight_task_name TEXT, created_at REAL);"
      "INSERT INTO flight_mission VALUES(7, 8, 'm', 0.1); INSERT INTO pos_data(flight_mission_id) "
      "VALUES(7);");
  ASSERT_TRUE(List());
  ASSERT_EQ(missions_.size(), 1U);
  EXPECT_EQ(missions_[0].id, "7");
  EXPECT_EQ(missions_[0].project_id, "8");
  EXPECT_EQ(missions_[0].created_at, "0.1");
}

TEST_F(MissionListTest, AMissionWithSeveralPositionsIsListedOnce) {
  AddListedMission("m");
  AddPosition("m", 2);
  AddPosition("m", 3);
  ASSERT_TRUE(List());
  EXPECT_THAT(Ids(), ElementsAre("m"));
}

TEST_F(MissionListTest, AMissionWithoutPositionsIsNotListed) {
  AddMission("grounded");
  AddListedMission("flown");
  ASSERT_TRUE(List());
  EXPECT_THAT(Ids(), ElementsAre("flown"));
}

TEST_F(MissionListTest, PositionsOfUnknownMissionsListNothing) {
  AddPosition("unknown", 1);
  EXPECT_TRUE(List());
  EXPECT_THAT(missions_, IsEmpty());
}

TEST_F(MissionListTest, EqualMissionsAreListedOnceAndThoseOfOneIdOtherwiseBoth) {
  AddListedMission("m", "2024-01-02");
  AddMission("m", "2024-01-02", "P");
  AddMission("m", "2024-01-01", "P");
  ASSERT_TRUE(List());
  EXPECT_THAT(Ids(), ElementsAre("m", "m"));
}

TEST_F(MissionListTest, TheNewestMissionComesFirst) {
  AddListedMission("middle", "2024-02-01 10:00:00");
  AddListedMission("oldest", "2023-12-31 23:59:59");
  AddListedMission("newest", "2024-02-01 10:00:01");
  ASSERT_TRUE(List());
  EXPECT_THAT(Ids(), ElementsAre("newest", "middle", "oldest"));
}

TEST_F(MissionListTest, NullBecomesTheWordNull) {
  Execute("INSERT INTO flight_mission(id) VALUES('m');");
  AddPosition("m", 1);
  ASSERT_TRUE(List());
  ASSERT_EQ(missions_.size(), 1U);
  EXPECT_EQ(missions_[0].project_id, "NULL");
  EXPECT_EQ(missions_[0].flight_task_name, "NULL");
  EXPECT_EQ(missions_[0].created_at, "NULL");
  EXPECT_EQ(missions_[0].project_name, "");
}

TEST_F(MissionListTest, ListingTwiceIntoOneVectorListsEveryMissionTwice) {
  AddListedMission("a", "2024-01-02");
  AddListedMission("b", "2024-01-01");
  ASSERT_TRUE(List());
  ASSERT_TRUE(List());
  EXPECT_THAT(Ids(), ElementsAre("a", "b", "a", "b"));
}

TEST_F(MissionListTest, WithoutMissionsItIsTrueAndListsNothing) {
  EXPECT_TRUE(List());
  EXPECT_THAT(missions_, IsEmpty());
}

TEST_F(MissionListTest, TheHelperAssignsToItselfAndReturnsItself) {
  const FlyProjectHelper other;
  EXPECT_EQ(&(helper_ = other), &helper_);
}

/// What must be missing for a file to be no flight database.
class NoFlightDatabaseTest : public MissionListTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(NoFlightDatabaseTest, IsFalseAndAppendsNothing) {
  AddListedMission("m");
  missions_.push_back({"before", "", "", "", ""});
  Execute(GetParam());
  EXPECT_FALSE(List());
  EXPECT_THAT(Ids(), ElementsAre("before"));
}

INSTANTIATE_TEST_SUITE_P(Missing, NoFlightDatabaseTest,
                         ::testing::Values("DROP TABLE flight_mission;", "DROP TABLE pos_data;",
                                           "ALTER TABLE flight_mission DROP COLUMN created_at;",
                                           "ALTER TABLE pos_data DROP COLUMN flight_mission_id;"));

TEST_F(MissionListTest, AFileThatIsNoDatabaseIsFalseAndAppendsNothing) {
  support::WriteText(Path("text"), std::string(5000, 't'));
  support::WriteText(Path("empty"), "");
  fs::create_directory(Path("directory"));
  for (const std::string& path :
       {Path("text"), Path("empty"), Path("directory"), Path("missing"), std::string()}) {
    EXPECT_FALSE(helper_.QuickRead(path, missions_)) << path;
  }
  EXPECT_THAT(missions_, IsEmpty());
  EXPECT_FALSE(fs::exists(Path("missing")));
}

TEST_F(MissionListTest, ASiblingGivesTheProjectsName) {
  AddListedMission("m");
  AddSibling("p.db", {{"P", "Harbour"}});
  EXPECT_EQ(ListedProjectName(), "Harbour");
}

TEST_F(MissionListTest, ASiblingMayHaveAnyFileName) {
  AddListedMission("m");
  AddSibling("\xE6\xB5\x8B '%s'.jpg", {{"P", "Harbour"}});
  EXPECT_EQ(ListedProjectName(), "Harbour");
}

TEST_F(MissionListTest, ASiblingOfAnotherProjectGivesNoName) {
  AddListedMission("m");
  AddSibling("p.db", {{"p", "lower case"}});
  AddSibling("q.db", {{"P ", "longer"}});
  EXPECT_EQ(ListedProjectName(), "");
}

TEST_F(MissionListTest, ASiblingWithTwoProjectsIsIgnored) {
  AddListedMission("m");
  AddSibling("p.db", {{"P", "Harbour"}, {"Q", "Quarry"}});
  EXPECT_EQ(ListedProjectName(), "");
}

TEST_F(MissionListTest, ASiblingWithoutAProjectIsIgnored) {
  AddListedMission("m");
  AddSibling("a.db", {});
  AddSibling("b.db", {{"P", "Harbour"}});
  EXPECT_EQ(ListedProjectName(), "Harbour");
}

TEST_F(MissionListTest, OfTwoSiblingsTheOneWhoseNameHasTheSmallerBytesCounts) {
  AddListedMission("m");
  AddSibling("a.db", {{"P", "lower case"}});
  AddSibling("Z.db", {{"P", "upper case"}});
  AddSibling("\xC3\xA9.db", {{"P", "accented"}});
  EXPECT_EQ(ListedProjectName(), "upper case");
}

TEST_F(MissionListTest, TheFlightDatabaseItselfMayNameTheProject) {
  AddListedMission("m");
  AddSibling("flight.db", {{"P", "Harbour"}});
  EXPECT_EQ(ListedProjectName(), "Harbour");
}

TEST_F(MissionListTest, SiblingsNameTheProjectsOfAllMissions) {
  AddListedMission("a", "2024-01-03", "P");
  AddListedMission("b", "2024-01-02", "Q");
  AddListedMission("c", "2024-01-01", "P");
  AddListedMission("d", "2024-01-00", "R");
  AddSibling("p.db", {{"P", "Harbour"}});
  AddSibling("q.db", {{"Q", "Quarry"}});
  ASSERT_TRUE(List());
  Texts names;
  for (const Mission& mission : missions_) {
    names.push_back(mission.project_name);
  }
  EXPECT_THAT(names, ElementsAre("Harbour", "Quarry", "Harbour", ""));
}

TEST_F(MissionListTest, EveryRecordOfTheVectorIsNamedAndThoseWithoutMatchKeepTheirName) {
  missions_ = {{"x", "P", "", "old", ""}, {"y", "unknown", "", "kept", ""}};
  AddSibling("p.db", {{"P", "Harbour"}});
  ASSERT_TRUE(List());
  EXPECT_EQ(missions_[0].project_name, "Harbour");
  EXPECT_EQ(missions_[1].project_name, "kept");
}

TEST_F(MissionListTest, ASiblingsNullNameIsTheWordNull) {
  AddListedMission("m");
  support::Execute(Path("p.db"),
                   "CREATE TABLE project(id TEXT, project_name TEXT);"
                   "INSERT INTO project(id) VALUES('P');");
  EXPECT_EQ(ListedProjectName(), "NULL");
}

TEST_F(MissionListTest, SiblingsThatAreNoDatabasesAreSkipped) {
  AddListedMission("m");
  support::WriteText(Path("a.jpg"), "\xFF\xD8\xFF\xE1 a photo");
  support::WriteText(Path("b.txt"), "");
  support::WriteText(Path("c.db"), std::string("SQLite format 3\0", 16) + "and then nothing of the kind");
  fs::create_directory(Path("d.db"));
  fs::create_symlink(Path("nowhere"), Path("e.db"));
#if defined(__unix__)
  ASSERT_EQ(mkfifo(Path("f.db").c_str(), 0600), 0);
#endif
  support::Execute(Path("g.db"), "CREATE TABLE project(id TEXT);");
  AddSibling("h.db", {{"P", "Harbour"}});
  EXPECT_EQ(ListedProjectName(), "Harbour");
}

TEST_F(MissionListTest, FoldersBelowAreNotSearched) {
  AddListedMission("m");
  fs::create_directory(Path("below"));
  AddSibling("below/p.db", {{"P", "Harbour"}});
  EXPECT_EQ(ListedProjectName(), "");
}

TEST_F(MissionListTest, ChangesNothingInTheFolder) {
  AddListedMission("m");
  AddSibling("p.db", {{"P", "Harbour"}});
  support::WriteText(Path("a.jpg"), "a photo");
  const auto before = support::Snapshot(folder_.Path());
  ASSERT_TRUE(List());
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(MissionListTest, ADatabaseInWriteAheadModeIsListedAndChangesNothingInTheFolder) {
  AddListedMission("m");
  Execute("PRAGMA journal_mode = WAL;");
  AddSibling("p.db", {{"P", "Harbour"}});
  support::Execute(Path("p.db"), "PRAGMA journal_mode = WAL;");
  const auto before = support::Snapshot(folder_.Path());
  EXPECT_EQ(ListedProjectName(), "Harbour");
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(MissionListTest, APathWithoutDirectoryMeansTheCurrentOne) {
  AddListedMission("m");
  AddSibling("p.db", {{"P", "Harbour"}});
  const fs::path before = fs::current_path();
  fs::current_path(folder_.Path());
  const bool listed = helper_.QuickRead("flight.db", missions_);
  fs::current_path(before);
  ASSERT_TRUE(listed);
  EXPECT_EQ(missions_.at(0).project_name, "Harbour");
}

TEST_F(MissionListTest, InThePlainLocaleTextsStayUtf8) {
  AddListedMission("m", "2024-01-01", "P", "\xE6\xBB\xB4\xE6\xB3\x89");
  AddSibling("p.db", {{"P", "\xE6\xB5\x8B"}});
  EXPECT_EQ(ListedProjectName(), "\xE6\xB5\x8B");
  EXPECT_EQ(missions_.at(0).flight_task_name, "\xE6\xBB\xB4\xE6\xB3\x89");
}

TEST_F(MissionListTest, InAGbkLocaleTextsBecomeGbkAndWhatItLacksAQuestionMark) {
  AddListedMission("m", "2024-01-01", "\xE6\xB5\x8B", "\xE6\xBB\xB4\xE6\xB3\x89 \xF0\x9F\x9A\x81");
  AddSibling("p.db", {{"\xE6\xB5\x8B", "\xE7\xBB\x98"}});
  const support::GeneratedLocale gbk("zh_CN", "GBK");
  if (!gbk.InForce()) {
    GTEST_SKIP() << "no C locale in GBK can be had here";
  }
  EXPECT_EQ(ListedProjectName(), "\xBB\xE6");
  EXPECT_EQ(missions_.at(0).flight_task_name, "\xB5\xCE\xC8\xAA ?");
  EXPECT_EQ(missions_.at(0).project_id, "\xB2\xE2");
}

}  // namespace
