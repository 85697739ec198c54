// COLMAP both ways: against the collinearity equations, against raw bytes and raw SQLite, and against COLMAP
// itself where it is installed.
#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>

#include "Peers.h"
#include "SyntheticProject.h"
#include "interchange/Failure.h"
#include "interchange/formats/ColmapDatabase.h"
#include "interchange/mapping/ColmapProject.h"
#include "interchange/text/TextFile.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

namespace interchange_test {
namespace {

using interchange::ColmapModel;
using interchange::ExportColmapDatabase;
using interchange::ExportColmapModel;
using interchange::Failure;
using interchange::ImportColmap;
using interchange::Report;
using support::TempFolder;
using testing::ElementsAre;
using testing::HasSubstr;

Report Export(qvprj::QvProject& project, const std::string& folder) {
  return ExportColmapModel(project, folder, interchange::ColmapForm::kBinary, {});
}

/// The largest differences between two projects that should be one.
struct Difference {
  double metres = 0.0;
  double radians = 0.0;
  double point = 0.0;
};

Difference Compare(qvprj::QvProject& a, qvprj::QvProject& b) {
  Difference difference;
  EXPECT_EQ(a.GetImageInfoSet().Size(), b.GetImageInfoSet().Size());
  constexpr double kMetresPerDegree = 111'320.0;
  for (const qvfd::ImageInfo& image : a.GetImageInfoSet()) {
    const qvfd::ImageInfo* const other = b.GetImageInfoSet().FindImage(image.Id());
    if (other == nullptr) {
      ADD_FAILURE() << "image " << image.Id() << " is gone";
      continue;
    }
    EXPECT_EQ(image.Name(), other->Name());
    const qvfd::EOP& p = image.GetUpdatedEOP();
    const qvfd::EOP& q = other->GetUpdatedEOP();
    difference.metres = std::max({difference.metres, std::fabs(p.x - q.x) * kMetresPerDegree,
                                  std::fabs(p.y - q.y) * kMetresPerDegree, std::fabs(p.z - q.z)});
    difference.radians = std::max({difference.radians, std::fabs(p.omega - q.omega), std::fabs(p.phi - q.phi),
                                   std::fabs(p.kappa - q.kappa)});
  }
  EXPECT_EQ(a.GetTracks().size(), b.GetTracks().size());
  for (std::size_t i = 0; i < std::min(a.GetTracks().size(), b.GetTracks().size()); ++i) {
    const qvfd::Track& p = a.GetTracks()[i];
    const qvfd::Track& q = b.GetTracks()[i];
    EXPECT_EQ(p.observations, q.observations) << "track " << i;
    difference.point =
        std::max({difference.point, std::fabs(p.x - q.x), std::fabs(p.y - q.y), std::fabs(p.z - q.z)});
  }
  EXPECT_EQ(a.GetFeatures(), b.GetFeatures());
  return difference;
}

template <class T>
T At(const std::string& bytes, std::size_t offset) {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

// ---- the sparse model
// ----------------------------------------------------------------------------------------

TEST(ColmapModelTest, HoldsTheByteLayoutOfTheManual) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 2, .points_per_side = 3});
  Export(project, folder.File("sparse"));
  const std::string cameras = ReadText(folder.File("sparse/cameras.bin"));
  ASSERT_EQ(cameras.size(), 8U + 4 + 4 + 8 + 8 + 12 * 8);
  EXPECT_EQ(At<std::uint64_t>(cameras, 0), 1U);
  EXPECT_EQ(At<std::uint32_t>(cameras, 8), 4U);
  EXPECT_EQ(At<std::int32_t>(cameras, 12), 6);  // FULL_OPENCV: there is a k3
  EXPECT_EQ(At<std::uint64_t>(cameras, 16), 4000U);
  EXPECT_EQ(At<std::uint64_t>(cameras, 24), 3000U);
  EXPECT_NEAR(At<double>(cameras, 32), 5.5 / 0.0016, 1e-9);
  EXPECT_NEAR(At<double>(cameras, 48), 2000 + 0.0125 / 0.0016, 1e-9);
  EXPECT_NEAR(At<double>(cameras, 56), 1500 + 0.0075 / 0.0016, 1e-9);
  EXPECT_EQ(At<double>(cameras, 64), -0.03);
  const std::string images = ReadText(folder.File("sparse/images.bin"));
  EXPECT_EQ(At<std::uint64_t>(images, 0), 2U);
  EXPECT_EQ(At<std::uint32_t>(images, 8), 1U);  // ids 0 and 3 are new ones
  EXPECT_EQ(At<std::uint32_t>(images, 8 + 60), 4U);
  EXPECT_STREQ(images.c_str() + 8 + 64, "IMG_1000.jpg");
}

TEST(ColmapModelTest, ImagesShowPointsWhereTheModelSays) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  Export(project, folder.File("sparse"));
  const ColmapModel model = interchange::ReadColmapModel(folder.File("sparse"));
  ASSERT_EQ(model.images.size(), 18U);
  ASSERT_GT(model.points.size(), 100U);
  std::map<std::uint32_t, const interchange::ColmapImage*> images;
  for (const interchange::ColmapImage& image : model.images) {
    images[image.id] = &image;
  }
  double worst = 0.0;
  for (const interchange::ColmapPoint& point : model.points) {
    EXPECT_LT(point.error, 2e-4);
    for (const auto& element : point.track) {
      const interchange::ColmapImage& image = *images.at(element.image);
      EXPECT_EQ(image.points.at(element.point).point, point.id);
      // As the manual has it: x = K distorted(R X + t).
      const auto& q = image.rotation;
      const interchange::Vector3& X = point.position;
      const double r[3][3] = {
          {1 - 2 * (q.y * q.y + q.z * q.z), 2 * (q.x * q.y - q.w * q.z), 2 * (q.x * q.z + q.w * q.y)},
          {2 * (q.x * q.y + q.w * q.z), 1 - 2 * (q.x * q.x + q.z * q.z), 2 * (q.y * q.z - q.w * q.x)},
          {2 * (q.x * q.z - q.w * q.y), 2 * (q.y * q.z + q.w * q.x), 1 - 2 * (q.x * q.x + q.y * q.y)}};
      const double x = r[0][0] * X.x + r[0][1] * X.y + r[0][2] * X.z + image.translation.x;
      const double y = r[1][0] * X.x + r[1][1] * X.y + r[1][2] * X.z + image.translation.y;
      const double z = r[2][0] * X.x + r[2][1] * X.y + r[2][2] * X.z + image.translation.z;
      ASSERT_GT(z, 0.0);
      const std::vector<double>& p = model.cameras[0].parameters;
      const double u = x / z;
      const double v = y / z;
      const double r2 = u * u + v * v;
      const double radial = 1 + p[4] * r2 + p[5] * r2 * r2 + p[8] * r2 * r2 * r2;
      const double column = p[0] * (u * radial + 2 * p[6] * u * v + p[7] * (r2 + 2 * u * u)) + p[2];
      const double row = p[1] * (v * radial + p[6] * (r2 + 2 * v * v) + 2 * p[7] * u * v) + p[3];
      worst = std::max({worst, std::fabs(column - image.points[element.point].x),
                        std::fabs(row - image.points[element.point].y)});
    }
  }
  EXPECT_LT(worst, 2e-4);  // a float has that of pixel 4000
}

TEST(ColmapModelTest, ComesBackTheSameThroughBinaryAndText) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  for (const auto form : {interchange::ColmapForm::kBinary, interchange::ColmapForm::kText}) {
    const std::string path = folder.File(form == interchange::ColmapForm::kBinary ? "bin" : "txt");
    ExportColmapModel(project, path, form, {});
    qvprj::QvProject back;
    const Report report = ImportColmap(path, {}, back);
    EXPECT_EQ(back.GetPrjInfo().coordinate_id, 32650);
    const Difference difference = Compare(project, back);
    EXPECT_LT(difference.metres, 1e-7);
    EXPECT_LT(difference.radians, 1e-12);
    EXPECT_LT(difference.point, 1e-8);
    const qvfd::CameraInfo* const camera = back.GetCameraInfoSet().FindCamera(4);
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(interchange::PixelCameraOf(*camera),
              interchange::PixelCameraOf(*project.GetCameraInfoSet().FindCamera(4)));
    EXPECT_THAT(report.not_carried, ElementsAre(HasSubstr("errors of points")));
  }
}

TEST(ColmapModelTest, KeepsFloatPrecisionByAnOffset) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  Export(project, folder.File("sparse"));
  for (const interchange::ColmapPoint& point : interchange::ReadColmapModel(folder.File("sparse")).points) {
    EXPECT_LT(std::fabs(point.position.x), 500.0);
    EXPECT_LT(std::fabs(point.position.y), 500.0);
  }
  const std::string note = ReadText(folder.File("sparse/georeference.json"));
  EXPECT_THAT(note, HasSubstr("\"crs\": \"EPSG:32650\""));
}

TEST(ColmapModelTest, ProjectInDegreesLiesInATopocentricFrame) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  for (qvfd::Track& track : project.GetTracks()) {
    const qvfd::Point2_T<double> degrees = project.FromLocal({track.x, track.y});
    track.x = degrees.x;
    track.y = degrees.y;
  }
  project.GetPrjInfo().coordinate_id = -1;
  const Report report = Export(project, folder.File("sparse"));
  EXPECT_THAT(report.conventions, testing::Contains(testing::Pair("axes", HasSubstr("east, north, up"))));
  qvprj::QvProject back;
  ImportColmap(folder.File("sparse"), {}, back);
  EXPECT_EQ(back.GetPrjInfo().coordinate_id, -1);
  const Difference difference = Compare(project, back);
  EXPECT_LT(difference.metres, 1e-6);
  EXPECT_LT(difference.radians, 1e-11);
}

TEST(ColmapModelTest, AnotherSystemForTheProjectMovesNothing) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  Export(project, folder.File("sparse"));
  qvprj::QvProject back;
  interchange::ColmapImportOptions options;
  options.frame.crs = "EPSG:32651";
  ImportColmap(folder.File("sparse"), options, back);
  EXPECT_EQ(back.GetPrjInfo().coordinate_id, 32651);
  for (int i = 0; i < project.GetImageInfoSet().Size(); ++i) {
    const qvfd::EOP& a = project.GetImageInfoSet().GetImage(i)->GetUpdatedEOP();
    const qvfd::EOP& b = back.GetImageInfoSet().GetImage(i)->GetUpdatedEOP();
    EXPECT_NEAR(a.x, b.x, 1e-12);
    EXPECT_NEAR(a.y, b.y, 1e-12);
  }
  const qvfd::Point2_T<double> before =
      project.FromLocal({project.GetTracks()[5].x, project.GetTracks()[5].y});
  const qvfd::Point2_T<double> after = back.FromLocal({back.GetTracks()[5].x, back.GetTracks()[5].y});
  EXPECT_NEAR(before.x, after.x, 1e-10);
  EXPECT_NEAR(before.y, after.y, 1e-10);
}

TEST(ColmapModelTest, ModelWithoutANoteLiesWhereTheUserSays) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  Export(project, folder.File("sparse"));
  const auto note = nlohmann::json::parse(ReadText(folder.File("sparse/georeference.json")));
  std::filesystem::remove(folder.File("sparse/georeference.json"));
  qvprj::QvProject back;
  interchange::ColmapImportOptions options;
  options.frame.crs = "EPSG:32650";
  options.frame.offset = {note["offset"][0], note["offset"][1], note["offset"][2]};
  ImportColmap(folder.File("sparse"), options, back);
  EXPECT_NEAR(project.GetImageInfoSet().GetImage(3)->GetUpdatedEOP().x,
              back.GetImageInfoSet().GetImage(3)->GetUpdatedEOP().x, 1e-12);
}

TEST(ColmapModelTest, UnrelatedModelStaysInItsOwnFrame) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  Export(project, folder.File("sparse"));
  std::filesystem::remove(folder.File("sparse/georeference.json"));
  qvprj::QvProject back;
  const Report report = ImportColmap(folder.File("sparse"), {}, back);
  EXPECT_EQ(back.GetPrjInfo().coordinate_id, -1);
  EXPECT_LT(std::fabs(back.GetImageInfoSet().GetImage(0)->GetEOP().x), 500.0);
  Export(back, folder.File("again"));
  const ColmapModel a = interchange::ReadColmapModel(folder.File("sparse"));
  const ColmapModel b = interchange::ReadColmapModel(folder.File("again"));
  ASSERT_EQ(a.images.size(), b.images.size());
  for (std::size_t i = 0; i < a.images.size(); ++i) {
    EXPECT_NEAR(a.images[i].translation.x, b.images[i].translation.x, 1e-9);
    EXPECT_NEAR(a.images[i].rotation.w, b.images[i].rotation.w, 1e-12);
    EXPECT_EQ(a.images[i].points, b.images[i].points);
  }
  EXPECT_EQ(a.cameras, b.cameras);
}

TEST(ColmapModelTest, NavigationAnglesAreTurnedByTheConvergence) {
  // At longitude 118.25 in zone 50 (117 degrees) north of the globe is not north of the grid: they differ by
  // atan(tan(1.25) sin(31.5)) = 0.653 degrees.
  const TempFolder folder;
  qvprj::QvProject project;
  project.GetPrjInfo().coordinate_id = 32650;
  qvfd::CameraInfo camera = *SyntheticProject().GetCameraInfoSet().FindCamera(4);
  project.GetCameraInfoSet().AddCamera(camera);
  project.GetImageInfoSet().AddImage(1, "a", "a", {118.25, 31.5, 100, 0, 0, 90 * 0.0174533}, 4, 0, true);
  Export(project, folder.File("sparse"));
  const interchange::ColmapImage image = interchange::ReadColmapModel(folder.File("sparse")).images.at(0);
  // Heading east, level: camera x is south, y (down in the image) is west, z is down. True north is east of
  // grid north by -0.653 degrees there, so that heading east is 90 - 0.653 degrees in the grid.
  const interchange::Matrix3 r = MatrixOf(image.rotation);
  const double turn = std::atan(std::tan(1.25 * M_PI / 180) * std::sin(31.5 * M_PI / 180));
  const double azimuth = M_PI / 2 - turn;  // of the nose, in the grid
  EXPECT_NEAR(r(1, 0), -std::sin(azimuth), 1e-5);
  EXPECT_NEAR(r(1, 1), -std::cos(azimuth), 1e-5);
  EXPECT_NEAR(r(0, 0), std::cos(azimuth), 1e-5);
  EXPECT_NEAR(r(0, 1), -std::sin(azimuth), 1e-5);
  EXPECT_NEAR(r(2, 2), -1.0, 1e-9);
}

TEST(ColmapModelTest, ColoursAndMeasurementsThatCannotBeHeldAreTold) {
  const TempFolder folder;
  ColmapModel model;
  model.cameras = {{1, 0, 100, 80, {90, 50, 40}}};
  model.images = {{1, {}, {}, 1, "a.jpg", {{10.1, 20.5, 7}}},
                  {2, {}, {1, 0, 0}, 1, "b.jpg", {{12.5, 20.5, 7}}}};
  model.points = {{7, {1, 2, 3}, {200, 0, 0}, 0.5, {{1, 0}, {2, 0}}}};
  WriteColmapBinary(folder.File("m"), model);
  qvprj::QvProject project;
  const Report report = ImportColmap(folder.File("m"), {}, project);
  EXPECT_THAT(report.not_carried, ElementsAre("digits of image points beyond those of a float (1)",
                                              "colours of points (1)", HasSubstr("errors of points")));
}

TEST(ColmapModelTest, BothPixelOriginsAreUnderstood) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 2, .points_per_side = 4});
  interchange::SceneOptions centre;
  centre.pixel_origin = interchange::PixelOrigin::kCentre;
  ExportColmapModel(project, folder.File("centre"), interchange::ColmapForm::kBinary, centre);
  Export(project, folder.File("corner"));
  const ColmapModel a = interchange::ReadColmapModel(folder.File("centre"));
  const ColmapModel b = interchange::ReadColmapModel(folder.File("corner"));
  EXPECT_EQ(a.images[0].points[0].x, b.images[0].points[0].x + 0.5);
  qvprj::QvProject back;
  ImportColmap(folder.File("centre"), {{}, centre, {}}, back);
  EXPECT_EQ(back.GetFeatures().begin()->second[0].x, project.GetFeatures().begin()->second[0].x);
}

TEST(ColmapModelTest, RefusesWhatIsDamagedAtEveryByte) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 2, .points_per_side = 3});
  for (const char* const name : {"cameras.bin", "images.bin", "points3D.bin"}) {
    Export(project, folder.File("sparse"));
    const std::string path = folder.File(std::string("sparse/") + name);
    const std::string bytes = ReadText(path);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      support::WriteText(path, bytes.substr(0, size));
      EXPECT_THROW(static_cast<void>(interchange::ReadColmapModel(folder.File("sparse"))), Failure)
          << name << " of " << size << " bytes";
    }
    support::WriteText(path, bytes);
  }
}

TEST(ColmapModelTest, RefusesCountsThatTheFileCannotHold) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 2, .points_per_side = 3});
  Export(project, folder.File("sparse"));
  std::string bytes = ReadText(folder.File("sparse/points3D.bin"));
  bytes.replace(0, 8, std::string(7, '\xFF') + '\x7F');
  support::WriteText(folder.File("sparse/points3D.bin"), bytes);
  EXPECT_THROW(static_cast<void>(interchange::ReadColmapModel(folder.File("sparse"))), Failure);
}

TEST(ColmapModelTest, RefusesWhatDangles) {
  const TempFolder folder;
  ColmapModel model;
  model.cameras = {{1, 0, 100, 80, {90, 50, 40}}};
  model.images = {{1, {}, {}, 1, "a.jpg", {{10, 20, 7}}}};
  model.points = {{7, {1, 2, 3}, {}, -1, {{1, 1}}}};
  qvprj::QvProject project;
  WriteColmapBinary(folder.File("m"), model);
  EXPECT_THROW(ImportColmap(folder.File("m"), {}, project), Failure);
  model.points.clear();
  model.images[0].camera = 2;
  WriteColmapBinary(folder.File("m"), model);
  EXPECT_THROW(ImportColmap(folder.File("m"), {}, project), Failure);
}

TEST(ColmapModelTest, NamesWithBlanksGoIntoTheBinaryFormOnly) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 2, .points_per_side = 3});
  project.GetImageInfoSet().GetImage(0)->SetName("first image.jpg");
  EXPECT_THROW(ExportColmapModel(project, folder.File("t"), interchange::ColmapForm::kText, {}), Failure);
  Export(project, folder.File("b"));
  EXPECT_EQ(interchange::ReadColmapModel(folder.File("b")).images[0].name, "first image.jpg");
}

TEST(ColmapModelTest, TheLargestIdsAndSizesComeBackThroughText) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 2, .points_per_side = 3});
  Export(project, folder.File("b"));
  interchange::ColmapModel model = interchange::ReadColmapModel(folder.File("b"));
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max() - 1;  // above it: none
  model.points[0].id = kLargest;
  model.images[0].points[0].point = kLargest;
  model.images[0].points[1].point = interchange::kNoColmapPoint;
  model.cameras[0].width = kLargest;
  WriteColmapText(folder.File("t"), model);
  const interchange::ColmapModel again = interchange::ReadColmapModel(folder.File("t"));
  EXPECT_EQ(again.points[0].id, kLargest);
  EXPECT_EQ(again.images[0].points, model.images[0].points);
  EXPECT_EQ(again.cameras, model.cameras);
}

TEST(ColmapModelTest, NumbersThatAreNotFiniteGoIntoTheBinaryFormOnly) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 2, .points_per_side = 3});
  Export(project, folder.File("b"));
  interchange::ColmapModel model = interchange::ReadColmapModel(folder.File("b"));
  model.points[0].error = std::numeric_limits<double>::infinity();
  EXPECT_THROW(WriteColmapText(folder.File("t"), model), Failure);
  EXPECT_FALSE(std::filesystem::exists(folder.File("t")));
}

TEST(ColmapModelTest, TextBesideAnOlderBinaryModelWouldNotBeSeen) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 2, .points_per_side = 3});
  Export(project, folder.File("m"));
  EXPECT_THROW(ExportColmapModel(project, folder.File("m"), interchange::ColmapForm::kText, {}), Failure);
}

TEST(ColmapModelTest, ImagesWithoutANameOrWithOnesNameGetOne) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 3, .points_per_side = 3});
  project.GetImageInfoSet().GetImage(0)->SetName("");
  project.GetImageInfoSet().GetImage(0)->SetPath("");
  project.GetImageInfoSet().GetImage(2)->SetName("IMG_1003.jpg");
  const Report report = Export(project, folder.File("m"));
  const ColmapModel model = interchange::ReadColmapModel(folder.File("m"));
  EXPECT_EQ(model.images[0].name, "image_0");
  EXPECT_EQ(model.images[1].name, "IMG_1003.jpg");
  EXPECT_EQ(model.images[2].name, "IMG_1003.jpg_6");
  EXPECT_THAT(report.notes, ElementsAre(HasSubstr("2 images")));
}

// ---- cameras
// -------------------------------------------------------------------------------------------------

TEST(ColmapCameraTest, TheSmallestModelThatHoldsACameraIsUsed) {
  interchange::PixelCamera camera{4000, 3000, 3500, 3500, 2000, 1500, 0, 0, 0, 0, 0};
  EXPECT_EQ(interchange::ColmapCameraOf(camera, 1).model, 0);
  camera.fy = 3501;
  EXPECT_EQ(interchange::ColmapCameraOf(camera, 1).model, 1);
  camera.fy = camera.fx;
  camera.k1 = 0.1;
  EXPECT_EQ(interchange::ColmapCameraOf(camera, 1).model, 2);
  camera.k2 = 0.1;
  EXPECT_EQ(interchange::ColmapCameraOf(camera, 1).model, 3);
  camera.p1 = 0.1;
  EXPECT_EQ(interchange::ColmapCameraOf(camera, 1).model, 4);
  camera.k3 = 0.1;
  EXPECT_EQ(interchange::ColmapCameraOf(camera, 1).model, 6);
}

TEST(ColmapCameraTest, EveryModelThatIsHeldComesBack) {
  for (const interchange::ColmapCamera& camera : std::vector<interchange::ColmapCamera>{
           {1, 0, 640, 480, {500.25, 320.5, 239.75}},
           {1, 1, 640, 480, {500.25, 499.125, 320.5, 239.75}},
           {1, 2, 640, 480, {500.1, 320.3, 239.7, 0.01}},
           {1, 3, 640, 480, {500.1, 320.3, 239.7, 0.01, -0.02}},
           {1, 4, 640, 480, {500.1, 499.7, 320.3, 239.7, 0.01, -0.02, 0.003, 0.004}},
           {1, 6, 640, 480, {500.1, 499.7, 320.3, 239.7, 0.01, -0.02, 0.003, 0.004, 0.5, 0, 0, 0}}}) {
    const qvfd::CameraInfo stored = interchange::CameraInfoOf(interchange::PixelCameraOf(camera), 1, "");
    const interchange::ColmapCamera back = interchange::ColmapCameraOf(interchange::PixelCameraOf(stored), 1);
    EXPECT_EQ(back.model, camera.model);
    ASSERT_EQ(back.parameters.size(), camera.parameters.size());
    for (std::size_t i = 0; i < back.parameters.size(); ++i) {
      EXPECT_NEAR(back.parameters[i], camera.parameters[i], 1e-12 * std::fabs(camera.parameters[i]));
    }
  }
}

TEST(ColmapCameraTest, RefusesWhatNoCameraOfAProjectHolds) {
  const std::vector<interchange::ColmapCamera> cameras = {
      {1, 5, 640, 480, {500, 500, 320, 240, 0, 0, 0, 0}},
      {1, 7, 640, 480, {500, 500, 320, 240, 0}},
      {1, 8, 640, 480, {500, 320, 240, 0}},
      {1, 6, 640, 480, {500, 500, 320, 240, 0, 0, 0, 0, 0, 0.1, 0, 0}},
      {1, 0, 640, 480, {500, 320}},
      {1, 99, 640, 480, {500, 320}},
      {1, 0, 0, 480, {500, 320, 240}},
  };
  for (const interchange::ColmapCamera& camera : cameras) {
    EXPECT_THROW(static_cast<void>(interchange::PixelCameraOf(camera)), Failure) << camera.model;
  }
}

TEST(ColmapCameraTest, RefusesCoefficientsThatColmapHasNoPlaceFor) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.strips = 1, .images_per_strip = 2, .points_per_side = 3});
  project.GetCameraInfoSet().GetCamera(0)->distortion[5] = 1e-6;  // alpha
  EXPECT_THROW(Export(project, folder.File("m")), Failure);
}

// ---- the database
// --------------------------------------------------------------------------------------------

TEST(ColmapDatabaseTest, HoldsWhatTheManualSays) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject({.first_image_id = 5});
  const std::string path = folder.File("database.db");
  const Report report = ExportColmapDatabase(project, path, {});
  EXPECT_EQ(support::QueryOne(path, "PRAGMA user_version"), "3800");
  EXPECT_EQ(support::QueryOne(path, "SELECT count(*) FROM images"), "18");
  EXPECT_EQ(support::QueryOne(path, "SELECT name FROM images WHERE image_id = 5"), "IMG_1005.jpg");
  EXPECT_EQ(support::QueryOne(path, "SELECT hex(data) = '' FROM keypoints WHERE rows > 0 LIMIT 1"), "0");
  EXPECT_EQ(support::QueryOne(
                path, "SELECT count(*) FROM keypoints WHERE length(data) <> rows * cols * 4 OR cols <> 2"),
            "0");
  // 2147483647 * 5 + 8
  EXPECT_EQ(support::QueryOne(path, "SELECT config FROM two_view_geometries WHERE pair_id = 10737418243"),
            "2");
  EXPECT_EQ(support::QueryOne(path, "SELECT typeof(F) FROM two_view_geometries LIMIT 1"), "null");
  EXPECT_EQ(support::QueryOne(path, "SELECT typeof(prior_qw) FROM images LIMIT 1"), "null");
  EXPECT_EQ(support::QueryOne(path, "PRAGMA integrity_check"), "ok");
}

TEST(ColmapDatabaseTest, ComesBackTheSame) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  ExportColmapDatabase(project, folder.File("database.db"), {});
  qvprj::QvProject back;
  ImportColmap(folder.File("database.db"), {}, back);
  EXPECT_EQ(back.GetFeatures(), project.GetFeatures());
  EXPECT_EQ(back.GetMatches(), project.GetMatches());
  EXPECT_EQ(back.GetImageInfoSet().GetImage(1)->Name(), "IMG_1003.jpg");
}

TEST(ColmapDatabaseTest, BothOrdersOfAPairBecomeOne) {
  const TempFolder folder;
  qvprj::QvProject project =
      SyntheticProject({.strips = 1, .images_per_strip = 2, .points_per_side = 4, .first_image_id = 1});
  project.GetMatches() = {
      {{1, 4}, {{0, 0}, {1, 1}}}, {{4, 1}, {{1, 1}, {2, 3}}}, {{1, 99}, {{0, 0}}}, {{4, 4}, {{0, 0}}}};
  project.GetMatches()[{1, 4}].push_back({0, 100'000});
  const Report report = ExportColmapDatabase(project, folder.File("d.db"), {});
  const interchange::ColmapDatabase database = interchange::ReadColmapDatabase(folder.File("d.db"));
  const std::vector<qvfd::Point2_T<int>> expected = {{0, 0}, {1, 1}, {3, 2}};
  EXPECT_EQ(database.verified.at({1, 4}), expected);
  EXPECT_EQ(database.verified.size(), 1U);
  EXPECT_THAT(report.not_carried, testing::IsSupersetOf({HasSubstr("not there (3)"),
                                                         HasSubstr("both orders of a pair have (1)")}));
}

TEST(ColmapDatabaseTest, MatchesAreMadeOfTracksWhereThereAreNone) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  const qvprj::QvProject::Matches expected = project.GetMatches();
  project.GetMatches().clear();
  ExportColmapDatabase(project, folder.File("d.db"), {});
  qvprj::QvProject back;
  ImportColmap(folder.File("d.db"), {}, back);
  EXPECT_EQ(back.GetMatches(), expected);
}

TEST(ColmapDatabaseTest, BelongsToAModelByTheNamesOfImages) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  Export(project, folder.File("sparse"));
  ExportColmapDatabase(project, folder.File("d.db"), {});
  qvprj::QvProject back;
  interchange::ColmapImportOptions options;
  options.database = folder.File("d.db");
  ImportColmap(folder.File("sparse"), options, back);
  EXPECT_EQ(back.GetMatches(), project.GetMatches());
  EXPECT_EQ(back.GetFeatures(), project.GetFeatures());
  EXPECT_EQ(back.GetTracks().size(), project.GetTracks().size());
}

TEST(ColmapDatabaseTest, WhatAProjectHasNoPlaceForIsTold) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  ExportColmapDatabase(project, folder.File("d.db"), {});
  support::Execute(folder.File("d.db"),
                   "UPDATE two_view_geometries SET F = zeroblob(72) WHERE pair_id IN (SELECT pair_id FROM "
                   "two_view_geometries LIMIT 2); UPDATE images SET prior_tx = 1 WHERE image_id = 1;"
                   "INSERT INTO descriptors VALUES(1, 1, 128, zeroblob(128));"
                   "INSERT INTO matches VALUES(2147483647 * 900 + 901, 1, 2, zeroblob(8))");
  qvprj::QvProject back;
  const Report report = ImportColmap(folder.File("d.db"), {}, back);
  EXPECT_THAT(report.not_carried,
              testing::IsSupersetOf({"matrices and poses of pairs of images (2)",
                                     "priors of positions or orientations of images (1)",
                                     "images' descriptors (1)", "matches that were not verified (1)"}));
}

TEST(ColmapModelTest, WhatColmapHasNoPlaceForIsTold) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  project.GetGroundControl().ground_points.AddPoint(1, {});
  const Report report = Export(project, folder.File("m"));
  EXPECT_THAT(report.not_carried,
              testing::IsSupersetOf({HasSubstr("orientations as flown, which differ (18)"),
                                     HasSubstr("flight strips (3)"), HasSubstr("paths of images (18)"),
                                     HasSubstr("project information"), HasSubstr("ground points"),
                                     HasSubstr("matches ("), HasSubstr("sensors")}));
}

TEST(ColmapDatabaseTest, TakesThePlaceOfAFileAsAWholeOrNotAtAll) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  support::WriteText(folder.File("d.db"), "mine");
  ExportColmapDatabase(project, folder.File("d.db"), {});
  EXPECT_EQ(support::QueryOne(folder.File("d.db"), "SELECT count(*) FROM cameras"), "1");

  std::filesystem::create_directory(folder.File("folder"));
  support::WriteText(folder.File("folder/mine"), "");
  const auto before = folder.Names();
  EXPECT_THROW(ExportColmapDatabase(project, folder.File("folder"), {}), Failure);
  EXPECT_EQ(folder.Names(), before);
}

TEST(ColmapDatabaseTest, RefusesCountsThatLie) {
  const TempFolder folder;
  qvprj::QvProject project = SyntheticProject();
  ExportColmapDatabase(project, folder.File("d.db"), {});
  support::Execute(folder.File("d.db"), "UPDATE keypoints SET rows = 2000000000");
  EXPECT_THROW(static_cast<void>(interchange::ReadColmapDatabase(folder.File("d.db"))), Failure);
}

// ---- COLMAP itself
// -------------------------------------------------------------------------------------------

class ColmapPeerTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!IsInstalled("colmap")) {
      GTEST_SKIP() << "COLMAP is not installed (./dev setup)";
    }
  }
  TempFolder folder_;
};

TEST_F(ColmapPeerTest, AnalyzesWhatWeExport) {
  qvprj::QvProject project = SyntheticProject();
  Export(project, folder_.File("sparse"));
  const Output output = RunPeer("colmap model_analyzer --path '" + folder_.File("sparse") + "'");
  ASSERT_EQ(output.code, 0) << output.text;
  EXPECT_THAT(output.text, HasSubstr("Images: 18"));
  EXPECT_THAT(output.text, HasSubstr("Registered images: 18"));
  EXPECT_THAT(output.text, HasSubstr("Points: " + std::to_string(project.GetTracks().size())));
}

TEST_F(ColmapPeerTest, ConvertsWhatWeExportAndWeReadWhatItWrites) {
  qvprj::QvProject project = SyntheticProject();
  Export(project, folder_.File("sparse"));
  for (const std::string form : {"TXT", "BIN"}) {
    std::filesystem::create_directories(folder_.File(form));
    const Output output = RunPeer("colmap model_converter --input_path '" + folder_.File("sparse") +
                                  "' --output_path '" + folder_.File(form) + "' --output_type " + form);
    ASSERT_EQ(output.code, 0) << output.text;
    std::filesystem::copy_file(folder_.File("sparse/georeference.json"),
                               folder_.File(form + "/georeference.json"));
    qvprj::QvProject back;
    ImportColmap(folder_.File(form), {}, back);
    // Images and points may come in another order.
    EXPECT_EQ(back.GetTracks().size(), project.GetTracks().size());
    for (const qvfd::ImageInfo& image : project.GetImageInfoSet()) {
      const qvfd::ImageInfo* const other = back.GetImageInfoSet().FindImage(image.Id());
      ASSERT_NE(other, nullptr) << image.Id();
      EXPECT_NEAR(image.GetUpdatedEOP().x, other->GetUpdatedEOP().x, 1e-12);
      EXPECT_NEAR(image.GetUpdatedEOP().omega, other->GetUpdatedEOP().omega, 1e-10);
      EXPECT_NEAR(image.GetUpdatedEOP().kappa, other->GetUpdatedEOP().kappa, 1e-10);
    }
    EXPECT_EQ(back.GetFeatures(), project.GetFeatures());
  }
}

TEST_F(ColmapPeerTest, MapperFindsThePosesOfTheDatabaseThatWeExport) {
  qvprj::QvProject project = SyntheticProject({.first_image_id = 1});
  ExportColmapDatabase(project, folder_.File("database.db"), {});
  Export(project, folder_.File("truth"));
  std::filesystem::create_directories(folder_.File("out"));
  std::filesystem::create_directories(folder_.File("images"));
  const Output output =
      RunPeer("colmap mapper --database_path '" + folder_.File("database.db") + "' --image_path '" +
              folder_.File("images") + "' --output_path '" + folder_.File("out") +
              "' --Mapper.ba_refine_focal_length 0 --Mapper.ba_refine_principal_point 0"
              " --Mapper.ba_refine_extra_params 0 --Mapper.extract_colors 0 --Mapper.num_threads 1"
              " --Mapper.ba_global_max_num_iterations 200 --Mapper.ba_local_max_num_iterations 50");
  ASSERT_EQ(output.code, 0) << output.text;
  const ColmapModel found = interchange::ReadColmapModel(folder_.File("out/0"));
  const ColmapModel truth = interchange::ReadColmapModel(folder_.File("truth"));
  ASSERT_EQ(found.images.size(), truth.images.size());
  const Aligned aligned = Align(found, truth);
  EXPECT_LT(aligned.worst_distance / aligned.extent, 1e-6);
  EXPECT_LT(aligned.worst_angle, 1e-6);
}

}  // namespace
}  // namespace interchange_test
