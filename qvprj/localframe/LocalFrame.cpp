// The project's coordinate system, and positions to and from it.
//
// A project stores WGS 84 degrees, longitude in x and latitude in y. Two ways between degrees and radians
// stand side by side and are both kept, since existing projects were made with them: to radians a value is
// divided by 180 and then multiplied by pi, to degrees it is multiplied by 57.29577951308232. There and back
// is therefore not always the same last digit.

#include "qvfd/CoordinateInfo.h"
#include "qvmath/GeoPrj.h"
#include "qvprj/project/QvProject.h"

namespace qvprj {
namespace {

using qvfd::CoordinateInfoSet;
using qvfd::EOP;
using qvfd::Point2_T;
using qvmath::GeoPrj;

/// The `PrjInfo::coordinate_id` of a project whose local frame is what it stores.
constexpr int kNoSystem = -1;

constexpr double kPi = 3.141592653589793;
constexpr double kDegreesPerRadian = 57.29577951308232;

double ToRadians(double degrees) {
  return degrees / 180.0 * kPi;
}

/// Converts a pair of degrees on WGS 84; false, and `x` and `y` as they were, when that cannot be done.
bool FromDegrees(GeoPrj& converter, double& x, double& y) {
  double in[2] = {ToRadians(x), ToRadians(y)};
  double out[2] = {0.0, 0.0};
  if (!converter.Transform(in, out)) {
    return false;
  }
  x = out[0];
  y = out[1];
  return true;
}

/// The other way round.
bool ToDegrees(GeoPrj& converter, double& x, double& y) {
  double in[2] = {x, y};
  double out[2] = {0.0, 0.0};
  if (!converter.Transform(in, out)) {
    return false;
  }
  x = out[0] * kDegreesPerRadian;
  y = out[1] * kDegreesPerRadian;
  return true;
}

}  // namespace

qvfd::CoordinateInfo QvProject::GetCoordinate() const {
  qvfd::CoordinateInfo info;
  qvfd::QvConfiguration::Instance().GetCoordinateInfoSet().GetCoordinateByID(prjInfo_.coordinate_id, info);
  return info;
}

Point2_T<double> QvProject::ToLocal(Point2_T<double> p) {
  if (prjInfo_.coordinate_id != kNoSystem) {
    GeoPrj converter(CoordinateInfoSet::GetWGS84(), GetCoordinate());
    FromDegrees(converter, p.x, p.y);
  }
  return p;
}

Point2_T<double> QvProject::FromLocal(Point2_T<double> p) {
  if (prjInfo_.coordinate_id != kNoSystem) {
    GeoPrj converter(GetCoordinate(), CoordinateInfoSet::GetWGS84());
    ToDegrees(converter, p.x, p.y);
  }
  return p;
}

qvfd::ImageInfoSet QvProject::GetImageInfoSetLocal() const {
  qvfd::ImageInfoSet local = images_;
  if (prjInfo_.coordinate_id == kNoSystem) {
    return local;
  }
  GeoPrj converter(CoordinateInfoSet::GetWGS84(), GetCoordinate());
  for (qvfd::ImageInfo& image : local) {
    EOP initial = image.GetEOP();
    if (FromDegrees(converter, initial.x, initial.y)) {
      image.SetEOP(initial);
    }
    EOP updated = image.GetUpdatedEOP();
    if (FromDegrees(converter, updated.x, updated.y)) {
      image.Update(updated);
    }
  }
  return local;
}

void QvProject::SetImageInfoSetLocal(const qvfd::ImageInfoSet& local) {
  if (prjInfo_.coordinate_id == kNoSystem) {
    images_ = local;
    return;
  }
  GeoPrj converter(GetCoordinate(), CoordinateInfoSet::GetWGS84());
  // Only as far as both sets go: the images of `local` are matched by position alone.
  auto own = images_.begin();
  for (auto image = local.begin(); image != local.end() && own != images_.end(); ++image, ++own) {
    EOP updated = image->GetUpdatedEOP();
    if (ToDegrees(converter, updated.x, updated.y)) {
      own->Update(updated);
    }
  }
}

}  // namespace qvprj
