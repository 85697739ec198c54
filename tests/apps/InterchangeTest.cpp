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
  for (const char* const word : {"18 images", "angles", "axes", "heights", "pixel origin", "cameras.bin"}) {
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
