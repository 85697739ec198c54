#include "support/ProjectChecks.h"

#include <utility>

#include "Target.h"
#include "qvfd/CoordinateInfo.h"
#include "support/Folder.h"
#include "support/ProjectCompare.h"

namespace fuzz {
namespace {

using qvprj::QvProject;

/// A system that is not listed is looked for in the geodesy engine's database, which would cost more than all
/// the rest of an input.
bool IsListed(int id) {
  static const qvfd::CoordinateInfoSet known = qvfd::QvConfiguration::Instance().GetCoordinateInfoSet();
  return std::any_of(known.begin(), known.end(), [id](const auto& system) { return system.id == id; });
}

/// Leaves out what opening leaves out: tie points in images that the project does not have.
void DropUnknownImages(QvProject& project) {
  const qvfd::ImageInfoSet& images = project.GetImageInfoSet();
  const auto unknown = [&images](int id) { return images.FindImage(id) == nullptr; };
  std::erase_if(project.GetFeatures(), [&](const auto& entry) { return unknown(entry.first); });
  std::erase_if(project.GetMatches(),
                [&](const auto& entry) { return unknown(entry.first.x) || unknown(entry.first.y); });
}

void RequireSame(QvProject& left, QvProject& right, const std::string& what) {
  const std::string difference = support::FirstDifference(left, right);
  Require(difference.empty(), what + ": " + difference);
}

/// Features and matches through the two tables of a database, which hosts may use in place of the track file.
void RequireTablesKeepTiePoints(QvProject& project, const std::string& path) {
  QvProject read;
  read.SetImageInfoSet(project.GetImageInfoSet());
  {
    qvsql::Database database;
    Require(database.Create(path) && project.CreateFeatureTable(database) &&
                project.CreateMatchTable(database) && project.WriteFeatures(database) &&
                project.WriteMatches(database),
            "features and matches can be written to tables");
  }
  qvsql::Database database;
  Require(database.Open(path), "a database that was written can be opened");
  Require(read.ReadFeatures(database) != project.GetFeatures().empty(),
          "features are read where there are any");
  Require(read.ReadMatches(database) != project.GetMatches().empty(), "matches are read where there are any");
  QvProject expected;
  expected.SetImageInfoSet(project.GetImageInfoSet());
  expected.SetPrjInfo(read.GetPrjInfo());
  expected.GetFeatures() = project.GetFeatures();
  expected.GetMatches() = project.GetMatches();
  RequireSame(expected, read, "tie points in tables");
}

}  // namespace

void RequireSavesAndOpensTheSame(QvProject project, const std::string& folder, const std::string& name) {
  const std::string path = folder + "/" + name + ".db";
  const std::string second = folder + "/" + name + "2.db";
  if (!IsListed(project.GetPrjInfo().coordinate_id)) {
    project.GetPrjInfo().coordinate_id = -1;
  }
  DropUnknownImages(project);
  Require(project.Save(path), "a project that was opened can be saved");

  QvProject opened;
  Require(opened.OpenPrj(path), "a project that was saved can be opened");
  RequireSame(project, opened, "saved and opened");

  QvProject quick;
  Require(quick.QuickOpenPrj(path), "a project that was saved can be opened quickly");
  opened.GetPrjInfo().file_path = quick.GetPrjInfo().file_path;
  quick.SetImageInfoSet(opened.GetImageInfoSet());
  quick.SetCameraInfoSet(opened.GetCameraInfoSet());
  quick.GetGroundControl() = opened.GetGroundControl();
  quick.GetFeatures() = opened.GetFeatures();
  quick.GetMatches() = opened.GetMatches();
  quick.GetTracks() = opened.GetTracks();
  RequireSame(opened, quick, "opened quickly");

  // The sign of a zero is what the first save may change; the second changes nothing.
  Require(opened.Save(second), "a project can be saved twice");
  Require(ReadFile(path) == ReadFile(second), "a project saved twice is the same database");
  Require(ReadFile(folder + "/" + name + ".gb") == ReadFile(folder + "/" + name + "2.gb"),
          "a project saved twice is the same track file");

  RequireTablesKeepTiePoints(opened, folder + "/" + name + "3.db");
}

}  // namespace fuzz
