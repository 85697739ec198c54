// Conversions as a test writes them: in degrees where a system is geographic.
#pragma once

#include <cmath>
#include <numbers>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "qvmath/GeoPrj.h"

namespace qvmath_test {

inline constexpr double kRadiansPerDegree = std::numbers::pi / 180.0;

struct Position {
  double x = 0.0;
  double y = 0.0;
};

inline std::ostream& operator<<(std::ostream& out, Position p) {
  return out << "(" << p.x << ", " << p.y << ")";
}

inline qvfd::CoordinateInfo System(std::string definition) {
  qvfd::CoordinateInfo info;
  info.definition = std::move(definition);
  return info;
}

inline qvfd::CoordinateInfo Epsg(int code) {
  return System("EPSG:" + std::to_string(code));
}

inline std::optional<Position> Convert(qvmath::GeoPrj& converter, Position p) {
  double in[2] = {p.x, p.y};
  double out[2] = {0.0, 0.0};
  return converter.Transform(in, out) ? std::optional(Position{out[0], out[1]}) : std::nullopt;
}

inline std::optional<Position> FromDegrees(qvmath::GeoPrj& converter, Position degrees) {
  return Convert(converter, {degrees.x * kRadiansPerDegree, degrees.y * kRadiansPerDegree});
}

inline std::optional<Position> ToDegrees(qvmath::GeoPrj& converter, Position p) {
  const auto radians = Convert(converter, p);
  return radians ? std::optional(Position{radians->x / kRadiansPerDegree, radians->y / kRadiansPerDegree})
                 : std::nullopt;
}

}  // namespace qvmath_test
