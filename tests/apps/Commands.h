// Verbs of the program's tests: make a flight or a project, run a command, look at what came of it.
#pragma once

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "commands/Check.h"
#include "commands/Copy.h"
#include "commands/Crs.h"
#include "commands/Import.h"
#include "commands/Info.h"
#include "commands/Missions.h"
#include "commands/Recover.h"
#include "commands/Set.h"
#include "commands/Transform.h"
#include "common/Failure.h"
#include "qvprj/qvprj.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

namespace apps_test {

/// What a command left: its exit code and its two streams.
struct Outcome {
  int code = -1;
  std::string out;
  std::string err;
};

inline qvapp::Console ConsoleOn(std::istream& in, std::ostringstream& out, std::ostringstream& err) {
  return {in, out, err, false};
}

template <class Options>
Outcome Run(int (*command)(const Options&, qvapp::Console&), const Options& options,
            const std::string& input = "") {
  std::istringstream in(input);
  std::ostringstream out;
  std::ostringstream err;
  qvapp::Console console = ConsoleOn(in, out, err);
  const int code = command(options, console);
  return {code, out.str(), err.str()};
}

Outcome Missions(const std::string& flight, bool json = false);
Outcome Import(const qvapp::ImportOptions& options);
Outcome Info(const std::string& project, bool json = false);
Outcome Check(const std::string& project, bool json = false);
Outcome Copy(const qvapp::CopyOptions& options);
Outcome Recover(const qvapp::RecoverOptions& options);
Outcome Set(const qvapp::SetOptions& options);
Outcome CrsFind(const qvapp::CrsFindOptions& options);
Outcome Transform(const qvapp::TransformOptions& options, const std::string& input = "");

/// Runs `commandLine` in a shell in `folder`; the word "qvprj" in it is the program, in a UTF-8 locale.
Outcome Shell(const support::TempFolder& folder, const std::string& commandLine);

/// The options of an import that goes well.
qvapp::ImportOptions ImportOf(const std::string& flight, const std::string& mission, const std::string& out);

/// One mission of a flight to be made.
struct MissionRow {
  std::string id;
  std::string name;
  std::string created = "2024-05-01 10:00:00";
  int images = 2;
  std::string project_id = "p1";
};

/// Statements that make the empty tables of a flight database.
inline constexpr const char* kFlightTables =
    "CREATE TABLE flight_mission(id TEXT, project_id TEXT, flight_task_name TEXT, created_at TEXT,"
    " survey_average_altitude REAL);"
    "CREATE TABLE pos_data(flight_mission_id TEXT, img_idx INTEGER, lat REAL, lng REAL, alt_msl REAL,"
    " roll REAL, pitch REAL, yaw REAL);"
    "CREATE TABLE uas_status(flight_mission_id TEXT, uas_serial_id TEXT);";

/// Makes a flight database. Image i (from 0) of every mission has the id 101 + i and lies at longitude 8 +
/// i/8, latitude 50 - i/16, height 300 + i.
void MakeFlight(const std::string& path, const std::vector<MissionRow>& missions);

/// A sibling database that names the project `id`.
void MakeSibling(const std::string& path, const std::string& id, const std::string& name);

/// Saves a project of `images` images named after `name`; with tie points in its track file.
void MakeProject(const std::string& path, const std::string& name = "Site", int images = 3);

/// Saves a project in a coordinate system, with an image, numbered from 1, at each position.
void MakeProjectAt(const std::string& path, int coordinateId,
                   const std::vector<qvfd::Point2_T<double>>& positions);

/// A text that is SQL text.
std::string Quoted(const std::string& text);

/// Exactly one line, with its end, and nothing else.
MATCHER(IsOneLine, "is one line") {
  return !arg.empty() && arg.find('\n') == arg.size() - 1;
}

/// A failure as it must be: the exit code, nothing on standard output, and one line on standard error that
/// begins with "file: problem".
MATCHER_P3(FailsWith, code, file, problem, "fails and says so in one line") {
  *result_listener << "code " << arg.code << ", out \"" << arg.out << "\", err \"" << arg.err << "\"";
  const std::string start = std::string(file) + ": " + std::string(problem);
  return arg.code == code && arg.out.empty() && testing::Matches(IsOneLine())(arg.err) &&
         arg.err.compare(0, start.size(), start) == 0;
}

/// A success: exit code 0, nothing on standard error.
MATCHER(Succeeds, "succeeds") {
  *result_listener << "code " << arg.code << ", err \"" << arg.err << "\"";
  return arg.code == qvapp::kDone && arg.err.empty();
}

}  // namespace apps_test
