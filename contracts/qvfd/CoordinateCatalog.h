// Looking for a coordinate system by words or by place, for people who do not know its code.
#pragma once

#include <string>
#include <vector>

#include "qvfd/CoordinateInfo.h"
#include "qvfd/Export.h"

namespace qvfd {

/// An area of longitude and latitude, in degrees. One that crosses the 180th meridian has `west` above
/// `east`.
struct GeographicArea {
  double west = 0.0;
  double south = 0.0;
  double east = 0.0;
  double north = 0.0;

  friend bool operator==(const GeographicArea&, const GeographicArea&) = default;
};

/// A system of the EPSG dataset, as a catalogue shows it. Texts are in the local code page.
struct CatalogEntry {
  int id = -1;       ///< EPSG code: what the registry finds it by
  std::string name;  ///< as the dataset has it, datum included
  bool geographic = false;
  bool utm = false;       ///< a UTM zone of WGS 84
  std::string unit;       ///< of its coordinates, for example "metre"; empty when `FillUnits` was not asked
  std::string area_name;  ///< where it is meant to be used
  GeographicArea area;
};

/// Appends the systems, geographic 2D and projected, in whose name, area or code all words of `text` are
/// found, whatever the case of their letters; in ascending order of ids. Systems that the dataset calls
/// deprecated are left out. False, and nothing appended, when the geodesy database cannot be read. Throws
/// nothing.
[[nodiscard]] QVFD_API bool FindCoordinates(std::string text, std::vector<CatalogEntry>& entries) noexcept;

/// Appends the systems, geographic 2D and projected, whose area of use holds all of `area`: the UTM zones
/// first, then the others from the smallest area to the largest. Otherwise as above.
[[nodiscard]] QVFD_API bool FindCoordinatesFor(GeographicArea area,
                                               std::vector<CatalogEntry>& entries) noexcept;

/// Sets the unit of each entry, which takes a look into the database for each that is not built in. Throws
/// nothing.
QVFD_API void FillUnits(std::vector<CatalogEntry>& entries) noexcept;

}  // namespace qvfd
