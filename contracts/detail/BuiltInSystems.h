// The coordinate systems that the libraries know without asking the geodesy database, as data. Private: not
// installed.
//
// They come in families of zones whose EPSG codes are consecutive. All but the geographic ones are transverse
// Mercator projections of the same longitude and latitude: the geodesy database knows no shift between WGS 84
// and CGCS2000 or Xian 1980. Source of codes, names and parameters: the EPSG dataset, as PROJ distributes it.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "detail/NumberText.h"

namespace qvdetail {

/// What `qvfd::CoordinateInfo::type` calls them.
inline constexpr int kTypeWGS84 = 1;
inline constexpr int kTypeXian1980 = 2;
inline constexpr int kTypeCGCS2000 = 3;

enum class ZoneKind {
  kGeographic,  ///< longitude and latitude
  kUtmNorth,    ///< Universal Transverse Mercator; zones are numbered from 1
  kUtmSouth,    ///< the same on the southern hemisphere
  kByZone,      ///< Gauss-Kruger; the zone's number stands before the easting, as in 38500000
  kByMeridian,  ///< Gauss-Kruger; eastings without a number; zones go by their central meridians
};

struct SystemFamily {
  int firstCode;  ///< EPSG code of the first zone; the others follow
  int count;      ///< of zones
  int type;       ///< kType...
  ZoneKind kind;
  int width;         ///< of a zone, in degrees
  int firstNumber;   ///< zone number of the first zone; its central meridian where zones go by that
  const char* name;  ///< in front of the number, without the datum where the type tells that
  const char* ellipsoid;
};

inline constexpr std::array kSystemFamilies = {
    SystemFamily{2327, 11, kTypeXian1980, ZoneKind::kByZone, 6, 13, "Gauss-Kruger zone ", "IAU76"},
    SystemFamily{2338, 11, kTypeXian1980, ZoneKind::kByMeridian, 6, 75, "Gauss-Kruger CM ", "IAU76"},
    SystemFamily{2349, 21, kTypeXian1980, ZoneKind::kByZone, 3, 25, "3-degree Gauss-Kruger zone ", "IAU76"},
    SystemFamily{2370, 21, kTypeXian1980, ZoneKind::kByMeridian, 3, 75, "3-degree Gauss-Kruger CM ", "IAU76"},
    SystemFamily{4326, 1, kTypeWGS84, ZoneKind::kGeographic, 0, 0, "WGS 84", "WGS84"},
    SystemFamily{4490, 1, kTypeCGCS2000, ZoneKind::kGeographic, 0, 0, "geographic", "GRS80"},
    SystemFamily{4491, 11, kTypeCGCS2000, ZoneKind::kByZone, 6, 13, "Gauss-Kruger zone ", "GRS80"},
    SystemFamily{4502, 11, kTypeCGCS2000, ZoneKind::kByMeridian, 6, 75, "Gauss-Kruger CM ", "GRS80"},
    SystemFamily{4513, 21, kTypeCGCS2000, ZoneKind::kByZone, 3, 25, "3-degree Gauss-Kruger zone ", "GRS80"},
    SystemFamily{4534, 21, kTypeCGCS2000, ZoneKind::kByMeridian, 3, 75, "3-degree Gauss-Kruger CM ", "GRS80"},
    SystemFamily{4610, 1, kTypeXian1980, ZoneKind::kGeographic, 0, 0, "geographic", "IAU76"},
    SystemFamily{32601, 60, kTypeWGS84, ZoneKind::kUtmNorth, 6, 1, "WGS 84 / UTM zone ", "WGS84"},
    SystemFamily{32701, 60, kTypeWGS84, ZoneKind::kUtmSouth, 6, 1, "WGS 84 / UTM zone ", "WGS84"},
};

/// One of these systems.
struct BuiltInSystem {
  const SystemFamily* family;
  int code;

  /// What the zone is called: its number, or its central meridian where zones go by that.
  [[nodiscard]] constexpr int Number() const {
    const int step = family->kind == ZoneKind::kByMeridian ? family->width : 1;
    return family->firstNumber + (code - family->firstCode) * step;
  }

  [[nodiscard]] constexpr bool IsGeographic() const { return family->kind == ZoneKind::kGeographic; }

  /// Degrees east.
  [[nodiscard]] constexpr int CentralMeridian() const {
    switch (family->kind) {
      case ZoneKind::kGeographic:
        return 0;
      case ZoneKind::kByMeridian:
        return Number();
      case ZoneKind::kByZone:
        return family->width == 3 ? 3 * Number() : 6 * Number() - 3;
      default:
        return 6 * Number() - 183;
    }
  }

  /// Metres.
  [[nodiscard]] constexpr int FalseEasting() const {
    constexpr int kCentre = 500'000;
    return family->kind == ZoneKind::kByZone ? Number() * 1'000'000 + kCentre : kCentre;
  }
};

/// The system with this EPSG code; none when it is not one of them.
inline constexpr std::optional<BuiltInSystem> FindBuiltIn(int code) {
  for (const SystemFamily& family : kSystemFamilies) {
    if (code >= family.firstCode && code - family.firstCode < family.count) {
      return BuiltInSystem{&family, code};
    }
  }
  return std::nullopt;
}

/// Calls `visit` for each of them, in ascending order of their codes.
template <class Visit>
void EachBuiltIn(Visit visit) {
  for (const SystemFamily& family : kSystemFamilies) {
    for (int code = family.firstCode; code < family.firstCode + family.count; ++code) {
      visit(BuiltInSystem{&family, code});
    }
  }
}

/// The PROJ operation from longitude and latitude in radians to a system that is not geographic.
inline std::string OperationOf(const BuiltInSystem& system) {
  const std::string ellipsoid = std::string(" +ellps=") + system.family->ellipsoid;
  switch (system.family->kind) {
    case ZoneKind::kUtmNorth:
      return "+proj=utm +zone=" + FormatInteger(system.Number()) + ellipsoid;
    case ZoneKind::kUtmSouth:
      return "+proj=utm +zone=" + FormatInteger(system.Number()) + " +south" + ellipsoid;
    default:
      return "+proj=tmerc +lat_0=0 +lon_0=" + FormatInteger(system.CentralMeridian()) +
             " +k=1 +x_0=" + FormatInteger(system.FalseEasting()) + " +y_0=0" + ellipsoid;
  }
}

/// The code in "EPSG:32650" or "32650"; none in any other text.
inline std::optional<int> EpsgCodeOf(std::string_view definition) {
  constexpr std::string_view kAuthority = "epsg:";
  bool named = definition.size() > kAuthority.size();
  for (std::size_t i = 0; named && i < kAuthority.size(); ++i) {
    const char c = definition[i];
    named = (c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c) == kAuthority[i];
  }
  const auto code = WholeInteger(named ? definition.substr(kAuthority.size()) : definition);
  constexpr int kLargest = std::numeric_limits<int>::max();
  return code && *code > 0 && *code <= kLargest ? std::optional(static_cast<int>(*code)) : std::nullopt;
}

}  // namespace qvdetail
