// Conversion of positions over the geodesy engine, PROJ.
//
// A conversion is a route of at most two steps, each an operation of the engine in one direction. Between
// systems that the engine's database knows it is one step that the database plans. Every other system, the
// built-in ones among themselves included, is an operation from WGS 84 longitude and latitude; such systems
// meet there: the first step leads from the source to WGS 84, the second from WGS 84 to the target.

#include "qvmath/GeoPrj.h"

#include <array>
#include <cmath>
#include <numbers>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "detail/BuiltInSystems.h"
#include "detail/Geodesy.h"

namespace qvmath {
namespace {

using qvdetail::BuiltInSystem;
using qvdetail::GeodesyContext;
using qvdetail::GeodesyObject;

constexpr char kWGS84[] = "EPSG:4326";
constexpr double kRadiansPerDegree = std::numbers::pi / 180.0;

/// What one end of a step counts in: radians or the linear unit of a system, or something that is so many
/// radians.
constexpr double kAsItIs = 1.0;

struct Step {
  GeodesyObject operation;
  PJ_DIRECTION direction = PJ_FWD;
  double inputUnit = kAsItIs;
  double outputUnit = kAsItIs;

  /// False when the pair, which is then spoilt, cannot be converted.
  bool Take(std::array<double, 2>& pair) const {
    const PJ_COORD result = proj_trans(operation.get(), direction,
                                       proj_coord(pair[0] / inputUnit, pair[1] / inputUnit, 0.0, HUGE_VAL));
    pair = {result.xy.x * outputUnit, result.xy.y * outputUnit};
    return std::isfinite(pair[0]) && std::isfinite(pair[1]);
  }
};

/// A system as its definition describes it.
struct System {
  std::string text;
  std::optional<BuiltInSystem> builtIn;

  /// Null for what is an operation from WGS 84, and for a built-in system until it is needed.
  GeodesyObject crs;

  bool isGeographic = false;
};

bool IsGeographic(PJ_CONTEXT* context, const PJ* crs) {
  const GeodesyObject axes = qvdetail::AxesOf(context, crs);
  return axes && proj_cs_get_type(context, axes.get()) == PJ_CS_TYPE_ELLIPSOIDAL;
}

/// Radians in the angular unit of a geographic system; 1 for any other.
double UnitOf(PJ_CONTEXT* context, const PJ* crs) {
  const GeodesyObject axes = qvdetail::AxesOf(context, crs);
  double unit = kAsItIs;
  if (axes && proj_cs_get_type(context, axes.get()) == PJ_CS_TYPE_ELLIPSOIDAL) {
    proj_cs_get_axis_info(context, axes.get(), 0, nullptr, nullptr, nullptr, &unit, nullptr, nullptr,
                          nullptr);
  }
  return unit;
}

/// A PROJ string that describes a system says so only when "+type=crs" is added to it.
std::string AsSystem(const std::string& text) {
  const bool isProjString =
      text.find("proj=") != std::string::npos || text.find("init=") != std::string::npos;
  const bool isWkt = text.find('[') != std::string::npos || text.find('{') != std::string::npos;
  const bool isPipeline = text.find("proj=pipeline") != std::string::npos;
  const bool saysSo = text.find("type=crs") != std::string::npos;
  return isProjString && !isWkt && !isPipeline && !saysSo ? text + " +type=crs" : text;
}

/// Whether positions of the system have a northing and easting, or longitude and latitude, on the Earth.
bool HasHorizontalAxes(PJ_CONTEXT* context, const PJ* crs) {
  const GeodesyObject axes = qvdetail::AxesOf(context, crs);
  if (!axes) {
    return false;
  }
  const PJ_COORDINATE_SYSTEM_TYPE type = proj_cs_get_type(context, axes.get());
  const int count = proj_cs_get_axis_count(context, axes.get());
  return type == PJ_CS_TYPE_ELLIPSOIDAL ||
         (type == PJ_CS_TYPE_CARTESIAN && proj_get_type(crs) != PJ_TYPE_GEOCENTRIC_CRS && count >= 2);
}

/// Whether the engine can only take the text for what it is. It would also take any other text for a name and
/// look for a system that is called more or less like that.
bool IsDefinition(const std::string& text) {
  const bool hasBlanks = text.find_first_of(" \t\r\n") != std::string::npos;
  const bool namesAuthority = text.find(':') != std::string::npos && !hasBlanks;
  const bool describes = text.find_first_of("[{=") != std::string::npos;
  return namesAuthority || describes;
}

bool LoadCrs(PJ_CONTEXT* context, System& system) {
  if (!system.crs) {
    system.crs.reset(proj_create(context, AsSystem(system.text).c_str()));
  }
  return system.crs && proj_is_crs(system.crs.get()) != 0 && HasHorizontalAxes(context, system.crs.get());
}

/// The system of a definition; none when there is none in it.
std::optional<System> SystemOf(PJ_CONTEXT* context, const std::string& definition) {
  System system;
  system.text = definition;
  if (const auto code = qvdetail::EpsgCodeOf(definition)) {
    system.text = "EPSG:" + qvdetail::FormatInteger(*code);
    system.builtIn = qvdetail::FindBuiltIn(*code);
    if (system.builtIn) {
      system.isGeographic = system.builtIn->IsGeographic();
      return system;
    }
  }
  if (!IsDefinition(system.text)) {
    return std::nullopt;
  }
  if (LoadCrs(context, system)) {
    system.isGeographic = IsGeographic(context, system.crs.get());
    return system;
  }
  const bool isCrs = system.crs && proj_is_crs(system.crs.get()) != 0;
  if (isCrs) {
    return std::nullopt;  // heights alone, or positions in space
  }
  system.crs.reset();
  return system;  // an operation, if anything
}

/// How an operation of one's own counts angles at its end: in radians unless it says that it takes degrees.
double AngleUnitOf(PJ* operation, bool input) {
  const bool degrees =
      input ? proj_degree_input(operation, PJ_FWD) != 0 : proj_degree_output(operation, PJ_FWD) != 0;
  return degrees ? kRadiansPerDegree : kAsItIs;
}

bool IsPlace(double longitude, double latitude) {
  // The engine's own bounds: more turns than that are taken for a mistake in the unit.
  constexpr double kMostLongitude = 10.0;
  constexpr double kMostLatitude = std::numbers::pi / 2.0 + 1e-12;
  return std::fabs(longitude) <= kMostLongitude && std::fabs(latitude) <= kMostLatitude;
}

}  // namespace

class GeoPrj::Route {
 public:
  /// False when nothing leads from `source` to `target`.
  bool Plan(const std::string& source, const std::string& target) {
    context_ = qvdetail::MakeGeodesyContext();
    if (!context_) {
      return false;
    }
    std::optional<System> from = SystemOf(context_.get(), source);
    std::optional<System> to = SystemOf(context_.get(), target);
    if (!from || !to) {
      return false;
    }
    fromGeographic_ = from->isGeographic;
    if (from->builtIn && to->builtIn) {
      return AddOperation(*from, PJ_INV) && AddOperation(*to, PJ_FWD);
    }
    if (IsCrs(*from) && IsCrs(*to)) {
      return AddDatabaseStep(*from, *to);
    }
    System wgs84 = WGS84();
    const bool first = IsCrs(*from) ? AddDatabaseStep(*from, wgs84) : AddOperation(*from, PJ_INV);
    return first && (IsCrs(*to) ? AddDatabaseStep(wgs84, *to) : AddOperation(*to, PJ_FWD));
  }

  bool Take(double* const in, double* const out) const {
    std::array<double, 2> pair = {in[0], in[1]};
    if (!std::isfinite(pair[0]) || !std::isfinite(pair[1]) ||
        (fromGeographic_ && !IsPlace(pair[0], pair[1]))) {
      return false;
    }
    for (std::size_t i = 0; i < stepCount_; ++i) {
      if (!steps_[i].Take(pair)) {
        return false;
      }
    }
    out[0] = pair[0];
    out[1] = pair[1];
    return true;
  }

 private:
  static System WGS84() {
    System system;
    system.text = kWGS84;
    system.builtIn = qvdetail::FindBuiltIn(*qvdetail::EpsgCodeOf(kWGS84));
    system.isGeographic = true;
    return system;
  }

  static bool IsCrs(const System& system) { return system.builtIn || system.crs; }

  bool Add(Step step) {
    steps_[stepCount_++] = std::move(step);
    return true;
  }

  /// The operation between WGS 84 and a built-in system, or one of a host's own.
  bool AddOperation(const System& system, PJ_DIRECTION direction) {
    if (system.builtIn && system.builtIn->IsGeographic()) {
      return true;  // the same longitude and latitude
    }
    const std::string text = system.builtIn ? qvdetail::OperationOf(*system.builtIn) : system.text;
    GeodesyObject operation(proj_create(context_.get(), text.c_str()));
    if (!operation || proj_is_crs(operation.get()) != 0 ||
        (direction == PJ_INV && proj_pj_info(operation.get()).has_inverse == 0)) {
      return false;
    }
    if (system.builtIn) {
      return Add({std::move(operation), direction, kAsItIs, kAsItIs});
    }
    const double inner = AngleUnitOf(operation.get(), true);
    const double outer = AngleUnitOf(operation.get(), false);
    return direction == PJ_FWD ? Add({std::move(operation), direction, inner, outer})
                               : Add({std::move(operation), direction, outer, inner});
  }

  /// What the engine's database plans between two systems.
  bool AddDatabaseStep(System& source, System& target) {
    PJ_CONTEXT* const context = context_.get();
    if (!LoadCrs(context, source) || !LoadCrs(context, target)) {
      return false;
    }
    const GeodesyObject planned(
        proj_create_crs_to_crs_from_pj(context, source.crs.get(), target.crs.get(), nullptr, nullptr));
    if (!planned) {
      return false;
    }
    GeodesyObject operation(proj_normalize_for_visualization(context, planned.get()));
    if (!operation) {
      return false;
    }
    return Add(
        {std::move(operation), PJ_FWD, UnitOf(context, source.crs.get()), UnitOf(context, target.crs.get())});
  }

  GeodesyContext context_;  // before the steps, which are made in it
  std::array<Step, 2> steps_;
  std::size_t stepCount_ = 0;
  bool fromGeographic_ = false;
};

GeoPrj::GeoPrj(qvfd::CoordinateInfo source, qvfd::CoordinateInfo target) noexcept {
  try {
    auto route = std::make_unique<Route>();
    if (route->Plan(source.definition, target.definition)) {
      route_ = std::move(route);
    }
  } catch (...) {
    route_.reset();  // out of memory
  }
}

GeoPrj::~GeoPrj() = default;
GeoPrj::GeoPrj(GeoPrj&& other) noexcept = default;
GeoPrj& GeoPrj::operator=(GeoPrj&& other) noexcept = default;

bool GeoPrj::IsValid() const {
  return route_ != nullptr;
}

bool GeoPrj::Transform(double* const in, double* const out) {
  return route_ != nullptr && route_->Take(in, out);
}

}  // namespace qvmath
