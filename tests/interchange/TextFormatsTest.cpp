// Texts of positions, angles and ground points, OpenSfM and Bundler: what is read, what is written, what is
// refused.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>

#include "Peers.h"
#include "SyntheticProject.h"
#include "interchange/Failure.h"
#include "interchange/formats/GroundPointTable.h"
#include "interchange/formats/OdmText.h"
#include "interchange/formats/OpenSfm.h"
#include "interchange/formats/OrientationText.h"
#include "interchange/mapping/BundlerProject.h"
#include "interchange/mapping/GroundControl.h"
#include "interchange/mapping/OpenSfmProject.h"
#include "interchange/mapping/TextProject.h"
#include "interchange/text/TextFile.h"
#include "support/TestFiles.h"

namespace interchange_test {
namespace {

using interchange::ExportBundler;
using interchange::ExportGroundControl;
using interchange::ExportOdm;
using interchange::ExportOpenSfm;
using interchange::ExportText;
using interchange::Failure;
using interchange::ImportGroundControl;
using interchange::ImportOdm;
using interchange::ImportOpenSfm;
using interchange::ImportText;
using interchange::Report;
using interchange::TextKind;
using support::TempFolder;
using testing::Contains;
using testing::HasSubstr;
using testing::Pair;

constexpr double kDegree = std::numbers::pi / 180.0;

/// Worst differences of the adjusted orientations, in metres and radians, images by name.
std::pair<double, double> Difference(const qvprj::QvProject& a, const qvprj::QvProject& b) {
  std::pair<double, double> worst;
  EXPECT_EQ(a.GetImageInfoSet().Size(), b.GetImageInfoSet().Size());
  for (const qvfd::ImageInfo& image : a.GetImageInfoSet()) {
    const auto other = std::find_if(b.GetImageInfoSet().begin(), b.GetImageInfoSet().end(),
                                    [&](const qvfd::ImageInfo& i) { return i.Name() == image.Name(); });
    if (other == b.GetImageInfoSet().end()) {
      ADD_FAILURE() << image.Name() << " is gone";
      continue;
    }
    const qvfd::EOP& p = image.GetUpdatedEOP();
    const qvfd::EOP& q = other->GetUpdatedEOP();
    worst.first = std::max(
        {worst.first, std::fabs(p.x - q.x) * 111e3, std::fabs(p.y - q.y) * 111e3, std::fabs(p.z - q.z)});
    worst.second = std::max(
        {worst.second, std::fabs(p.omega - q.omega), std::fabs(p.phi - q.phi), std::fabs(p.kappa - q.kappa)});
  }
  return worst;
}

// ---- fields and numbers
// ----------------------------------------------------------------------------------------

TEST(TextFileTest, FieldsMayBeQuoted) {
  EXPECT_THAT(interchange::Fields("a, b ,\"c, d\",\"say \"\"x\"\"\",", ','),
              testing::ElementsAre("a", "b", "c, d", "say \"x\"", ""));
  EXPECT_THAT(interchange::Fields(" a  b\tc ", ' '), testing::ElementsAre("a", "b", "c"));
  EXPECT_EQ(interchange::SeparatorOf("\"a;b\",c"), ',');
  EXPECT_EQ(interchange::SeparatorOf("a b c"), ' ');
}

TEST(TextFileTest, NumbersAreWholeAndFinite) {
  EXPECT_EQ(interchange::NumberOf("+1.5e2"), 150.0);
  EXPECT_EQ(interchange::NumberOf(" -.5 "), -0.5);
  for (const char* const text : {"", "nan", "inf", "1,5", "1.5m", "1e999", "0x10", "--1"}) {
    EXPECT_EQ(interchange::NumberOf(text), std::nullopt) << text;
  }
}

TEST(TextFileTest, LinesEndInAnyWay) {
  const std::string text = "a\r\n\nb";
  interchange::Lines lines(text);
  EXPECT_EQ(lines.Next(), "a");
  EXPECT_EQ(lines.Next(), "");
  EXPECT_EQ(lines.Next(), "b");
  EXPECT_EQ(lines.Number(), 3U);
  EXPECT_EQ(lines.Next(), std::nullopt);
}

// ---- omega, phi, kappa
// -----------------------------------------------------------------------------------------

TEST(OpkTextTest, ComesBackTheSame) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  ExportText(project, folder.File("a.txt"), TextKind::kOpk, {});
  qvprj::QvProject back;
  interchange::TextOptions options;
  options.crs = "EPSG:32650";
  ImportText(folder.File("a.txt"), TextKind::kOpk, options, {}, back);
  EXPECT_EQ(back.GetPrjInfo().coordinate_id, 32650);
  const auto difference = Difference(project, back);
  EXPECT_LT(difference.first, 1e-7);
  EXPECT_LT(difference.second, 1e-12);
}

TEST(OpkTextTest, IsGridCoordinatesAndDegrees) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 1, .points_per_side = 0});
  ExportText(project, folder.File("a.txt"), TextKind::kOpk, {});
  const qvfd::EOP eop = project.GetImageInfoSet().GetImage(0)->GetUpdatedEOP();
  const qvfd::Point2_T<double> local = project.ToLocal({eop.x, eop.y});
  const std::string text = ReadText(folder.File("a.txt"));
  const std::string line = text.substr(text.find("IMG_1000"));
  const auto words = interchange::Words(line);
  ASSERT_EQ(words.size(), 7U);
  EXPECT_NEAR(*interchange::NumberOf(words[1]), local.x, 1e-8);
  EXPECT_NEAR(*interchange::NumberOf(words[2]), local.y, 1e-8);
  EXPECT_NEAR(*interchange::NumberOf(words[6]), eop.kappa / kDegree, 1e-10);
}

TEST(OpkTextTest, AnotherSystemTurnsKappaByTheConvergence) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  interchange::TextOptions zone51;
  zone51.crs = "EPSG:32651";
  ExportText(project, folder.File("a.txt"), TextKind::kOpk, zone51);
  const auto lines = interchange::ReadOpkText(folder.File("a.txt"));
  const qvfd::EOP eop = project.GetImageInfoSet().GetImage(0)->GetUpdatedEOP();
  // Convergence is 0.653 degrees in zone 50 and -2.484 in zone 51 there: atan(tan(longitude - meridian)
  // sin(latitude)).
  const auto convergence = [](double longitude, double meridian, double latitude) {
    return std::atan(std::tan((longitude - meridian) * kDegree) * std::sin(latitude * kDegree)) / kDegree;
  };
  const double turn = convergence(eop.x, 123, eop.y) - convergence(eop.x, 117, eop.y);
  EXPECT_NEAR(turn, -3.13, 0.02);
  EXPECT_NEAR(lines[0].angles[2] - eop.kappa / kDegree, turn, 1e-3);
  qvprj::QvProject back;
  ImportText(folder.File("a.txt"), TextKind::kOpk, zone51, {}, back);
  const auto pose = [](qvprj::QvProject& p) {
    const interchange::ProjectFrame frame(p, {});
    return frame.LocalRotationOf(*p.GetImageInfoSet().GetImage(0));
  };
  for (int i = 0; i < 9; ++i) {
    EXPECT_NEAR(pose(project)(i / 3, i % 3), pose(back)(i / 3, i % 3), 1e-9);
  }
}

TEST(OpkTextTest, NamesMayHaveBlanksAndFirstLinesNames) {
  const TempFolder folder;
  support::WriteText(
      folder.File("a.txt"),
      "imageName X Y Z Omega Phi Kappa\n# remark\nfirst image.jpg 1 2 3 4 5 6\r\nb 1 2 3 4 5 -6\n");
  const auto lines = interchange::ReadOpkText(folder.File("a.txt"));
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].name, "first image.jpg");
  EXPECT_EQ(lines[1].angles[2], -6.0);
}

TEST(OpkTextTest, RefusesLinesThatAreNone) {
  const TempFolder folder;
  for (const char* const text : {"a 1 2 3 4 5\n", "a 1 2 x 4 5 6\n", "a 1 2 3 4 5 nan\n", "\x01\x02\x03"}) {
    support::WriteText(folder.File("a.txt"), text);
    EXPECT_THROW(static_cast<void>(interchange::ReadOpkText(folder.File("a.txt"))), Failure) << text;
  }
  support::WriteText(folder.File("a.txt"), "");
  qvprj::QvProject project;
  EXPECT_THROW(ImportText(folder.File("a.txt"), TextKind::kOpk, {}, {}, project), Failure);
}

// ---- yaw, pitch, roll
// --------------------------------------------------------------------------------------------

TEST(YprTextTest, FlightAnglesComeBackAsTheyWereFlown) {
  const TempFolder folder;
  qvprj::QvProject project;
  const double scale = 0.0174533;
  project.GetImageInfoSet().AddImage(1, "a,b.jpg", "", {118, 31, 250, -2.9 * scale, -2.5 * scale, 70 * scale},
                                     0, 0, true);
  ExportText(project, folder.File("a.csv"), TextKind::kYpr, {});
  const auto lines = interchange::ReadYprText(folder.File("a.csv"));
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].name, "a,b.jpg");
  EXPECT_EQ(lines[0].x, 118.0);
  EXPECT_NEAR(lines[0].angles[0], 70, 1e-9);
  EXPECT_NEAR(lines[0].angles[1], 2.5, 1e-9);
  EXPECT_NEAR(lines[0].angles[2], -2.9, 1e-9);
  qvprj::QvProject back;
  interchange::TextOptions options;
  options.crs = "EPSG:4326";
  ImportText(folder.File("a.csv"), TextKind::kYpr, options, {}, back);
  const qvfd::EOP& eop = back.GetImageInfoSet().GetImage(0)->GetEOP();
  EXPECT_NEAR(eop.omega, -2.9 * scale, 1e-14);
  EXPECT_NEAR(eop.phi, -2.5 * scale, 1e-14);
  EXPECT_NEAR(eop.kappa, 70 * scale, 1e-14);
  EXPECT_EQ(back.GetImageInfoSet().GetImage(0)->GetUpdatedEOP(), eop);
}

TEST(YprTextTest, PitchOfAGimbalIsTakenFromStraightDown) {
  const TempFolder folder;
  support::WriteText(folder.File("a.csv"), "name;c1;c2;z;yaw;pitch;roll\na;118;31;250;10;-90;0\n");
  qvprj::QvProject project;
  interchange::TextOptions options;
  options.crs = "EPSG:4326";
  options.project.pitch_at_nadir = -90;
  ImportText(folder.File("a.csv"), TextKind::kYpr, options, {}, project);
  const interchange::ProjectFrame frame(project, options.project);
  const interchange::Matrix3 m = frame.LocalRotationOf(*project.GetImageInfoSet().GetImage(0));
  EXPECT_NEAR(m(2, 2), 1.0, 1e-12);  // z of the camera is up: it looks straight down
  EXPECT_NEAR(m(0, 1), std::sin(10 * kDegree), 1e-12);
}

// ---- OpenDroneMap
// --------------------------------------------------------------------------------------------------

TEST(GeoTextTest, EveryFormOfALineIsRead) {
  const TempFolder folder;
  support::WriteText(folder.File("geo.txt"),
                     "WGS84 UTM 50N\n"
                     "a.jpg 618000 3486000\n"
                     "b.jpg 618001 3486001 100.5\n"
                     "c.jpg 618002 3486002 100.5 90 1 -2\n"
                     "d.jpg 618003 3486003 100.5 nan nan nan 0.02 0.05\n");
  const interchange::GeoText text = interchange::ReadGeoText(folder.File("geo.txt"));
  EXPECT_EQ(text.system, "WGS84 UTM 50N");
  ASSERT_EQ(text.images.size(), 4U);
  EXPECT_FALSE(text.has_height[0]);
  EXPECT_TRUE(text.images[2].has_angles);
  EXPECT_EQ(text.images[2].angles[2], -2.0);
  EXPECT_FALSE(text.images[3].has_angles);
  EXPECT_EQ(text.images[3].vertical_accuracy, 0.05);
  qvprj::QvProject project;
  const Report report = ImportOdm(folder.File("geo.txt"), {}, {}, project);
  EXPECT_EQ(project.GetPrjInfo().coordinate_id, 32650);
  const qvfd::EOP& eop = project.GetImageInfoSet().GetImage(2)->GetEOP();
  EXPECT_NEAR(project.ToLocal({eop.x, eop.y}).x, 618002, 1e-6);
  EXPECT_NEAR(eop.kappa, 90 * 0.0174533, 1e-12);
  EXPECT_THAT(report.not_carried, Contains("accuracies of positions (1)"));
}

TEST(GeoTextTest, IsWrittenWithTheProjectsSystem) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  ExportOdm(project, folder.File("odm"), {});
  const std::string text = ReadText(folder.File("odm/geo.txt"));
  EXPECT_TRUE(text.starts_with("EPSG:32650\nIMG_1000.jpg "));
  qvprj::QvProject back;
  ImportOdm(folder.File("odm"), {}, {}, back);
  const interchange::ProjectFrame before(project, {});
  const interchange::ProjectFrame after(back, {});
  for (int i = 0; i < project.GetImageInfoSet().Size(); ++i) {
    const interchange::Matrix3 a = before.LocalRotationOf(*project.GetImageInfoSet().GetImage(i));
    const interchange::Matrix3 b = after.LocalRotationOf(*back.GetImageInfoSet().GetImage(i));
    for (int k = 0; k < 9; ++k) {
      EXPECT_NEAR(a(k / 3, k % 3), b(k / 3, k % 3), 1e-12);
    }
  }
}

TEST(GeoTextTest, RefusesUnknownSystemsAndLines) {
  const TempFolder folder;
  qvprj::QvProject project;
  for (const char* const text : {"", "here\na 1 2\n", "EPSG:999999\na 1 2\n", "EPSG:32650\na 1\n",
                                 "EPSG:32650\na 1 b\n", "EPSG:32650\na 1e300 1e300 5\n"}) {
    support::WriteText(folder.File("geo.txt"), text);
    EXPECT_THROW(ImportOdm(folder.File("geo.txt"), {}, {}, project), Failure) << text;
  }
}

// ---- ground points
// ---------------------------------------------------------------------------------------------------

qvprj::QvProject WithImages() {
  qvprj::QvProject project;
  project.GetPrjInfo().coordinate_id = 32650;
  for (int id = 0; id < 3; ++id) {
    project.GetImageInfoSet().AddImage(id, "IMG_" + std::to_string(id) + ".JPG",
                                       "p/IMG_" + std::to_string(id) + ".JPG", {118.25, 31.5, 100, 0, 0, 0},
                                       0, 0, true);
  }
  return project;
}

TEST(GroundControlTest, GcpListIsReadIntoTheProjectsSystem) {
  const TempFolder folder;
  support::WriteText(folder.File("gcp_list.txt"),
                     "+proj=utm +zone=50 +datum=WGS84 +units=m +no_defs\n"
                     "618000.125 3486000.5 35.25 100.5 200.25 IMG_0.JPG north\n"
                     "618000.125 3486000.5 35.25 300 400 img_1.jpg north\n"
                     "618100 3486000 36 10 20 IMG_2.JPG\n"
                     "618100 3486000 36 11 21 elsewhere.jpg\n");
  qvprj::QvProject project = WithImages();
  const Report report = ImportGroundControl(folder.File("gcp_list.txt"), {}, project);
  qvgcp::GroundPoint point;
  ASSERT_TRUE(project.GetGroundControl().ground_points.GetPoint(1, point));
  EXPECT_EQ(point.name, "north");
  EXPECT_NEAR(point.x, 618000.125, 1e-7);
  EXPECT_NEAR(point.y, 3486000.5, 1e-7);
  EXPECT_EQ(point.z, 35.25);
  std::map<int, qvfd::Point2_T<double>> measured;
  ASSERT_TRUE(project.GetGroundControl().common_points.GetGroundPoint(1, measured));
  const std::map<int, qvfd::Point2_T<double>> expected = {{0, {100.5, 200.25}}, {1, {300, 400}}};
  EXPECT_EQ(measured, expected);
  EXPECT_THAT(report.not_carried, Contains(HasSubstr("such as elsewhere.jpg (1)")));
  EXPECT_THAT(report.written, Contains(Pair("measurements", 3U)));
}

TEST(GroundControlTest, GcpListComesBackByteForByte) {
  const TempFolder folder;
  const std::string text =
      "EPSG:32650\n"
      "618000.125 3486000.5 35.25 100.5 200.25 IMG_0.JPG north\n"
      "618000.125 3486000.5 35.25 300 400 IMG_1.JPG north\n";
  support::WriteText(folder.File("a.txt"), text);
  qvprj::QvProject project = WithImages();
  ImportGroundControl(folder.File("a.txt"), {}, project);
  ExportGroundControl(project, folder.File("b.txt"), {});
  EXPECT_EQ(ReadText(folder.File("b.txt")), text);
}

TEST(GroundControlTest, TablesNameTheirColumnsInAnyOrder) {
  const TempFolder folder;
  support::WriteText(folder.File("a.csv"),
                     "Northing;Easting;Height;Label;Role;accuracy_xy\n"
                     "3486000,5;618000;35;A;check;0.01\n");
  qvprj::QvProject project = WithImages();
  EXPECT_THROW(ImportGroundControl(folder.File("a.csv"), {}, project),
               Failure);  // a decimal comma is no number here
  support::WriteText(
      folder.File("a.csv"),
      "Northing;Easting;Height;Label;Role;accuracy_xy\n"
      "3486000.5;618000;35;A;check;0.01\n3486001;618001;35;B;control;\n3486002;618002;35;C;7;\n");
  const Report report = ImportGroundControl(folder.File("a.csv"), {}, project);
  qvgcp::GroundPoint point;
  ASSERT_TRUE(project.GetGroundControl().ground_points.GetPoint(1, point));
  EXPECT_EQ(point.x, 618000.0);
  EXPECT_EQ(point.y, 3486000.5);
  EXPECT_EQ(point.type, 1);
  ASSERT_TRUE(project.GetGroundControl().ground_points.GetPoint(2, point));
  EXPECT_EQ(point.type, 0);
  ASSERT_TRUE(project.GetGroundControl().ground_points.GetPoint(3, point));
  EXPECT_EQ(point.type, 7);
  EXPECT_THAT(report.not_carried, Contains("accuracies of points (1)"));
}

TEST(GroundControlTest, TableHoldsAllThatThePointsHave) {
  const TempFolder folder;
  qvprj::QvProject project = WithImages();
  qvgcp::GCPPrj& control = project.GetGroundControl();
  control.ground_points.AddPoint(4, {"south, \"old\"", 618000.1, 3486000.2, 3.3, 1, false, {}});
  control.ground_points.AddPoint(9, {"east", 618000.5, 3486000.25, 4, 5, true, {}});
  control.common_points.AddImagePoint(9, 1, {10.125, 20.5});
  control.common_points.AddImagePoint(9, 2, {11.125, 21.5});
  const Report report = ExportGroundControl(project, folder.File("a.csv"), {});
  EXPECT_TRUE(report.not_carried.empty());
  qvprj::QvProject back = WithImages();
  ImportGroundControl(folder.File("a.csv"), {}, back);
  qvgcp::GroundPoint point;
  ASSERT_TRUE(back.GetGroundControl().ground_points.GetPoint(1, point));
  EXPECT_EQ(point.name, "south, \"old\"");
  EXPECT_EQ(point.x, 618000.1);
  EXPECT_EQ(point.type, 1);
  EXPECT_FALSE(point.enable);
  ASSERT_TRUE(back.GetGroundControl().ground_points.GetPoint(2, point));
  EXPECT_EQ(point.type, 5);
  std::map<int, qvfd::Point2_T<double>> measured;
  ASSERT_TRUE(back.GetGroundControl().common_points.GetGroundPoint(2, measured));
  EXPECT_EQ(measured.at(1).x, 10.125);
  EXPECT_EQ(measured.size(), 2U);
}

TEST(GroundControlTest, PointsOfKnownNamesAreReplaced) {
  const TempFolder folder;
  qvprj::QvProject project = WithImages();
  qvgcp::GCPPrj& control = project.GetGroundControl();
  control.ground_points.AddPoint(4, {"A", 1, 2, 3, 0, true, {}});
  control.ground_points.AddPoint(5, {"B", 1, 2, 3, 0, true, {}});
  control.common_points.AddImagePoint(4, 0, {1, 1});
  control.common_points.AddImagePoint(5, 0, {5, 5});
  support::WriteText(folder.File("a.csv"),
                     "name,x,y,z,image,px,py\nA,618000,3486000,5,IMG_1.JPG,7,8\nN,1,1,1,,,\n");
  ImportGroundControl(folder.File("a.csv"), {}, project);
  qvgcp::GroundPoint point;
  ASSERT_TRUE(control.ground_points.GetPoint(4, point));
  EXPECT_EQ(point.x, 618000.0);
  EXPECT_TRUE(control.ground_points.GetPoint(6, point));
  std::map<int, qvfd::Point2_T<double>> measured;
  ASSERT_TRUE(control.common_points.GetGroundPoint(4, measured));
  EXPECT_EQ(measured.size(), 1U);
  EXPECT_EQ(measured.at(1).x, 7.0);
  ASSERT_TRUE(control.common_points.GetGroundPoint(5, measured));
  EXPECT_EQ(measured.at(0).x, 5.0);
}

TEST(GroundControlTest, WhatFailsLeavesTheProjectAsItWas) {
  const TempFolder folder;
  qvprj::QvProject project = WithImages();
  const qvgcp::GCPPrj before = project.GetGroundControl();
  for (const char* const text :
       {"", "name,x,y,z\nA,1,2,3\nA,1,2,4\n", "name,x\nA,1\n", "A,1\n", "name,x,y\nA,b,2\n",
        "name,x,y,role\nA,1,2,tower\n", "EPSG:32650\n1 2 3 4 5\n", "name,x,y\n,1,2\n"}) {
    support::WriteText(folder.File("a.csv"), text);
    EXPECT_THROW(ImportGroundControl(folder.File("a.csv"), {}, project), Failure) << text;
  }
  EXPECT_EQ(project.GetGroundControl(), before);
}

TEST(GroundControlTest, CoordinatesOfAnySystemAndOrder) {
  const TempFolder folder;
  // CGCS2000 / 3-degree Gauss-Kruger CM 117E, northing first as its authority has it.
  qvprj::QvProject project = WithImages();
  project.GetPrjInfo().coordinate_id = 4548;
  const qvfd::Point2_T<double> local = project.ToLocal({118.25, 31.5});
  support::WriteText(folder.File("a.csv"),
                     "A," + interchange::TextOf(local.y) + "," + interchange::TextOf(local.x) + ",7\n");
  project.GetPrjInfo().coordinate_id = 32650;
  interchange::GroundControlOptions options;
  options.crs = "EPSG:4548";
  options.order = interchange::AxisOrder::kNorthEast;
  ImportGroundControl(folder.File("a.csv"), options, project);
  qvgcp::GroundPoint point;
  ASSERT_TRUE(project.GetGroundControl().ground_points.GetPoint(1, point));
  EXPECT_NEAR(point.x, project.ToLocal({118.25, 31.5}).x, 1e-6);
  EXPECT_NEAR(point.y, project.ToLocal({118.25, 31.5}).y, 1e-6);
}

// ---- OpenSfM
// ---------------------------------------------------------------------------------------------------------

TEST(OpenSfmTest, ComesBackTheSame) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  for (auto& entry : project.GetFeatures()) {
    entry.second.pop_back();  // what no tie point has is not carried
  }
  ExportOpenSfm(project, folder.File("o"), {});
  qvprj::QvProject back;
  interchange::ImportFrameOptions frame;
  frame.crs = "EPSG:32650";
  const Report report = ImportOpenSfm(folder.File("o"), frame, {}, back);
  const auto difference = Difference(project, back);
  EXPECT_LT(difference.first, 1e-6);
  EXPECT_LT(difference.second, 1e-10);
  ASSERT_EQ(back.GetTracks().size(), project.GetTracks().size());
  for (std::size_t i = 0; i < back.GetTracks().size(); ++i) {
    EXPECT_NEAR(back.GetTracks()[i].x, project.GetTracks()[i].x, 1e-6);
    EXPECT_NEAR(back.GetTracks()[i].z, project.GetTracks()[i].z, 1e-6);
    ASSERT_EQ(back.GetTracks()[i].observations.size(), project.GetTracks()[i].observations.size());
    EXPECT_EQ(back.GetTracks()[i].observations[1].x, project.GetTracks()[i].observations[1].x);
  }
  const interchange::PixelCamera a = interchange::PixelCameraOf(*project.GetCameraInfoSet().GetCamera(0));
  const interchange::PixelCamera b = interchange::PixelCameraOf(*back.GetCameraInfoSet().GetCamera(0));
  EXPECT_NEAR(a.fx, b.fx, 1e-9);
  EXPECT_NEAR(a.cy, b.cy, 1e-9);
  EXPECT_EQ(a.k3, b.k3);
}

/// The largest distance, in pixels, of an observation from where the shot sees the point, by the manual's
/// formulas.
double WorstPixel(const TempFolder& folder) {
  const auto reconstruction = nlohmann::json::parse(ReadText(folder.File("o/reconstruction.json"))).at(0);
  const auto& camera = reconstruction.at("cameras").at("synthetic");
  const std::string tracks = ReadText(folder.File("o/tracks.csv"));
  EXPECT_TRUE(tracks.starts_with("OPENSFM_TRACKS_VERSION_v2\n"));
  interchange::Lines lines(tracks);
  static_cast<void>(lines.Next());
  double worst = 0.0;
  while (const auto line = lines.Next()) {
    const auto fields = interchange::Fields(*line, '\t');
    EXPECT_EQ(fields.size(), 11U);
    const auto& shot = reconstruction.at("shots").at(fields[0]);
    const auto& point = reconstruction.at("points").at(fields[1]).at("coordinates");
    // Rodrigues' formula.
    const double v[3] = {shot["rotation"][0], shot["rotation"][1], shot["rotation"][2]};
    const double angle = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    const double k[3] = {v[0] / angle, v[1] / angle, v[2] / angle};
    const double X[3] = {point[0], point[1], point[2]};
    const double dot = k[0] * X[0] + k[1] * X[1] + k[2] * X[2];
    const double cross[3] = {k[1] * X[2] - k[2] * X[1], k[2] * X[0] - k[0] * X[2], k[0] * X[1] - k[1] * X[0]};
    double Y[3];
    for (int i = 0; i < 3; ++i) {
      Y[i] = X[i] * std::cos(angle) + cross[i] * std::sin(angle) + k[i] * dot * (1 - std::cos(angle)) +
             shot["translation"][static_cast<std::size_t>(i)].get<double>();
    }
    const double x = Y[0] / Y[2];
    const double y = Y[1] / Y[2];
    const double r2 = x * x + y * y;
    const double radial = 1 + r2 * (camera["k1"].get<double>() +
                                    r2 * (camera["k2"].get<double>() + r2 * camera["k3"].get<double>()));
    const double p1 = camera["p1"];
    const double p2 = camera["p2"];
    const double u = camera["focal_x"].get<double>() * (x * radial + 2 * p1 * x * y + p2 * (r2 + 2 * x * x)) +
                     camera["c_x"].get<double>();
    const double w = camera["focal_y"].get<double>() * (y * radial + p1 * (r2 + 2 * y * y) + 2 * p2 * x * y) +
                     camera["c_y"].get<double>();
    worst = std::max({worst, std::fabs(u - *interchange::NumberOf(fields[3])),
                      std::fabs(w - *interchange::NumberOf(fields[4]))});
  }
  return worst * 4000;
}

TEST(OpenSfmTest, ShotsSeePointsWhereTracksSay) {
  // On the meridian of a zone whose scale is 1 there, the grid is the plane that touches the globe.
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.coordinate_id = 4548, .longitude = 117.0});
  const Report report = ExportOpenSfm(project, folder.File("o"), {});
  EXPECT_LT(WorstPixel(folder), 0.02);
  EXPECT_TRUE(report.notes.empty());
}

TEST(OpenSfmTest, StretchOfTheGridIsTold) {
  // UTM: 0.9996 (1 + (1.25 degrees cos 31.5)^2 / 2) = 0.99977, of 2000 pixels to the side.
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  const Report report = ExportOpenSfm(project, folder.File("o"), {});
  const double worst = WorstPixel(folder);
  EXPECT_GT(worst, 0.3);
  EXPECT_LT(worst, 0.5);
  EXPECT_THAT(report.notes, Contains(HasSubstr("scale is 0.99977")));
}

TEST(OpenSfmTest, RefusesWhatItCannotHoldOrRead) {
  const TempFolder folder;
  qvprj::QvProject project;
  for (const char* const text :
       {"", "[]", "{}",
        "[{\"cameras\":{},\"shots\":{\"a\":{\"rotation\":[0,0,0],\"translation\":[0,0,0],\"camera\":\"x\"}}}"
        "]",
        "[{\"cameras\":{\"x\":{\"projection_type\":\"fisheye\",\"width\":1,\"height\":1,\"focal\":1,\"k1\":0,"
        "\"k2\":0}},\"shots\":{}}]",
        "[{\"cameras\":{\"x\":{\"projection_type\":\"brown\",\"width\":1,\"height\":1}},\"shots\":{}}]"}) {
    support::WriteText(folder.File("reconstruction.json"), text);
    EXPECT_THROW(ImportOpenSfm(folder.File("reconstruction.json"), {}, {}, project), Failure) << text;
  }
}

// ---- Bundler
// ---------------------------------------------------------------------------------------------------------

TEST(BundlerTest, ViewsAreWhereTheManualSays) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.distortion = false});
  qvfd::CameraInfo& camera = *project.GetCameraInfoSet().GetCamera(0);
  interchange::BundlerOptions options;
  EXPECT_THROW(ExportBundler(project, folder.File("b"), options),
               Failure);  // its principal point is beside the middle
  options.approximate = true;
  const Report report = ExportBundler(project, folder.File("b"), options);
  EXPECT_THAT(report.not_carried, Contains(HasSubstr("principal point")));
  const std::string text = ReadText(folder.File("b/bundle.out"));
  ASSERT_TRUE(text.starts_with("# Bundle file v0.3\n18 "));
  interchange::Lines lines(text);
  std::vector<double> numbers;
  static_cast<void>(lines.Next());
  while (const auto line = lines.Next()) {
    for (const std::string_view word : interchange::Words(*line)) {
      numbers.push_back(*interchange::NumberOf(word));
    }
  }
  const std::size_t cameras = 18;
  const auto points = static_cast<std::size_t>(numbers[1]);
  ASSERT_EQ(points, project.GetTracks().size());
  std::size_t at = 2 + cameras * 15;
  double worst = 0.0;
  for (std::size_t i = 0; i < points; ++i) {
    const double* const X = &numbers[at];
    const auto views = static_cast<std::size_t>(numbers[at + 6]);
    at += 7;
    for (std::size_t v = 0; v < views; ++v, at += 4) {
      const double* const c = &numbers[2 + static_cast<std::size_t>(numbers[at]) * 15];
      double P[3];
      for (int row = 0; row < 3; ++row) {
        P[row] = c[3 + 3 * row] * X[0] + c[4 + 3 * row] * X[1] + c[5 + 3 * row] * X[2] + c[12 + row];
      }
      ASSERT_LT(P[2], 0.0);  // it looks down its -z
      const double x = c[0] * -P[0] / P[2] + camera.x0 / 0.0016;
      const double y = c[0] * -P[1] / P[2] + camera.y0 / 0.0016;
      worst = std::max({worst, std::fabs(x - numbers[at + 2]), std::fabs(y - numbers[at + 3])});
    }
  }
  EXPECT_EQ(at, numbers.size());
  EXPECT_LT(worst, 2e-4);
}

}  // namespace
}  // namespace interchange_test
