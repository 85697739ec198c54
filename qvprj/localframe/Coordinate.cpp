// The project's coordinate system.

#include "qvfd/CoordinateInfo.h"
#include "qvprj/project/QvProject.h"

namespace qvprj {

qvfd::CoordinateInfo QvProject::GetCoordinate() const {
  qvfd::CoordinateInfo info;
  qvfd::QvConfiguration::Instance().GetCoordinateInfoSet().GetCoordinateByID(prjInfo_.coordinate_id, info);
  return info;
}

}  // namespace qvprj
