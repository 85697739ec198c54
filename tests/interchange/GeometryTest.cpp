// Rotations and the ellipsoid: against the textbook's products and published values.
#include <gmock/gmock.h>

#include <cmath>
#include <numbers>

#include "SyntheticProject.h"
#include "interchange/geometry/Ellipsoid.h"
#include "interchange/geometry/Rotation.h"

namespace interchange_test {
namespace {

using namespace interchange;  // all of it is under test

constexpr double kDegree = std::numbers::pi / 180.0;

double Distance(const Matrix3& a, const Matrix3& b) {
  double worst = 0.0;
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      worst = std::max(worst, std::fabs(a(row, column) - b(row, column)));
    }
  }
  return worst;
}

template <class Check>
void ForManyAngles(const Check& check) {
  for (int i = 0; i < 500; ++i) {
    check(std::sin(i * 1.7) * 3.1, std::sin(i * 0.9) * 1.5, std::sin(i * 2.3) * 3.1);
  }
}

TEST(RotationTest, OmegaPhiKappaIsTheTextbooksProduct) {
  ForManyAngles([](double omega, double phi, double kappa) {
    const Matrix3 m = MatrixOf(Opk{omega, phi, kappa});
    const Rows rows = OpkRows(omega, phi, kappa);
    for (int row = 0; row < 3; ++row) {
      for (int column = 0; column < 3; ++column) {
        EXPECT_NEAR(m(row, column), rows[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)],
                    1e-15);
      }
    }
  });
}

TEST(RotationTest, EveryFormComesBack) {
  ForManyAngles([](double a, double b, double c) {
    const Matrix3 m = MatrixOf(Opk{a, b, c});
    EXPECT_LT(Distance(MatrixOf(OpkOf(m)), m), 1e-14);
    EXPECT_LT(Distance(MatrixOf(YawPitchRollOf(m)), m), 1e-14);
    EXPECT_LT(Distance(MatrixOf(QuaternionOf(m)), m), 1e-14);
    EXPECT_LT(Distance(MatrixOfAngleAxis(AngleAxisOf(m)), m), 1e-14);
    const Vector3 centre{a * 10, b * 10, c * 10};
    const WorldToCamera pose = WorldToCameraOf(m, centre);
    EXPECT_LT(Distance(CameraAxesOf(pose), m), 1e-15);
    EXPECT_LT(Norm(CentreOf(pose) - centre), 1e-13);
    const Opk angles = OpkOf(m);
    EXPECT_NEAR(angles.phi, b, 1e-14);
  });
}

TEST(RotationTest, PolesGiveOneOfTheCombinations) {
  for (const double phi : {kDegree * 90, -kDegree * 90}) {
    const Matrix3 m = MatrixOf(Opk{0.3, phi, 0.7});
    EXPECT_LT(Distance(MatrixOf(OpkOf(m)), m), 1e-8);
  }
  for (const double pitch : {kDegree * 90, -kDegree * 90}) {
    const Matrix3 m = MatrixOf(YawPitchRoll{0.3, pitch, 0.7});
    EXPECT_LT(Distance(MatrixOf(YawPitchRollOf(m)), m), 1e-8);
  }
}

TEST(RotationTest, HalfTurnsHaveAQuaternionAndAnAxis) {
  for (const Matrix3& m : {Diagonal(1, -1, -1), Diagonal(-1, 1, -1), Diagonal(-1, -1, 1)}) {
    EXPECT_LT(Distance(MatrixOf(QuaternionOf(m)), m), 1e-15);
    EXPECT_LT(Distance(MatrixOfAngleAxis(AngleAxisOf(m)), m), 1e-15);
  }
}

TEST(RotationTest, WhereTheNosePointsIsTheTopOfTheImage) {
  struct Case {
    YawPitchRoll angles;
    Vector3 top;      ///< of the image, in east, north, up
    Vector3 forward;  ///< where the camera looks
  };
  const double s = std::sqrt(0.5);
  for (const Case& c :
       {Case{{0, 0, 0}, {0, 1, 0}, {0, 0, -1}},                 // north
        Case{{90 * kDegree, 0, 0}, {1, 0, 0}, {0, 0, -1}},      // east
        Case{{0, 45 * kDegree, 0}, {0, s, s}, {0, s, -s}},      // nose up: it looks ahead
        Case{{0, 0, 45 * kDegree}, {0, 1, 0}, {-s, 0, -s}}}) {  // right wing down: it looks left
    const Matrix3 m = MatrixOf(c.angles);
    EXPECT_LT(Norm(m * Vector3{0, 1, 0} - c.top), 1e-15);
    EXPECT_LT(Norm(m * Vector3{0, 0, -1} - c.forward), 1e-15);
  }
}

TEST(EllipsoidTest, AxesHaveTheirPublishedLengths) {
  // The axes of the ellipsoid.
  const Vector3 x = EarthCentred({0, 0, 0});
  EXPECT_EQ(x.x, 6378137.0);
  EXPECT_NEAR(EarthCentred({0, 90, 0}).z, 6356752.314245, 1e-6);
  EXPECT_NEAR(EarthCentred({90, 0, 100}).y, 6378237.0, 1e-9);
}

TEST(EllipsoidTest, EveryPositionComesBack) {
  for (int i = 0; i < 2000; ++i) {
    const Geodetic position{std::sin(i * 1.3) * 179.9, std::sin(i * 0.7) * 89.9999,
                            std::sin(i * 0.31) * 9000.0};
    const Geodetic back = GeodeticOf(EarthCentred(position));
    EXPECT_NEAR(back.longitude, position.longitude, 1e-12);
    EXPECT_NEAR(back.latitude, position.latitude, 1e-12);
    EXPECT_NEAR(back.height, position.height, 1e-8);
  }
  const Geodetic pole = GeodeticOf(EarthCentred({0, 90, 50}));
  EXPECT_NEAR(pole.latitude, 90, 1e-12);
  EXPECT_NEAR(pole.height, 50, 1e-8);
}

TEST(EllipsoidTest, LocalAxesPointEastNorthAndUp) {
  const Geodetic here{118.25, 31.5, 100};
  const Matrix3 axes = LocalAxes(here);
  const Vector3 east = axes * (EarthCentred({118.25 + 1e-6, 31.5, 100}) - EarthCentred(here));
  const Vector3 north = axes * (EarthCentred({118.25, 31.5 + 1e-6, 100}) - EarthCentred(here));
  const Vector3 up = axes * (EarthCentred({118.25, 31.5, 101}) - EarthCentred(here));
  EXPECT_GT(east.x, 0.09);
  EXPECT_LT(std::fabs(east.y) + std::fabs(east.z), 1e-7);
  EXPECT_NEAR(north.y, MetresPerDegreeOfLatitude(31.5) * 1e-6, 1e-5);
  EXPECT_LT(std::fabs(north.x) + std::fabs(north.z), 1e-7);
  EXPECT_NEAR(up.z, 1.0, 1e-8);
}

}  // namespace
}  // namespace interchange_test
