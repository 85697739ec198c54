// What an image shows of the ground: by hand where it looks straight down, by projecting back elsewhere.
#include "interchange/project/Footprint.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Surveys.h"

using namespace interchange;
using gis_test::kDegree;

namespace {

PixelCamera Plain() {
  return PixelCameraOf(gis_test::PlainCamera());
}

PixelCamera Distorted() {
  PixelCamera camera = Plain();
  camera.cx += 12.0;
  camera.cy -= 7.0;
  camera.k1 = -0.11;
  camera.k2 = 0.05;
  camera.k3 = -0.01;
  camera.p1 = 0.001;
  camera.p2 = -0.0007;
  return camera;
}

void ExpectNear(const Vector3& found, const Vector3& wanted, double tolerance) {
  EXPECT_NEAR(found.x, wanted.x, tolerance);
  EXPECT_NEAR(found.y, wanted.y, tolerance);
  EXPECT_NEAR(found.z, wanted.z, tolerance);
}

}  // namespace

TEST(Footprint, IsThePictureEnlargedWhereTheCameraLooksStraightDown) {
  // 13.2 mm x 8.8 mm through 8.8 mm from 100 m.
  NoFootprint why{};
  const auto found = FootprintOf(Plain(), Identity(), 100.0, why);
  ASSERT_TRUE(found);
  ExpectNear(found->corners[0], {-75.0, 50.0, -100.0}, 1e-9);
  ExpectNear(found->corners[1], {75.0, 50.0, -100.0}, 1e-9);
  ExpectNear(found->corners[2], {75.0, -50.0, -100.0}, 1e-9);
  ExpectNear(found->corners[3], {-75.0, -50.0, -100.0}, 1e-9);
  EXPECT_NEAR(found->area, 15000.0, 1e-6);
}

TEST(Footprint, TurnsWithTheAircraft) {
  // Flying east: the top of the image is in the east, its left in the north.
  NoFootprint why{};
  const auto found = FootprintOf(Plain(), MatrixOf(YawPitchRoll{90 * kDegree, 0.0, 0.0}), 100.0, why);
  ASSERT_TRUE(found);
  ExpectNear(found->corners[0], {50.0, 75.0, -100.0}, 1e-9);
  ExpectNear(found->corners[1], {50.0, -75.0, -100.0}, 1e-9);
}

TEST(Footprint, LiesAheadWhereTheCameraLooksAhead) {
  // Half the angle of view along the flight is atan(1/2); looking 30 degrees ahead the edges are at 30 +-
  // that.
  NoFootprint why{};
  const auto found = FootprintOf(Plain(), MatrixOf(YawPitchRoll{0.0, 30 * kDegree, 0.0}), 100.0, why);
  ASSERT_TRUE(found);
  const double half = std::atan(0.5);
  EXPECT_NEAR(found->corners[0].y, 100 * std::tan(30 * kDegree + half), 1e-9);
  EXPECT_NEAR(found->corners[3].y, 100 * std::tan(30 * kDegree - half), 1e-9);
}

TEST(Footprint, ProjectsBackToTheCornersOfTheImage) {
  const PixelCamera camera = Distorted();
  const Matrix3 axes = MatrixOf(Opk{0.15, -0.2, 2.1});
  NoFootprint why{};
  const auto found = FootprintOf(camera, axes, 87.5, why);
  ASSERT_TRUE(found);
  const std::array<Pixel, 4> pixels = {Pixel{0, 0}, {5472, 0}, {5472, 3648}, {0, 3648}};
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const Vector3 p = Transposed(axes) * found->corners[i];
    const Pixel seen = Projected(camera, p.x, -p.y, -p.z);
    EXPECT_NEAR(seen.x, pixels[i].x, 1e-6) << i;
    EXPECT_NEAR(seen.y, pixels[i].y, 1e-6) << i;
    EXPECT_DOUBLE_EQ(found->corners[i].z, -87.5);
  }
}

TEST(Footprint, IsNotThereWhereACornerSeesTheHorizon) {
  NoFootprint why{};
  // The upper edge 63.435 + 26.565 = 90 degrees from straight down: 0.57 degrees short of it is the limit.
  EXPECT_FALSE(FootprintOf(Plain(), MatrixOf(YawPitchRoll{0.0, 70 * kDegree, 0.0}), 100.0, why));
  EXPECT_EQ(why, NoFootprint::kHorizon);
  EXPECT_FALSE(FootprintOf(Plain(), MatrixOf(YawPitchRoll{0.0, 63.2 * kDegree, 0.0}), 100.0, why));
  EXPECT_TRUE(FootprintOf(Plain(), MatrixOf(YawPitchRoll{0.0, 61 * kDegree, 0.0}), 100.0, why));
}

TEST(Footprint, IsNotThereBelowTheGround) {
  NoFootprint why{};
  EXPECT_FALSE(FootprintOf(Plain(), Identity(), 0.0, why));
  EXPECT_EQ(why, NoFootprint::kUnderground);
  EXPECT_FALSE(FootprintOf(Plain(), Identity(), std::nan(""), why));
}

TEST(Footprint, IsNotThereWhereTheDistortionCannotBeUndone) {
  PixelCamera camera = Plain();
  camera.k1 = -2.0;  // no ray comes out further from the middle than r (1 - 2 r^2) goes
  NoFootprint why{};
  EXPECT_FALSE(FootprintOf(camera, Identity(), 100.0, why));
  EXPECT_EQ(why, NoFootprint::kDistortion);
  EXPECT_FALSE(RayThrough(camera, {0.0, 0.0}));
  EXPECT_TRUE(RayThrough(camera, {2736.0, 1900.0}));
}
