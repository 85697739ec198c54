// qvprj set.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "Commands.h"
#include "support/ProjectSql.h"

namespace fs = std::filesystem;
using namespace apps_test;
using nlohmann::json;
using qvapp::kFailed;
using qvapp::kWrongUsage;
using qvapp::SetOptions;
using support::RawRows;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class SetCommand : public testing::Test {
 protected:
  void SetUp() override { MakeProject(path_, "Site"); }

  [[nodiscard]] SetOptions Options() const {
    SetOptions options;
    options.project = path_;
    return options;
  }

  [[nodiscard]] SetOptions Named(const std::string& name) const {
    SetOptions options = Options();
    options.name = name;
    return options;
  }

  [[nodiscard]] SetOptions InSystem(const std::string& crs) const {
    SetOptions options = Options();
    options.crs = crs;
    return options;
  }

  [[nodiscard]] std::string Cell(const std::string& column) const {
    return support::QueryOne(path_, "SELECT " + column + " FROM data_project");
  }

  /// The rows of every table, and the statements that made them.
  [[nodiscard]] std::map<std::string, RawRows> Everything() const {
    std::map<std::string, RawRows> all;
    for (const std::string& table : support::Tables(path_)) {
      all[table] = support::Query(path_, "SELECT rowid, * FROM \"" + table + "\"");
    }
    all["what made them"] = support::Query(path_, "SELECT * FROM sqlite_master ORDER BY name");
    return all;
  }

  /// The cells of the system as the library stores them with a whole project.
  [[nodiscard]] RawRows StoredByTheLibrary(int coordinateId) const {
    const std::string other = folder_.File("other.db");
    MakeProjectAt(other, coordinateId, {});
    return support::Query(other, kSystemCells);
  }

  void ExpectRefused(const SetOptions& options, int code, const std::string& subject,
                     const std::string& problem) {
    const auto before = support::Snapshot(folder_.Path());
    EXPECT_THAT(Set(options), FailsWith(code, subject, problem));
    EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  }

  static constexpr const char* kSystemCells =
      "SELECT coordinate_id, coordinate_type, coordinate_name, coordinate_description FROM data_project";

  support::TempFolder folder_;
  std::string path_ = folder_.File("survey.db");
  std::string track_ = folder_.File("survey.gb");
};

}  // namespace

TEST_F(SetCommand, SetsTheCoordinateSystemAsASavedProjectHasIt) {
  for (const int id : {4549, 32632, 2225, 2327}) {
    EXPECT_THAT(Set(InSystem("EPSG:" + std::to_string(id))), Succeeds());
    EXPECT_EQ(support::Query(path_, kSystemCells), StoredByTheLibrary(id)) << id;
  }
}

TEST_F(SetCommand, TakesTheCoordinateSystemAway) {
  EXPECT_THAT(Set(InSystem("4549")), Succeeds());
  EXPECT_THAT(Set(InSystem("none")), Succeeds());
  EXPECT_EQ(support::Query(path_, kSystemCells), StoredByTheLibrary(-1));
}

TEST_F(SetCommand, SetsTexts) {
  SetOptions options = Named("Quarry, 'north' \"face\"");
  options.operator_name = "O'Neill; DROP TABLE data_project; --";
  options.description = "\xE6\xBB\xB4 \xB1\xBE\nsecond line";
  EXPECT_THAT(Set(options), Succeeds());
  EXPECT_EQ(Cell("project_name"), *options.name);
  EXPECT_EQ(Cell("operator"), *options.operator_name);
  EXPECT_EQ(Cell("description"), *options.description) << "bytes of any encoding";
  EXPECT_EQ(Cell("typeof(project_name) || typeof(operator) || typeof(description)"), "texttexttext");
}

TEST_F(SetCommand, TextsThatLookLikeNumbersStayTexts) {
  EXPECT_THAT(Set(Named("007")), Succeeds());
  EXPECT_EQ(Cell("project_name"), "007");
  EXPECT_EQ(Cell("typeof(project_name)"), "text");
}

TEST_F(SetCommand, EmptiesAText) {
  EXPECT_THAT(Set(Named("")), Succeeds());
  EXPECT_EQ(Cell("project_name"), "");
}

TEST_F(SetCommand, SetsOnlyWhatIsAskedFor) {
  const RawRows before = support::Query(path_, "SELECT * FROM data_project");
  EXPECT_THAT(Set(Named("Other")), Succeeds());
  RawRows after = support::Query(path_, "SELECT * FROM data_project");
  EXPECT_EQ(after[0][1].text, "Other");
  after[0][1] = before[0][1];
  EXPECT_EQ(after, before);
}

TEST_F(SetCommand, LeavesEverythingElseAsItWas) {
  support::Execute(
      path_, support::kFeatureTable + support::kMatchTable +
                 "INSERT INTO data_feature VALUES(1, 2, X'0102'), (99, 0, NULL);"
                 "INSERT INTO data_match VALUES(1, 2, 1, X'03');"
                 "CREATE TABLE host_notes(note TEXT); INSERT INTO host_notes VALUES('ours');"
                 "CREATE INDEX host_index ON data_image(name);"
                 "ALTER TABLE data_project ADD COLUMN host_column; ALTER TABLE data_image ADD COLUMN z2;"
                 "UPDATE data_project SET host_column = 1.5; UPDATE data_image SET z2 = 'deep';"
                 "INSERT INTO data_project(project_name) VALUES('second');"
                 "UPDATE data_project SET thumbnail = X'FF00', created_at = 'then', version = 9;");
  support::Bytes track = support::ReadBytes(track_);
  track[track.size() / 2] ^= 0xFFU;
  support::WriteBytes(track_, track);
  auto before = Everything();
  SetOptions options = InSystem("4549");
  options.description = "new";
  EXPECT_THAT(Set(options), Succeeds());
  auto after = Everything();
  auto& row = before["data_project"][0];
  const auto& changed = after["data_project"][0];
  for (const std::size_t column : {5U, 6U, 7U, 8U, 9U}) {  // behind the rowid: the four of the system, a text
    EXPECT_NE(row[column], changed[column]) << column;
    row[column] = changed[column];
  }
  EXPECT_EQ(after, before);
  EXPECT_EQ(support::ReadBytes(track_), track);
  EXPECT_THAT(folder_.Names(), ElementsAre("survey.db", "survey.gb"));
}

TEST_F(SetCommand, ChangesTheRowThatCountsAsTheProject) {
  support::Execute(path_,
                   "INSERT INTO data_project(project_name) VALUES('Annex');"
                   "CREATE INDEX host_index ON data_project(project_name);");
  EXPECT_THAT(Set(Named("Main")), Succeeds());
  EXPECT_EQ(support::QueryOne(path_,
                              "SELECT group_concat(project_name, ', ') FROM (SELECT project_name FROM"
                              " data_project ORDER BY rowid)"),
            "Main, Annex");
}

TEST_F(SetCommand, ChangesAnOldProject) {
  fs::remove(path_);
  std::string oldTable = support::kProjectTable;
  oldTable.resize(oldTable.find(", uavtype"));
  support::Execute(
      path_, oldTable + ");" + support::kImageTable + support::kCameraTable + support::ProjectRow("Old"));
  SetOptions options = InSystem("32632");
  options.operator_name = "A. Surveyor";
  EXPECT_THAT(Set(options), Succeeds());
  EXPECT_EQ(Cell("project_name || ', ' || operator || ', ' || coordinate_id"), "Old, A. Surveyor, 32632");
}

TEST_F(SetCommand, PrintsTheRecordAfterTheChange) {
  SetOptions options = InSystem("4549");
  options.name = "Quarry";
  const Outcome outcome = Set(options);
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, "Changed " + path_ +
                             ":\n"
                             "  project            Quarry\n"
                             "  id                 " +
                             Cell("id") +
                             "\n"
                             "  operator           -\n"
                             "  date               -\n"
                             "  description        -\n"
                             "  flying height      0.00 m\n"
                             "  coordinate system  4549 (CGCS2000 3-degree Gauss-Kruger CM 120E)\n"
                             "  aircraft type      99\n"
                             "  nadir              1\n");
}

TEST_F(SetCommand, PrintsJson) {
  SetOptions options = InSystem("4549");
  options.name = "Quarry";
  options.json = true;
  const Outcome outcome = Set(options);
  EXPECT_THAT(outcome, Succeeds());
  const json expected = {{"file", path_},
                         {"project",
                          {{"id", Cell("id")},
                           {"name", "Quarry"},
                           {"operator", ""},
                           {"date", ""},
                           {"description", ""},
                           {"height", 0.0},
                           {"coordinate_id", 4549},
                           {"coordinate_name", "CGCS2000 3-degree Gauss-Kruger CM 120E"},
                           {"uavtype", 99},
                           {"nadir", 1}}}};
  EXPECT_EQ(json::parse(outcome.out), expected);
}

// ---- What is refused

TEST_F(SetCommand, NeedsSomethingToSet) {
  ExpectRefused(Options(), kWrongUsage, "qvprj set",
                "nothing is to be set; give --crs, --name, --operator or --description\n");
}

TEST_F(SetCommand, KeepsTextsInFullLength) {
  SetOptions options = Named(std::string(63, 'n'));
  options.operator_name = std::string(63, 'o');
  options.description = std::string(255, 'd');
  EXPECT_THAT(Set(options), Succeeds());
  qvprj::QvProject project;
  ASSERT_TRUE(project.OpenPrj(path_));
  EXPECT_EQ(project.GetPrjInfo().project_name, *options.name);
  EXPECT_EQ(project.GetPrjInfo().operator_name, *options.operator_name);
  EXPECT_EQ(project.GetPrjInfo().description, *options.description);
}

TEST_F(SetCommand, DoesNotCutTexts) {
  ExpectRefused(Named(std::string(64, 'n')), kWrongUsage, "--name",
                "the name has 64 bytes, a project keeps 63; shorten it\n");
  SetOptions options = Options();
  options.operator_name = std::string(64, 'o');
  ExpectRefused(options, kWrongUsage, "--operator",
                "the name has 64 bytes, a project keeps 63; shorten it\n");
  options = Options();
  options.description = std::string(256, 'd');
  ExpectRefused(options, kWrongUsage, "--description",
                "the text has 256 bytes, a project keeps 255; shorten it\n");
}

TEST_F(SetCommand, RefusesACoordinateSystemThatItDoesNotKnow) {
  SetOptions options = InSystem("999999");
  options.name = "Other";
  ExpectRefused(options, kWrongUsage, "--crs", "no coordinate system with the code '999999' is known; ");
  ExpectRefused(InSystem("-1"), kWrongUsage, "--crs", "'-1' is no code such as EPSG:32650; ");
}

TEST_F(SetCommand, NeedsAProject) {
  SetOptions options = Named("Other");
  options.project = folder_.File("missing.db");
  ExpectRefused(options, kFailed, options.project, "no such file; ");
  options.project = folder_.File("flight.db");
  MakeFlight(options.project, {{"m1", "Early"}});
  ExpectRefused(options, kFailed, options.project, "table data_project is missing: not a project");
  options.project = track_;
  ExpectRefused(options, kFailed, options.project, "not a database; ");
  support::Execute(path_, "DELETE FROM data_project");
  ExpectRefused(Named("Other"), kFailed, path_, "table data_project is empty");
}

TEST_F(SetCommand, DoesNotWaitForAProgramThatUsesTheProject) {
  qvsql::Database other;
  ASSERT_TRUE(other.Open(path_));
  ASSERT_TRUE(other.ExecSQL("BEGIN IMMEDIATE", nullptr, nullptr));
  EXPECT_THAT(Set(Named("Other")),
              FailsWith(kFailed, path_, "cannot be changed: it is in use by another program; "));
  ASSERT_TRUE(other.ExecSQL("ROLLBACK", nullptr, nullptr));
  EXPECT_EQ(Cell("project_name"), "Site");
}

TEST_F(SetCommand, SaysThatTheFileMayNotBeWritten) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "run as root, who may write everywhere";
  }
  fs::permissions(path_, fs::perms::owner_read);
  ExpectRefused(Named("Other"), kFailed, path_, "cannot be changed: Permission denied; ");
}

TEST_F(SetCommand, ChangesNothingWhenTheDiskDoesNotTakeIt) {
  const auto before = support::Snapshot(folder_.Path());
  const Outcome outcome = Shell(folder_, "ulimit -f 1; qvprj set survey.db --name Other --crs 4549");
  EXPECT_THAT(outcome, FailsWith(kFailed, "survey.db", "cannot be changed: File too large; "));
  EXPECT_THAT(outcome.err, HasSubstr("; nothing was changed\n"));
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(SetCommand, IsNotThwartedByATriggerThatCameWithTheFile) {
  support::Execute(path_,
                   "CREATE TRIGGER stubborn AFTER UPDATE ON data_project"
                   " BEGIN UPDATE data_project SET project_name = 'stubborn'; END;");
  EXPECT_EQ(Set(Named("Other")).code, 0);
  EXPECT_EQ(Cell("project_name"), "Other");
}

TEST_F(SetCommand, ChangesNothingWhenAColumnIsMissing) {
  support::Execute(path_, "ALTER TABLE data_project RENAME COLUMN description TO remark");
  SetOptions options = InSystem("4549");
  options.description = "new";
  ExpectRefused(options, kFailed, path_, "cannot be changed: ");
}
