// What becomes of photos in a project.
#include "interchange/mapping/PhotoProject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "MadePhotos.h"
#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"
#include "support/TestFiles.h"

namespace fs = std::filesystem;
using interchange::ImportPhotos;
using interchange::PhotoOptions;
using interchange::PhotoProjectOptions;
using interchange::Report;
using photos_test::MadePhoto;
using photos_test::Make;
using photos_test::Ordinary;
using testing::HasSubstr;

namespace {

constexpr double kStep = 0.0002;  // degrees, about 22 m

class PhotoProjects : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(folder_.File("photos"));
    options_.folder = folder_.File("photos");
    options_.project = folder_.File("survey.db");
  }

  /// Image i of the flight, two lines of five.
  static qvfd::EOP At(int i) {
    qvfd::EOP eop;
    const int along = i < 5 ? i : 9 - i;
    eop.x = 8.0 + along * kStep;
    eop.y = i < 5 ? 0.001 : 0.002;
    eop.z = 300.0 + i;
    return eop;
  }

  void AddFlight(qvprj::QvProject& project, int count = 10) {
    for (int i = 0; i < count; ++i) {
      project.GetImageInfoSet().AddImage(201 + i, "", "", At(i), 0, 1, true);
    }
  }

  MadePhoto PhotoAt(int i) {
    const qvfd::EOP eop = At(i);
    return Ordinary(eop.x, eop.y, eop.z, "2024:05:01 10:00:" + std::to_string(10 + 2 * i));
  }

  void MakePhotos(int count = 10) {
    for (int i = 0; i < count; ++i) {
      Make(PathOf(i), PhotoAt(i));
    }
  }

  std::string PathOf(int i) { return folder_.File("photos/DJI_" + std::to_string(1000 + i) + ".JPG"); }

  support::TempFolder folder_;
  PhotoOptions options_;
  qvprj::QvProject project_;
};

std::string ConventionOf(const Report& report, const std::string& what) {
  for (const auto& [name, convention] : report.conventions) {
    if (name == what) {
      return convention;
    }
  }
  return "";
}

TEST_F(PhotoProjects, OfAFlightGetNamesPathsCamerasAndStrips) {
  AddFlight(project_);
  MakePhotos();
  const Report report = AddPhotos(options_, project_);
  const qvfd::ImageInfoSet& images = project_.GetImageInfoSet();
  ASSERT_EQ(images.Size(), 10);
  for (int i = 0; i < 10; ++i) {
    const qvfd::ImageInfo* image = images.GetImage(i);
    EXPECT_EQ(image->Id(), 201 + i);
    EXPECT_EQ(image->Name(), "DJI_" + std::to_string(1000 + i) + ".JPG");
    EXPECT_EQ(image->Path(), "photos/" + image->Name());
    EXPECT_EQ(image->GetEOP(), At(i)) << "the flight's positions stay";
    EXPECT_EQ(images.GetImageExt(i)->camera_id, 0);
    EXPECT_EQ(images.GetImageExt(i)->strip_id, i < 5 ? 1 : 2);
  }
  ASSERT_EQ(project_.GetCameraInfoSet().Size(), 1);
  const qvfd::CameraInfo* camera = project_.GetCameraInfoSet().FindCamera(0);
  EXPECT_EQ(camera->name, "Sample One");
  EXPECT_EQ(camera->width, 4000);
  EXPECT_EQ(camera->focallength, 4.5);
  EXPECT_NEAR(camera->ccdwidth, 6.1976, 1e-4);
  EXPECT_THAT(ConventionOf(report, "photos"), HasSubstr("position and order (10)"));
  EXPECT_EQ(report.decisions.rows.size(), 10U);
}

TEST_F(PhotoProjects, KeepImagesWithoutAPhotoAndLeaveOutPhotosWithoutAnImage) {
  AddFlight(project_, 9);
  MakePhotos();
  fs::remove(PathOf(4));
  support::WriteText(folder_.File("photos/broken.jpg"), "no photo");
  options_.report = folder_.File("report.csv");
  const Report report = AddPhotos(options_, project_);
  EXPECT_EQ(project_.GetImageInfoSet().Size(), 9);
  EXPECT_EQ(project_.GetImageInfoSet().GetImage(4)->Name(), "");
  EXPECT_EQ(project_.GetImageInfoSet().GetImage(5)->Name(), "DJI_1005.JPG");
  EXPECT_THAT(report.not_carried, testing::ElementsAre("photos that cannot be read (1)",
                                                       "photos that belong to no position (1)"));
  const std::string table = interchange::ReadWholeFile(folder_.File("report.csv"));
  EXPECT_THAT(
      table,
      testing::StartsWith(
          "photo,record,tied_by,distance_m,seconds,reason\nDJI_1000.JPG,201,position and order,0.00,,\n"));
  EXPECT_THAT(table, HasSubstr("\nDJI_1009.JPG,,,,,lies farther than"));
  EXPECT_THAT(table, HasSubstr("\n,205,,,,no photo\n"));
}

TEST_F(PhotoProjects, AreAsTheyWereWhereTheMatchIsRefused) {
  AddFlight(project_);
  for (int i = 0; i < 10; ++i) {
    MadePhoto photo = PhotoAt(i);
    photo.exif.erase(
        std::remove_if(photo.exif.begin(), photo.exif.end(),
                       [](const auto& tag) { return tag.first.find("GPSInfo") != std::string::npos; }),
        photo.exif.end());
    if (i != 3) {
      Make(PathOf(i), photo);
    }
  }
  options_.report = folder_.File("report.csv");
  const qvprj::QvProject before = project_;
  try {
    AddPhotos(options_, project_);
    FAIL() << "nine photos without positions, and ten positions";
  } catch (const interchange::Failure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("9 photos and 10 position records"));
    EXPECT_THAT(failure.what(), HasSubstr("--report"));
  }
  EXPECT_TRUE(std::equal(project_.GetImageInfoSet().begin(), project_.GetImageInfoSet().end(),
                         before.GetImageInfoSet().begin(), before.GetImageInfoSet().end()));
  EXPECT_EQ(project_.GetCameraInfoSet().Size(), 0);
  EXPECT_TRUE(fs::exists(folder_.File("report.csv"))) << "the table says why";
}

TEST_F(PhotoProjects, HaveOneCameraForEachKind) {
  for (int i = 0; i < 10; ++i) {
    MadePhoto photo = PhotoAt(i);
    if (i >= 6) {
      photo.exif[1].second = "Two";
    }
    if (i == 9) {
      photo.width = 2000;
      photo.height = 1500;
    }
    Make(PathOf(i), photo);
  }
  const Report report = ImportPhotos({options_, {}, "", {}, {}}, project_);
  ASSERT_EQ(project_.GetCameraInfoSet().Size(), 3);
  EXPECT_EQ(project_.GetCameraInfoSet().FindCamera(0)->name, "Sample One")
      << "the one of most photos is the first";
  EXPECT_EQ(project_.GetCameraInfoSet().FindCamera(1)->name, "Sample Two");
  EXPECT_EQ(project_.GetImageInfoSet().GetImageExt(7)->camera_id, 1);
  EXPECT_EQ(project_.GetImageInfoSet().GetImageExt(9)->camera_id, 2);
  EXPECT_EQ(project_.GetCameraInfoSet().FindCamera(2)->width, 2000);
}

TEST_F(PhotoProjects, OfPhotosAloneTakeTheirOwnPositionsInTheOrderOfTime) {
  for (int i = 0; i < 10; ++i) {
    MadePhoto photo = PhotoAt(i);
    photo.xmp = {{"http://pix4d.com/camera/1.0/", "Yaw", "90"},
                 {"http://pix4d.com/camera/1.0/", "Pitch", "2"},
                 {"http://pix4d.com/camera/1.0/", "Roll", "-3"}};
    Make(folder_.File("photos/" + std::string(1, static_cast<char>('z' - i)) + ".jpg"), photo);
  }
  Make(folder_.File("photos/lost.jpg"), {});
  const Report report = ImportPhotos({options_, {}, "", {}, "EPSG:32632"}, project_);
  const qvfd::ImageInfoSet& images = project_.GetImageInfoSet();
  ASSERT_EQ(images.Size(), 10);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(images.GetImage(i)->Id(), i + 1);
    EXPECT_EQ(images.GetImage(i)->Name(), std::string(1, static_cast<char>('z' - i)) + ".jpg");
    EXPECT_NEAR(images.GetImage(i)->GetEOP().x, At(i).x, 1e-9);
    EXPECT_NEAR(images.GetImage(i)->GetEOP().z, At(i).z, 1e-9);
    EXPECT_EQ(images.GetImage(i)->GetEOP().omega, -3 * 0.0174533);
    EXPECT_EQ(images.GetImage(i)->GetEOP().phi, -2 * 0.0174533);
    EXPECT_EQ(images.GetImage(i)->GetEOP().kappa, 90 * 0.0174533);
    EXPECT_EQ(images.GetImageExt(i)->strip_id, i < 5 ? 1 : 2);
  }
  EXPECT_EQ(project_.GetPrjInfo().coordinate_id, 32632);
  EXPECT_STREQ(project_.GetPrjInfo().date, "2024-05-01 10:00:10");
  EXPECT_THAT(report.not_carried, testing::Contains("photos without a position (1)"));
  EXPECT_THAT(ConventionOf(report, "heights"), HasSubstr("mean sea level"));
}

TEST_F(PhotoProjects, OfPhotosWithoutPositionsNeedALog) {
  Make(PathOf(0), {});
  try {
    ImportPhotos({options_, {}, "", {}, {}}, project_);
    FAIL();
  } catch (const interchange::Failure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("none of the photos has a position; give a position log"));
  }
}

TEST_F(PhotoProjects, TakePositionsAndAnglesOfALog) {
  MakePhotos();
  std::string log = "photo;Lat;Lon;h ellipsoidal;roll;pitch;yaw\n";
  for (int i = 9; i >= 0; --i) {
    std::string line = "DJI_" + std::to_string(1000 + i) + ".JPG;" + interchange::TextOf(At(i).y + 1e-5) +
                       ";" + interchange::TextOf(At(i).x) + ";" + interchange::TextOf(47.5 + i) + ";1;2;3\n";
    std::replace(line.begin() + 13, line.end(), '.', ',');
    log += line;
  }
  support::WriteText(folder_.File("log.csv"), log);
  const Report report =
      ImportPhotos({options_, folder_.File("log.csv"), "height=h ellipsoidal", {}, {}}, project_);
  ASSERT_EQ(project_.GetImageInfoSet().Size(), 10);
  for (int i = 0; i < 10; ++i) {
    const qvfd::ImageInfo* image = project_.GetImageInfoSet().GetImage(i);
    EXPECT_EQ(image->Name(), "DJI_" + std::to_string(1000 + i) + ".JPG");
    EXPECT_NEAR(image->GetEOP().x, At(i).x, 1e-12);
    EXPECT_NEAR(image->GetEOP().y, At(i).y + 1e-5, 1e-12);
    EXPECT_EQ(image->GetEOP().z, 47.5 + i);
    EXPECT_EQ(image->GetEOP().omega, 1 * 0.0174533);
  }
  EXPECT_THAT(ConventionOf(report, "photos"), HasSubstr("name (10)"));
  EXPECT_THAT(ConventionOf(report, "heights"), HasSubstr("ellipsoid"));
}

TEST_F(PhotoProjects, TakeALogInAProjectedSystem) {
  MakePhotos(3);
  // Zone 32 has its meridian at 9 degrees: these are near 8 degrees east, just north of the equator.
  support::WriteText(folder_.File("log.txt"),
                     "name x y z\nDJI_1000.JPG 388690 110.5 300\nDJI_1001.JPG 388712 110.5 301\nDJI_1002.JPG "
                     "388734 110.5 302\n");
  PhotoProjectOptions options{options_, folder_.File("log.txt"), "", {}, {}};
  EXPECT_THROW(ImportPhotos(options, project_), interchange::Failure) << "of which system?";
  options.crs = "EPSG:32632";
  ImportPhotos(options, project_);
  ASSERT_EQ(project_.GetImageInfoSet().Size(), 3);
  const auto local = project_.ToLocal({project_.GetImageInfoSet().GetImage(1)->GetEOP().x,
                                       project_.GetImageInfoSet().GetImage(1)->GetEOP().y});
  EXPECT_NEAR(local.x, 388712, 1e-4);
  EXPECT_NEAR(local.y, 110.5, 1e-4);
}

TEST_F(PhotoProjects, TakeGeoTxt) {
  MakePhotos(3);
  support::WriteText(
      folder_.File("geo.txt"),
      "EPSG:4326\nDJI_1000.JPG 8.5 50.25 300\nDJI_1001.JPG 8.6 50.25 301 10 2 -1\nDJI_1002.JPG 8.7 50.25\n");
  ImportPhotos({options_, folder_.File("geo.txt"), "", {}, {}}, project_);
  ASSERT_EQ(project_.GetImageInfoSet().Size(), 3);
  EXPECT_NEAR(project_.GetImageInfoSet().GetImage(1)->GetEOP().x, 8.6, 1e-12);
  EXPECT_EQ(project_.GetImageInfoSet().GetImage(1)->GetEOP().kappa, 10 * 0.0174533);
  EXPECT_EQ(project_.GetImageInfoSet().GetImage(2)->GetEOP().z, 0.0);
}

TEST_F(PhotoProjects, TieAFlightControllersLogByTime) {
  std::string log =
      "FMT, 181, 43, CAM, QBHIHLLeeefff, TimeUS,I,Img,GPSTime,GPSWeek,Lat,Lng,Alt,RelAlt,GPSAlt,R,P,Y\n";
  for (int i = 0; i < 10; ++i) {
    log += "CAM, 1, 0, " + std::to_string(i) + ", " + std::to_string(48067000 + 2000 * i) + ", 2312, " +
           interchange::TextOf(At(i).y) + ", " + interchange::TextOf(At(i).x) + ", 300, 50, 300, 0, 0, 90\n";
  }
  support::WriteText(folder_.File("flight.log"), log);
  MakePhotos();
  const Report report = ImportPhotos({options_, folder_.File("flight.log"), "", {}, {}}, project_);
  EXPECT_EQ(project_.GetImageInfoSet().Size(), 10);
  EXPECT_THAT(ConventionOf(report, "photos"), HasSubstr("position and time (10)"));
  EXPECT_THAT(ConventionOf(report, "clocks"), HasSubstr("10 pairs agree"));
}

TEST_F(PhotoProjects, NameUnreadablePathsAsTheyAre) {
  support::TempFolder elsewhere;
  options_.folder = elsewhere.Path().string();
  const std::string name = "\xE6\xB3\x89 \xC3\xA4,1.jpg";
  Make(elsewhere.File(name), PhotoAt(0));
  options_.report = folder_.File("report.csv");
  ImportPhotos({options_, {}, "", {}, {}}, project_);
  const qvfd::ImageInfo* image = project_.GetImageInfoSet().GetImage(0);
  EXPECT_EQ(image->Name(), name);
  EXPECT_EQ(image->Path(), elsewhere.File(name)) << "it does not lie below the project";
  EXPECT_THAT(interchange::ReadWholeFile(folder_.File("report.csv")), HasSubstr("\"" + name + "\","));
}

}  // namespace
