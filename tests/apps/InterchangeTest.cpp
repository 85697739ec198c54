// qvprj export, qvprj import --from, qvprj gcp: options, files, reports, failures. What the files hold is tested in
// tests/interchange.
#include <gtest/gtest.h>

#include <filesystem>

#include "../interchange/SyntheticProject.h"
#include "Commands.h"
#include "commands/Export.h"
#include "commands/Gcp.h"
#include "commands/ImportFrom.h"

namespace fs = std::filesystem;
using namespace apps_test;
using nlohmann::json;
using qvapp::ExportOptions;
using qvapp::GcpOptions;
using qvapp::ImportFromOptions;
using qvapp::kFailed;
using qvapp::kWrongUsage;
using testing::HasSubstr;
using testing::Not;

namespace {

class InterchangeCommand : public testing::Test {
 protected:
  void SetUp() override {
    qvprj::QvProject project = interchange_test::SyntheticProject({.distortion = false, .first_image_id = 1});
    project.GetCameraInfoSet().GetCamera(0)->x0 = 0;  // so that every format holds the camera
    project.GetCameraInfoSet().GetCamera(0)->y0 = 0;
    ASSERT_TRUE(project.Save(survey_));
  }

  ExportOptions To(const std::string& kind, const std::string& path) const {
    ExportOptions options;
    options.project = survey_;
    options.to = kind;
    options.path = folder_.File(path);
    return options;
  }

  ImportFromOptions From(const std::string& kind, const std::string& path, const std::string& out) const {
    ImportFromOptions options;
    options.kind = kind;
    options.path = folder_.File(path);
    options.out = folder_.File(out);
    return options;
  }

  GcpOptions Gcp(const std::string& text) const {
    GcpOptions options;
    options.project = survey_;
    options.file = folder_.File("points.csv");
    if (!text.empty()) {
      support::WriteText(options.file, text);
    }
    return options;
  }

  /// Every row of every table but those of ground points.
  std::string OtherTables() const {
    std::string all;
    for (const std::string& table : support::Tables(survey_)) {
      if (table != "data_gcp" && table != "data_cp") {
        for (const auto& row : support::Query(survey_, "SELECT * FROM " + table)) {
          for (const auto& cell : row) {
            all += cell.type + ":" + cell.text + "|";
          }
        }
      }
    }
    return all;
  }

  support::TempFolder folder_;
  std::string survey_ = folder_.File("survey.db");
};

}  // namespace

TEST_F(InterchangeCommand, EveryFormatIsWrittenAndReported) {
  for (const std::string kind :
       {"colmap", "colmap-txt", "colmap-db", "opensfm", "odm", "bundler", "opk", "ypr"}) {
    ExportOptions options = To(kind, "to-" + kind);
    options.json = true;
    const Outcome outcome = apps_test::Run(qvapp::RunExport, options);
    ASSERT_THAT(outcome, Succeeds()) << kind;
    const json report = json::parse(outcome.out);
    EXPECT_EQ(report["to"], kind);
    EXPECT_EQ(report["read"]["images"], 18) << kind;
    EXPECT_FALSE(report["conventions"]["angles"].get<std::string>().empty());
    EXPECT_FALSE(report["written"].empty());
    for (const auto& file : report["files"]) {
      EXPECT_TRUE(fs::is_regular_file(file.get<std::string>())) << file;
    }
  }
}

TEST_F(InterchangeCommand, ReportsForPeopleNameTheConventions) {
  const Outcome outcome = apps_test::Run(qvapp::RunExport, To("colmap", "sparse"));
  EXPECT_THAT(outcome, Succeeds());
  for (const char* const word :
       {"1 camera, 18 images", "angles", "axes", "heights", "pixel origin", "cameras.bin"}) {
    EXPECT_THAT(outcome.out, HasSubstr(word));
  }
}

TEST_F(InterchangeCommand, WhatIsThereIsReplacedWithForceOnly) {
  support::WriteText(folder_.File("a.txt"), "mine");
  ExportOptions options = To("opk", "a.txt");
  EXPECT_THAT(apps_test::Run(qvapp::RunExport, options), FailsWith(kFailed, options.path, "exists already"));
  options.force = true;
  EXPECT_THAT(apps_test::Run(qvapp::RunExport, options), Succeeds());
  fs::create_directory(folder_.File("d"));
  EXPECT_THAT(apps_test::Run(qvapp::RunExport, To("colmap", "d")), Succeeds());  // empty
  options = To("colmap", "d");
  EXPECT_THAT(apps_test::Run(qvapp::RunExport, options),
              FailsWith(kFailed, options.path, "exists already and is not empty"));
  options.force = true;
  EXPECT_THAT(apps_test::Run(qvapp::RunExport, options), Succeeds());
}

TEST_F(InterchangeCommand, ProjectIsNeverWrittenOver) {
  ExportOptions options = To("opk", "survey.db");
  options.force = true;
  EXPECT_THAT(apps_test::Run(qvapp::RunExport, options),
              FailsWith(kWrongUsage, survey_, "is the file that is read from"));
  options = To("opk", "survey.gb");
  options.force = true;
  EXPECT_EQ(apps_test::Run(qvapp::RunExport, options).code, kWrongUsage);
}

TEST_F(InterchangeCommand, UnknownFormatsAreWrongUsage) {
  EXPECT_EQ(apps_test::Run(qvapp::RunExport, To("cinema", "x")).code, kWrongUsage);
  EXPECT_EQ(apps_test::Run(qvapp::RunImportFrom, From("cinema", "x", "o.db")).code, kWrongUsage);
}

TEST_F(InterchangeCommand, MissingCameraIsTold) {
  MakeProject(folder_.File("plain.db"));
  ExportOptions options = To("colmap", "sparse");
  options.project = folder_.File("plain.db");
  const Outcome outcome = apps_test::Run(qvapp::RunExport, options);
  EXPECT_EQ(outcome.code, kFailed);
  EXPECT_THAT(outcome.err, IsOneLine());
  EXPECT_FALSE(fs::exists(folder_.File("sparse")));
}

TEST_F(InterchangeCommand, WhatWasExportedComesBackAsAProject) {
  for (const std::string kind : {"colmap", "opensfm", "odm", "opk", "ypr"}) {
    ASSERT_THAT(apps_test::Run(qvapp::RunExport, To(kind, "x-" + kind)), Succeeds());
    ImportFromOptions options = From(kind, "x-" + kind, kind + ".db");
    if (kind != "colmap") {
      options.crs = "EPSG:32650";
    }
    options.json = true;
    const Outcome outcome = apps_test::Run(qvapp::RunImportFrom, options);
    ASSERT_THAT(outcome, Succeeds()) << kind;
    EXPECT_EQ(json::parse(outcome.out)["written"]["images"], 18);
    EXPECT_EQ(support::QueryOne(options.out, "SELECT count(*) FROM data_image"), "18");
    EXPECT_EQ(support::QueryOne(options.out, "SELECT coordinate_id FROM data_project"), "32650") << kind;
    EXPECT_EQ(Check(options.out).code == 0 || kind == "odm" || kind == "opk" || kind == "ypr", true) << kind;
  }
}

TEST_F(InterchangeCommand, MissingFilesAreTold) {
  for (const char* const kind : {"colmap", "opensfm", "odm", "opk", "ypr", "photos"}) {
    const ImportFromOptions options = From(kind, "nowhere", "o.db");
    EXPECT_THAT(apps_test::Run(qvapp::RunImportFrom, options),
                FailsWith(kFailed, options.path, "no such file or folder"));
  }
}

TEST_F(InterchangeCommand, ImportThatFailsLeavesNothing) {
  support::WriteText(folder_.File("bad.txt"), "a 1 2\n");
  const auto before = folder_.Names();
  const Outcome outcome = apps_test::Run(qvapp::RunImportFrom, From("opk", "bad.txt", "o.db"));
  EXPECT_EQ(outcome.code, kFailed);
  EXPECT_THAT(outcome.err, IsOneLine());
  EXPECT_EQ(folder_.Names(), before);
}

TEST_F(InterchangeCommand, CommandLine) {
  EXPECT_THAT(Shell(folder_, "qvprj export survey.db --to colmap sparse"), Succeeds());
  EXPECT_THAT(Shell(folder_, "qvprj import --from colmap sparse --out back.db"), Succeeds());
  EXPECT_EQ(Shell(folder_, "qvprj import --from colmap sparse --mission latest --out b.db").code,
            kWrongUsage);
  EXPECT_EQ(Shell(folder_, "qvprj import sparse --out b.db").code, kWrongUsage);
  EXPECT_EQ(Shell(folder_, "qvprj import --from colmap sparse --offset 1,2 --out b.db").code, kWrongUsage);
  EXPECT_EQ(Shell(folder_, "qvprj export survey.db --to colmap").code, kWrongUsage);
  EXPECT_EQ(Shell(folder_, "qvprj gcp").code, kWrongUsage);
}

TEST_F(InterchangeCommand, OptionsOfTheCommandLineArrive) {
  struct Case {
    const char* to;
    const char* option;
    const char* told;  ///< by the report, with the option and not without it
  };
  const Case cases[] = {
      {"colmap", "--orientation as-flown", "as flown: navigation angles"},
      {"colmap", "--angles navigation", "adjusted: navigation angles"},
      {"ypr", "--pitch-at-nadir -90", "pitch -90 straight down"},
      {"colmap", "--geoid-height 12.5", "12.5 m below those above the ellipsoid"},
      {"geojson", "--geoid-height 12.5", "12.5 m were added"},
      {"gpkg", "--geoid-height 12.5", "12.5 m below those above the ellipsoid"},
      {"kml", "--geoid-height 12.5", "12.5 m below those above the ellipsoid"},
      {"shp", "--geoid-height 12.5", "12.5 m below those above the ellipsoid"},
      {"fgb", "--geoid-height 12.5", "12.5 m below those above the ellipsoid"},
      {"colmap", "--principal-point pixels", "x0, y0 in pixels from the corner"},
      {"colmap", "--pixel-origin centre", "from the middle of the first one"},
      {"opk", "--axis-order north-east", "northing then easting"},
      {"odm", "--axis-order north-east --crs EPSG:4326", "latitude then longitude"},
      {"opk", "--crs EPSG:4326", "longitude then latitude"},
      {"gpkg", "--ground 20.5", "the given height 20.5"},
      {"gpkg", "--check-type 7", "ground points of type 7"},
      {"gpkg", "--tie-points", "0 check points, 191 tie points"},
  };
  int number = 0;
  for (const auto& [to, option, told] : cases) {
    const std::string command = std::string("qvprj export survey.db --to ") + to + " out";
    const Outcome without = Shell(folder_, command + std::to_string(++number));
    const Outcome with = Shell(folder_, command + std::to_string(++number) + " " + option);
    ASSERT_THAT(without, Succeeds()) << to;
    ASSERT_THAT(with, Succeeds()) << to << ' ' << option;
    EXPECT_THAT(without.out, Not(HasSubstr(told))) << to << ' ' << option;
    EXPECT_THAT(with.out, HasSubstr(told)) << to << ' ' << option;
  }
}

TEST_F(InterchangeCommand, PositionsCanBeSaidToBeCartesian) {
  support::Execute(survey_, "UPDATE data_project SET coordinate_id = -1");
  EXPECT_THAT(Shell(folder_, "qvprj export survey.db --to gpkg a.gpkg").out, HasSubstr("WGS 84 degrees"));
  EXPECT_THAT(Shell(folder_, "qvprj export survey.db --to gpkg b.gpkg --positions cartesian").out,
              HasSubstr("the project's own Cartesian frame"));
}

TEST_F(InterchangeCommand, BundlerLeavesOutWhatItLacksWhereThisIsWanted) {
  support::Execute(survey_, "UPDATE data_camera SET p1 = 0.001");
  const Outcome refused = Shell(folder_, "qvprj export survey.db --to bundler out");
  EXPECT_EQ(refused.code, kFailed);
  EXPECT_THAT(refused.err, IsOneLine());
  EXPECT_THAT(Shell(folder_, "qvprj export survey.db --to bundler out --approximate"), Succeeds());
}

TEST_F(InterchangeCommand, MatchesComeFromTheDatabaseOfAModel) {
  ASSERT_THAT(Shell(folder_,
                    "qvprj export survey.db --to colmap sparse && "
                    "qvprj export survey.db --to colmap-db database.db"),
              Succeeds());
  Outcome outcome = Shell(folder_, "qvprj import --from colmap sparse --out without.db --json");
  ASSERT_THAT(outcome, Succeeds());
  EXPECT_FALSE(json::parse(outcome.out)["conventions"].contains("matches"));
  outcome = Shell(folder_, "qvprj import --from colmap sparse --database database.db --out with.db --json");
  ASSERT_THAT(outcome, Succeeds());
  EXPECT_TRUE(json::parse(outcome.out)["conventions"].contains("matches"));
  qvprj::QvProject original;
  qvprj::QvProject back;
  ASSERT_TRUE(original.OpenPrj(survey_));
  ASSERT_TRUE(back.OpenPrj(folder_.File("without.db")));
  EXPECT_TRUE(back.GetMatches().empty());
  ASSERT_TRUE(back.OpenPrj(folder_.File("with.db")));
  EXPECT_EQ(back.GetMatches().size(), original.GetMatches().size());

  const auto before = folder_.Names();
  EXPECT_THAT(Shell(folder_, "qvprj import --from colmap sparse --database nowhere.db --out other.db"),
              FailsWith(kFailed, "nowhere.db", "no such file"));
  EXPECT_EQ(folder_.Names(), before);
}

TEST_F(InterchangeCommand, ColmapDatabaseIsReplacedAsAWhole) {
  MakeProject(folder_.File("plain.db"));  // its images have no camera, so that nothing can be written
  ExportOptions options = To("colmap-db", "database.db");
  support::WriteText(options.path, "mine");
  support::WriteText(options.path + "-wal", "of a program that was killed");
  options.force = true;
  options.project = folder_.File("plain.db");
  const auto before = support::Snapshot(folder_.Path());
  EXPECT_EQ(apps_test::Run(qvapp::RunExport, options).code, kFailed);
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);

  options.project = survey_;
  EXPECT_THAT(apps_test::Run(qvapp::RunExport, options), Succeeds());
  EXPECT_EQ(support::QueryOne(options.path, "SELECT count(*) FROM images"), "18");
  EXPECT_FALSE(fs::exists(options.path + "-wal"));  // it would be taken for one of the new database
  EXPECT_FALSE(fs::exists(options.path + ".part"));
}

TEST_F(InterchangeCommand, GroundPointsAreAddedAndNothingElseChanges) {
  support::Execute(survey_,
                   "CREATE TABLE notes_of_the_host(t TEXT); INSERT INTO notes_of_the_host VALUES('keep me')");
  const std::string before = OtherTables();
  const support::Bytes tracks = support::ReadBytes(folder_.File("survey.gb"));
  GcpOptions options =
      Gcp("name,x,y,z,role,image,px,py\nA,618000,3486000,35,check,IMG_1001.jpg,10,20\nB,1,2,3,control,,,\n");
  options.json = true;
  const Outcome outcome = apps_test::Run(qvapp::RunGcpImport, options);
  ASSERT_THAT(outcome, Succeeds());
  EXPECT_EQ(json::parse(outcome.out)["written"]["ground points"], 2);
  EXPECT_EQ(OtherTables(), before);
  EXPECT_EQ(support::ReadBytes(folder_.File("survey.gb")), tracks);
  EXPECT_EQ(support::QueryOne(survey_, "SELECT count(*) FROM data_gcp"), "2");
  EXPECT_EQ(support::QueryOne(survey_, "SELECT count(*) FROM data_cp"), "1");
  EXPECT_EQ(Check(survey_).code == 3, false);

  options.file = folder_.File("out.csv");
  EXPECT_THAT(apps_test::Run(qvapp::RunGcpExport, options), Succeeds());
  EXPECT_EQ(apps_test::Run(qvapp::RunGcpExport, options).code, kFailed);
  options.force = true;
  EXPECT_THAT(apps_test::Run(qvapp::RunGcpExport, options), Succeeds());
}

TEST_F(InterchangeCommand, GroundPointsThatAreRefusedLeaveTheProjectAsItWas) {
  const auto before = support::Snapshot(folder_.Path());
  GcpOptions options = Gcp("");
  EXPECT_EQ(apps_test::Run(qvapp::RunGcpImport, options).code, kFailed);  // no such file
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  options = Gcp("name,x\n");
  const Outcome outcome = apps_test::Run(qvapp::RunGcpImport, options);
  EXPECT_EQ(outcome.code, kFailed);
  EXPECT_THAT(outcome.err, IsOneLine());
  fs::remove(options.file);
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(InterchangeCommand, GroundPointsOfAProjectThatWasLeftInTheMiddleOfAWrite) {
  // What a program that is killed in the middle of a transaction leaves: changed pages, and the journal to undo them.
  fs::create_directory(folder_.File("crash"));
  const std::string crashed = folder_.File("crash/survey.db");
  support::ExecuteAndStopInTheMiddle(survey_, "UPDATE data_image SET name = 'half ' || zeroblob(20000)",
                                     crashed);
  fs::copy_file(folder_.File("survey.gb"), folder_.File("crash/survey.gb"));
  ASSERT_TRUE(fs::exists(crashed + "-journal"));
  GcpOptions options = Gcp("name,x,y,z\nA,618000,3486000,35\n");
  options.project = crashed;
  EXPECT_THAT(apps_test::Run(qvapp::RunGcpImport, options), Succeeds());
  EXPECT_EQ(support::QueryOne(crashed, "SELECT count(*) FROM data_gcp"), "1");
  EXPECT_EQ(support::QueryOne(crashed, "SELECT count(*) FROM data_image WHERE name LIKE 'IMG_%'"), "18");
  EXPECT_EQ(support::QueryOne(crashed, "PRAGMA integrity_check"), "ok");
  EXPECT_FALSE(fs::exists(crashed + "-journal"));
}
