// qvprj import.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "Commands.h"

namespace fs = std::filesystem;
using namespace apps_test;
using nlohmann::json;
using qvapp::ImportOptions;
using qvapp::kFailed;
using qvapp::kWrongUsage;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

class ImportCommand : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(folder_.File("flight"));
    flight_ = folder_.File("flight/flight.db");
    MakeFlight(flight_, {{"m1", "Early", "2024-05-01", 3},
                         {"m2", "Late", "2024-05-02", 5, "p2"},
                         {"m3", "Twice", "2024-04-01", 1},
                         {"m4", "Twice", "2024-04-02", 1},
                         {"Early", "Named like an id", "2024-04-03", 7}});
  }

  ImportOptions Options(const std::string& mission = "m1") const { return ImportOf(flight_, mission, out_); }

  ImportOptions Forced() const {
    ImportOptions options = Options();
    options.force = true;
    return options;
  }

  ImportOptions WithCamera(const std::string& text) const {
    support::WriteText(folder_.File("flight/cam.json"), text);
    ImportOptions options = Options();
    options.camera_file = folder_.File("flight/cam.json");
    return options;
  }

  /// The project that was made.
  qvprj::QvProject Made() const {
    qvprj::QvProject project;
    EXPECT_TRUE(project.OpenPrj(out_));
    return project;
  }

  int ImagesOf(const std::string& mission) {
    EXPECT_THAT(Import(Options(mission)), Succeeds());
    const int images = Made().GetImageInfoSet().Size();
    fs::remove(out_);
    fs::remove(track_);
    return images;
  }

  /// The import fails as told, and not a byte in the folder is another one.
  void ExpectRefused(const ImportOptions& options, int code, const std::string& file,
                     const std::string& problem) {
    const auto before = support::Snapshot(folder_.Path());
    const auto names = folder_.Names();
    EXPECT_THAT(Import(options), FailsWith(code, file, problem));
    EXPECT_EQ(support::Snapshot(folder_.Path()), before);
    EXPECT_EQ(folder_.Names(), names);
  }

  support::TempFolder folder_;
  std::string flight_;
  std::string out_ = folder_.File("survey.db");
  std::string track_ = folder_.File("survey.gb");
};

const std::string kCamera =
    R"("width": 4000, "height": 3000, "ccdwidth": 6.0, "ccdheight": 4.5, "focallength": 8.8)";

}  // namespace

TEST_F(ImportCommand, MakesAProject) {
  ImportOptions options = Options();
  options.operator_name = "A. Surveyor";
  const auto before = support::Snapshot(folder_.File("flight"));
  EXPECT_THAT(Import(options), Succeeds());
  EXPECT_THAT(folder_.Names(), ElementsAre("flight", "survey.db", "survey.gb"));
  EXPECT_EQ(support::Snapshot(folder_.File("flight")), before);

  qvprj::QvProject project = Made();
  EXPECT_STREQ(project.GetPrjInfo().project_name, "Early");
  EXPECT_STREQ(project.GetPrjInfo().operator_name, "A. Surveyor");
  EXPECT_STREQ(project.GetPrjInfo().date, "2024-05-01");
  EXPECT_STREQ(project.GetPrjInfo().description, "serial-7");
  EXPECT_EQ(project.GetPrjInfo().height, 90.5);
  ASSERT_EQ(project.GetImageInfoSet().Size(), 3);
  EXPECT_EQ(project.GetImageInfoSet().GetImage(2)->Id(), 103);
  EXPECT_EQ(project.GetImageInfoSet().GetImage(2)->GetEOP().x, 8.25);
  EXPECT_EQ(project.GetImageInfoSet().GetImage(2)->GetEOP().y, 49.875);
  EXPECT_EQ(project.GetCameraInfoSet().Size(), 0);
}

TEST_F(ImportCommand, SaysWhatItMade) {
  const Outcome outcome = Import(Options());
  EXPECT_THAT(outcome, Succeeds());
  const auto bytes = [](const std::string& path) { return std::to_string(fs::file_size(path)); };
  EXPECT_EQ(outcome.out,
            "Imported from " + flight_ +
                ":\n"
                "  mission  Early (m1)\n"
                "  created  2024-05-01\n"
                "  images   3\n"
                "  cameras  0\n"
                "  file     " +
                out_ + ", " + bytes(out_) + " bytes\n  file     " + track_ + ", " + bytes(track_) +
                " bytes\n"
                "The images refer to camera 0, which is not in the project yet. To add it, import "
                "with --camera FILE.json\n(see 'qvprj import --help').\n");
}

TEST_F(ImportCommand, PrintsJson) {
  ImportOptions options = Options("m2");
  options.json = true;
  MakeSibling(folder_.File("flight/sibling.db"), "p2", "Quarry");
  const Outcome outcome = Import(options);
  EXPECT_THAT(outcome, Succeeds());
  const json expected = {{"flight", flight_},
                         {"mission",
                          {{"id", "m2"},
                           {"name", "Late"},
                           {"project", "Quarry"},
                           {"project_id", "p2"},
                           {"created", "2024-05-02"}}},
                         {"images", 5},
                         {"cameras", 0},
                         {"missing_camera_id", 0},
                         {"coordinate_id", nullptr},
                         {"coordinate_name", nullptr},
                         {"unconvertible_images", 0},
                         {"files",
                          {{"database", {{"path", out_}, {"bytes", fs::file_size(out_)}}},
                           {"track_file", {{"path", track_}, {"bytes", fs::file_size(track_)}}}}}};
  EXPECT_EQ(json::parse(outcome.out), expected);
}

// ---- Which mission

TEST_F(ImportCommand, FindsTheMissionByIdLatestOrName) {
  EXPECT_EQ(ImagesOf("m1"), 3);
  EXPECT_EQ(ImagesOf("latest"), 5);
  EXPECT_EQ(ImagesOf("Late"), 5);
  EXPECT_EQ(ImagesOf("Early"), 7) << "an id comes before a name";
}

TEST_F(ImportCommand, TakesAMissionWithTheIdLatestForThat) {
  support::Execute(flight_,
                   "INSERT INTO flight_mission VALUES('latest', 'p', 'Odd', '1999', 1);"
                   "INSERT INTO pos_data VALUES('latest', 1, 0, 0, 0, 0, 0, 0);");
  EXPECT_EQ(ImagesOf("latest"), 1);
}

TEST_F(ImportCommand, DoesNotGuessBetweenMissionsOfOneName) {
  ExpectRefused(Options("Twice"), kFailed, flight_,
                "2 missions are named 'Twice'; give the id of one: m4, m3\n");
}

TEST_F(ImportCommand, ListsTheMissionsThatThereAre) {
  ExpectRefused(
      Options("x"), kFailed, flight_,
      "no mission 'x'; this database has: Late (m2), Early (m1), Named like an id (Early), Twice (m4), "
      "Twice (m3)\n");
  ExpectRefused(Options(""), kFailed, flight_, "no mission ''; this database has: ");
}

TEST_F(ImportCommand, DoesNotListHundredsOfMissions) {
  std::vector<MissionRow> missions;
  for (int i = 0; i < 23; ++i) {
    missions.push_back({"id" + std::to_string(i), "Name", "2024", 1});
  }
  const std::string flight = folder_.File("flight/many.db");
  MakeFlight(flight, missions);
  const Outcome outcome = Import(ImportOf(flight, "x", out_));
  EXPECT_THAT(outcome, FailsWith(kFailed, flight, "no mission 'x'; this database has: Name (id"));
  EXPECT_THAT(outcome.err, HasSubstr(" and 3 more\n"));
}

TEST_F(ImportCommand, SaysThatThereIsNoMissionAtAll) {
  const std::string flight = folder_.File("flight/none.db");
  MakeFlight(flight, {});
  ExpectRefused(ImportOf(flight, "latest", out_), kFailed, flight,
                "no mission 'latest'; this database has no mission with position records");
}

TEST_F(ImportCommand, CannotImportAnIdWithAQuote) {
  const std::string flight = folder_.File("flight/quote.db");
  MakeFlight(flight, {{"it's", "Quoted"}});
  ExpectRefused(ImportOf(flight, "latest", out_), kFailed, flight,
                "the id of mission it's has a single quote");
}

// ---- What the host adds

TEST_F(ImportCommand, KeepsAnOperatorOfSixtyThreeBytes) {
  ImportOptions options = Options();
  options.operator_name = std::string(63, 'o');
  EXPECT_THAT(Import(options), Succeeds());
  EXPECT_EQ(Made().GetPrjInfo().operator_name, std::string(63, 'o'));
}

TEST_F(ImportCommand, DoesNotCutAnOperator) {
  ImportOptions options = Options();
  options.operator_name = std::string(64, 'o');
  ExpectRefused(options, kWrongUsage, "--operator",
                "the name has 64 bytes, a project keeps 63; shorten it\n");
}

TEST_F(ImportCommand, AddsTheCamera) {
  const Outcome outcome = Import(WithCamera("{" + kCamera + R"(, "name": "Wide", "k2": 0.25})"));
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_THAT(outcome.out, HasSubstr("  cameras  1\n"));
  EXPECT_THAT(outcome.out, Not(HasSubstr("camera 0")));
  const qvprj::QvProject project = Made();
  ASSERT_EQ(project.GetCameraInfoSet().Size(), 1);
  const qvfd::CameraInfo& camera = *project.GetCameraInfoSet().GetCamera(0);
  EXPECT_EQ(camera.id, 0);
  EXPECT_EQ(camera.name, "Wide");
  EXPECT_EQ(camera.width, 4000);
  EXPECT_EQ(camera.focallength, 8.8);
  EXPECT_EQ(camera.distortion[1], 0.25);
}

TEST_F(ImportCommand, NoticesThatTheCameraOfTheImagesIsStillMissing) {
  ImportOptions options = WithCamera("[{" + kCamera + R"(, "id": 1}])");
  EXPECT_THAT(Import(options).out, HasSubstr("The images refer to camera 0"));
  options.json = true;
  options.force = true;
  EXPECT_EQ(json::parse(Import(options).out)["missing_camera_id"], 0);
  options = WithCamera("{" + kCamera + "}");
  options.json = true;
  options.force = true;
  EXPECT_EQ(json::parse(Import(options).out)["missing_camera_id"], nullptr);
}

TEST_F(ImportCommand, StopsAtAWrongCamera) {
  const ImportOptions options = WithCamera(R"({"width": 4})");
  ExpectRefused(options, kFailed, *options.camera_file, "key 'height' is missing");
  ImportOptions none = Options();
  none.camera_file = "";
  ExpectRefused(none, kFailed, "''", "no such file");
}

// ---- Its coordinate system

TEST_F(ImportCommand, GivesTheProjectItsCoordinateSystem) {
  for (const char* code : {"EPSG:32632", "epsg:32632", "32632"}) {
    ImportOptions options = Forced();
    options.crs = code;
    const Outcome outcome = Import(options);
    EXPECT_THAT(outcome, Succeeds());
    EXPECT_THAT(outcome.out, HasSubstr("  coordinate system  32632 (WGS 84 / UTM zone 32N)\n"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("cannot be converted")));
    EXPECT_EQ(support::QueryOne(out_, "SELECT coordinate_id FROM data_project"), "32632") << code;
    EXPECT_EQ(support::QueryOne(out_, "SELECT x FROM data_image LIMIT 1"), "8") << "degrees all the same";
  }
}

TEST_F(ImportCommand, HasNoCoordinateSystemUnasked) {
  EXPECT_THAT(Import(Options()).out, Not(HasSubstr("coordinate system")));
  EXPECT_EQ(support::QueryOne(out_, "SELECT coordinate_id FROM data_project"), "-1");
}

TEST_F(ImportCommand, TellsTheCoordinateSystemAsJson) {
  ImportOptions options = Options();
  options.crs = "4549";
  options.json = true;
  const json told = json::parse(Import(options).out);
  EXPECT_EQ(told["coordinate_id"], 4549);
  EXPECT_EQ(told["coordinate_name"], "CGCS2000 3-degree Gauss-Kruger CM 120E");
  EXPECT_EQ(told["unconvertible_images"], 0);
}

TEST_F(ImportCommand, RefusesACoordinateSystemThatItDoesNotKnow) {
  ImportOptions options = Options();
  for (const std::string code : {"", "none", "Gauss", "EPSG:999999", "32632.0"}) {
    options.crs = code;
    const Outcome outcome = Import(options);
    EXPECT_THAT(outcome.err, HasSubstr("; see 'qvprj crs find TEXT'\n"));
    ExpectRefused(options, kWrongUsage, "--crs", "");
  }
}

TEST_F(ImportCommand, CountsTheImagesThatCannotBeConverted) {
  support::Execute(flight_, "UPDATE pos_data SET lat = 91 WHERE flight_mission_id = 'm1' AND img_idx = 102");
  ImportOptions options = Options();
  options.crs = "EPSG:32632";
  const Outcome outcome = Import(options);
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_THAT(outcome.out, HasSubstr("The position of 1 image cannot be converted to EPSG:32632. "));
  EXPECT_EQ(Made().GetImageInfoSet().Size(), 3);
  options.force = true;
  options.json = true;
  EXPECT_EQ(json::parse(Import(options).out)["unconvertible_images"], 1);
}

// ---- What is replaced, and what never

TEST_F(ImportCommand, DoesNotReplaceAProjectUnasked) {
  MakeProject(out_);
  ExpectRefused(Options(), kFailed, out_, "exists already; use --force to replace it\n");
  fs::remove(track_);
  ExpectRefused(Options(), kFailed, out_, "exists already; use --force to replace it\n");
}

TEST_F(ImportCommand, DoesNotReplaceATrackFileUnasked) {
  support::WriteText(track_, "tracks");
  ExpectRefused(Options(), kFailed, track_, "exists already; use --force to replace it\n");
}

TEST_F(ImportCommand, DoesNotReplaceALinkThatLeadsNowhereUnasked) {
  fs::create_symlink("nowhere", out_);
  ExpectRefused(Options(), kFailed, out_, "exists already");
}

TEST_F(ImportCommand, ReplacesAProjectByForce) {
  MakeProject(out_, "Earlier", 9);
  EXPECT_THAT(Import(Forced()), Succeeds());
  EXPECT_THAT(folder_.Names(), ElementsAre("flight", "survey.db", "survey.gb"));
  qvprj::QvProject project = Made();
  EXPECT_STREQ(project.GetPrjInfo().project_name, "Early");
  EXPECT_TRUE(project.GetFeatures().empty());
}

TEST_F(ImportCommand, ReplacesByForceWhatAnInterruptedSaveLeft) {
  support::Execute(out_, "CREATE TABLE data_camera(id);");
  EXPECT_THAT(Import(Forced()), Succeeds());
  fs::remove(out_);
  support::Execute(out_, "CREATE TABLE t(a); DROP TABLE t;");
  EXPECT_THAT(Import(Forced()), Succeeds());
  support::WriteText(out_, "");
  EXPECT_THAT(Import(Forced()), Succeeds());
  EXPECT_EQ(Made().GetImageInfoSet().Size(), 3);
}

TEST_F(ImportCommand, ReplacesALinkAndNotWhatItLeadsTo) {
  const std::string elsewhere = folder_.File("flight/elsewhere.db");
  MakeProject(elsewhere);
  const support::Bytes before = support::ReadBytes(elsewhere);
  fs::create_symlink(elsewhere, out_);
  EXPECT_THAT(Import(Forced()), Succeeds());
  EXPECT_FALSE(fs::is_symlink(out_));
  EXPECT_EQ(support::ReadBytes(elsewhere), before);
}

TEST_F(ImportCommand, NeverReplacesTheFlight) {
  ImportOptions options = Forced();
  for (const std::string& out : {flight_, folder_.File("flight/../flight/flight.db")}) {
    options.out = out;
    ExpectRefused(options, kWrongUsage, out, "is the file that is read from: it is never replaced");
  }
  fs::create_symlink(flight_, out_);
  options.out = out_;
  ExpectRefused(options, kWrongUsage, out_, "is the file that is read from");
}

TEST_F(ImportCommand, NeverReplacesAFlightThatIsNamedLikeATrackFile) {
  const std::string flight = folder_.File("odd.gb");
  fs::copy_file(flight_, flight);
  ImportOptions options = ImportOf(flight, "m1", folder_.File("odd.db"));
  options.force = true;
  ExpectRefused(options, kWrongUsage, flight, "is the file that is read from");
}

TEST_F(ImportCommand, NeverReplacesTheCameraFile) {
  ImportOptions options = Forced();
  options.camera_file = folder_.File("survey.gb");
  support::WriteText(*options.camera_file, "{" + kCamera + "}");
  ExpectRefused(options, kWrongUsage, track_, "is the file that is read from");
}

TEST_F(ImportCommand, NeverReplacesWhatIsNoDatabase) {
  support::WriteText(out_, "a photo, for all we know");
  ExpectRefused(Forced(), kFailed, out_, "is no database; it is not replaced; ");
}

TEST_F(ImportCommand, NeverReplacesADatabaseThatIsNoProject) {
  fs::copy_file(flight_, out_);
  ExpectRefused(Forced(), kFailed, out_, "is a database but no project; it is not replaced; ");
}

TEST_F(ImportCommand, NeverReplacesADatabaseThatItCannotRead) {
  MakeProject(out_);
  support::Bytes bytes = support::ReadBytes(out_);
  std::fill(bytes.begin() + 100, bytes.end(), static_cast<unsigned char>(0xA5));
  support::WriteBytes(out_, bytes);
  ExpectRefused(Forced(), kFailed, out_, "cannot be read (damaged, or in use by another program)");
}

TEST_F(ImportCommand, NeverReplacesAFolder) {
  fs::create_directory(track_);
  ExpectRefused(Forced(), kFailed, track_, "is a folder: no file can be put in its place; ");
  ImportOptions options = Forced();
  options.out = folder_.File("flight");
  ExpectRefused(options, kFailed, options.out, "is a folder");
}

TEST_F(ImportCommand, NeedsANameForAProject) {
  ImportOptions options = Options();
  options.out = "";
  ExpectRefused(options, kWrongUsage, "''", "is no file name");
  options.out = folder_.File("flight/");
  ExpectRefused(options, kWrongUsage, options.out, "names a folder, not a file");
  for (const std::string name : {"survey.gb", "survey.GB"}) {
    options.out = folder_.File(name);
    ExpectRefused(options, kWrongUsage, options.out, "the extension .gb belongs to the track file");
  }
}

TEST_F(ImportCommand, NeedsTheFolder) {
  ImportOptions options = Options();
  options.out = folder_.File("missing/survey.db");
  ExpectRefused(options, kFailed, options.out,
                "the folder '" + folder_.File("missing") + "' does not exist; make it first\n");
  options.out = flight_ + "/survey.db";
  ExpectRefused(options, kFailed, options.out, "'" + flight_ + "' is no folder");
}

// ---- A disk that does not take it

TEST_F(ImportCommand, SaysThatTheFolderMayNotBeWritten) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "run as root, who may write everywhere";
  }
  MakeProject(out_);
  fs::permissions(folder_.Path(), fs::perms::owner_read | fs::perms::owner_exec);
  ExpectRefused(Forced(), kFailed, out_, "cannot be replaced: Permission denied; ");
  ImportOptions options = Options();
  options.out = folder_.File("new.db");
  ExpectRefused(options, kFailed, options.out, "cannot be saved: Permission denied; ");
}

TEST_F(ImportCommand, LeavesNothingWhenItCannotSave) {
  MakeFlight(folder_.File("flight/long.db"), {{"m1", "Long", "2024", 2000}});
  const auto before = support::Snapshot(folder_.Path());
  const Outcome outcome =
      Shell(folder_, "ulimit -f 64; qvprj import flight/long.db --mission latest --out survey.db");
  EXPECT_THAT(outcome, FailsWith(kFailed, "survey.db", "cannot be saved: File too large; "));
  EXPECT_THAT(outcome.err, HasSubstr("; nothing was left behind\n"));
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(ImportCommand, PutsTheEarlierProjectBackWhenItCannotSave) {
  MakeFlight(folder_.File("flight/long.db"), {{"m1", "Long", "2024", 2000}});
  MakeProject(out_, "Earlier");
  const auto before = support::Snapshot(folder_.Path());
  const Outcome outcome =
      Shell(folder_, "ulimit -f 64; qvprj import flight/long.db --mission latest --out survey.db --force");
  EXPECT_THAT(outcome, FailsWith(kFailed, "survey.db", "cannot be saved: File too large; "));
  EXPECT_THAT(outcome.err, HasSubstr("; what was there before is untouched\n"));
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}
