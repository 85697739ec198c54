// The descriptive record of a project.
#pragma once

#include <cstdint>
#include <string>

#include "qvprj/Export.h"

namespace qvprj {

/// What a project says of itself; stored as the one row of the table "data_project".
///
/// Texts are narrow strings (stored byte for byte) in fixed arrays that end in a NUL; whatever copies into
/// them cuts what does not fit. A default-constructed record has a new id, -1, 1, 99 and 0.0 in its numbers
/// and empty texts: only the first byte of each text is set, the bytes behind a NUL mean nothing.
///
/// Copying takes the arrays over in full length, and the id with them.
struct QVPRJ_API PrjInfo {
  /// Gives the record an id of its own.
  PrjInfo();

  char id[33];  ///< GUID text of 32 characters
  std::int32_t coordinate_id =
      -1;                  ///< registry id (EPSG code) of the project's coordinate system; -1 for none
  std::int32_t nadir = 1;  ///< 1 for a survey flown straight down; stored and not interpreted
  char project_name[65];   ///< a saved project keeps 63 characters
  char operator_name[65];  ///< who flew; a saved project keeps 63 characters
  char date[33];           ///< as the host or the flight database writes it; a saved project keeps 31
  char description[257];   ///< a saved project keeps 255 characters; an import puts the aircraft serial here
  double height = 0.0;     ///< flying height in metres
  std::int32_t uavtype = 99;  ///< kind of aircraft; stored and not interpreted
  std::string file_path;      ///< the project file last opened or saved; not stored
};

}  // namespace qvprj
