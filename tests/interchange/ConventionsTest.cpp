// Every example of docs/conventions.md, computed again.
#include <gmock/gmock.h>

#include <cmath>
#include <map>
#include <numbers>

#include "Peers.h"
#include "interchange/formats/ColmapDatabase.h"
#include "interchange/geometry/Ellipsoid.h"
#include "interchange/geometry/Rotation.h"
#include "interchange/mapping/BundlerProject.h"
#include "interchange/mapping/ColmapProject.h"
#include "interchange/mapping/OpenSfmProject.h"
#include "interchange/project/PixelCamera.h"
#include "interchange/project/WorldFrame.h"
#include "interchange/text/TextFile.h"
#include "support/TestFiles.h"

namespace interchange_test {
namespace {

using namespace interchange;  // all of it is under test

constexpr double kDegree = std::numbers::pi / 180.0;

/// Half of the last of the digits that the page has.
constexpr double kDigits = 0.6e-9;

using Example = std::map<std::string, std::vector<double>>;

std::map<std::string, Example> ReadExamples() {
  std::map<std::string, Example> examples;
  const std::string text = ReadText(QVPRJ_CONVENTIONS);
  Lines lines(text);
  Example* current = nullptr;
  while (const auto line = lines.Next()) {
    if (line->starts_with("```example ")) {
      current = &examples[std::string(line->substr(11))];
    } else if (line->starts_with("```")) {
      current = nullptr;
    } else if (current != nullptr) {
      const std::size_t colon = line->find(':');
      for (const std::string_view word : Words(line->substr(colon + 1))) {
        (*current)[std::string(line->substr(0, colon))].push_back(NumberOf(word).value());
      }
    }
  }
  return examples;
}

class ConventionsTest : public testing::Test {
 protected:
  /// The numbers of one line of an example; each has to be asked for.
  const std::vector<double>& Numbers(const std::string& example, const std::string& line) {
    return examples_.at(example).at(line);
  }
  void ExpectNumbers(const std::string& example, const std::string& line,
                     const std::vector<double>& computed) {
    const std::vector<double>& written = Numbers(example, line);
    ASSERT_EQ(written.size(), computed.size()) << line;
    for (std::size_t i = 0; i < written.size(); ++i) {
      EXPECT_NEAR(written[i], computed[i], kDigits) << line << ", number " << i;
    }
  }
  static std::vector<double> Flat(const Matrix3& m) {
    std::vector<double> numbers;
    for (int i = 0; i < 9; ++i) {
      numbers.push_back(m(i / 3, i % 3));
    }
    return numbers;
  }
  static std::vector<double> InDegrees(const Opk& angles) {
    return {angles.omega / kDegree, angles.phi / kDegree, angles.kappa / kDegree};
  }
  Matrix3 OpkExample() {
    const std::vector<double>& a = Numbers("opk", "degrees");
    return MatrixOf(Opk{a[0] * kDegree, a[1] * kDegree, a[2] * kDegree});
  }
  qvprj::QvProject NavigationProject(int coordinateId) {
    qvprj::QvProject project;
    project.GetPrjInfo().coordinate_id = coordinateId;
    const std::vector<double>& stored = Numbers("navigation", "stored");
    project.GetImageInfoSet().AddImage(1, "a", "", {118.25, 31.5, 0, stored[0], stored[1], stored[2]}, 0, 0,
                                       true);
    return project;
  }

  std::map<std::string, Example> examples_ = ReadExamples();
};

TEST_F(ConventionsTest, ThePageHasTheseExamples) {
  std::vector<std::string> names;
  for (const auto& entry : examples_) {
    names.push_back(entry.first);
  }
  EXPECT_THAT(names,
              testing::ElementsAre("camera", "grid", "navigation", "opk", "pair", "poses", "topocentric"));
}

TEST_F(ConventionsTest, Opk) {
  ExpectNumbers("opk", "matrix", Flat(OpkExample()));
  ExpectNumbers("opk", "degrees", InDegrees(OpkOf(OpkExample())));
}

TEST_F(ConventionsTest, Navigation) {
  const std::vector<double>& a = Numbers("navigation", "degrees yaw pitch roll");
  ExpectNumbers("navigation", "stored", {a[2] * 0.0174533, -a[1] * 0.0174533, a[0] * 0.0174533});
  const Matrix3 m = MatrixOf(YawPitchRoll{a[0] * kDegree, a[1] * kDegree, a[2] * kDegree});
  ExpectNumbers("navigation", "matrix", Flat(m));
  ExpectNumbers("navigation", "opk against north", InDegrees(OpkOf(m)));
  qvprj::QvProject project = NavigationProject(-1);
  const ProjectFrame frame(project, {});
  ExpectNumbers("navigation", "matrix", Flat(frame.LocalRotationOf(*project.GetImageInfoSet().GetImage(0))));
}

TEST_F(ConventionsTest, Grid) {
  qvprj::QvProject project = NavigationProject(32650);
  const ProjectFrame frame(project, {});
  const Matrix3 local = frame.LocalRotationOf(*project.GetImageInfoSet().GetImage(0));
  const WorldFrame grid = WorldFrame::Grid(SystemOfCode("EPSG:32650"), {});
  const Matrix3 turn = grid.FromLocalAxes({118.25, 31.5, 0});
  // Coordinates have a nanometre, which is 1e-9 degrees over the hundred metres between two points.
  EXPECT_NEAR(Numbers("grid", "convergence")[0], std::atan2(turn(1, 0), turn(0, 0)) / kDegree, 2e-9);
  ExpectNumbers("grid", "opk against the grid", InDegrees(frame.OpkAt({118.25, 31.5, 0}, local)));
}

TEST_F(ConventionsTest, Poses) {
  const std::vector<double>& c = Numbers("poses", "centre");
  const Vector3 centre{c[0], c[1], c[2]};
  const WorldToCamera pose = WorldToCameraOf(OpkExample(), centre);
  const Vector3& t = pose.translation;
  ExpectNumbers("poses", "translation", {t.x, t.y, t.z});
  const Quaternion q = QuaternionOf(pose.rotation);
  ExpectNumbers("poses", "quaternion", {q.w, q.x, q.y, q.z});
  const Vector3 v = AngleAxisOf(pose.rotation);
  ExpectNumbers("poses", "angle axis", {v.x, v.y, v.z});
}

TEST_F(ConventionsTest, PosesInFiles) {
  // The same through the exports themselves: in a Cartesian project positions are as they stand.
  qvprj::QvProject project;
  const std::vector<double>& k = Numbers("camera", "width height ccdwidth ccdheight focallength x0 y0");
  qvfd::CameraInfo camera;
  camera.id = 1;
  camera.width = static_cast<int>(k[0]);
  camera.height = static_cast<int>(k[1]);
  camera.ccdwidth = k[2];
  camera.ccdheight = k[3];
  camera.focallength = k[4];
  project.GetCameraInfoSet().AddCamera(camera);
  const std::vector<double>& c = Numbers("poses", "centre");
  const std::vector<double>& a = Numbers("opk", "degrees");
  project.GetImageInfoSet().AddImage(1, "a", "", {c[0], c[1], c[2], 0, 0, 0}, 1, 0, true);
  project.GetImageInfoSet().GetImage(0)->Update(
      {c[0], c[1], c[2], a[0] * kDegree, a[1] * kDegree, a[2] * kDegree});
  const std::vector<double>& pixel = Numbers("camera", "pixel");
  project.GetTracks() = {{1, 2, 3, {{1, static_cast<float>(pixel[0]), static_cast<float>(pixel[1])}}}};

  const support::TempFolder folder;
  SceneOptions options;
  options.project.positions = Positions::kCartesian;
  ExportColmapModel(project, folder.File("c"), ColmapForm::kBinary, options);
  const ColmapImage image = ReadColmapModel(folder.File("c")).images.at(0);
  ExpectNumbers("poses", "quaternion",
                {image.rotation.w, image.rotation.x, image.rotation.y, image.rotation.z});
  ExpectNumbers("poses", "translation", {image.translation.x, image.translation.y, image.translation.z});

  ExportBundler(project, folder.File("b"), {options, false});
  const std::string bundle = ReadText(folder.File("b/bundle.out"));
  std::vector<double> numbers;
  for (const std::string_view word : Words(std::string_view(bundle).substr(bundle.find('\n')))) {
    numbers.push_back(NumberOf(word).value());
  }
  ExpectNumbers("poses", "bundler translation", {numbers[14], numbers[15], numbers[16]});
  ExpectNumbers("camera", "bundler position", {numbers[26], numbers[27]});

  ExportOpenSfm(project, folder.File("o"), options);
  const auto fields = Fields(ReadText(folder.File("o/tracks.csv")).substr(26), '\t');
  ExpectNumbers("camera", "opensfm position", {NumberOf(fields[3]).value(), NumberOf(fields[4]).value()});
}

TEST_F(ConventionsTest, Topocentric) {
  const std::vector<double>& r = Numbers("topocentric", "reference longitude latitude height");
  const std::vector<double>& p = Numbers("topocentric", "position longitude latitude height");
  const WorldFrame frame = WorldFrame::Topocentric({r[0], r[1], r[2]});
  const auto local = frame.FromGlobe({p[0], p[1], p[2]});
  ASSERT_TRUE(local);
  for (std::size_t i = 0; i < 3; ++i) {  // metres: Earth-centred numbers have nine digits before the point
    EXPECT_NEAR(Numbers("topocentric", "east north up")[i],
                i == 0   ? local->x
                : i == 1 ? local->y
                         : local->z,
                1e-8);
  }
}

TEST_F(ConventionsTest, Camera) {
  const std::vector<double>& k = Numbers("camera", "width height ccdwidth ccdheight focallength x0 y0");
  qvfd::CameraInfo camera;
  camera.width = static_cast<int>(k[0]);
  camera.height = static_cast<int>(k[1]);
  camera.ccdwidth = k[2];
  camera.ccdheight = k[3];
  camera.focallength = k[4];
  camera.x0 = k[5];
  camera.y0 = k[6];
  const PixelCamera made = PixelCameraOf(camera);
  ExpectNumbers("camera", "fx fy cx cy", {made.fx, made.fy, made.cx, made.cy});
}

TEST_F(ConventionsTest, Pair) {
  const std::vector<double>& ids = Numbers("pair", "ids");
  EXPECT_EQ(static_cast<double>(
                ColmapPairId(static_cast<std::uint32_t>(ids[0]), static_cast<std::uint32_t>(ids[1]))),
            Numbers("pair", "pair")[0]);
}

TEST(GeoidHeightTest, IsAddedOnTheWayOutAndTakenOffOnTheWayBack) {
  qvprj::QvProject project;
  qvfd::CameraInfo camera;
  camera.id = 0;
  camera.width = 100;
  camera.height = 80;
  camera.ccdwidth = 1;
  camera.ccdheight = 0.8;
  camera.focallength = 1;
  project.GetCameraInfoSet().AddCamera(camera);
  project.GetImageInfoSet().AddImage(1, "a", "", {118.25, 31.5, 100, 0, 0, 0}, 0, 0, true);
  const support::TempFolder folder;
  SceneOptions options;
  options.project.geoid_height = -25.3;
  ExportOpenSfm(project, folder.File("o"), options);
  EXPECT_THAT(ReadText(folder.File("o/reconstruction.json")), testing::HasSubstr("\"altitude\":0.0"));
  qvprj::QvProject back;
  ImportOpenSfm(folder.File("o"), {{}, {}, -25.3}, {}, back);
  EXPECT_NEAR(back.GetImageInfoSet().GetImage(0)->GetEOP().z, 100, 1e-6);
  ImportOpenSfm(folder.File("o"), {}, {}, back);
  EXPECT_NEAR(back.GetImageInfoSet().GetImage(0)->GetEOP().z, 74.7, 1e-6);
}

}  // namespace
}  // namespace interchange_test
