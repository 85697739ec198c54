// Conversion into the local frame against the geodesy engine used by hand.

#include <proj.h>

#include <cmath>
#include <memory>

#include "Figure.h"
#include "qvprj/project/QvProject.h"

namespace bench {
namespace {

constexpr int kZone = 4549;
constexpr char kOperation[] = "+proj=tmerc +lat_0=0 +lon_0=120 +k=1 +x_0=500000 +y_0=0 +ellps=GRS80";
constexpr double kRadiansPerDegree = 0.017453292519943295;

struct ContextCloser {
  void operator()(PJ_CONTEXT* context) const { proj_context_destroy(context); }
  void operator()(PJ* operation) const { proj_destroy(operation); }
};

/// The engine's operation in a fresh context.
struct Operation {
  Operation() : context(proj_context_create()), operation(proj_create(context.get(), kOperation)) {
    Require(operation != nullptr, "building the operation");
  }

  std::unique_ptr<PJ_CONTEXT, ContextCloser> context;
  std::unique_ptr<PJ, ContextCloser> operation;
};

/// Images around the central meridian of the zone.
qvprj::QvProject Survey(int images) {
  qvprj::QvProject project;
  project.GetPrjInfo().coordinate_id = kZone;
  project.GetImageInfoSet().Reserve(images);
  for (int i = 0; i < images; ++i) {
    qvfd::EOP eop;
    eop.x = 119.5 + 1e-5 * i;
    eop.y = 30.0 + 1e-6 * i;
    project.GetImageInfoSet().AddImage(i, "IMG_" + std::to_string(i) + ".JPG", "photos/day one/", eop, 0, 1,
                                       true);
    eop.x += 1e-7;
    project.GetImageInfoSet().GetImage(i)->Update(eop);
  }
  return project;
}

double Expected(double longitude, double latitude) {
  const Operation by_hand;
  return proj_trans(by_hand.operation.get(), PJ_FWD,
                    proj_coord(longitude * kRadiansPerDegree, latitude * kRadiansPerDegree, 0.0, HUGE_VAL))
      .xy.x;
}

Figure ImageSet(const Scale& scale) {
  const int images = scale.Of(100'000, 100);
  return {.operation = "GetImageInfoSetLocal: " + std::to_string(images) + " images",
          .floor_name = "PROJ array, one copy",
          .unit = "ms",
          .goal = 1.25,
          .prepare = [images] {
            const auto project = std::make_shared<const qvprj::QvProject>(Survey(images));
            const Round measured = [project, images] {
              return Milliseconds([&] {
                const qvfd::ImageInfoSet local = project->GetImageInfoSetLocal();
                Require(local.Size() == images && local.GetImage(0)->GetEOP().x > 1000.0,
                        "converting the images");
              });
            };
            // The same points, ready in memory as the engine takes them.
            const auto points = std::make_shared<std::vector<double>>();
            for (const qvfd::ImageInfo& image : project->GetImageInfoSet()) {
              for (const qvfd::EOP& eop : {image.GetEOP(), image.GetUpdatedEOP()}) {
                points->push_back(eop.x * kRadiansPerDegree);
                points->push_back(eop.y * kRadiansPerDegree);
              }
            }
            const Round floor = [project, points] {
              std::vector<double> converted = *points;
              return Milliseconds([&] {
                const qvfd::ImageInfoSet copy = project->GetImageInfoSet();
                const Operation by_hand;
                const std::size_t stride = 2 * sizeof(double);
                const std::size_t count = converted.size() / 2;
                const std::size_t done =
                    proj_trans_generic(by_hand.operation.get(), PJ_FWD, converted.data(), stride, count,
                                       converted.data() + 1, stride, count, nullptr, 0, 0, nullptr, 0, 0);
                Require(done == count && copy.Size() > 0 && converted.front() > 1000.0, "converting by hand");
              });
            };
            return std::pair(measured, floor);
          }};
}

Figure OnePoint(const Scale& scale) {
  const int points = scale.Of(500, 5);
  return {.operation = "ToLocal: one point, built-in system",
          .floor_name = "PROJ, fresh context",
          .unit = "ms",
          .goal = 2.0,
          .prepare = [points] {
            const auto project = std::make_shared<qvprj::QvProject>();
            project->GetPrjInfo().coordinate_id = kZone;
            const double expected = Expected(120.25, 30.0);
            const auto near = [](double a, double b) { return a - b < 1e-6 && b - a < 1e-6; };
            const Round measured = [=] {
              return Milliseconds([&] {
                       for (int i = 0; i < points; ++i) {
                         Require(near(project->ToLocal({120.25, 30.0}).x, expected), "converting one point");
                       }
                     }) /
                     points;
            };
            const Round floor = [=] {
              return Milliseconds([&] {
                       for (int i = 0; i < points; ++i) {
                         Require(near(Expected(120.25, 30.0), expected), "converting one point by hand");
                       }
                     }) /
                     points;
            };
            return std::pair(measured, floor);
          }};
}

}  // namespace

std::vector<Figure> LocalFrameFigures(const Scale& scale) {
  return {ImageSet(scale), OnePoint(scale)};
}

}  // namespace bench
