// What all users of the geodesy engine, PROJ, share: its objects freed in time, and a context of one's own
// that prints nothing and fetches nothing. Private: not installed; of contracts/qvmath and contracts/qvfd
// only.
#pragma once

#include <proj.h>

#include <memory>

namespace qvdetail {

struct GeodesyCloser {
  void operator()(PJ_CONTEXT* context) const { proj_context_destroy(context); }
  void operator()(PJ* object) const { proj_destroy(object); }
};
using GeodesyContext = std::unique_ptr<PJ_CONTEXT, GeodesyCloser>;
using GeodesyObject = std::unique_ptr<PJ, GeodesyCloser>;

/// A context of one's own: null when there is no memory. Objects made in it must go before it.
inline GeodesyContext MakeGeodesyContext() {
  GeodesyContext context(proj_context_create());
  if (context) {
    // A level alone does not keep it quiet: it would still complain of a missing database.
    proj_log_func(context.get(), nullptr, [](void* /*user*/, int /*level*/, const char* /*message*/) {});
    proj_context_set_enable_network(context.get(), 0);
  }
  return context;
}

/// The coordinate system of a CRS that tells its axes: of a compound one the horizontal part, of one with a
/// transformation attached the system itself. Null when there is none.
inline GeodesyObject AxesOf(PJ_CONTEXT* context, const PJ* crs) {
  switch (proj_get_type(crs)) {
    case PJ_TYPE_COMPOUND_CRS: {
      const GeodesyObject horizontal(proj_crs_get_sub_crs(context, crs, 0));
      return horizontal ? AxesOf(context, horizontal.get()) : nullptr;
    }
    case PJ_TYPE_BOUND_CRS: {
      const GeodesyObject base(proj_get_source_crs(context, crs));
      return base ? AxesOf(context, base.get()) : nullptr;
    }
    default:
      return GeodesyObject(proj_crs_get_coordinate_system(context, crs));
  }
}

}  // namespace qvdetail
