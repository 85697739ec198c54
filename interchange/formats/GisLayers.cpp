// Layers for geographic information systems, through GDAL.
#include "interchange/formats/GisLayers.h"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_string.h>
#include <gdal.h>
#include <ogr_api.h>
#include <ogr_srs_api.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <system_error>
#include <unordered_map>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"
#include "qvfd/Text.h"
#include "qvsql/SideFiles.h"

namespace fs = std::filesystem;

namespace interchange {
namespace {

constexpr const char* kWgs84 = "EPSG:4326";
constexpr std::size_t kLongestDbfText = 254;

// ---- Formats, as data
// ---------------------------------------------------------------------------------------

struct Driver {
  GisFormat format;
  GisPlace place;
  const char* name;       // of GDAL's driver
  const char* extension;  // of a layer's file in a folder
  std::array<const char*, 4> layer_options;
};

constexpr std::array kDrivers = {
    Driver{GisFormat::kGeoPackage, GisPlace::kFile, "GPKG", "", {"GEOMETRY_NAME=geom", "FID=fid"}},
    // Nine decimals are a tenth of a millimetre.
    Driver{GisFormat::kGeoJson,
           GisPlace::kFolder,
           "GeoJSON",
           ".geojson",
           {"RFC7946=YES", "COORDINATE_PRECISION=9"}},
    Driver{GisFormat::kKml, GisPlace::kFile, "LIBKML", "", {"FOLDER=YES"}},
    Driver{GisFormat::kFlatGeobuf, GisPlace::kFolder, "FlatGeobuf", ".fgb", {}},
    Driver{GisFormat::kShapefile, GisPlace::kFolder, "ESRI Shapefile", ".shp", {"ENCODING=UTF-8"}},
    Driver{GisFormat::kPostgis, GisPlace::kDatabase, "PostgreSQL", "", {"GEOMETRY_NAME=geom", "FID=fid"}},
};

const Driver& DriverOf(GisFormat format) {
  return *std::find_if(kDrivers.begin(), kDrivers.end(), [&](const Driver& d) { return d.format == format; });
}

// ---- Texts
// ----------------------------------------------------------------------------------------------------

/// The length of the UTF-8 sequence at the start of a text; 0 where there is none.
std::size_t Utf8Length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) {
    return 1;
  }
  const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                             : lead >= 0xE0 && lead <= 0xEF ? 3
                             : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                            : 0;
  if (length == 0 || text.size() < length) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80U) {
      return 0;
    }
  }
  // No overlong forms, no surrogates, nothing past the last code point.
  const bool wrong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) ||
                     (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) > 0x8F);
  return wrong ? 0 : length;
}

/// Text that every format holds: UTF-8 without control characters, which XML has no place for.
std::string Utf8Of(const std::string& narrow) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  const std::string text = qvfd::StringConverter::ToUTF8(narrow);
  std::string made;
  for (std::string_view rest = text; !rest.empty();) {
    const auto byte = static_cast<unsigned char>(rest.front());
    const std::size_t length = Utf8Length(rest);
    const bool control = (byte < 0x20 && byte != '\t' && byte != '\n') || byte == 0x7F;
    if (length == 0 || control) {
      made += "\\x";
      made += kDigits[byte >> 4U];
      made += kDigits[byte & 0xFU];
    } else {
      made += rest.substr(0, length);
    }
    rest.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return made;
}

/// The longest beginning of UTF-8 text that has at most `bytes`.
std::string Beginning(const std::string& text, std::size_t bytes) {
  std::size_t end = std::min(bytes, text.size());
  while (end > 0 && end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
    --end;
  }
  return text.substr(0, end);
}

std::string OneLine(std::string_view text) {
  std::string line;
  for (const char c : Trimmed(text)) {
    const bool blank = c == '\n' || c == '\r' || c == '\t';
    line += blank ? ' ' : c;
  }
  return line;
}

// ---- Passwords
// --------------------------------------------------------------------------------------------------

bool StartsWith(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && LowerCase(text.substr(0, start.size())) == start;
}

struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// Where passwords are in a connection string, apart and in order: "password=..." (also "sslpassword", quoted
/// or not), and between the ':' and the last '@' of a URI.
std::vector<Span> PasswordsIn(const std::string& target) {
  std::vector<Span> spans;
  const std::string lower = LowerCase(target);
  const std::size_t scheme = lower.find("://");
  if (scheme != std::string::npos) {
    const std::size_t start = scheme + 3;
    const std::size_t at = target.rfind('@');  // rather too much than a part of a password
    const std::size_t colon = target.find(':', start);
    if (at != std::string::npos && at > start && colon < at) {
      spans.push_back({colon + 1, at});
    }
  }
  constexpr std::string_view kKey = "password";
  for (std::size_t found = lower.find(kKey); found != std::string::npos;
       found = lower.find(kKey, found + kKey.size())) {
    std::size_t begin = found + kKey.size();
    while (begin < target.size() && target[begin] == ' ') {
      ++begin;
    }
    if (begin == target.size() || target[begin] != '=') {
      continue;
    }
    ++begin;
    while (begin < target.size() && target[begin] == ' ') {
      ++begin;
    }
    std::size_t end = begin;
    if (begin < target.size() && target[begin] == '\'') {
      ++end;
      while (end < target.size() && target[end] != '\'') {
        end += target[end] == '\\' ? 2U : 1U;
      }
      end = std::min(end + 1, target.size());
    } else {
      // An unquoted value ends at a blank unless that is escaped; in a URI at '&'.
      const bool uri = scheme != std::string::npos;
      while (end < target.size() && target[end] != ' ' && !(uri && target[end] == '&')) {
        end += target[end] == '\\' ? 2U : 1U;
      }
      end = std::min(end, target.size());
    }
    spans.push_back({begin, end});
  }
  std::sort(spans.begin(), spans.end(), [](const Span& a, const Span& b) { return a.begin < b.begin; });
  std::vector<Span> apart;
  for (const Span& span : spans) {
    if (!apart.empty() && span.begin < apart.back().end) {
      apart.back().end = std::max(apart.back().end, span.end);
    } else {
      apart.push_back(span);
    }
  }
  return apart;
}

/// A message of the database or of GDAL, without the passwords of `target`.
std::string Cleaned(std::string message, const std::string& target) {
  if (!IsConnection(target)) {
    return message;
  }
  for (const Span& span : PasswordsIn(target)) {
    std::string password = target.substr(span.begin, span.end - span.begin);
    if (password.size() > 1 && password.front() == '\'' && password.back() == '\'') {
      password = password.substr(1, password.size() - 2);
    }
    for (std::size_t at = password.empty() ? std::string::npos : message.find(password);
         at != std::string::npos; at = message.find(password, at + 3)) {
      message.replace(at, password.size(), "***");
    }
  }
  return message;
}

// ---- GDAL's objects and errors
// ----------------------------------------------------------------------------------

/// While it lives GDAL prints nothing, and its last error is kept.
class Errors {
 public:
  Errors() {
    CPLErrorReset();
    CPLPushErrorHandlerEx(Keep, this);
  }
  ~Errors() { CPLPopErrorHandler(); }
  Errors(const Errors&) = delete;
  Errors& operator=(const Errors&) = delete;

  [[nodiscard]] bool Any() const { return !message_.empty(); }
  [[nodiscard]] std::string Reason() const { return message_.empty() ? "unknown reason" : message_; }
  void Forget() { message_.clear(); }

 private:
  static void CPL_STDCALL Keep(CPLErr level, CPLErrorNum /*number*/, const char* message) {
    auto* const errors = static_cast<Errors*>(CPLGetErrorHandlerUserData());
    // The first one is the reason, later ones its consequences.
    if (level >= CE_Failure && errors->message_.empty()) {
      errors->message_ = OneLine(message);
      if (errors->message_.empty()) {
        errors->message_ = "unknown reason";
      }
    }
  }

  std::string message_;
};

template <auto Free>
struct Freer {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};
template <class Handle, auto Free>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, Freer<Free>>;

void CloseDataset(void* dataset) {
  GDALClose(dataset);
}
using Dataset = Owned<GDALDatasetH, CloseDataset>;
using Feature = Owned<OGRFeatureH, OGR_F_Destroy>;
using Geometry = Owned<OGRGeometryH, OGR_G_DestroyGeometry>;
using SpatialReference = Owned<OGRSpatialReferenceH, OSRRelease>;
using FieldDefinition = Owned<OGRFieldDefnH, OGR_Fld_Destroy>;

class Options {
 public:
  Options() = default;
  ~Options() { CSLDestroy(list_); }
  Options(const Options&) = delete;
  Options& operator=(const Options&) = delete;

  void Add(const std::string& option) { list_ = CSLAddString(list_, option.c_str()); }
  [[nodiscard]] char** Get() const { return list_; }

 private:
  char** list_ = nullptr;
};

/// While it lives a setting of GDAL holds in this thread.
class Setting {
 public:
  Setting(const char* name, const char* value) : name_(name) { CPLSetThreadLocalConfigOption(name, value); }
  ~Setting() { CPLSetThreadLocalConfigOption(name_, nullptr); }
  Setting(const Setting&) = delete;
  Setting& operator=(const Setting&) = delete;

 private:
  const char* name_;
};

void RegisterDrivers() {
  static const bool once = [] {
    GDALAllRegister();
    return true;
  }();
  static_cast<void>(once);
}

[[noreturn]] void ThrowUnwritten(const std::string& target, const std::string& reason) {
  throw Failure(WithoutPassword(target), "cannot be written: " + Cleaned(reason, target),
                IsConnection(target) ? "check the connection and the rights in the database"
                                     : "make room, or choose another place");
}

/// Null for a definition that says nothing to GDAL. What GDAL would take for the name of a file or an address
/// is none.
SpatialReference ReferenceOf(const std::string& definition) {
  SpatialReference reference(OSRNewSpatialReference(nullptr));
  const auto code = IntegerOf(StartsWith(definition, "epsg:") ? definition.substr(5) : definition);
  std::string text = definition;
  char* wkt = text.data();
  const OGRErr result =
      code && *code > 0 && *code <= std::numeric_limits<int>::max()
          ? OSRImportFromEPSG(reference.get(), static_cast<int>(*code))
      : StartsWith(definition, "+") ? OSRImportFromProj4(reference.get(), definition.c_str())
      : StartsWith(definition, "{") ? OSRSetFromUserInput(reference.get(), definition.c_str())
                                    : OSRImportFromWkt(reference.get(), &wkt);
  if (result != OGRERR_NONE) {
    return nullptr;
  }
  OSRSetAxisMappingStrategy(reference.get(), OAMS_TRADITIONAL_GIS_ORDER);
  return reference;
}

// ---- Layers and features
// ----------------------------------------------------------------------------------------

OGRwkbGeometryType TypeOf(const GisLayer& layer) {
  const OGRwkbGeometryType flat = layer.geometry == GisGeometry::kPoint  ? wkbPoint
                                  : layer.geometry == GisGeometry::kLine ? wkbLineString
                                                                         : wkbPolygon;
  return layer.flat ? flat : OGR_GT_SetZ(flat);
}

void AddPoint(OGRGeometryH geometry, const Vector3& point, bool flat) {
  if (flat) {
    OGR_G_AddPoint_2D(geometry, point.x, point.y);
  } else {
    OGR_G_AddPoint(geometry, point.x, point.y, point.z);
  }
}

Geometry GeometryOf(const GisLayer& layer, const std::vector<Vector3>& points) {
  Geometry geometry(OGR_G_CreateGeometry(TypeOf(layer)));
  if (layer.geometry != GisGeometry::kPolygon) {
    for (const Vector3& point : points) {
      AddPoint(geometry.get(), point, layer.flat);
    }
    return geometry;
  }
  Geometry ring(OGR_G_CreateGeometry(wkbLinearRing));
  for (std::size_t i = 0; i <= points.size(); ++i) {
    AddPoint(ring.get(), points[i % points.size()], layer.flat);
  }
  OGR_G_AddGeometryDirectly(geometry.get(), ring.release());
  return geometry;
}

/// A layer as GDAL has it: the fields of ours by their place there, since a driver may add some of its own.
struct OpenLayer {
  OGRLayerH layer = nullptr;
  std::vector<int> fields;
  std::size_t longest_text = std::numeric_limits<std::size_t>::max();
  int altitude_mode = -1;  // of KML
  std::size_t cut_texts = 0;
};

void SetValue(OGRFeatureH feature, OpenLayer& to, int field, const GisValue& value) {
  if (const auto* const integer = std::get_if<std::int64_t>(&value)) {
    OGR_F_SetFieldInteger64(feature, field, *integer);
  } else if (const auto* const real = std::get_if<double>(&value); real != nullptr && std::isfinite(*real)) {
    OGR_F_SetFieldDouble(feature, field, *real);
  } else if (const auto* const text = std::get_if<std::string>(&value)) {
    std::string utf8 = Utf8Of(*text);
    if (utf8.size() > to.longest_text) {
      utf8 = Beginning(utf8, to.longest_text);
      ++to.cut_texts;
    }
    OGR_F_SetFieldString(feature, field, utf8.c_str());
  } else {
    OGR_F_SetFieldNull(feature, field);
  }
}

Feature FeatureOf(OpenLayer& to, const GisLayer& layer, const GisFeature& feature) {
  Feature made(OGR_F_Create(OGR_L_GetLayerDefn(to.layer)));
  for (std::size_t i = 0; i < to.fields.size(); ++i) {
    SetValue(made.get(), to, to.fields[i], feature.values[i]);
  }
  if (to.altitude_mode >= 0) {
    OGR_F_SetFieldString(made.get(), to.altitude_mode, layer.on_ground ? "clampToGround" : "absolute");
  }
  if (!feature.points.empty()) {
    OGR_F_SetGeometryDirectly(made.get(), GeometryOf(layer, feature.points).release());
  }
  return made;
}

void CreateField(OGRLayerH layer, const std::string& name, OGRFieldType type, OGRFieldSubType subtype) {
  const FieldDefinition field(OGR_Fld_Create(name.c_str(), type));
  OGR_Fld_SetSubType(field.get(), subtype);
  OGR_L_CreateField(layer, field.get(), TRUE);
}

void CreateField(OGRLayerH layer, const GisField& field, GisFormat format) {
  const bool shortened = format == GisFormat::kShapefile && !field.short_name.empty();
  const std::string& name = shortened ? field.short_name : field.name;
  switch (field.type) {
    case GisFieldType::kInteger:
      // KML has no longer ones: they would be texts there.
      return CreateField(layer, name, format == GisFormat::kKml ? OFTInteger : OFTInteger64, OFSTNone);
    case GisFieldType::kReal:
      return CreateField(layer, name, OFTReal, OFSTNone);
    case GisFieldType::kText:
      return CreateField(layer, name, OFTString, OFSTNone);
    case GisFieldType::kBoolean:
      // dBASE has a type for it that few programs read.
      return CreateField(layer, name, OFTInteger, format == GisFormat::kShapefile ? OFSTNone : OFSTBoolean);
  }
}

std::string Described(const GisLayer& layer, const GisData& data) {
  std::string text = layer.description;
  for (const auto& [what, convention] : data.conventions) {
    text.append(" ").append(what).append(": ").append(convention).append(".");
  }
  return Utf8Of(text);
}

OpenLayer CreateLayer(GDALDatasetH dataset, const Driver& driver, const GisLayer& layer, const GisData& data,
                      OGRSpatialReferenceH reference, bool replace) {
  Options options;
  for (const char* const option : driver.layer_options) {
    if (option != nullptr) {
      options.Add(option);
    }
  }
  if (driver.format != GisFormat::kFlatGeobuf && driver.format != GisFormat::kShapefile) {
    options.Add("DESCRIPTION=" + Described(layer, data));
  }
  if (driver.format == GisFormat::kPostgis && replace) {
    options.Add("OVERWRITE=YES");
  }
  OpenLayer made;
  made.layer = GDALDatasetCreateLayer(dataset, layer.name.c_str(), reference, TypeOf(layer), options.Get());
  if (made.layer == nullptr) {
    return made;
  }
  for (const GisField& field : layer.fields) {
    CreateField(made.layer, field, driver.format);
    made.fields.push_back(static_cast<int>(made.fields.size()));
  }
  if (driver.format == GisFormat::kShapefile) {
    made.longest_text = kLongestDbfText;
  }
  if (driver.format == GisFormat::kKml) {
    CreateField(made.layer, "altitudeMode", OFTString, OFSTNone);
    made.altitude_mode = static_cast<int>(made.fields.size());
  }
  return made;
}

/// Writes one layer; the first error ends it.
std::size_t WriteLayer(GDALDatasetH dataset, const Driver& driver, const GisLayer& layer, const GisData& data,
                       OGRSpatialReferenceH reference, bool replace, const std::string& target,
                       const Errors& errors) {
  OpenLayer to = CreateLayer(dataset, driver, layer, data, reference, replace);
  if (to.layer == nullptr || errors.Any()) {
    ThrowUnwritten(target, errors.Reason());
  }
  for (const GisFeature& feature : layer.features) {
    const Feature made = FeatureOf(to, layer, feature);
    if (OGR_L_CreateFeature(to.layer, made.get()) != OGRERR_NONE || errors.Any()) {
      ThrowUnwritten(target, errors.Reason());
    }
  }
  return to.cut_texts;
}

Dataset Create(const Driver& driver, const std::string& path, const Errors& errors,
               const std::string& target) {
  auto* const gdal = GDALGetDriverByName(driver.name);
  if (gdal == nullptr) {
    throw Failure(target, std::string("this GDAL has no driver ") + driver.name,
                  "install one that has it, or choose another format");
  }
  Dataset dataset(GDALCreate(gdal, path.c_str(), 0, 0, 0, GDT_Unknown, nullptr));
  if (!dataset) {
    ThrowUnwritten(target, errors.Reason());
  }
  return dataset;
}

/// What was not stored until it was closed can fail there.
void Close(Dataset dataset, const Errors& errors, const std::string& target) {
  dataset.reset();
  if (errors.Any()) {
    ThrowUnwritten(target, errors.Reason());
  }
}

/// How many features of a layer a format holds: FlatGeobuf none without a geometry.
std::size_t Placed(const Driver& driver, const GisLayer& layer) {
  if (driver.format != GisFormat::kFlatGeobuf) {
    return layer.features.size();
  }
  return static_cast<std::size_t>(
      std::count_if(layer.features.begin(), layer.features.end(),
                    [](const GisFeature& feature) { return !feature.points.empty(); }));
}

/// Reads a file again: not every driver tells when the disk is full.
void RequireWhole(const std::string& path, const Driver& driver, const std::vector<const GisLayer*>& layers,
                  const Errors& errors, const std::string& target) {
  const char* const drivers[] = {driver.name, nullptr};
  const Dataset dataset(GDALOpenEx(path.c_str(), GDAL_OF_VECTOR, drivers, nullptr, nullptr));
  for (const GisLayer* const layer : layers) {
    auto* const found = !dataset             ? nullptr
                        : layers.size() == 1 ? GDALDatasetGetLayer(dataset.get(), 0)
                                             : GDALDatasetGetLayerByName(dataset.get(), layer->name.c_str());
    std::size_t count = 0;
    while (found != nullptr) {
      const Feature feature(OGR_L_GetNextFeature(found));
      if (!feature) {
        break;
      }
      ++count;
    }
    if (errors.Any() || found == nullptr || count != Placed(driver, *layer)) {
      ThrowUnwritten(target, errors.Any() ? errors.Reason() : "it cannot be read again");
    }
  }
}

// ---- Files
// ------------------------------------------------------------------------------------------------------

/// A folder beside a target, in which the new files are made; gone with what is left in it.
class Workshop {
 public:
  explicit Workshop(const std::string& target) {
    std::string base = target;
    while (base.size() > 1 && base.back() == '/') {
      base.pop_back();
    }
    std::error_code error;
    for (int i = 0; i < 1000; ++i) {
      path_ = base + ".part" + (i == 0 ? "" : std::to_string(i));
      if (fs::create_directory(path_, error)) {
        return;
      }
      if (error) {
        break;
      }
    }
    path_.clear();
    ThrowUnwritten(target, error ? error.message() : "others write there");
  }
  ~Workshop() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Workshop(const Workshop&) = delete;
  Workshop& operator=(const Workshop&) = delete;

  [[nodiscard]] std::string File(const std::string& name) const { return PathIn(path_, name); }
  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

void Rename(const std::string& from, const std::string& to, const std::string& target) {
  std::error_code error;
  fs::rename(from, to, error);
  if (error) {
    ThrowUnwritten(target, error.message());
  }
}

GisWritten WriteFile(const std::string& target, const Driver& driver, const GisData& data,
                     OGRSpatialReferenceH reference) {
  const Errors errors;
  // Our field of that name is an angle of an image, not of a camera that looks at the globe.
  const Setting roll("LIBKML_ROLL_FIELD", "camera_roll");
  // With types for its fields the time that KML takes grows with the square of the features.
  const Setting untyped("LIBKML_USE_SIMPLEFIELD", "NO");
  const Workshop workshop(target);
  const std::string made = workshop.File(FileNameOf(target));
  GisWritten written;
  Dataset dataset = Create(driver, made, errors, target);
  if (driver.format == GisFormat::kGeoPackage) {
    for (const auto& [what, convention] : data.conventions) {
      GDALSetMetadataItem(dataset.get(), Utf8Of(what).c_str(), Utf8Of(convention).c_str(), nullptr);
    }
  }
  GDALDatasetStartTransaction(dataset.get(), FALSE);
  std::vector<const GisLayer*> layers;
  for (const GisLayer& layer : data.layers) {
    written.cut_texts += WriteLayer(dataset.get(), driver, layer, data, reference, false, target, errors);
    layers.push_back(&layer);
  }
  GDALDatasetCommitTransaction(dataset.get());
  Close(std::move(dataset), errors, target);
  RequireWhole(made, driver, layers, errors, target);
  // A journal of what was there would be taken for one of what is there now.
  std::error_code ignored;
  for (const char* const side : qvsql::kSideFileEnds) {
    fs::remove(target + side, ignored);
  }
  Rename(made, target, target);
  written.files.push_back(target);
  return written;
}

GisWritten WriteFolder(const std::string& target, const Driver& driver, const GisData& data,
                       OGRSpatialReferenceH reference) {
  const Errors errors;
  const Workshop workshop(target);
  GisWritten written;
  std::vector<std::string> empty;
  for (const GisLayer& layer : data.layers) {
    // GDAL makes a file of no bytes of it, which nobody can open.
    const std::size_t placed = Placed(driver, layer);
    written.unplaced += layer.features.size() - placed;
    if (driver.format == GisFormat::kFlatGeobuf && placed == 0) {
      empty.push_back(layer.name + driver.extension);
      continue;
    }
    const std::string made = workshop.File(layer.name + driver.extension);
    Dataset dataset = Create(driver, made, errors, target);
    written.cut_texts += WriteLayer(dataset.get(), driver, layer, data, reference, false, target, errors);
    Close(std::move(dataset), errors, target);
    RequireWhole(made, driver, {&layer}, errors, target);
  }
  nlohmann::ordered_json conventions = nlohmann::ordered_json::object();
  for (const auto& [what, convention] : data.conventions) {
    conventions[Utf8Of(what)] = Utf8Of(convention);
  }
  WriteWholeFile(workshop.File(kGisConventionsName), conventions.dump(2) + "\n");

  MakeFolder(target);
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(workshop.Path(), error)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    Rename(workshop.File(name), PathIn(target, name), target);
    written.files.push_back(PathIn(target, name));
  }
  for (const std::string& name : empty) {
    fs::remove(PathIn(target, name), error);
    ++written.empty_layers;
  }
  return written;
}

// ---- PostGIS
// ----------------------------------------------------------------------------------------------------

/// The string as GDAL's driver takes it.
std::string ConnectionOf(const std::string& target) {
  return StartsWith(target, "pg:") ? "PG:" + target.substr(3) : target;
}

/// The one cell of a query; none where it fails or gives null.
std::optional<std::string> Answer(GDALDatasetH dataset, const std::string& query) {
  auto* const result = GDALDatasetExecuteSQL(dataset, query.c_str(), nullptr, nullptr);
  if (result == nullptr) {
    return std::nullopt;
  }
  std::optional<std::string> answer;
  {
    const Feature feature(OGR_L_GetNextFeature(result));
    if (feature && OGR_F_IsFieldSetAndNotNull(feature.get(), 0)) {
      answer = OGR_F_GetFieldAsString(feature.get(), 0);
    }
  }
  GDALDatasetReleaseResultSet(dataset, result);
  return answer;
}

Dataset Connect(const std::string& target, Errors& errors) {
  const char* const drivers[] = {"PostgreSQL", nullptr};
  Dataset dataset(
      GDALOpenEx(ConnectionOf(target).c_str(), GDAL_OF_VECTOR | GDAL_OF_UPDATE, drivers, nullptr, nullptr));
  if (!dataset) {
    throw Failure(WithoutPassword(target),
                  "the database cannot be opened: " + Cleaned(errors.Reason(), target),
                  "check the connection string");
  }
  errors.Forget();
  if (!Answer(dataset.get(), "SELECT extversion FROM pg_extension WHERE extname = 'postgis'")) {
    throw Failure(WithoutPassword(target), "the database has no PostGIS",
                  "run 'CREATE EXTENSION postgis' in it");
  }
  return dataset;
}

GisWritten WriteTables(const std::string& target, const Driver& driver, const GisData& data,
                       OGRSpatialReferenceH reference, bool replace) {
  Errors errors;
  GisWritten written;
  Dataset dataset = Connect(target, errors);
  if (!replace) {
    for (const GisLayer& layer : data.layers) {
      if (GDALDatasetGetLayerByName(dataset.get(), layer.name.c_str()) != nullptr) {
        throw Failure(WithoutPassword(target), "has a table '" + layer.name + "' already",
                      "use --force to replace it, or name another schema ('active_schema=...')");
      }
    }
    errors.Forget();  // a table that is not there is an error to GDAL
  }
  // What is not committed is gone with the connection.
  if (GDALDatasetStartTransaction(dataset.get(), FALSE) != OGRERR_NONE) {
    ThrowUnwritten(target, errors.Reason());
  }
  try {
    for (const GisLayer& layer : data.layers) {
      written.cut_texts += WriteLayer(dataset.get(), driver, layer, data, reference, replace, target, errors);
      written.files.push_back("table " + layer.name);
    }
  } catch (const Failure&) {
    GDALDatasetRollbackTransaction(dataset.get());
    throw;
  }
  if (GDALDatasetCommitTransaction(dataset.get()) != OGRERR_NONE || errors.Any()) {
    ThrowUnwritten(target, errors.Reason());
  }
  Close(std::move(dataset), errors, target);
  return written;
}

}  // namespace

std::string GisText(const std::string& narrow) {
  return Utf8Of(narrow);
}

GisPlace PlaceOf(GisFormat format) {
  return DriverOf(format).place;
}

bool IsConnection(const std::string& target) {
  return StartsWith(target, "pg:") || StartsWith(target, "postgresql://") ||
         StartsWith(target, "postgres://");
}

std::string WithoutPassword(const std::string& target) {
  if (!IsConnection(target)) {
    return target;
  }
  std::string shown;
  std::size_t done = 0;
  for (const Span& span : PasswordsIn(target)) {
    shown += target.substr(done, span.begin - done) + "***";
    done = span.end;
  }
  return shown + target.substr(done);
}

GisSystem GisSystemOf(const std::string& definition) {
  const Errors errors;
  const SpatialReference reference = ReferenceOf(definition);
  if (!reference) {
    return {};
  }
  GisSystem system{true, OSRIsGeographic(reference.get()) != 0, 1.0};
  if (system.geographic) {
    system.radians = OSRGetAngularUnits(reference.get(), nullptr);
  }
  return system;
}

GisWritten WriteGisLayers(const std::string& target, GisFormat format, const GisData& data, bool replace) {
  RegisterDrivers();
  const Driver& driver = DriverOf(format);
  SpatialReference reference;
  {
    const Errors errors;
    if (data.definition.empty()) {
      reference.reset(OSRNewSpatialReference(nullptr));
      OSRSetLocalCS(reference.get(), "Undefined Cartesian SRS");
      OSRSetLinearUnits(reference.get(), "metre", 1.0);
    } else {
      reference = ReferenceOf(data.definition);
    }
  }
  if (!reference) {
    throw Failure(data.definition, "is no coordinate system that GDAL knows", "choose another one (--crs)");
  }
  switch (driver.place) {
    case GisPlace::kFile:
      return WriteFile(target, driver, data, reference.get());
    case GisPlace::kFolder:
      return WriteFolder(target, driver, data, reference.get());
    case GisPlace::kDatabase:
      break;
  }
  return WriteTables(target, driver, data, reference.get(), replace);
}

// ---- One table that is kept up to date
// -----------------------------------------------------------------------------

struct GisTable::State {
  std::string target;
  GisLayer layout;
  Errors errors;
  Dataset dataset;
  OpenLayer layer;
};

namespace {

/// Two numbers that nobody else locks by: "qvprj" and "cat" in letters.
constexpr const char* kTryLock =
    "SELECT CASE WHEN pg_try_advisory_lock(1903587434, 6513012) THEN 1 ELSE 0 END";

Dataset OpenOrCreate(const std::string& target, Errors& errors) {
  if (IsConnection(target)) {
    Dataset dataset = Connect(target, errors);
    if (Answer(dataset.get(), kTryLock) != "1") {
      throw Failure(WithoutPassword(target), "another catalogue run is at work there", "wait for its end");
    }
    return dataset;
  }
  if (!fs::exists(target)) {
    return Create(DriverOf(GisFormat::kGeoPackage), target, errors, target);
  }
  const char* const drivers[] = {"GPKG", nullptr};
  Dataset dataset(GDALOpenEx(target.c_str(), GDAL_OF_VECTOR | GDAL_OF_UPDATE, drivers, nullptr, nullptr));
  if (!dataset) {
    throw Failure(target, "cannot be opened for writing as a GeoPackage: " + errors.Reason(),
                  "name a GeoPackage, or a new file");
  }
  errors.Forget();
  return dataset;
}

}  // namespace

GisTable::GisTable(const std::string& target, const GisLayer& layout) : state_(std::make_unique<State>()) {
  RegisterDrivers();
  State& state = *state_;
  state.target = target;
  state.layout = layout;
  state.dataset = OpenOrCreate(target, state.errors);
  const bool postgis = IsConnection(target);
  state.layer.layer = GDALDatasetGetLayerByName(state.dataset.get(), layout.name.c_str());
  state.errors.Forget();
  if (state.layer.layer == nullptr) {
    const SpatialReference reference = ReferenceOf(kWgs84);
    const Driver& driver = DriverOf(postgis ? GisFormat::kPostgis : GisFormat::kGeoPackage);
    state.layer = CreateLayer(state.dataset.get(), driver, layout, {}, reference.get(), false);
    if (state.layer.layer == nullptr || state.errors.Any()) {
      ThrowUnwritten(target, state.errors.Reason());
    }
    OGR_L_SyncToDisk(state.layer.layer);
    const std::string& key = layout.fields.front().name;
    const std::string table =
        postgis ? Answer(state.dataset.get(), "SELECT quote_ident(current_schema())").value_or("public") +
                      "." + layout.name
                : layout.name;
    static_cast<void>(Answer(state.dataset.get(), "CREATE UNIQUE INDEX " + layout.name + "_" + key + " ON " +
                                                      table + " (" + key + ")"));
    if (state.errors.Any()) {
      ThrowUnwritten(target, state.errors.Reason());
    }
    return;
  }
  auto* const definition = OGR_L_GetLayerDefn(state.layer.layer);
  for (const GisField& field : layout.fields) {
    const int place = OGR_FD_GetFieldIndex(definition, field.name.c_str());
    if (place < 0) {
      throw Failure(WithoutPassword(target),
                    "its table '" + layout.name + "' has no column '" + field.name +
                        "': another version or another program made it",
                    "choose another place, or remove that table");
    }
    state.layer.fields.push_back(place);
  }
}

GisTable::~GisTable() = default;

std::vector<GisTable::Row> GisTable::Rows() {
  State& state = *state_;
  std::vector<Row> rows;
  OGR_L_ResetReading(state.layer.layer);
  while (true) {
    const Feature feature(OGR_L_GetNextFeature(state.layer.layer));
    if (!feature) {
      break;
    }
    Row& row = rows.emplace_back();
    row.id = OGR_F_GetFID(feature.get());
    for (std::size_t i = 0; i < state.layer.fields.size(); ++i) {
      const int place = state.layer.fields[i];
      GisValue& value = row.values.emplace_back();
      if (OGR_F_IsFieldSetAndNotNull(feature.get(), place) == 0) {
        continue;
      }
      switch (state.layout.fields[i].type) {
        case GisFieldType::kInteger:
        case GisFieldType::kBoolean:
          value = static_cast<std::int64_t>(OGR_F_GetFieldAsInteger64(feature.get(), place));
          break;
        case GisFieldType::kReal:
          value = OGR_F_GetFieldAsDouble(feature.get(), place);
          break;
        case GisFieldType::kText:
          value = qvfd::StringConverter::FromUTF8(OGR_F_GetFieldAsString(feature.get(), place));
          break;
      }
    }
  }
  if (state.errors.Any()) {
    throw Failure(WithoutPassword(state.target),
                  "its table '" + state.layout.name +
                      "' cannot be read: " + Cleaned(state.errors.Reason(), state.target),
                  "check the connection and the file");
  }
  return rows;
}

void GisTable::Write(const std::vector<Change>& changes) {
  State& state = *state_;
  if (GDALDatasetStartTransaction(state.dataset.get(), FALSE) != OGRERR_NONE) {
    ThrowUnwritten(state.target, state.errors.Reason());
  }
  for (const Change& change : changes) {
    const Feature feature = FeatureOf(state.layer, state.layout, change.row);
    OGRErr result = OGRERR_NONE;
    if (change.id) {
      OGR_F_SetFID(feature.get(), *change.id);
      if (change.keeps_polygon) {
        const Feature old(OGR_L_GetFeature(state.layer.layer, *change.id));
        OGR_F_SetGeometryDirectly(feature.get(), old ? OGR_F_StealGeometry(old.get()) : nullptr);
      }
      result = OGR_L_SetFeature(state.layer.layer, feature.get());
    } else {
      result = OGR_L_CreateFeature(state.layer.layer, feature.get());
    }
    if (result != OGRERR_NONE || state.errors.Any()) {
      const std::string reason = state.errors.Reason();
      GDALDatasetRollbackTransaction(state.dataset.get());
      ThrowUnwritten(state.target, reason);
    }
  }
  if (GDALDatasetCommitTransaction(state.dataset.get()) != OGRERR_NONE || state.errors.Any()) {
    ThrowUnwritten(state.target, state.errors.Reason());
  }
}

}  // namespace interchange
