// Coordinate systems in the database of the geodesy engine, PROJ.

#include "qvfd/CoordinateDatabase.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <memory>
#include <string_view>
#include <tuple>
#include <utility>

#include "detail/BuiltInSystems.h"
#include "detail/Geodesy.h"
#include "qvfd/CoordinateCatalog.h"
#include "qvfd/Text.h"

namespace qvfd {
namespace {

using qvdetail::GeodesyContext;
using qvdetail::GeodesyObject;

constexpr char kAuthority[] = "EPSG";
constexpr std::array kTypes = {PJ_TYPE_GEOGRAPHIC_2D_CRS, PJ_TYPE_PROJECTED_CRS};

std::string Narrow(const char* utf8) {
  return utf8 == nullptr ? std::string() : StringConverter::FromUTF8(utf8);
}

/// The system of a code; null when there is none of a kind that the registry has.
GeodesyObject LoadSystem(PJ_CONTEXT* context, int code) {
  GeodesyObject crs(proj_create_from_database(context, kAuthority, qvdetail::FormatInteger(code).c_str(),
                                              PJ_CATEGORY_CRS, 0, nullptr));
  const bool fits = crs && std::find(kTypes.begin(), kTypes.end(), proj_get_type(crs.get())) != kTypes.end();
  return fits ? std::move(crs) : nullptr;
}

/// `CoordinateInfo::type`: what the geographic system that everything builds on tells.
int TypeOf(PJ_CONTEXT* context, const PJ* crs) {
  const GeodesyObject geographic(proj_crs_get_geodetic_crs(context, crs));
  const char* const code = geographic ? proj_get_id_code(geographic.get(), 0) : nullptr;
  const auto number = code == nullptr ? std::nullopt : qvdetail::WholeInteger(code);
  const auto builtIn = number ? qvdetail::FindBuiltIn(static_cast<int>(*number)) : std::nullopt;
  constexpr int kOther = 0;
  return builtIn ? builtIn->family->type : kOther;
}

/// The name of a system whose display name puts the datum in front goes without it.
std::string WithoutDatum(std::string name, int type) {
  const std::string_view datum = type == qvdetail::kTypeXian1980   ? "Xian 1980 / "
                                 : type == qvdetail::kTypeCGCS2000 ? "CGCS2000 / "
                                                                   : "";
  return name.starts_with(datum) ? name.substr(datum.size()) : std::move(name);
}

// ---- Catalogue ---------------------------------------------------------------------------------------

struct ListCloser {
  void operator()(PROJ_CRS_INFO** list) const { proj_crs_info_list_destroy(list); }
  void operator()(PROJ_CRS_LIST_PARAMETERS* parameters) const {
    proj_get_crs_list_parameters_destroy(parameters);
  }
};

CatalogEntry EntryOf(const PROJ_CRS_INFO& info, int code) {
  const auto builtIn = qvdetail::FindBuiltIn(code);
  return {.id = code,
          .name = Narrow(info.name),
          .geographic = info.type == PJ_TYPE_GEOGRAPHIC_2D_CRS,
          .utm = builtIn && (builtIn->family->kind == qvdetail::ZoneKind::kUtmNorth ||
                             builtIn->family->kind == qvdetail::ZoneKind::kUtmSouth),
          .unit = {},
          .area_name = Narrow(info.area_name),
          .area = {info.west_lon_degree, info.south_lat_degree, info.east_lon_degree, info.north_lat_degree}};
}

/// All systems of the dataset, or only those that hold `area`. False when the database cannot be read.
bool ListSystems(const GeographicArea* area, std::vector<CatalogEntry>& entries) {
  const GeodesyContext context = qvdetail::MakeGeodesyContext();
  const std::unique_ptr<PROJ_CRS_LIST_PARAMETERS, ListCloser> parameters(
      context ? proj_get_crs_list_parameters_create() : nullptr);
  if (!parameters) {
    return false;
  }
  parameters->types = kTypes.data();
  parameters->typesCount = kTypes.size();
  parameters->allow_deprecated = 0;
  if (area != nullptr) {
    parameters->bbox_valid = 1;
    parameters->crs_area_of_use_contains_bbox = 1;
    parameters->west_lon_degree = area->west;
    parameters->south_lat_degree = area->south;
    parameters->east_lon_degree = area->east;
    parameters->north_lat_degree = area->north;
  }
  int count = 0;
  const std::unique_ptr<PROJ_CRS_INFO*, ListCloser> list(
      proj_get_crs_info_list_from_database(context.get(), kAuthority, parameters.get(), &count));
  if (!list) {
    return false;
  }
  for (int i = 0; i < count; ++i) {
    const PROJ_CRS_INFO& info = *list.get()[i];
    if (const auto code = qvdetail::EpsgCodeOf(info.code)) {
      entries.push_back(EntryOf(info, *code));
    }
  }
  return true;
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
  return text;
}

std::vector<std::string> WordsOf(const std::string& text) {
  std::vector<std::string> words;
  std::string_view rest = text;
  while (!(rest = qvdetail::SkipBlanks(rest)).empty()) {
    std::size_t length = 0;
    while (length < rest.size() && !qvdetail::IsBlank(rest[length])) {
      ++length;
    }
    words.push_back(Lower(std::string(rest.substr(0, length))));
    rest.remove_prefix(length);
  }
  return words;
}

bool HasWords(const CatalogEntry& entry, const std::vector<std::string>& words) {
  const std::string haystack =
      Lower(entry.name + '\n' + entry.area_name + "\nepsg:" + qvdetail::FormatInteger(entry.id) + '\n');
  return std::all_of(words.begin(), words.end(), [&haystack](const std::string& word) {
    return haystack.find(word) != std::string::npos;
  });
}

/// Square degrees on the sphere, as far as the order of sizes goes.
double SizeOf(const GeographicArea& area) {
  constexpr double kRadiansPerDegree = 0.017453292519943295;
  const double width = area.east >= area.west ? area.east - area.west : area.east - area.west + 360.0;
  return width * (std::sin(area.north * kRadiansPerDegree) - std::sin(area.south * kRadiansPerDegree));
}

std::string UnitOf(PJ_CONTEXT* context, int code) {
  if (const auto builtIn = qvdetail::FindBuiltIn(code)) {
    return builtIn->IsGeographic() ? "degree" : "metre";
  }
  const GeodesyObject crs = LoadSystem(context, code);
  const GeodesyObject axes = crs ? qvdetail::AxesOf(context, crs.get()) : nullptr;
  const char* name = nullptr;
  if (axes) {
    proj_cs_get_axis_info(context, axes.get(), 0, nullptr, nullptr, nullptr, nullptr, &name, nullptr,
                          nullptr);
  }
  return Narrow(name);
}

/// Appends `found` to `entries`, or nothing when there is no memory.
bool Append(std::vector<CatalogEntry>& found, std::vector<CatalogEntry>& entries) {
  entries.reserve(entries.size() + found.size());
  std::move(found.begin(), found.end(), std::back_inserter(entries));
  return true;
}

}  // namespace

bool ReadCoordinate(int code, CoordinateInfo& out) {
  const GeodesyContext context = code > 0 ? qvdetail::MakeGeodesyContext() : nullptr;
  const GeodesyObject crs = context ? LoadSystem(context.get(), code) : nullptr;
  if (!crs) {
    return false;
  }
  CoordinateInfo info;
  info.type = TypeOf(context.get(), crs.get());
  info.id = code;
  info.name = WithoutDatum(Narrow(proj_get_name(crs.get())), info.type);
  const char* area = nullptr;
  proj_get_area_of_use(context.get(), crs.get(), nullptr, nullptr, nullptr, nullptr, &area);
  info.description = Narrow(area);
  info.definition = "EPSG:" + qvdetail::FormatInteger(code);
  out = std::move(info);
  return true;
}

bool FindCoordinates(std::string text, std::vector<CatalogEntry>& entries) noexcept {
  try {
    std::vector<CatalogEntry> found;
    if (!ListSystems(nullptr, found)) {
      return false;
    }
    const std::vector<std::string> words = WordsOf(text);
    std::erase_if(found, [&words](const CatalogEntry& entry) { return !HasWords(entry, words); });
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.id < b.id; });
    return Append(found, entries);
  } catch (const std::exception&) {
    return false;
  }
}

bool FindCoordinatesFor(GeographicArea area, std::vector<CatalogEntry>& entries) noexcept {
  try {
    std::vector<CatalogEntry> found;
    if (!ListSystems(&area, found)) {
      return false;
    }
    std::sort(found.begin(), found.end(), [](const CatalogEntry& a, const CatalogEntry& b) {
      const auto key = [](const CatalogEntry& entry) {
        return std::tuple(!entry.utm, SizeOf(entry.area), entry.id);
      };
      return key(a) < key(b);
    });
    return Append(found, entries);
  } catch (const std::exception&) {
    return false;
  }
}

void FillUnits(std::vector<CatalogEntry>& entries) noexcept {
  try {
    const GeodesyContext context = qvdetail::MakeGeodesyContext();
    for (CatalogEntry& entry : entries) {
      entry.unit = context ? UnitOf(context.get(), entry.id) : std::string();
    }
  } catch (const std::exception&) {
    return;  // out of memory: the rest stays as it was
  }
}

}  // namespace qvfd
