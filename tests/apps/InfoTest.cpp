// qvprj info.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>

#include "Commands.h"

namespace fs = std::filesystem;
using namespace apps_test;
using nlohmann::json;
using qvprj::QvProject;
using testing::HasSubstr;

namespace {

void AddImage(QvProject& project, int id, double x, double y, double z, int strip, bool enabled) {
  project.GetImageInfoSet().AddImage(id, "", "", {x, y, z, 0, 0, 0}, 0, strip, enabled);
}

class InfoCommand : public testing::Test {
 protected:
  void Save(QvProject& project) const { ASSERT_TRUE(project.Save(path_)); }

  [[nodiscard]] json Told() const {
    const Outcome outcome = Info(path_, true);
    EXPECT_THAT(outcome, Succeeds());
    return json::parse(outcome.out);
  }

  [[nodiscard]] std::string Text() const {
    const Outcome outcome = Info(path_);
    EXPECT_THAT(outcome, Succeeds());
    return outcome.out;
  }

  /// A project with some of everything, ids and positions in no order.
  [[nodiscard]] static QvProject Rich() {
    QvProject project;
    qvprj::PrjInfo& record = project.GetPrjInfo();
    project.string2char(record.id, 33, "0123456789abcdef0123456789abcdef");
    project.string2char(record.project_name, 64, "Quarry \xE6\xBB\xB4");
    project.string2char(record.operator_name, 64, "A. Surveyor");
    project.string2char(record.date, 32, "2024-05-01");
    project.string2char(record.description, 256, "serial-7");
    record.height = 90.456;
    record.uavtype = 3;
    record.nadir = 0;
    project.GetCameraInfoSet().AddCamera({});
    AddImage(project, 9, 8.5, 50.25, 310.126, 2, true);
    AddImage(project, 2, 8.125, 50.75, 300.5, 7, false);
    AddImage(project, 1, 8.25, 50.5, 305, 2, true);
    AddControl(project);
    project.GetFeatures() = {{9, {{1, 2}, {3, 4}}}, {2, {{5, 6}}}, {1, {}}};
    project.GetMatches() = {{{9, 2}, {{0, 0}, {1, 0}}}};
    project.GetTracks() = {{1, 2, 3, {{9, 1, 2}, {2, 5, 6}}}, {4, 5, 6, {{1, 7, 8}}}};
    return project;
  }

  static void AddControl(QvProject& project) {
    qvgcp::GCPPrj& control = project.GetGroundControl();
    for (const int id : {3, 5}) {
      control.ground_points.AddPoint(id, {});
    }
    control.common_points.AddImagePoint(3, 9, {1, 2});
    control.common_points.AddImagePoint(3, 2, {1, 2});
    control.common_points.AddImagePoint(5, 1, {1, 2});
  }

  support::TempFolder folder_;
  std::string path_ = folder_.File("survey.db");
  std::string track_ = folder_.File("survey.gb");
};

}  // namespace

TEST_F(InfoCommand, TellsEverythingAsJson) {
  QvProject project = Rich();
  Save(project);
  const json expected = {{"file", path_},
                         {"project",
                          {{"id", "0123456789abcdef0123456789abcdef"},
                           {"name", "Quarry \xE6\xBB\xB4"},
                           {"operator", "A. Surveyor"},
                           {"date", "2024-05-01"},
                           {"description", "serial-7"},
                           {"height", 90.456},
                           {"coordinate_id", nullptr},
                           {"coordinate_name", nullptr},
                           {"uavtype", 3},
                           {"nadir", 0}}},
                         {"cameras", 1},
                         {"images", 3},
                         {"enabled_images", 2},
                         {"strips", 2},
                         {"control_points", 2},
                         {"control_point_measurements", 3},
                         {"features", {{"images", 2}, {"points", 3}}},
                         {"matches", {{"pairs", 1}, {"matches", 2}}},
                         {"tracks", 2},
                         {"extent", {{"x_min", 8.125}, {"x_max", 8.5}, {"y_min", 50.25}, {"y_max", 50.75}}},
                         {"extent_local", nullptr},
                         {"unconvertible_images", 0},
                         {"height_range", {{"z_min", 300.5}, {"z_max", 310.126}}},
                         {"track_file_state", "ok"},
                         {"files",
                          {{"database", {{"path", path_}, {"bytes", fs::file_size(path_)}}},
                           {"track_file", {{"path", track_}, {"bytes", fs::file_size(track_)}}}}}};
  EXPECT_EQ(Told(), expected);
}

TEST_F(InfoCommand, TellsEverythingToAPerson) {
  QvProject project = Rich();
  Save(project);
  EXPECT_EQ(Text(), path_ +
                        "\n"
                        "  project            Quarry \xE6\xBB\xB4\n"
                        "  id                 0123456789abcdef0123456789abcdef\n"
                        "  operator           A. Surveyor\n"
                        "  date               2024-05-01\n"
                        "  description        serial-7\n"
                        "  flying height      90.46 m\n"
                        "  coordinate system  none (local)\n"
                        "  aircraft type      3\n"
                        "  nadir              0\n"
                        "  cameras            1\n"
                        "  images             3, 2 enabled, in 2 strips\n"
                        "  control points     2, with 3 measurements in images\n"
                        "  features           3 in 2 images\n"
                        "  matches            2 in 1 image pair\n"
                        "  tracks             2\n"
                        "  extent x           8.1250000 to 8.5000000 degrees\n"
                        "  extent y           50.2500000 to 50.7500000 degrees\n"
                        "  heights z          300.50 to 310.13 m\n"
                        "  database           " +
                        path_ + ": " + std::to_string(fs::file_size(path_)) +
                        " bytes\n  track file         " + track_ + ": " +
                        std::to_string(fs::file_size(track_)) + " bytes\n");
}

TEST_F(InfoCommand, LeavesTheProjectAsItWas) {
  QvProject project = Rich();
  Save(project);
  const auto before = support::Snapshot(folder_.Path());
  EXPECT_THAT(Info(path_), Succeeds());
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(InfoCommand, HasNoExtentWithoutImages) {
  QvProject project;
  Save(project);
  const json told = Told();
  EXPECT_EQ(told["images"], 0);
  EXPECT_EQ(told["strips"], 0);
  EXPECT_EQ(told["extent"], nullptr);
  EXPECT_EQ(told["height_range"], nullptr);
  EXPECT_THAT(Text(), HasSubstr("  extent x           none\n"));
  EXPECT_THAT(Text(), HasSubstr("  heights z          none\n"));
}

TEST_F(InfoCommand, PassesOverWhatIsNoFiniteNumber) {
  QvProject project;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  AddImage(project, 1, nan, infinity, nan, 1, true);
  AddImage(project, 2, 8, 50, nan, 1, true);
  Save(project);
  const json told = Told();
  EXPECT_EQ(told["extent"], (json{{"x_min", 8.0}, {"x_max", 8.0}, {"y_min", 50.0}, {"y_max", 50.0}}));
  EXPECT_EQ(told["height_range"], nullptr);
}

TEST_F(InfoCommand, GivesNumbersInFull) {
  QvProject project;
  AddImage(project, 1, 0.1 + 0.2, -83.30572530000001, 1.0 / 3, 1, true);
  Save(project);
  const json told = Told();
  EXPECT_EQ(told["extent"]["x_min"].get<double>(), 0.1 + 0.2);
  EXPECT_EQ(told["extent"]["y_max"].get<double>(), -83.30572530000001);
  EXPECT_EQ(told["height_range"]["z_min"].get<double>(), 1.0 / 3);
}

TEST_F(InfoCommand, CountsImagesThatShareAnId) {
  QvProject project;
  AddImage(project, 0, 8, 50, 1, 1, true);
  AddImage(project, 0, 9, 50, 1, 2, false);
  Save(project);
  EXPECT_EQ(Told()["images"], 2);
  EXPECT_EQ(Told()["enabled_images"], 1);
  EXPECT_EQ(Told()["strips"], 2);
}

TEST_F(InfoCommand, NamesTheCoordinateSystem) {
  qvfd::CoordinateInfo system;
  system.id = 990001;
  system.type = 3;
  system.name = "3-degree Test Zone";
  qvfd::QvConfiguration::Instance().AddCoordinate(system);
  QvProject project;
  project.GetPrjInfo().coordinate_id = 990001;
  Save(project);
  EXPECT_EQ(Told()["project"]["coordinate_id"], 990001);
  EXPECT_EQ(Told()["project"]["coordinate_name"], "CGCS2000 3-degree Test Zone");
  EXPECT_THAT(Text(), HasSubstr("  coordinate system  990001 (CGCS2000 3-degree Test Zone)\n"));
}

TEST_F(InfoCommand, AdmitsACoordinateSystemThatItDoesNotKnow) {
  QvProject project;
  project.GetPrjInfo().coordinate_id = 999999999;
  Save(project);
  EXPECT_EQ(Told()["project"]["coordinate_id"], 999999999);
  EXPECT_EQ(Told()["project"]["coordinate_name"], nullptr);
  EXPECT_THAT(Text(), HasSubstr("  coordinate system  999999999 (not known here)\n"));
}

TEST_F(InfoCommand, NamesASystemOfTheRegistry) {
  MakeProjectAt(path_, 4549, {});
  EXPECT_EQ(Told()["project"]["coordinate_name"], "CGCS2000 3-degree Gauss-Kruger CM 120E");
  EXPECT_THAT(Text(), HasSubstr("  coordinate system  4549 (CGCS2000 3-degree Gauss-Kruger CM 120E)\n"));
}

TEST_F(InfoCommand, GivesTheExtentInTheCoordinateSystem) {
  MakeProjectAt(path_, 32632, {{9, 0}, {9.5, 1}});
  QvProject project;
  ASSERT_TRUE(project.OpenPrj(path_));
  const auto northEast = project.ToLocal({9.5, 1});
  const json told = Told();
  EXPECT_EQ(told["extent"], (json{{"x_min", 9.0}, {"x_max", 9.5}, {"y_min", 0.0}, {"y_max", 1.0}}));
  EXPECT_EQ(told["extent_local"]["x_min"].get<double>(), 500000.0);
  EXPECT_EQ(told["extent_local"]["y_min"].get<double>(), 0.0);
  EXPECT_EQ(told["extent_local"]["x_max"].get<double>(), northEast.x);
  EXPECT_EQ(told["extent_local"]["y_max"].get<double>(), northEast.y);
  EXPECT_EQ(told["extent_local"]["unit"], "metre");
  EXPECT_EQ(told["unconvertible_images"], 0);
  EXPECT_THAT(Text(), HasSubstr("  extent x           9.0000000 to 9.5000000 degrees\n"
                                "  extent y           0.0000000 to 1.0000000 degrees\n"
                                "  extent local x     500000.00 to 555629.77 metre\n"
                                "  extent local y     0.00 to 110534.40 metre\n"
                                "  heights z "));
}

TEST_F(InfoCommand, GivesTheLocalExtentInTheUnitOfTheSystem) {
  MakeProjectAt(path_, 2225, {{-122, 40}});
  EXPECT_EQ(Told()["extent_local"]["unit"], "US survey foot");
  EXPECT_THAT(Text(), HasSubstr(" US survey foot\n"));
  MakeProjectAt(path_, 4490, {{120, 30}});
  EXPECT_EQ(Told()["extent_local"]["unit"], "radian");
  EXPECT_THAT(Text(), HasSubstr("  extent local x     2.094395102 to 2.094395102 radian\n"));
}

TEST_F(InfoCommand, HasNoLocalExtentWithoutCoordinateSystem) {
  MakeProjectAt(path_, -1, {{9, 0}});
  EXPECT_EQ(Told()["extent_local"], nullptr);
  EXPECT_EQ(Told()["unconvertible_images"], 0);
  EXPECT_THAT(Text(), testing::Not(HasSubstr("extent local")));
}

TEST_F(InfoCommand, HasNoLocalExtentInASystemThatItDoesNotKnow) {
  MakeProjectAt(path_, 999999999, {{9, 0}, {9, 1}});
  EXPECT_EQ(Told()["extent_local"], nullptr);
  EXPECT_EQ(Told()["unconvertible_images"], 2);
  EXPECT_THAT(Text(), testing::Not(HasSubstr("extent local")));
  EXPECT_THAT(Text(), HasSubstr("  not convertible    2 images\n"));
}

TEST_F(InfoCommand, CountsTheImagesThatCannotBeConverted) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  MakeProjectAt(path_, 32632, {{9, 91}, {9, 0}, {nan, 0}});
  const json told = Told();
  EXPECT_EQ(told["unconvertible_images"], 2);
  EXPECT_EQ(told["extent_local"]["x_max"].get<double>(), 500000.0);
  EXPECT_EQ(told["extent_local"]["y_max"].get<double>(), 0.0);
  EXPECT_THAT(Text(), HasSubstr("  not convertible    2 images\n"));
}

TEST_F(InfoCommand, HasNoLocalExtentWithoutImages) {
  MakeProjectAt(path_, 32632, {});
  EXPECT_EQ(Told()["extent_local"], nullptr);
  EXPECT_THAT(Text(), HasSubstr("  extent local x     none\n"));
}

TEST_F(InfoCommand, DoesWithoutTrackFile) {
  QvProject project = Rich();
  Save(project);
  fs::remove(track_);
  const json told = Told();
  EXPECT_EQ(told["track_file_state"], "missing");
  EXPECT_EQ(told["files"]["track_file"]["bytes"], nullptr);
  EXPECT_EQ(told["tracks"], 0);
  EXPECT_THAT(Text(), HasSubstr("  track file         " + track_ + ": missing\n"));
}

TEST_F(InfoCommand, SaysThatTheTrackFileIsDamaged) {
  QvProject project = Rich();
  Save(project);
  support::Bytes bytes = support::ReadBytes(track_);
  bytes.back() ^= 0xFFU;
  bytes[bytes.size() / 2] ^= 0xFFU;
  support::WriteBytes(track_, bytes);
  EXPECT_EQ(Told()["track_file_state"], "damaged");
  EXPECT_EQ(Told()["tracks"], 0);
  EXPECT_THAT(Text(), HasSubstr(" bytes, damaged: what it holds is lost or incomplete\n"));
}

TEST_F(InfoCommand, SaysThatABlobInTheTrackFileIsDamaged) {
  QvProject project = Rich();
  Save(project);
  for (const int id : {0, 1, 2}) {
    qvfd::BinaryData blobs(1);
    blobs.AddBlob(id, std::vector<unsigned char>{0xFF, 0xFF, 0xFF, 0x7F, 0});
    ASSERT_TRUE(blobs.Write(track_));
    EXPECT_EQ(Told()["track_file_state"], "damaged") << id;
  }
}

TEST_F(InfoCommand, KeepsHostileTextsOffTheTerminal) {
  QvProject project;
  project.string2char(project.GetPrjInfo().project_name, 64, "a\x1B[2J\nb");
  Save(project);
  EXPECT_THAT(Text(), HasSubstr("  project            a?[2J?b\n"));
  EXPECT_EQ(Told()["project"]["name"], "a\x1B[2J\nb");
}
