// The catalogue in a GeoPackage, looked at with the database engine itself.
#include "interchange/mapping/Catalog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "Surveys.h"
#include "interchange/Failure.h"
#include "support/ContractsProcess.h"

namespace fs = std::filesystem;
using namespace interchange;
using namespace gis_test;
using support::QueryOne;
using support::TempFolder;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Catalog : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(folder_.Path() / "surveys/north");
    target_ = folder_.File("catalogue.gpkg");
  }

  /// The path of a file among the surveys.
  [[nodiscard]] std::string At(const std::string& name) const {
    return (folder_.Path() / "surveys" / name).string();
  }

  void Make(const std::string& name, const std::string& survey = "Survey") const {
    ASSERT_TRUE(SmallSurvey(32650, survey).Save(At(name)));
  }

  [[nodiscard]] Report Update(bool check = true) const {
    CatalogOptions options;
    options.folders = {At("")};
    options.target = target_;
    options.check = check;
    return UpdateCatalog(options);
  }

  /// "1 new, 2 unchanged", without what is 0.
  [[nodiscard]] static std::string Told(const Report& report) {
    std::string text;
    for (const auto& [what, count] : report.written) {
      if (count > 0) {
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + what;
      }
    }
    return text;
  }

  /// A column of the row of a project.
  [[nodiscard]] std::string Cell(const std::string& column, const std::string& name) const {
    return QueryOne(target_, "SELECT " + column + " FROM projects WHERE path = '" + At(name) + "'");
  }

  [[nodiscard]] std::string Rows() const { return QueryOne(target_, "SELECT count(*) FROM projects"); }

  TempFolder folder_;
  std::string target_;
};

}  // namespace

TEST_F(Catalog, HasARowAProject) {
  qvprj::QvProject project = SmallSurvey(32650,
                                         "S\xC3\xBC"
                                         "d");
  support::SetText(project.GetPrjInfo().operator_name, "A. Pilot");
  support::SetText(project.GetPrjInfo().date, "2024-05-06 07:08:09");
  project.GetGroundControl().ground_points.AddPoint(1, {"P", 4e5, 3e6, 1.0, 0, true, {}});
  project.GetImageInfoSet().GetImageExt(0)->enabled = false;
  project.GetImageInfoSet().GetImage(1)->Update({118.251, 31.5, 1.0, 0.0, 0.0, 0.0});
  project.GetTracks().push_back({1.0, 2.0, 3.0, {{100, 1.0F, 2.0F}}});
  ASSERT_TRUE(project.Save(At("north/a.db")));
  const Report report = Update();
  EXPECT_EQ(Told(report), "1 new");
  const auto cell = [&](const std::string& column) { return Cell(column, "north/a.db"); };
  EXPECT_EQ(cell("status"), "ok");
  EXPECT_EQ(cell("name"),
            "S\xC3\xBC"
            "d");
  EXPECT_EQ(cell("project_id"), std::string(project.GetPrjInfo().id, 32));
  EXPECT_EQ(cell("operator"), "A. Pilot");
  EXPECT_EQ(cell("date"), "2024-05-06 07:08:09");
  EXPECT_EQ(cell("crs"), "EPSG:32650");
  EXPECT_EQ(cell("crs_name"), "WGS 84 / UTM zone 50N");
  EXPECT_EQ(cell("images"), "6");
  EXPECT_EQ(cell("disabled_images"), "1");
  EXPECT_EQ(cell("adjusted_images"), "1");
  EXPECT_EQ(cell("cameras"), "1");
  EXPECT_EQ(cell("ground_points"), "1");
  EXPECT_EQ(cell("tie_points"), "1");
  EXPECT_EQ(cell("errors"), "0");
  EXPECT_EQ(cell("warnings"), "0");
  EXPECT_EQ(cell("track_file"), At("north/a.gb"));
  EXPECT_EQ(cell("database_bytes"), std::to_string(fs::file_size(At("north/a.db"))));
  EXPECT_EQ(cell("track_file_bytes"), std::to_string(fs::file_size(At("north/a.gb"))));
  EXPECT_THAT(cell("database_modified"), testing::MatchesRegex("20[0-9-]+T[0-9:]+\\.[0-9]+Z"));
  const Blob hull = BlobOf(cell("geom"));
  EXPECT_EQ(hull.srs, 4326);
  EXPECT_EQ(hull.type, 3U);
  ASSERT_EQ(hull.points.size(), 5U) << "the two images in the middle of an edge are no corners";
  EXPECT_THAT(hull.points, Contains(testing::ElementsAre(118.252, 31.501, 0.0)));
  EXPECT_NEAR(std::stod(cell("longitude")), 118.251, 1e-9);
  EXPECT_NEAR(std::stod(cell("latitude")), 31.5005, 1e-9);
}

TEST_F(Catalog, FollowsWhatChanges) {
  Make("a.db");
  Make("north/b.db");
  EXPECT_EQ(Told(Update()), "2 new");
  EXPECT_EQ(Told(Update()), "2 unchanged");
  Make("a.db", "Another");
  EXPECT_EQ(Told(Update()), "1 changed, 1 unchanged");
  EXPECT_EQ(Cell("name", "a.db"), "Another");
  const std::string hull = Cell("geom", "north/b.db");
  fs::rename(At("north"), folder_.Path() / "elsewhere");
  EXPECT_EQ(Told(Update()), "1 unchanged, 1 gone");
  EXPECT_EQ(Cell("status", "north/b.db"), "gone");
  EXPECT_EQ(Cell("geom", "north/b.db"), hull);
  EXPECT_EQ(Cell("images", "north/b.db"), "6");
  EXPECT_EQ(Told(Update()), "1 unchanged") << "what is gone is marked once";
  fs::rename(folder_.Path() / "elsewhere", At("north"));
  EXPECT_EQ(Told(Update()), "1 changed, 1 unchanged");
  EXPECT_EQ(Cell("status", "north/b.db"), "ok");
  EXPECT_EQ(Rows(), "2");
}

TEST_F(Catalog, DoesNotOpenWhatHasNotChanged) {
  Make("a.db");
  static_cast<void>(Update());
  const auto time = fs::last_write_time(At("a.db"));
  support::Bytes bytes = support::ReadBytes(At("a.db"));
  std::fill(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
  support::WriteBytes(At("a.db"), bytes);
  fs::last_write_time(At("a.db"), time);
  EXPECT_EQ(Told(Update()), "1 unchanged");
  fs::last_write_time(At("a.db"), time + std::chrono::nanoseconds(1000));
  EXPECT_EQ(Told(Update()), "1 changed, 1 unreadable");
}

TEST_F(Catalog, SeesThatTheTrackFileAloneChanged) {
  Make("a.db");
  static_cast<void>(Update());
  fs::remove(At("a.gb"));
  EXPECT_EQ(Told(Update()), "1 changed");
  EXPECT_NE(Cell("errors", "a.db") + Cell("warnings", "a.db"), "00");
  EXPECT_EQ(Cell("track_file_bytes", "a.db"), "");
  EXPECT_NE(Cell("first_finding", "a.db"), "");
}

TEST_F(Catalog, ChecksLaterWhatItDidNotCheck) {
  Make("a.db");
  EXPECT_EQ(Told(Update(false)), "1 new");
  EXPECT_EQ(Cell("errors", "a.db"), "");
  EXPECT_EQ(Told(Update(false)), "1 unchanged");
  EXPECT_EQ(Told(Update(true)), "1 changed");
  EXPECT_EQ(Cell("errors", "a.db"), "0");
  EXPECT_EQ(Told(Update(false)), "1 unchanged");
}

TEST_F(Catalog, SaysWhyAProjectCannotBeRead) {
  Make("short.db");
  Make("without.db");
  support::Bytes bytes = support::ReadBytes(At("short.db"));
  bytes.resize(bytes.size() / 2);
  support::WriteBytes(At("short.db"), bytes);
  support::Execute(At("without.db"), "DROP TABLE data_image");
  const Report report = Update();
  EXPECT_EQ(Told(report), "2 new, 2 unreadable");
  EXPECT_EQ(Cell("status", "short.db"), "unreadable");
  EXPECT_THAT(Cell("reason", "short.db"), HasSubstr("cannot be opened"));
  EXPECT_THAT(Cell("reason", "without.db"), HasSubstr("images or cameras"));
  EXPECT_EQ(Cell("name", "without.db"), "Survey");
  EXPECT_THAT(report.notes, Contains(HasSubstr("short.db: the database cannot be opened")));
  EXPECT_EQ(Told(Update()), "2 changed, 2 unreadable") << "they are tried again";
  Make("short.db");
  Make("without.db");
  EXPECT_EQ(Told(Update()), "2 changed");
  EXPECT_EQ(Cell("status", "short.db"), "ok");
  EXPECT_EQ(Cell("reason", "short.db"), "");
}

TEST_F(Catalog, PassesOverWhatIsNoProject) {
  Make("a.db");
  support::Execute(At("flight.db"), "CREATE TABLE flight_mission(id TEXT)");
  support::WriteText(At("notes.db"), "no database at all, but long enough to be one by its size");
  support::WriteText(At("empty.db"), "");
  support::WriteText(At(".qv-0123.db"), "what a save keeps");
  fs::copy_file(At("a.db"), At(".qv-4567.db"));
  EXPECT_EQ(Told(Update()), "1 new");
  fs::rename(At("a.db"), At("any.extension"));
  EXPECT_EQ(Told(Update()), "1 new, 1 gone");
}

TEST_F(Catalog, DoesNotFollowLinks) {
  Make("north/a.db");
  fs::create_directory_symlink(At(""), At("north/loop"));
  fs::create_directory_symlink(At("north"), At("again"));
  fs::create_symlink(At("north/a.db"), At("link.db"));
  EXPECT_EQ(Told(Update()), "1 new");
}

TEST_F(Catalog, MayLieAmongTheProjects) {
  target_ = At("catalogue.gpkg");
  Make("a.db");
  EXPECT_EQ(Told(Update()), "1 new");
  EXPECT_EQ(Told(Update()), "1 unchanged");
}

TEST_F(Catalog, WalksFoldersInOneAnotherOnce) {
  Make("north/a.db");
  CatalogOptions options;
  options.folders = {At("north"), At(""), At("north/../north")};
  options.target = target_;
  const Report report = UpdateCatalog(options);
  EXPECT_EQ(Told(report), "1 new");
  // Rows outside of the folders are none of its business.
  Make("b.db");
  static_cast<void>(Update());
  fs::remove(At("b.db"));
  options.folders = {At("north")};
  EXPECT_EQ(Told(UpdateCatalog(options)), "1 unchanged");
  EXPECT_EQ(Cell("status", "b.db"), "ok");
}

TEST_F(Catalog, TakesAnyNames) {
  fs::create_directories(At("\xE6\xB5\x8B\xE9\x87\x8F it's"));
  Make("\xE6\xB5\x8B\xE9\x87\x8F it's/\xC3\xBC.db");
  Make("caf\xE9.db");  // in no encoding that the table could hold
  EXPECT_EQ(Told(Update()), "2 new");
  EXPECT_EQ(QueryOne(target_, "SELECT count(*) FROM projects WHERE path LIKE '%caf\\xE9.db'"), "1");
  EXPECT_EQ(Told(Update()), "2 unchanged");
  fs::remove(At("caf\xE9.db"));
  EXPECT_EQ(Told(Update()), "1 unchanged, 1 gone");
}

TEST_F(Catalog, HasNoFootprintOfImagesOnALineOrNowhere) {
  qvprj::QvProject line = Survey(32650);
  for (int i = 0; i < 5; ++i) {
    AddImage(line, i, 118.0 + 0.01 * i, 31.5, 100.0);
  }
  ASSERT_TRUE(line.Save(At("line.db")));
  qvprj::QvProject cartesian = Survey(-1);
  AddImage(cartesian, 1, 1000.0, 2000.0, 100.0);
  ASSERT_TRUE(cartesian.Save(At("cartesian.db")));
  ASSERT_TRUE(Survey(-1).Save(At("none.db")));
  EXPECT_EQ(Told(Update()), "3 new");
  EXPECT_EQ(Cell("geom IS NULL", "line.db"), "1");
  EXPECT_NEAR(std::stod(Cell("longitude", "line.db")), 118.02, 1e-9);
  EXPECT_EQ(Cell("longitude IS NULL", "cartesian.db"), "1");
  EXPECT_EQ(Cell("crs IS NULL", "cartesian.db"), "1");
  EXPECT_EQ(Cell("images", "none.db"), "0");
}

TEST_F(Catalog, GoesOnPastTheHundredAndEightiethMeridian) {
  qvprj::QvProject project = Survey(32660);
  AddImage(project, 1, 179.999, -17.0, 100.0);
  AddImage(project, 2, -179.999, -17.0, 100.0);
  AddImage(project, 3, -179.999, -17.001, 100.0);
  ASSERT_TRUE(project.Save(At("a.db")));
  static_cast<void>(Update());
  EXPECT_NEAR(std::stod(Cell("longitude", "a.db")), 180.0, 1e-9);
  for (const auto& point : BlobOf(Cell("geom", "a.db")).points) {
    EXPECT_NEAR(point[0], 180.0, 0.0011);
  }
}

TEST_F(Catalog, ReportsFoldersThatCannotBeReadAndKeepsTheirRows) {
  Make("north/a.db");
  Make("b.db");
  fs::permissions(folder_.Path(), fs::perms::all);
  static_cast<void>(Update());
  fs::permissions(target_, fs::perms::all);
  fs::permissions(At("north"), fs::perms::none);
  const auto told = support::AsOrdinaryUser([&] {
    const Report report = Update();
    return Told(report) == "1 unchanged" && report.notes.size() == 1 &&
           report.notes[0].find("north cannot be read") != std::string::npos;
  });
  fs::permissions(At("north"), fs::perms::all);
  EXPECT_EQ(told, true);
  EXPECT_EQ(Cell("status", "north/a.db"), "ok");
}

TEST_F(Catalog, LeavesProjectsAsTheyAre) {
  Make("a.db");
  Make("north/b.db");
  const auto before = support::Snapshot(At(""));
  static_cast<void>(Update());
  EXPECT_EQ(support::Snapshot(At("")), before);
}

TEST_F(Catalog, RefusesWhatIsNoCatalogueAndNoFolder) {
  CatalogOptions options;
  options.target = target_;
  EXPECT_THROW(UpdateCatalog(options), Failure);
  options.folders = {At("nowhere")};
  EXPECT_THROW(UpdateCatalog(options), Failure);
  EXPECT_FALSE(fs::exists(target_));
  support::WriteText(target_, "a text");
  EXPECT_THROW(Update(), Failure);
  EXPECT_EQ(TextOfFile(target_), "a text");
  fs::remove(target_);
  Make("a.db");
  static_cast<void>(Update());
  support::Execute(target_, "ALTER TABLE projects DROP COLUMN first_finding");
  try {
    static_cast<void>(Update());
    ADD_FAILURE() << "it was updated";
  } catch (const Failure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("no column 'first_finding'"));
  }
}

TEST_F(Catalog, IsWrittenInBatches) {
  for (int i = 0; i < 401; ++i) {
    ASSERT_TRUE(Survey(-1, std::to_string(i)).Save(At("p" + std::to_string(i) + ".db")));
  }
  std::size_t opened = 0;
  CatalogOptions options;
  options.folders = {At("")};
  options.target = target_;
  options.check = false;
  EXPECT_THROW(UpdateCatalog(options,
                             [&](const std::string& /*project*/) {
                               if (++opened == 350) {
                                 throw Failure("the test", "stops it", "");
                               }
                             }),
               Failure);
  EXPECT_EQ(Rows(), "200") << "what was done stays";
  EXPECT_EQ(Told(UpdateCatalog(options)), "201 new, 200 unchanged");
}
