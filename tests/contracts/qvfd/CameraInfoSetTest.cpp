#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

#include "qvfd/CameraInfo.h"

namespace {

using qvfd::CameraInfo;
using qvfd::CameraInfoSet;

CameraInfo Camera(int id, const std::string& name) {
  CameraInfo camera;
  camera.id = id;
  camera.name = name;
  return camera;
}

CameraInfoSet SetOf(std::initializer_list<std::pair<int, const char*>> cameras) {
  CameraInfoSet set;
  for (const auto& [id, name] : cameras) {
    set.AddCamera(Camera(id, name));
  }
  return set;
}

TEST(CameraInfo, StartsUnregisteredAndWithTheFirstDistortionModel) {
  const CameraInfo camera;
  EXPECT_EQ(camera.id, -1);
  EXPECT_EQ(camera.distortion_type, 1);
}

TEST(CameraInfo, StartsWithZeroInEveryMeasure) {
  CameraInfo zero;
  zero.width = zero.height = 0;
  zero.ccdwidth = zero.ccdheight = zero.focallength = zero.x0 = zero.y0 = 0.0;
  zero.distortion.fill(0.0);
  zero.pixel_size_x = zero.pixel_size_y = 0.0;
  EXPECT_EQ(CameraInfo(), zero);
  EXPECT_EQ(CameraInfo().name, "");
}

TEST(CameraInfoSet, StartsEmpty) {
  EXPECT_EQ(CameraInfoSet().Size(), 0);
}

TEST(CameraInfoSet, KeepsTheOrderOfAdding) {
  CameraInfoSet set = SetOf({{9, "first"}, {-4, "second"}, {7, "third"}});
  ASSERT_EQ(set.Size(), 3);
  EXPECT_EQ(set.GetCamera(0)->name, "first");
  EXPECT_EQ(set.GetCamera(1)->name, "second");
  EXPECT_EQ(set.GetCamera(2)->name, "third");
}

TEST(CameraInfoSet, AddCameraReturnsThePosition) {
  CameraInfoSet set;
  EXPECT_EQ(set.AddCamera(Camera(70, "a")), 0);
  EXPECT_EQ(set.AddCamera(Camera(50, "b")), 1);
}

TEST(CameraInfoSet, KeepsEveryFieldOfACamera) {
  CameraInfo camera = Camera(3, "\xB1\xBE");
  camera.width = 8192;
  camera.height = 5460;
  camera.ccdwidth = 35.9;
  camera.ccdheight = 24.0;
  camera.focallength = 35.0;
  camera.x0 = 0.1;
  camera.y0 = -0.1;
  camera.distortion_type = 2;
  camera.distortion = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  camera.pixel_size_x = 0.004;
  camera.pixel_size_y = 0.005;
  CameraInfoSet set;
  set.AddCamera(camera);
  EXPECT_EQ(*set.GetCamera(0), camera);
}

TEST(CameraInfoSet, OutsideItsPositionsThereIsNoCamera) {
  CameraInfoSet set = SetOf({{2, "a"}, {-1, "b"}});
  EXPECT_EQ(set.GetCamera(-1), nullptr);
  EXPECT_EQ(set.GetCamera(2), nullptr);
  EXPECT_EQ(set.GetCamera(std::numeric_limits<int>::max()), nullptr);
  EXPECT_EQ(set.GetCamera(std::numeric_limits<int>::min()), nullptr);
  EXPECT_EQ(CameraInfoSet().GetCamera(0), nullptr);
}

TEST(CameraInfoSet, FindsACameraByItsId) {
  CameraInfoSet set = SetOf({{1, "one"}, {0, "zero"}, {-5, "minus five"}});
  EXPECT_EQ(set.FindCamera(0)->name, "zero");
  EXPECT_EQ(set.FindCamera(1)->name, "one");
  EXPECT_EQ(set.FindCamera(-5)->name, "minus five");
}

TEST(CameraInfoSet, FindsNothingUnderAnUnusedId) {
  CameraInfoSet set = SetOf({{1, "one"}});
  EXPECT_EQ(set.FindCamera(0), nullptr);
  EXPECT_EQ(CameraInfoSet().FindCamera(-1), nullptr);
}

TEST(CameraInfoSet, ARepeatedIdFindsTheCameraAddedLast) {
  CameraInfoSet set = SetOf({{1, "early"}, {2, "other"}, {1, "late"}});
  EXPECT_EQ(set.Size(), 3);
  EXPECT_EQ(set.FindCamera(1)->name, "late");
}

TEST(CameraInfoSet, FindsACameraUnderTheIdItWasGivenLater) {
  CameraInfoSet set = SetOf({{1, "a"}});
  set.GetCamera(0)->id = 8;
  EXPECT_EQ(set.FindCamera(8), set.GetCamera(0));
  EXPECT_EQ(set.FindCamera(1), nullptr);
}

TEST(CameraInfoSet, AConstantSetGivesTheSameCameras) {
  CameraInfoSet set = SetOf({{4, "a"}, {5, "b"}});
  const CameraInfoSet& constant = set;
  EXPECT_EQ(constant.GetCamera(1), set.GetCamera(1));
  EXPECT_EQ(constant.FindCamera(4), set.FindCamera(4));
  EXPECT_EQ(constant.GetCamera(2), nullptr);
}

TEST(CameraInfoSet, ACopyIsIndependentOfItsSource) {
  CameraInfoSet source = SetOf({{1, "kept"}});
  CameraInfoSet copy = source;
  source.GetCamera(0)->name = "changed";
  source.AddCamera(Camera(2, "added"));
  EXPECT_EQ(copy.Size(), 1);
  EXPECT_EQ(copy.GetCamera(0)->name, "kept");
}

TEST(CameraInfoSet, AnAssignedSetIsIndependentOfItsSource) {
  CameraInfoSet source = SetOf({{1, "kept"}});
  CameraInfoSet copy = SetOf({{7, "replaced"}, {8, "replaced"}});
  copy = source;
  copy.GetCamera(0)->name = "changed";
  EXPECT_EQ(copy.Size(), 1);
  EXPECT_EQ(source.GetCamera(0)->name, "kept");
}

TEST(CameraInfoSet, ClearRemovesAllCameras) {
  CameraInfoSet set = SetOf({{1, "a"}, {2, "b"}});
  set.Clear();
  EXPECT_EQ(set.Size(), 0);
  EXPECT_EQ(set.GetCamera(0), nullptr);
  EXPECT_EQ(set.FindCamera(1), nullptr);
}

TEST(CameraInfoSet, IsUsableAfterClear) {
  CameraInfoSet set = SetOf({{1, "a"}, {2, "b"}});
  set.Clear();
  EXPECT_EQ(set.AddCamera(Camera(2, "again")), 0);
  EXPECT_EQ(set.FindCamera(2)->name, "again");
}

}  // namespace
