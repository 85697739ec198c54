// Coordinate systems in the geodesy database, by EPSG code. Private: not installed.
#pragma once

#include "qvfd/CoordinateInfo.h"

namespace qvfd {

/// Fills `out` with the geographic 2D or projected system of that code. False, and `out` as it was, when
/// there is none, or no database.
[[nodiscard]] bool ReadCoordinate(int code, CoordinateInfo& out);

}  // namespace qvfd
