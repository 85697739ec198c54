// From a flight database, as the drone's controller leaves it behind, to a project.
#pragma once

#include <string>
#include <vector>

#include "qvfd/CameraInfo.h"
#include "qvfd/ImageInfo.h"
#include "qvprj/Export.h"
#include "qvprj/project/PrjInfo.h"
#include "qvprj/project/QvProject.h"
#include "qvsql/Database.h"

namespace qvprj {

/// Lists the missions of a flight database and turns one of them into a project. It holds nothing, so copying
/// or assigning one copies nothing. The flight database and its folder are only read and stay byte for byte
/// as they were. Operations throw nothing.
class QVPRJ_API FlyProjectHelper {
 public:
  /// One flown mission. Texts are in the local code page; what the database has as NULL is the text "NULL".
  struct FlyPrjInfo {
    std::string id;                ///< key of the mission: what `Read` takes
    std::string project_id;        ///< key of the project it was flown for
    std::string flight_task_name;  ///< the mission's name
    std::string project_name;      ///< from a sibling database; empty when none knows the project
    std::string created_at;        ///< as stored
  };

  /// Appends the missions of the flight database at `path` that have position records to `missions`, the
  /// newest first. Their projects' names come from the other databases in the folder of `path`: of every file
  /// that is a database with exactly one row in the table "project".
  ///
  /// False, and nothing appended, when the file is no database or has not the tables of a flight database.
  [[nodiscard]] bool QuickRead(std::string path, std::vector<FlyPrjInfo>& missions);

  /// Adds the mission `missionId` (a `FlyPrjInfo::id`) to `project`: one image for each position record, and
  /// name, date, flying height and aircraft serial (as the description) in the project information.
  ///
  /// Images have the record's image index as their id, no name and no path, camera 0 and strip 1, and are
  /// enabled. `x` is the longitude and `y` the latitude in WGS 84 degrees, `z` the height above mean sea
  /// level in metres; `omega`, `phi` and `kappa` are roll, minus pitch and yaw times 0.0174533. Images that
  /// the project has already stay.
  ///
  /// False, and the project unchanged, when the file is no database, has no position table, or when
  /// `missionId` contains a single quote. False, and the images added, when the mission is not known.
  [[nodiscard]] bool Read(std::string path, std::string missionId, QvProject& project);

 private:
  void UpdateFlyPrjInfo(std::string path, std::vector<FlyPrjInfo>& missions);
  bool ReadImagePos(qvsql::Database& db, std::string missionId, qvfd::ImageInfoSet& images);
  bool ReadPrjInfo(qvsql::Database& db, std::string missionId, PrjInfo& info);

  /// Does nothing and returns true: the flight database knows no camera, the host adds it.
  bool ReadCamera(qvsql::Database& db, std::string missionId, qvfd::CameraInfoSet& cameras);
};

}  // namespace qvprj
