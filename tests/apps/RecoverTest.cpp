// qvprj recover.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "Commands.h"

using namespace apps_test;
using nlohmann::json;
using qvapp::kDone;
using qvapp::kFailed;
using qvapp::kNoProject;
using qvapp::kWrongUsage;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

namespace {

class RecoverCommand : public testing::Test {
 protected:
  /// Three images with features.
  void SetUp() override { MakeProject(path_); }

  [[nodiscard]] Outcome Run(bool force = false, bool asJson = false) const {
    return Recover({path_, out_, force, asJson});
  }

  support::TempFolder folder_;
  std::string path_ = folder_.File("survey.db");
  std::string track_ = folder_.File("survey.gb");
  std::string out_ = folder_.File("new.db");
  std::string out_track_ = folder_.File("new.gb");
};

}  // namespace

TEST_F(RecoverCommand, TellsThatAllWasRecovered) {
  const Outcome outcome = Run();
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, "Recovered " + path_ +
                             ":\n"
                             "  data_project  1 row\n"
                             "  data_camera   0 rows\n"
                             "  data_image    3 rows\n"
                             "  data_gcp      0 rows\n"
                             "  data_cp       0 rows\n"
                             "  features      3 records\n" +
                             out_ + ": all was recovered\n");
}

TEST_F(RecoverCommand, TellsWhatIsLost) {
  support::Execute(path_, "DROP TABLE data_gcp; CREATE TABLE notes(a)");
  support::Bytes bytes = support::ReadBytes(track_);
  bytes[64 + 4 + 24 + 7] = 0x40;  // the count of the second image's features
  support::WriteBytes(track_, bytes);
  const Outcome outcome = Run();
  EXPECT_EQ(outcome.code, kFailed);
  EXPECT_THAT(outcome.err, IsEmpty());
  EXPECT_THAT(outcome.out, HasSubstr("  data_gcp      missing: the new one has defaults\n"));
  EXPECT_THAT(outcome.out, HasSubstr("  notes         no table of a project: not taken over\n"));
  EXPECT_THAT(outcome.out, HasSubstr("  features      1 record of 3, damaged: not verified\n"));
  EXPECT_THAT(outcome.out, HasSubstr(out_ + ": something is lost, as listed\n"));
}

TEST_F(RecoverCommand, TellsRowsThatWereFoundByAScan) {
  support::Execute(path_, "INSERT INTO data_cp VALUES(1, 1, NULL, NULL)");
  support::Bytes bytes = support::ReadBytes(path_);
  std::fill_n(bytes.begin(), 16384, static_cast<unsigned char>(0));  // the first page
  support::WriteBytes(path_, bytes);
  const Outcome outcome = Run();
  EXPECT_EQ(outcome.code, kFailed);
  EXPECT_THAT(outcome.out,
              HasSubstr("  data_project  1 row, 1 found by a scan, and maybe more at the end\n"));
  EXPECT_THAT(outcome.out,
              HasSubstr("  data_image    3 rows, 3 found by a scan, and maybe more at the end\n"));
  EXPECT_THAT(outcome.out, HasSubstr("  data_cp       missing: the new one has defaults\n"));
  EXPECT_THAT(outcome.out,
              HasSubstr("  1 page        with rows that may belong to several tables: not taken\n"));
  const json asJson = json::parse(Run(true, true).out);
  EXPECT_EQ(asJson["ambiguous_pages"], 1);
  EXPECT_EQ(asJson["tables"][2]["found_by_scan"], 3);
  EXPECT_EQ(asJson["tables"][2]["found"], false);
  EXPECT_EQ(asJson["complete"], false);
}

TEST_F(RecoverCommand, TellsThatTheTrackFileIsMissing) {
  fs::remove(track_);
  const Outcome outcome = Run();
  EXPECT_EQ(outcome.code, kFailed);
  EXPECT_THAT(outcome.out, HasSubstr("  track file    missing: there were no tie points to recover\n"));
}

TEST_F(RecoverCommand, TellsEverythingAsJson) {
  const Outcome outcome = Run(false, true);
  EXPECT_THAT(outcome, Succeeds());
  const auto table = [](const char* name, int kept) {
    return json{{"table", name},      {"found", true}, {"kept", kept},
                {"found_by_scan", 0}, {"lost", 0},     {"end_unknown", false}};
  };
  EXPECT_EQ(json::parse(outcome.out),
            (json{{"source", path_},
                  {"complete", true},
                  {"tables",
                   {table("data_project", 1), table("data_camera", 0), table("data_image", 3),
                    table("data_gcp", 0), table("data_cp", 0)}},
                  {"other_tables", json::array()},
                  {"ambiguous_pages", 0},
                  {"track_file_state", "ok"},
                  {"blobs", {{{"blob", "features"}, {"verified", true}, {"kept", 3}, {"claimed", 3}}}},
                  {"files",
                   {{"database", {{"path", out_}, {"bytes", fs::file_size(out_)}}},
                    {"track_file", {{"path", out_track_}, {"bytes", fs::file_size(out_track_)}}}}}}));
}

TEST_F(RecoverCommand, ReplacesAProjectWithForceOnly) {
  MakeProject(out_, "Old", 9);
  const auto before = support::Snapshot(folder_.Path());
  EXPECT_THAT(Run(), FailsWith(kFailed, out_, "exists already; use --force"));
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  EXPECT_THAT(Run(true), Succeeds());
  EXPECT_EQ(support::QueryOne(out_, "SELECT count(*) FROM data_image"), "3");
}

TEST_F(RecoverCommand, NeverReplacesWhatItReads) {
  const auto before = support::Snapshot(folder_.Path());
  out_ = path_;
  EXPECT_THAT(Run(true), FailsWith(kWrongUsage, path_, "is the file that is read from"));
  out_ = folder_.File("survey.sqlite");
  EXPECT_THAT(Run(true), FailsWith(kWrongUsage, track_, "is the file that is read from"));
  out_ = folder_.File("new.gb");
  EXPECT_THAT(Run(true), FailsWith(kWrongUsage, out_, "the extension .gb belongs to the track file"));
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(RecoverCommand, SaysThatNothingCanBeRecovered) {
  support::WriteText(path_, "text");
  fs::remove(track_);
  EXPECT_THAT(Run(), FailsWith(kNoProject, path_, "nothing can be recovered"));
  EXPECT_FALSE(fs::exists(out_));
  path_ = folder_.File("none.db");
  EXPECT_THAT(Run(), FailsWith(kNoProject, path_, "nothing can be recovered"));
}

TEST_F(RecoverCommand, HasItsExitCodesInTheProgram) {
  EXPECT_EQ(Shell(folder_, "qvprj recover survey.db --out new.db").code, kDone);
  EXPECT_EQ(Shell(folder_, "rm survey.gb; qvprj recover survey.db --out new.db --force").code, kFailed);
  EXPECT_EQ(Shell(folder_, "qvprj recover survey.db").code, kWrongUsage);
  EXPECT_EQ(Shell(folder_, "qvprj recover none.db --out other.db").code, kNoProject);
}
