// Rotations as the programs of the field write them, all through one matrix.
//
// The matrix M of an image takes its camera axes (x right, y up, z backward: out of the scene, towards the
// viewer) to the axes of the world (east, north, up). docs/conventions.md derives each conversion, with an
// example that a test recomputes. Angles are in radians.
#pragma once

#include <array>

namespace interchange {

struct Vector3 {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;

  friend bool operator==(const Vector3&, const Vector3&) = default;
};

[[nodiscard]] Vector3 operator+(const Vector3& a, const Vector3& b);
[[nodiscard]] Vector3 operator-(const Vector3& a, const Vector3& b);
[[nodiscard]] Vector3 operator-(const Vector3& a);
[[nodiscard]] double Norm(const Vector3& a);

/// Three rows.
struct Matrix3 {
  std::array<std::array<double, 3>, 3> m{};

  [[nodiscard]] double operator()(int row, int column) const {
    return m[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
  }
  [[nodiscard]] double& operator()(int row, int column) {
    return m[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
  }
  friend bool operator==(const Matrix3&, const Matrix3&) = default;
};

[[nodiscard]] Matrix3 Identity();
[[nodiscard]] Matrix3 Diagonal(double a, double b, double c);
[[nodiscard]] Matrix3 operator*(const Matrix3& a, const Matrix3& b);
[[nodiscard]] Vector3 operator*(const Matrix3& a, const Vector3& v);
[[nodiscard]] Matrix3 Transposed(const Matrix3& a);

/// Counter-clockwise rotations about one axis, seen from its tip.
[[nodiscard]] Matrix3 RotationX(double angle);
[[nodiscard]] Matrix3 RotationY(double angle);
[[nodiscard]] Matrix3 RotationZ(double angle);

/// Omega, phi, kappa: M = Rx(omega) Ry(phi) Rz(kappa).
struct Opk {
  double omega = 0.0;
  double phi = 0.0;
  double kappa = 0.0;
};

[[nodiscard]] Matrix3 MatrixOf(const Opk& angles);

/// phi from -pi/2 to pi/2. Where phi is +-pi/2 only one combination of omega and kappa is determined: omega
/// is 0.
[[nodiscard]] Opk OpkOf(const Matrix3& m);

/// Yaw, pitch, roll of a camera whose image top points to the nose, in a local frame of east, north and up:
/// yaw clockwise from north, pitch 0 where the camera looks straight down, nose up positive; roll right wing
/// down positive. M = E Rz(yaw) Ry(pitch) Rx(roll) E, where E swaps x and y and negates z.
struct YawPitchRoll {
  double yaw = 0.0;
  double pitch = 0.0;
  double roll = 0.0;
};

[[nodiscard]] Matrix3 MatrixOf(const YawPitchRoll& angles);

/// yaw from 0 to 2 pi. Where pitch is +-pi/2, roll is 0.
[[nodiscard]] YawPitchRoll YawPitchRollOf(const Matrix3& m);

/// A unit quaternion (Hamilton).
struct Quaternion {
  double w = 1.0;
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};

/// The rotation of a quaternion, which need not be of length 1; the identity for a quaternion of length 0.
[[nodiscard]] Matrix3 MatrixOf(const Quaternion& q);

/// w is not negative.
[[nodiscard]] Quaternion QuaternionOf(const Matrix3& m);

/// Axis times angle.
[[nodiscard]] Matrix3 MatrixOfAngleAxis(const Vector3& v);
[[nodiscard]] Vector3 AngleAxisOf(const Matrix3& m);

/// A camera as computer vision has it: x right, y down, z forward, from the world to the camera: R X + t.
struct WorldToCamera {
  Matrix3 rotation = Identity();
  Vector3 translation;
};

/// From M and the projection centre: R = diag(1, -1, -1) M^T, t = -R C.
[[nodiscard]] WorldToCamera WorldToCameraOf(const Matrix3& m, const Vector3& centre);

/// The inverse: M = R^T diag(1, -1, -1), C = -R^T t.
[[nodiscard]] Matrix3 CameraAxesOf(const WorldToCamera& pose);
[[nodiscard]] Vector3 CentreOf(const WorldToCamera& pose);

}  // namespace interchange
