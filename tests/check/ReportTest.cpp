// What is no project, and how findings are gathered.
#include "CheckTest.h"

#include <filesystem>

#include "qvprj/project/PairReplacement.h"
#include "support/ProjectSql.h"

using check_test::CheckTest;
using check_test::Lines;

using CheckReport = CheckTest;

namespace {

bool IsProject(const std::string& path) {
  qvprj::ProjectReport report;
  report.errors = 5;
  const bool isProject = qvprj::CheckProject(path, report);
  EXPECT_TRUE(isProject || (report.errors == 0 && report.findings.empty() && report.database.empty()));
  return isProject;
}

}  // namespace

TEST_F(CheckReport, KnowsWhatIsNoProject) {
  EXPECT_FALSE(IsProject(path_));
  EXPECT_FALSE(IsProject(folder_.Path().string()));
  EXPECT_FALSE(IsProject(""));
  support::WriteText(path_, "no database");
  EXPECT_FALSE(IsProject(path_));
  support::WriteText(path_, "");
  EXPECT_FALSE(IsProject(path_));
  const std::string other = folder_.File("other.db");
  support::Execute(other, "CREATE TABLE data_image(id INTEGER)");
  EXPECT_FALSE(IsProject(other));
  support::Execute(other, support::kProjectTable);
  EXPECT_TRUE(IsProject(other));
}

TEST_F(CheckReport, ListsTenOfAKindAndCountsTheOthers) {
  SaveSound();
  Execute("UPDATE data_image SET camera_id = 5; UPDATE data_image SET x = 'a' WHERE rowid = 3");
  const qvprj::ProjectReport report = Report();
  EXPECT_EQ(report.errors, 13U);
  EXPECT_EQ(report.warnings, 0U);
  const Lines found = Found();
  ASSERT_EQ(found.size(), 11U);
  EXPECT_EQ(found[0], "error unknown-camera data_image 1: camera 5 is not among the cameras");
  EXPECT_EQ(found[9], "error unknown-camera data_image 10: camera 5 is not among the cameras +2");
  EXPECT_EQ(found[10], "error no-number data_image 3: x is 'a', no number");
}

TEST_F(CheckReport, CountsErrorsAndWarnings) {
  SaveSound();
  Execute("CREATE TABLE notes(a); UPDATE data_image SET camera_id = 5 WHERE rowid < 3");
  const qvprj::ProjectReport report = Report();
  EXPECT_EQ(report.errors, 2U);
  EXPECT_EQ(report.warnings, 1U);
  EXPECT_FALSE(report.IsSound());
}

TEST_F(CheckReport, PutsTheDatabaseBeforeTheTrackFile) {
  SaveSound();
  support::WriteText(track_, "no track file");
  Execute(support::kMatchTable + "INSERT INTO data_match VALUES(1, 99, 0, NULL)");
  EXPECT_EQ(Found(), (Lines{"error unknown-image data_match 1: image 99 is not among the images",
                            "error no-container : no track file, or its header or directory is damaged; the "
                            "project opens without tie points"}));
}

TEST_F(CheckReport, LooksAtAProjectThatAnotherProgramWasWriting) {
  SaveSound();
  Execute("PRAGMA journal_mode = WAL; CREATE TABLE notes(a)");
  EXPECT_EQ(Found(), Lines{"warning extra-table notes: is no table of a project"});
}

/// A folder in the place of the track file lets the save stop halfway.
TEST_F(CheckReport, LooksAtASaveThatWaitsToBeFinished) {
  const std::string other = folder_.File("other.db");
  ASSERT_TRUE(support::BuildProject().Save(other));
  const bool replaced = qvprj::ReplacePair({path_, track_}, [&](const qvprj::PairFiles& made) {
    std::filesystem::copy_file(other, made.database);
    std::filesystem::copy_file(folder_.File("other.gb"), made.track_file);
    return std::filesystem::create_directory(track_);
  });
  ASSERT_TRUE(replaced);
  ASSERT_TRUE(std::filesystem::remove(track_));
  EXPECT_EQ(Found(), Lines{"warning waiting-save : a save was interrupted and waits beside it; opening the "
                           "project finishes it"});
  EXPECT_EQ(Report().counts.tracks, 25U);
}
