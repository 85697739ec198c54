// qvprj check.
#include <gtest/gtest.h>

#include "Commands.h"

using namespace apps_test;
using nlohmann::json;
using qvapp::kDone;
using qvapp::kFailed;
using qvapp::kNoProject;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class CheckCommand : public testing::Test {
 protected:
  /// Three images with features, and one camera.
  void SetUp() override {
    MakeProject(path_);
    support::Execute(
        path_,
        "INSERT INTO data_camera SELECT 0, '', '', 1, 1, 1, 1, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0,"
        " 0, 0, 0, 0, 0");
  }

  support::TempFolder folder_;
  std::string path_ = folder_.File("survey.db");
  std::string track_ = folder_.File("survey.gb");
};

}  // namespace

TEST_F(CheckCommand, TellsThatAProjectIsSound) {
  const Outcome outcome = Check(path_);
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out,
            path_ + ": sound: 3 images, 1 camera, 0 control points, 6 features, 0 matches, 0 tracks\n");
}

TEST_F(CheckCommand, TellsEachFindingInALine) {
  support::Execute(path_, "UPDATE data_image SET camera_id = 3 WHERE rowid = 2; CREATE TABLE notes(a)");
  std::filesystem::remove(track_);
  const Outcome outcome = Check(path_);
  EXPECT_EQ(outcome.code, kFailed);
  EXPECT_THAT(outcome.err, IsEmpty());
  EXPECT_EQ(outcome.out, "warning  " + path_ + "  notes: is no table of a project\n" +  //
                             "error    " + path_ + "  data_image row 2: camera 3 is not among the cameras\n" +
                             "warning  " + track_ + "  no track file; there are no tie points\n" +  //
                             path_ + ": 3 findings (1 error, 2 warnings)\n");
}

TEST_F(CheckCommand, CountsWhatItDoesNotList) {
  MakeProject(path_, "Site", 14);
  support::Execute(path_, "UPDATE data_image SET x = 'a'");
  const Outcome outcome = Check(path_);
  EXPECT_EQ(outcome.code, kFailed);
  EXPECT_THAT(outcome.out, HasSubstr("data_image row 10: x is 'a', no number\n"));
  EXPECT_THAT(outcome.out, HasSubstr("  data_image: and 4 more of this kind\n"));
  EXPECT_THAT(outcome.out, HasSubstr(": 15 findings (14 errors, 1 warning)\n"));
}

TEST_F(CheckCommand, TellsTheRecordOfTheTrackFile) {
  support::Execute(path_, "DELETE FROM data_image WHERE id = 2");
  EXPECT_THAT(Check(path_).out,
              HasSubstr("error  " + track_ + "  features record 2: image 2 is not among the images\n"));
}

TEST_F(CheckCommand, TellsEverythingAsJson) {
  const json counts = {{"cameras", 1},
                       {"images", 3},
                       {"control_points", 0},
                       {"control_point_measurements", 0},
                       {"features", {{"images", 3}, {"points", 6}}},
                       {"matches", {{"pairs", 0}, {"matches", 0}}},
                       {"tracks", 0},
                       {"observations", 0}};
  const Outcome sound = Check(path_, true);
  EXPECT_THAT(sound, Succeeds());
  EXPECT_EQ(json::parse(sound.out), (json{{"file", path_},
                                          {"sound", true},
                                          {"errors", 0},
                                          {"warnings", 0},
                                          {"findings", json::array()},
                                          {"counts", counts}}));

  support::Execute(path_, "UPDATE data_image SET camera_id = 3 WHERE rowid = 2");
  std::filesystem::remove(track_);
  const Outcome outcome = Check(path_, true);
  EXPECT_EQ(outcome.code, kFailed);
  const json told = json::parse(outcome.out);
  EXPECT_EQ(told["sound"], false);
  EXPECT_EQ(told["errors"], 1);
  EXPECT_EQ(told["warnings"], 1);
  EXPECT_EQ(told["findings"], (json{{{"severity", "error"},
                                     {"kind", "unknown-camera"},
                                     {"file", path_},
                                     {"table", "data_image"},
                                     {"blob", nullptr},
                                     {"record", 2},
                                     {"text", "camera 3 is not among the cameras"},
                                     {"more", 0}},
                                    {{"severity", "warning"},
                                     {"kind", "no-track-file"},
                                     {"file", track_},
                                     {"table", nullptr},
                                     {"blob", nullptr},
                                     {"record", nullptr},
                                     {"text", "no track file; there are no tie points"},
                                     {"more", 0}}}));
}

TEST_F(CheckCommand, LeavesTheProjectAsItWas) {
  support::Execute(path_, "UPDATE data_image SET camera_id = 3");
  const auto before = support::Snapshot(folder_.Path());
  EXPECT_EQ(Check(path_).code, kFailed);
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(CheckCommand, SaysWhyAFileIsNoProject) {
  const std::string none = folder_.File("none.db");
  EXPECT_THAT(Check(none), FailsWith(kNoProject, none, "no such file; "));
  EXPECT_THAT(Check(folder_.Path().string()), FailsWith(kNoProject, folder_.Path().string(), "is a folder"));
  support::WriteText(none, "text");
  EXPECT_THAT(Check(none, true), FailsWith(kNoProject, none, "not a database; "));
  const std::string other = folder_.File("other.db");
  support::Execute(other, "CREATE TABLE a(b)");
  EXPECT_THAT(Check(other), FailsWith(kNoProject, other, "table data_project is missing: not a project"));
}

TEST_F(CheckCommand, HasItsExitCodesInTheProgram) {
  EXPECT_EQ(Shell(folder_, "qvprj check survey.db").code, kDone);
  EXPECT_EQ(Shell(folder_, "rm survey.gb; qvprj check survey.db").code, kFailed);
  EXPECT_EQ(Shell(folder_, "qvprj check").code, qvapp::kWrongUsage);
  EXPECT_EQ(Shell(folder_, "qvprj check none.db").code, kNoProject);
  EXPECT_THAT(Shell(folder_, "qvprj check survey.db").out,
              HasSubstr("warning  survey.gb  no track file; there are no tie points\n"));
}
