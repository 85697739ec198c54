// Attitudes as aircraft, gimbals and their logs tell them, in degrees, and how a project stores them as
// flown.
#pragma once

#include "interchange/geometry/Rotation.h"
#include "qvfd/ImageInfo.h"

namespace interchange {

/// In degrees: yaw clockwise from north, pitch 0 where the camera looks straight down and positive with the
/// nose up, roll positive with the right wing down. The image top points to the nose. Applied in the order
/// yaw, pitch, roll.
struct NavigationAngles {
  double yaw = 0.0;
  double pitch = 0.0;
  double roll = 0.0;

  friend bool operator==(const NavigationAngles&, const NavigationAngles&) = default;
};

/// The angles of a gimbal whose pitch is 0 where the camera looks at the horizon and -90 where it looks
/// straight down, applied in the order yaw, pitch, roll to axes north, east, down. Where roll is 0 that adds
/// 90 to the pitch; straight down, roll and yaw are about one axis and their sum becomes the yaw. The yaw of
/// the result is from 0 to 360.
[[nodiscard]] NavigationAngles NavigationOfGimbal(double yaw, double pitch, double roll);

/// Puts the angles into an orientation as a flight import stores them: omega is roll, phi is -pitch, kappa is
/// yaw, each times 0.0174533.
void StoreNavigation(const NavigationAngles& angles, qvfd::EOP& eop);

}  // namespace interchange
