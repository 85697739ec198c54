// Attitudes as aircraft, gimbals and their logs tell them, in degrees, and how a project stores them as
// flown.
#include "interchange/geometry/NavigationAngles.h"

#include <numbers>

namespace interchange {
namespace {

constexpr double kRadians = std::numbers::pi / 180.0;
constexpr double kStoredPerDegree = 0.0174533;  // what the flight import multiplies by

}  // namespace

NavigationAngles NavigationOfGimbal(double yaw, double pitch, double roll) {
  if (roll == 0.0 && yaw >= 0.0 && yaw < 360.0) {
    return {yaw, pitch + 90.0, 0.0};  // the same without rounding
  }
  // The axes of a camera that looks straight down are those of the gimbal's, pitched up by a quarter turn.
  const Matrix3 gimbal = RotationZ(yaw * kRadians) * RotationY(pitch * kRadians) * RotationX(roll * kRadians);
  const Matrix3 nadir = gimbal * RotationY(std::numbers::pi / 2.0);
  Matrix3 swap;
  swap(0, 1) = 1.0;
  swap(1, 0) = 1.0;
  swap(2, 2) = -1.0;
  const YawPitchRoll angles = YawPitchRollOf(swap * nadir * swap);
  return {angles.yaw / kRadians, angles.pitch / kRadians, angles.roll / kRadians};
}

void StoreNavigation(const NavigationAngles& angles, qvfd::EOP& eop) {
  eop.omega = angles.roll * kStoredPerDegree;
  eop.phi = -(angles.pitch * kStoredPerDegree);
  eop.kappa = angles.yaw * kStoredPerDegree;
}

}  // namespace interchange
