// Layers for geographic information systems: files and PostGIS tables, written through GDAL, and one table of
// a GeoPackage or a PostGIS database that is kept up to date. No other file knows GDAL.
//
// Coordinates come in as they go out, x (easting, longitude) first; nothing is transformed here. Texts are in
// the narrow encoding of the process and become UTF-8; bytes that are no text appear as "\xHH".
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "interchange/geometry/Rotation.h"

namespace interchange {

enum class GisFormat { kGeoPackage, kGeoJson, kKml, kFlatGeobuf, kShapefile, kPostgis };

/// What a target of a format is.
enum class GisPlace {
  kFile,      ///< one file with all layers
  kFolder,    ///< a folder with a file (shapefile: several) a layer, and `kGisConventionsName`
  kDatabase,  ///< a connection string, a table a layer
};
[[nodiscard]] GisPlace PlaceOf(GisFormat format);

/// Beside the layers of a folder: what `GisData::conventions` says, as one JSON object.
inline constexpr const char* kGisConventionsName = "conventions.json";

enum class GisFieldType { kInteger, kReal, kText, kBoolean };

struct GisField {
  std::string name;  ///< ASCII
  GisFieldType type = GisFieldType::kText;
  std::string short_name;  ///< at most 10 characters, for shapefiles, where `name` is longer
};

/// Nothing stands for null; a real that is not finite becomes null; a boolean is an integer, 0 or 1.
using GisValue = std::variant<std::monostate, std::int64_t, double, std::string>;

enum class GisGeometry { kPoint, kLine, kPolygon };

struct GisFeature {
  /// Of a point one, of a line two or more, of a polygon the corners of its ring, the first not repeated.
  /// None: no geometry.
  std::vector<Vector3> points;
  std::vector<GisValue> values;  ///< one a field
};

struct GisLayer {
  std::string name;         ///< of the layer, table or file: ASCII letters, digits, '_'
  std::string description;  ///< one sentence
  GisGeometry geometry = GisGeometry::kPoint;
  bool flat = false;       ///< without heights
  bool on_ground = false;  ///< KML drapes it over the terrain instead of taking the heights
  std::vector<GisField> fields;
  std::vector<GisFeature> features;
};

/// What a coordinate system is to GDAL.
struct GisSystem {
  bool known = false;
  bool geographic = false;
  double radians = 1.0;  ///< in one unit of its angles, where it is geographic
};

/// Of a definition as `qvfd::CoordinateInfo` has it. Nothing is fetched, no file is read.
[[nodiscard]] GisSystem GisSystemOf(const std::string& definition);

struct GisData {
  std::string
      definition;  ///< of the coordinate system; empty: a Cartesian frame that nothing relates to the globe
  std::vector<std::pair<std::string, std::string>> conventions;  ///< go into the output as its metadata
  std::vector<GisLayer> layers;
};

struct GisWritten {
  std::vector<std::string> files;  ///< for a database its tables
  std::size_t cut_texts = 0;       ///< that were longer than 254 bytes, in a shapefile
  std::size_t unplaced = 0;        ///< features without a geometry, which FlatGeobuf does not hold
  std::size_t empty_layers = 0;    ///< that FlatGeobuf has no file for; an older file of that name is removed
};

/// Writes the layers. Files are made beside the target, read again, and put in place once they are whole;
/// tables are made in one transaction. Files of a folder that an export does not write stay. Throws
/// `Failure`, with GDAL's reason, when that fails, and for layers that are there already in a database unless
/// `replace`; what was there is then as it was.
GisWritten WriteGisLayers(const std::string& target, GisFormat format, const GisData& data, bool replace);

/// Narrow text as the layers hold it, see above.
[[nodiscard]] std::string GisText(const std::string& narrow);

/// A connection string with "***" for its password; any other text as it is. For everything that is shown.
[[nodiscard]] std::string WithoutPassword(const std::string& target);

/// Whether a target is a connection string of PostgreSQL: "PG:...", "postgresql://..." or "postgres://...".
[[nodiscard]] bool IsConnection(const std::string& target);

/// One table of polygons in WGS 84 degrees, whose rows are known by the first of its fields, a text.
class GisTable {
 public:
  struct Row {
    std::int64_t id = 0;
    std::vector<GisValue> values;  ///< one a field; texts in the narrow encoding
  };

  struct Change {
    std::optional<std::int64_t> id;  ///< of the row that it replaces; a new row without
    GisFeature row;
    bool keeps_polygon = false;  ///< that of the row that it replaces
  };

  /// Opens the table in a GeoPackage (a path) or in PostGIS (a connection string); makes it where it is not
  /// there, and the GeoPackage too. `layout` has no features. In PostGIS the table is this object's alone
  /// until it goes: another one is refused. Throws `Failure` when it cannot be opened, made or written, or
  /// lacks a field.
  GisTable(const std::string& target, const GisLayer& layout);
  ~GisTable();
  GisTable(const GisTable&) = delete;
  GisTable& operator=(const GisTable&) = delete;

  /// All rows, without their polygons.
  [[nodiscard]] std::vector<Row> Rows();

  /// Makes the changes in one transaction. Throws `Failure` when that fails; none of them is made then.
  void Write(const std::vector<Change>& changes);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace interchange
