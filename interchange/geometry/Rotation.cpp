// Rotations as the programs of the field write them, all through one matrix.
#include "interchange/geometry/Rotation.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace interchange {
namespace {

/// Of 1: nearer to a pole two of three angles cannot be told apart, for all that is left of them is rounding.
constexpr double kPole = 1e-14;

double Arcsine(double value) {
  return std::asin(std::clamp(value, -1.0, 1.0));
}

/// Its own inverse: east-north-up to north-east-down, and camera axes to those of an aircraft.
const Matrix3 kSwap{{{{0, 1, 0}, {1, 0, 0}, {0, 0, -1}}}};

const Matrix3 kFlip{{{{1, 0, 0}, {0, -1, 0}, {0, 0, -1}}}};

}  // namespace

Vector3 operator+(const Vector3& a, const Vector3& b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}

Vector3 operator-(const Vector3& a, const Vector3& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}

Vector3 operator-(const Vector3& a) {
  return {-a.x, -a.y, -a.z};
}

double Norm(const Vector3& a) {
  return std::hypot(a.x, a.y, a.z);
}

Matrix3 Identity() {
  return Diagonal(1, 1, 1);
}

Matrix3 Diagonal(double a, double b, double c) {
  return {{{{a, 0, 0}, {0, b, 0}, {0, 0, c}}}};
}

Matrix3 operator*(const Matrix3& a, const Matrix3& b) {
  Matrix3 product;
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      product(row, column) = a(row, 0) * b(0, column) + a(row, 1) * b(1, column) + a(row, 2) * b(2, column);
    }
  }
  return product;
}

Vector3 operator*(const Matrix3& a, const Vector3& v) {
  return {a(0, 0) * v.x + a(0, 1) * v.y + a(0, 2) * v.z, a(1, 0) * v.x + a(1, 1) * v.y + a(1, 2) * v.z,
          a(2, 0) * v.x + a(2, 1) * v.y + a(2, 2) * v.z};
}

Matrix3 Transposed(const Matrix3& a) {
  Matrix3 transposed;
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      transposed(row, column) = a(column, row);
    }
  }
  return transposed;
}

Matrix3 RotationX(double angle) {
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  return {{{{1, 0, 0}, {0, c, -s}, {0, s, c}}}};
}

Matrix3 RotationY(double angle) {
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  return {{{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}}};
}

Matrix3 RotationZ(double angle) {
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  return {{{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}}};
}

Matrix3 MatrixOf(const Opk& angles) {
  return RotationX(angles.omega) * RotationY(angles.phi) * RotationZ(angles.kappa);
}

Opk OpkOf(const Matrix3& m) {
  // Adding 0 makes -0 a 0, which is what people expect to read.
  if (std::fabs(m(0, 2)) >= 1.0 - kPole) {
    return {0.0, Arcsine(m(0, 2)), std::atan2(m(1, 0), m(1, 1)) + 0.0};
  }
  return {std::atan2(-m(1, 2), m(2, 2)) + 0.0, Arcsine(m(0, 2)) + 0.0, std::atan2(-m(0, 1), m(0, 0)) + 0.0};
}

Matrix3 MatrixOf(const YawPitchRoll& angles) {
  return kSwap * RotationZ(angles.yaw) * RotationY(angles.pitch) * RotationX(angles.roll) * kSwap;
}

YawPitchRoll YawPitchRollOf(const Matrix3& m) {
  const Matrix3 n = kSwap * m * kSwap;
  YawPitchRoll angles;
  if (std::fabs(n(2, 0)) >= 1.0 - kPole) {
    angles = {std::atan2(-n(0, 1), n(1, 1)), Arcsine(-n(2, 0)), 0.0};
  } else {
    angles = {std::atan2(n(1, 0), n(0, 0)), Arcsine(-n(2, 0)), std::atan2(n(2, 1), n(2, 2))};
  }
  angles = {angles.yaw + 0.0, angles.pitch + 0.0, angles.roll + 0.0};
  if (angles.yaw < 0.0) {
    angles.yaw += 2.0 * std::numbers::pi;
  }
  return angles;
}

Matrix3 MatrixOf(const Quaternion& q) {
  const double length = std::hypot(std::hypot(q.w, q.x), std::hypot(q.y, q.z));
  if (!(length > 0.0)) {
    return Identity();
  }
  const double w = q.w / length;
  const double x = q.x / length;
  const double y = q.y / length;
  const double z = q.z / length;
  return {{{{1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
            {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
            {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}}}};
}

Quaternion QuaternionOf(const Matrix3& m) {
  // By the largest of the four, so that none is divided by a small number (Shepperd 1978).
  const double trace = m(0, 0) + m(1, 1) + m(2, 2);
  Quaternion q;
  if (trace >= m(0, 0) && trace >= m(1, 1) && trace >= m(2, 2)) {
    q = {1 + trace, m(2, 1) - m(1, 2), m(0, 2) - m(2, 0), m(1, 0) - m(0, 1)};
  } else if (m(0, 0) >= m(1, 1) && m(0, 0) >= m(2, 2)) {
    q = {m(2, 1) - m(1, 2), 1 + 2 * m(0, 0) - trace, m(0, 1) + m(1, 0), m(0, 2) + m(2, 0)};
  } else if (m(1, 1) >= m(2, 2)) {
    q = {m(0, 2) - m(2, 0), m(0, 1) + m(1, 0), 1 + 2 * m(1, 1) - trace, m(1, 2) + m(2, 1)};
  } else {
    q = {m(1, 0) - m(0, 1), m(0, 2) + m(2, 0), m(1, 2) + m(2, 1), 1 + 2 * m(2, 2) - trace};
  }
  const double length = std::hypot(std::hypot(q.w, q.x), std::hypot(q.y, q.z));
  const double scale = q.w < 0.0 ? -1.0 / length : 1.0 / length;
  return {q.w * scale, q.x * scale, q.y * scale, q.z * scale};
}

Matrix3 MatrixOfAngleAxis(const Vector3& v) {
  const double angle = Norm(v);
  if (!(angle > 0.0)) {
    return Identity();
  }
  const double s = std::sin(angle / 2) / angle;
  return MatrixOf(Quaternion{std::cos(angle / 2), v.x * s, v.y * s, v.z * s});
}

Vector3 AngleAxisOf(const Matrix3& m) {
  const Quaternion q = QuaternionOf(m);
  const double sine = std::hypot(q.x, q.y, q.z);
  if (!(sine > 0.0)) {
    return {};
  }
  const double scale = 2.0 * std::atan2(sine, q.w) / sine;
  return {q.x * scale, q.y * scale, q.z * scale};
}

WorldToCamera WorldToCameraOf(const Matrix3& m, const Vector3& centre) {
  const Matrix3 rotation = kFlip * Transposed(m);
  return {rotation, -(rotation * centre)};
}

Matrix3 CameraAxesOf(const WorldToCamera& pose) {
  return Transposed(pose.rotation) * kFlip;
}

Vector3 CentreOf(const WorldToCamera& pose) {
  return -(Transposed(pose.rotation) * pose.translation);
}

}  // namespace interchange
