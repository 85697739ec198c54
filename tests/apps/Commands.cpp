// Verbs of the program's tests.
#include "Commands.h"

#include <sys/wait.h>

#include <cstdlib>

namespace apps_test {

Outcome Missions(const std::string& flight, bool json) {
  return Run(qvapp::RunMissions, {flight, json});
}

Outcome Import(const qvapp::ImportOptions& options) {
  return Run(qvapp::RunImport, options);
}

Outcome Info(const std::string& project, bool json) {
  return Run(qvapp::RunInfo, {project, json});
}

Outcome Check(const std::string& project, bool json) {
  return Run(qvapp::RunCheck, {project, json});
}

Outcome Copy(const qvapp::CopyOptions& options) {
  return Run(qvapp::RunCopy, options);
}

Outcome Recover(const qvapp::RecoverOptions& options) {
  return Run(qvapp::RunRecover, options);
}

Outcome Set(const qvapp::SetOptions& options) {
  return Run(qvapp::RunSet, options);
}

Outcome CrsFind(const qvapp::CrsFindOptions& options) {
  return Run(qvapp::RunCrsFind, options);
}

Outcome Transform(const qvapp::TransformOptions& options, const std::string& input) {
  return Run(qvapp::RunTransform, options, input);
}

Outcome Shell(const support::TempFolder& folder, const std::string& commandLine) {
  const support::TempFolder streams;
  const std::string script = "cd '" + folder.Path().string() + "' || exit 99\n" +
                             "LC_ALL=C.UTF-8; export LC_ALL\n" + "qvprj() { '" QVPRJ_PROGRAM "' \"$@\"; }\n" +
                             commandLine + "\n";
  support::WriteText(streams.File("script"), script);
  const std::string command = "sh '" + streams.File("script") + "' >'" + streams.File("out") + "' 2>'" +
                              streams.File("err") + "' </dev/null";
  const int status = std::system(command.c_str());
  const auto text = [&streams](const char* name) {
    const support::Bytes bytes = support::ReadBytes(streams.File(name));
    return std::string(bytes.begin(), bytes.end());
  };
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text("out"), text("err")};
}

qvapp::ImportOptions ImportOf(const std::string& flight, const std::string& mission, const std::string& out) {
  qvapp::ImportOptions options;
  options.flight = flight;
  options.mission = mission;
  options.out = out;
  return options;
}

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) {
    quoted += c == '\'' ? "''" : std::string(1, c);
  }
  return quoted + "'";
}

void MakeFlight(const std::string& path, const std::vector<MissionRow>& missions) {
  std::string sql = kFlightTables;
  sql += "BEGIN;";
  for (const MissionRow& mission : missions) {
    const std::string id = Quoted(mission.id);
    sql += "INSERT INTO flight_mission VALUES(" + id + "," + Quoted(mission.project_id) + "," +
           Quoted(mission.name) + "," + Quoted(mission.created) + ", 90.5);";
    sql += "INSERT INTO uas_status VALUES(" + id + ", 'serial-7');";
    for (int i = 0; i < mission.images; ++i) {
      sql += "INSERT INTO pos_data VALUES(" + id + "," + std::to_string(101 + i) + "," +
             std::to_string(50.0 - i / 16.0) + "," + std::to_string(8.0 + i / 8.0) + "," +
             std::to_string(300 + i) + ", 1, 2, 3);";
    }
  }
  support::Execute(path, sql + "COMMIT;");
}

void MakeSibling(const std::string& path, const std::string& id, const std::string& name) {
  support::Execute(path,
                   "CREATE TABLE project(id TEXT, project_name TEXT);"
                   "INSERT INTO project VALUES(" +
                       Quoted(id) + "," + Quoted(name) + ");");
}

void MakeProject(const std::string& path, const std::string& name, int images) {
  qvprj::QvProject project;
  project.string2char(project.GetPrjInfo().project_name, 64, name);
  for (int i = 0; i < images; ++i) {
    const qvfd::EOP eop{8.0 + i / 8.0, 50.0, 300.0 + i, 0.0, 0.0, 0.0};
    project.GetImageInfoSet().AddImage(i + 1, "", "", eop, 0, 1, true);
    project.GetFeatures()[i + 1] = {{1.0F, 2.0F}, {3.0F, 4.0F}};
  }
  ASSERT_TRUE(project.Save(path)) << path;
}

void MakeProjectAt(const std::string& path, int coordinateId,
                   const std::vector<qvfd::Point2_T<double>>& positions) {
  qvprj::QvProject project;
  project.GetPrjInfo().coordinate_id = coordinateId;
  int id = 0;
  for (const auto& position : positions) {
    project.GetImageInfoSet().AddImage(++id, "", "", {position.x, position.y, 300, 0, 0, 0}, 0, 1, true);
  }
  ASSERT_TRUE(project.Save(path)) << path;
}

}  // namespace apps_test
