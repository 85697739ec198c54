// What photos say of themselves.
#include "interchange/formats/PhotoMetadata.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "MadePhotos.h"
#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"
#include "support/TestFiles.h"

namespace fs = std::filesystem;
using interchange::PhotoMetadata;
using interchange::ReadPhoto;
using photos_test::MadePhoto;
using photos_test::Make;
using testing::HasSubstr;

namespace {

class Photos : public testing::Test {
 protected:
  PhotoMetadata Read(const MadePhoto& photo) {
    Make(folder_.File("photo.jpg"), photo);
    return ReadPhoto(folder_.File("photo.jpg"));
  }
  support::TempFolder folder_;
};

TEST_F(Photos, TellTimePositionAndCamera) {
  const PhotoMetadata photo =
      Read(photos_test::Ordinary(-98.0899916, 30.1712233, 317.3, "2014:10:19 13:20:51"));
  ASSERT_TRUE(photo.readable);
  EXPECT_EQ(photo.name, "photo.jpg");
  EXPECT_EQ(photo.width, 4000);
  EXPECT_EQ(photo.height, 3000);
  EXPECT_EQ(photo.make, "Sample");
  EXPECT_EQ(photo.model, "Sample One");
  EXPECT_EQ(photo.time, (interchange::DateTime{1413724851.0, false}));
  EXPECT_NEAR(*photo.longitude, -98.0899916, 1e-9);
  EXPECT_NEAR(*photo.latitude, 30.1712233, 1e-9);
  EXPECT_NEAR(*photo.altitude, 317.3, 1e-9);
  EXPECT_EQ(photo.focal_length, 4.5);
  EXPECT_NEAR(photo.sensor_width, 4000 / 16393.443 * 25.4, 1e-9);
  EXPECT_NEAR(photo.sensor_height, 3000 / 16393.443 * 25.4, 1e-9);
  EXPECT_TRUE(photo.notes.empty());
  EXPECT_FALSE(photo.attitude);
}

// What the tests write is what others read: the tool is another implementation than the library under test.
TEST_F(Photos, OfTheseTestsAreReadAlikeByAnotherTool) {
  if (std::system("command -v exiftool >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "there is no exiftool";
  }
  MadePhoto made = photos_test::Ordinary(-98.0899916, 30.1712233, 317.3, "2014:10:19 13:20:51");
  made.xmp = {{"http://www.dji.com/drone-dji/1.0/", "GimbalPitchDegree", "-89.5"}};
  Make(folder_.File("photo.jpg"), made);
  const std::string command =
      "exiftool -n -s3 -GPSLongitude -GPSLatitude -GPSAltitude -DateTimeOriginal -ImageWidth "
      "-FocalLength -GimbalPitchDegree '" +
      folder_.File("photo.jpg") + "' >'" + folder_.File("out") + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const std::string out = interchange::ReadWholeFile(folder_.File("out"));
  interchange::Lines lines(out);
  EXPECT_NEAR(*interchange::NumberOf(*lines.Next()), -98.0899916, 1e-9);
  EXPECT_NEAR(*interchange::NumberOf(*lines.Next()), 30.1712233, 1e-9);
  EXPECT_EQ(lines.Next(), "317.3");
  EXPECT_EQ(lines.Next(), "2014:10:19 13:20:51");
  EXPECT_EQ(lines.Next(), "4000");
  EXPECT_EQ(lines.Next(), "4.5");
  EXPECT_EQ(lines.Next(), "-89.5");
}

TEST_F(Photos, TellFractionsOfSecondsAndTheirZone) {
  MadePhoto made = photos_test::Ordinary(8, 50, 100, "2014:10:19 13:20:51");
  made.exif.emplace_back("Exif.Photo.SubSecTimeOriginal", "25");
  made.exif.emplace_back("Exif.Photo.0x9011", "+02:00");
  const PhotoMetadata photo = Read(made);
  EXPECT_EQ(photo.time, (interchange::DateTime{1413724851.25 - 7'200, true}));
}

TEST_F(Photos, WithoutATimeHaveThatOfTheirGps) {
  MadePhoto made = photos_test::Ordinary(8, 50, 100, "");
  made.exif.emplace_back("Exif.GPSInfo.GPSDateStamp", "2014:10:19");
  made.exif.emplace_back("Exif.GPSInfo.GPSTimeStamp", "13/1 20/1 515/10");
  EXPECT_EQ(Read(made).time, (interchange::DateTime{1413724851.5, true}));
}

TEST_F(Photos, BelowTheSeaSouthAndEast) {
  const PhotoMetadata photo = Read(photos_test::Ordinary(150.25, -33.5, -12.5, ""));
  EXPECT_NEAR(*photo.longitude, 150.25, 1e-12);
  EXPECT_NEAR(*photo.latitude, -33.5, 1e-12);
  EXPECT_NEAR(*photo.altitude, -12.5, 1e-12);
  EXPECT_FALSE(photo.time);
}

TEST_F(Photos, WithoutAFixHaveNoPosition) {
  MadePhoto made = photos_test::Ordinary(8, 50, 100, "");
  made.exif.emplace_back("Exif.GPSInfo.GPSStatus", "V");
  PhotoMetadata photo = Read(made);
  EXPECT_FALSE(photo.longitude);
  ASSERT_EQ(photo.notes.size(), 1U);
  EXPECT_FALSE(Read(photos_test::Ordinary(0, 0, 0, "")).longitude);
}

struct SensorCase {
  const char* what;
  std::vector<std::pair<std::string, std::string>> exif;
  double width;
  double height;
};

TEST_F(Photos, TellTheirSensorInSeveralWays) {
  const std::vector<SensorCase> cases = {
      {"per centimetre",
       {{"Exif.Photo.FocalPlaneXResolution", "5000/1"},
        {"Exif.Photo.FocalPlaneYResolution", "5000/1"},
        {"Exif.Photo.FocalPlaneResolutionUnit", "3"}},
       8.0,
       6.0},
      {"per millimetre",
       {{"Exif.Photo.FocalPlaneXResolution", "500/1"},
        {"Exif.Photo.FocalPlaneYResolution", "500/1"},
        {"Exif.Photo.FocalPlaneResolutionUnit", "4"}},
       8.0,
       6.0},
      {"of a photo that was scaled",
       {{"Exif.Photo.FocalPlaneXResolution", "1000/1"},
        {"Exif.Photo.FocalPlaneYResolution", "1000/1"},
        {"Exif.Photo.FocalPlaneResolutionUnit", "4"},
        {"Exif.Photo.PixelXDimension", "8000"},
        {"Exif.Photo.PixelYDimension", "6000"}},
       8.0,
       6.0},
      {"by the diagonal",
       {{"Exif.Photo.FocalLength", "10/1"}, {"Exif.Photo.FocalLengthIn35mmFilm", "43"}},
       43.267 * 10 / 43 * 0.8,
       43.267 * 10 / 43 * 0.6},
      {"not at all", {{"Exif.Photo.FocalLength", "10/1"}}, 0.0, 0.0},
      {"by nothing that makes sense",
       {{"Exif.Photo.FocalPlaneXResolution", "5/0"},
        {"Exif.Photo.FocalPlaneYResolution", "0/5"},
        {"Exif.Photo.FocalLength", "0/0"},
        {"Exif.Photo.FocalLengthIn35mmFilm", "0"}},
       0.0,
       0.0},
  };
  for (const SensorCase& c : cases) {
    MadePhoto made;
    made.exif = c.exif;
    const PhotoMetadata photo = Read(made);
    EXPECT_NEAR(photo.sensor_width, c.width, 1e-9) << c.what;
    EXPECT_NEAR(photo.sensor_height, c.height, 1e-9) << c.what;
    EXPECT_EQ(photo.sensor_from.empty(), c.width == 0.0) << c.what;
  }
}

TEST_F(Photos, TellTheAttitudeOfTheCamera) {
  MadePhoto made = photos_test::Ordinary(8, 50, 100, "");
  made.xmp = {{"http://pix4d.com/camera/1.0/", "Yaw", "123.5"},
              {"http://pix4d.com/camera/1.0/", "Pitch", "-2.25"},
              {"http://pix4d.com/camera/1.0/", "Roll", "1/4"}};
  EXPECT_EQ(Read(made).attitude, (interchange::NavigationAngles{123.5, -2.25, 0.25}));
}

TEST_F(Photos, TellTheAttitudeOfTheGimbal) {
  MadePhoto made = photos_test::Ordinary(8, 50, 100, "");
  const char* const space = "http://www.dji.com/drone-dji/1.0/";
  made.xmp = {{space, "GimbalYawDegree", "+45.0"},
              {space, "GimbalPitchDegree", "-80.0"},
              {space, "GimbalRollDegree", "+0.0"}};
  const PhotoMetadata photo = Read(made);
  EXPECT_EQ(photo.attitude, (interchange::NavigationAngles{45, 10, 0}));
  EXPECT_THAT(photo.attitude_from, HasSubstr("-90 straight down"));
}

TEST(Gimbals, RolledOverPointTheSameWay) {
  // Straight down, yaw and roll are about one axis.
  const interchange::NavigationAngles down = interchange::NavigationOfGimbal(-135, -90, 180);
  EXPECT_NEAR(down.yaw, 45, 1e-9);
  EXPECT_NEAR(down.pitch, 0, 1e-9);
  EXPECT_NEAR(std::abs(down.roll), 0, 1e-9);
  const interchange::NavigationAngles turned = interchange::NavigationOfGimbal(-135, -80, 0);
  EXPECT_NEAR(turned.yaw, 225, 1e-9);
  EXPECT_NEAR(turned.pitch, 10, 1e-9);
}

TEST_F(Photos, ThatAreTurnedByViewersSaySo) {
  MadePhoto made = photos_test::Ordinary(8, 50, 100, "");
  made.exif.emplace_back("Exif.Image.Orientation", "6");
  const PhotoMetadata photo = Read(made);
  EXPECT_EQ(photo.width, 4000);
  ASSERT_EQ(photo.notes.size(), 1U);
  EXPECT_THAT(photo.notes[0], HasSubstr("orientation tag is 6"));
}

TEST_F(Photos, ThatAreNoneAreToldAndNotFatal) {
  support::WriteText(folder_.File("empty.jpg"), "");
  support::WriteText(folder_.File("text.jpg"), "not a photo at all");
  support::WriteText(folder_.File("short.jpg"), std::string("\xFF\xD8\xFF\xE1\xFF\xFF", 6) + "Exif");
  fs::create_directory(folder_.File("folder.jpg"));
  for (const char* name : {"empty.jpg", "text.jpg", "short.jpg", "folder.jpg", "missing.jpg"}) {
    const PhotoMetadata photo = ReadPhoto(folder_.File(name));
    EXPECT_FALSE(photo.readable) << name;
    EXPECT_EQ(photo.notes.size(), 1U) << name;
    EXPECT_EQ(photo.name, name);
  }
}

TEST_F(Photos, OfAnyDamageAreReadOrToldAndNothingElse) {
  MadePhoto made = photos_test::Ordinary(-98.0899916, 30.1712233, 317.3, "2014:10:19 13:20:51");
  made.xmp = {{"http://pix4d.com/camera/1.0/", "Yaw", "123.5"}};
  Make(folder_.File("whole.jpg"), made);
  const std::string whole = interchange::ReadWholeFile(folder_.File("whole.jpg"));
  std::size_t readable = 0;
  for (std::size_t i = 0; i < whole.size(); i += 3) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(damaged[i] ^ '\xFF');
    support::WriteText(folder_.File("damaged.jpg"), damaged);
    const PhotoMetadata photo = ReadPhoto(folder_.File("damaged.jpg"));
    readable += photo.readable ? 1U : 0U;
    EXPECT_TRUE(photo.readable || !photo.notes.empty()) << i;
    if (photo.longitude) {
      EXPECT_LE(std::abs(*photo.longitude), 180.0) << i;
      EXPECT_LE(std::abs(*photo.latitude), 90.0) << i;
    }
  }
  EXPECT_GT(readable, 0U);
  for (std::size_t size = 0; size < whole.size(); size += 11) {
    support::WriteText(folder_.File("cut.jpg"), whole.substr(0, size));
    const PhotoMetadata photo = ReadPhoto(folder_.File("cut.jpg"));
    EXPECT_TRUE(photo.readable || !photo.notes.empty()) << size;
  }
}

TEST_F(Photos, OfAFolderComeInNaturalOrderFromFoldersBelowToo) {
  fs::create_directories(folder_.File("b/c"));
  const std::string umlaut = "b/\xC3\xA4 \xE6\xB3\x89.JPG";
  for (const std::string& name :
       {std::string("IMG_10.jpg"), std::string("IMG_9.jpg"), umlaut, std::string("b/c/IMG_1.jpeg")}) {
    Make(folder_.File(name), photos_test::Ordinary(8, 50, 100, ""));
  }
  support::WriteText(folder_.File("notes.txt"), "no photo");
  std::vector<std::string> names;
  for (const PhotoMetadata& photo : interchange::ReadPhotos(folder_.Path().string())) {
    EXPECT_TRUE(photo.readable) << photo.name;
    names.push_back(photo.name);
  }
  EXPECT_THAT(names,
              testing::ElementsAre("IMG_9.jpg", "IMG_10.jpg", "IMG_1.jpeg", "\xC3\xA4 \xE6\xB3\x89.JPG"));
  EXPECT_THROW((void)interchange::ReadPhotos(folder_.File("nowhere")), interchange::Failure);
}

TEST(NaturalOrder, CountsDigits) {
  using interchange::NaturallyLess;
  EXPECT_TRUE(NaturallyLess("IMG_9", "IMG_10"));
  EXPECT_TRUE(NaturallyLess("IMG_009", "IMG_10"));
  EXPECT_TRUE(NaturallyLess("a", "a1"));
  EXPECT_TRUE(NaturallyLess("IMG_01", "IMG_1"));
  EXPECT_FALSE(NaturallyLess("IMG_1", "IMG_01"));
  EXPECT_FALSE(NaturallyLess("x", "x"));
  EXPECT_TRUE(NaturallyLess("1_99999999999999999999999", "1_100000000000000000000000"));
}

}  // namespace
