// Camera files: all keys, all defaults, and a message that names file and key for everything that is wrong.
#include "common/CameraFile.h"

#include <gtest/gtest.h>

#include "Commands.h"

using qvapp::ReadCameraFile;
using qvfd::CameraInfo;

namespace {

class CameraFile : public testing::Test {
 protected:
  std::vector<CameraInfo> Read(const std::string& text) {
    support::WriteText(path_, text);
    return ReadCameraFile(path_);
  }

  /// The line that reading `text` fails with, without the file name in front of it.
  std::string Complaint(const std::string& text) {
    try {
      Read(text);
    } catch (const qvapp::Failure& failure) {
      EXPECT_EQ(failure.ExitCode(), qvapp::kFailed);
      const std::string line = failure.what();
      EXPECT_EQ(line.compare(0, path_.size() + 2, path_ + ": "), 0) << line;
      return line.substr(path_.size() + 2);
    }
    return "it was read";
  }

  support::TempFolder folder_;
  std::string path_ = folder_.File("cam.json");
};

const std::string kNeeded =
    R"("width": 4000, "height": 3000, "ccdwidth": 6.0, "ccdheight": 4.5, "focallength": 8.8)";

std::string Camera(const std::string& more) {
  return "{" + kNeeded + (more.empty() ? "" : ", " + more) + "}";
}

std::string WithInstead(const std::string& key, const std::string& value) {
  nlohmann::ordered_json camera = nlohmann::ordered_json::parse(Camera(""));
  camera.erase(key);
  std::string text = camera.dump();
  text.insert(1, "\"" + key + "\": " + value + ",");
  return text;
}

}  // namespace

TEST_F(CameraFile, GivesDefaultsForWhatIsNotSaid) {
  const auto cameras = Read(Camera(""));
  ASSERT_EQ(cameras.size(), 1U);
  CameraInfo expected;
  expected.id = 0;
  expected.width = 4000;
  expected.height = 3000;
  expected.ccdwidth = 6.0;
  expected.ccdheight = 4.5;
  expected.focallength = 8.8;
  expected.pixel_size_x = 0.0015;
  expected.pixel_size_y = 0.0015;
  EXPECT_EQ(cameras[0], expected);
  EXPECT_EQ(cameras[0].distortion_type, 1);
}

TEST_F(CameraFile, TakesEveryKey) {
  const auto cameras =
      Read(Camera(R"("id": 7, "name": "Zenm\u00fcse", "x0": 0.01, "y0": -0.02, "distortion_type": 2,
      "k1": 1, "k2": 2, "k3": 3, "p1": 4, "p2": 5, "alpha": 6, "beta": 7, "n1": 8, "n2": 9, "n3": 1e-10)"));
  ASSERT_EQ(cameras.size(), 1U);
  EXPECT_EQ(cameras[0].id, 7);
  EXPECT_EQ(cameras[0].name, "Zenm\xC3\xBCse");
  EXPECT_EQ(cameras[0].x0, 0.01);
  EXPECT_EQ(cameras[0].y0, -0.02);
  EXPECT_EQ(cameras[0].distortion_type, 2);
  EXPECT_EQ(cameras[0].distortion, (std::array<double, 10>{1, 2, 3, 4, 5, 6, 7, 8, 9, 1e-10}));
}

TEST_F(CameraFile, TakesSeveralInTheirOrder) {
  const auto cameras =
      Read("[" + Camera(R"("id": 3)") + "," + Camera("") + "," + Camera(R"("id": -2147483648)") + "]");
  ASSERT_EQ(cameras.size(), 3U);
  EXPECT_EQ(cameras[0].id, 3);
  EXPECT_EQ(cameras[1].id, 0);
  EXPECT_EQ(cameras[2].id, -2147483647 - 1);
}

TEST_F(CameraFile, NamesTheKeyThatIsMissing) {
  for (const std::string key : {"width", "height", "ccdwidth", "ccdheight", "focallength"}) {
    nlohmann::json camera = nlohmann::json::parse(Camera(""));
    camera.erase(key);
    EXPECT_EQ(Complaint(camera.dump()), "key '" + key + "' is missing; correct the camera file");
    EXPECT_EQ(Complaint("[" + Camera("") + "," + camera.dump() + "]"),
              "camera 2: key '" + key + "' is missing; correct the camera file");
  }
}

TEST_F(CameraFile, NamesTheKeyThatIsNotKnown) {
  EXPECT_EQ(Complaint(Camera(R"("focal_length": 3)")),
            "key 'focal_length' is not known; correct the camera file");
}

TEST_F(CameraFile, NamesTheKeyThatIsThereTwice) {
  EXPECT_EQ(Complaint(Camera(R"("width": 5)")), "key 'width' is there twice; correct the camera file");
  EXPECT_EQ(Read("[" + Camera("\"k1\": 1") + "," + Camera("\"id\": 1, \"k1\": 1") + "]").size(), 2U)
      << "once in each camera is right";
}

TEST_F(CameraFile, WantsWholeNumbersWhereOnlyTheyMakeSense) {
  for (const std::string key : {"width", "height", "id", "distortion_type"}) {
    for (const std::string value : {"4000.5", "4e3", "\"4000\"", "true", "null", "[1]"}) {
      EXPECT_EQ(Complaint(WithInstead(key, value)),
                "key '" + key + "' must be a whole number; correct the camera file")
          << value;
    }
    EXPECT_EQ(Complaint(WithInstead(key, "2147483648")),
              "key '" + key + "' is out of range; correct the camera file");
    EXPECT_EQ(Complaint(WithInstead(key, "18446744073709551615")),
              "key '" + key + "' is out of range; correct the camera file");
    EXPECT_EQ(Complaint(WithInstead(key, "-2147483649")),
              "key '" + key + "' is out of range; correct the camera file");
  }
}

TEST_F(CameraFile, WantsNumbers) {
  for (const std::string key : {"ccdwidth", "focallength", "x0", "k1", "n3"}) {
    EXPECT_EQ(Complaint(WithInstead(key, "\"1\"")),
              "key '" + key + "' must be a number; correct the camera file");
    EXPECT_EQ(Complaint(WithInstead(key, "1e999")),
              "key '" + key + "' is no finite number; correct the camera file");
  }
  EXPECT_EQ(Complaint(WithInstead("name", "5")), "key 'name' must be text; correct the camera file");
  EXPECT_EQ(Complaint(WithInstead("name", R"("a\u0000b")")),
            "key 'name' must not hold a NUL character; correct the camera file");
}

TEST_F(CameraFile, WantsSizesAboveZero) {
  for (const std::string key : {"width", "height", "ccdwidth", "ccdheight", "focallength"}) {
    for (const std::string value : {"0", "-5"}) {
      EXPECT_EQ(Complaint(WithInstead(key, value)),
                "key '" + key + "' must be above 0; correct the camera file");
    }
  }
}

TEST_F(CameraFile, WantsAnIdForEachCamera) {
  EXPECT_EQ(Complaint("[" + Camera("") + "," + Camera(R"("id": 0)") + "]"),
            "camera 2: key 'id' is 0 as for an earlier camera; correct the camera file");
}

TEST_F(CameraFile, WantsObjects) {
  EXPECT_EQ(Complaint("5"), "a camera is an object in braces; correct the camera file");
  EXPECT_EQ(Complaint("[[]]"), "camera 1: a camera is an object in braces; correct the camera file");
  EXPECT_EQ(Complaint("[]"), "holds no camera; add one, or leave --camera out");
}

TEST_F(CameraFile, SaysWhereItIsNoJson) {
  EXPECT_EQ(Complaint("{\n  \"width\": 4,\n  oops\n}"),
            "not JSON: unexpected text at line 3, column 3; correct the camera file");
  EXPECT_THAT(Complaint(""), testing::StartsWith("not JSON: "));
  EXPECT_THAT(Complaint("{\"name\": \"\xFF\"}"), testing::StartsWith("not JSON: "));
  EXPECT_THAT(Complaint(std::string(100000, '[')), testing::StartsWith("not JSON: "));
}

TEST_F(CameraFile, SaysWhatIsWrongWithTheFile) {
  EXPECT_THAT(Complaint(std::string((1U << 20U) + 1, ' ')), testing::HasSubstr("not a camera file"));
  path_ = folder_.File("missing.json");
  const auto complaint = [this] {
    try {
      static_cast<void>(ReadCameraFile(path_));
    } catch (const qvapp::Failure& failure) {
      return std::string(failure.what());
    }
    return std::string();
  };
  EXPECT_EQ(complaint(), path_ + ": no such file; check the path of the camera file");
  path_ = folder_.Path().string();
  EXPECT_EQ(complaint(), path_ + ": is a folder, not a camera file; name the JSON file in it");
}
