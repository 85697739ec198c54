// Whether a saved project is whole: the database first, then the track file, which refers to it.
#include "qvprj/check/ProjectCheck.h"

#include <algorithm>
#include <utility>

#include "detail/NoThrow.h"
#include "qvprj/check/CheckState.h"
#include "qvprj/check/Query.h"
#include "qvprj/detail/Stamp.h"
#include "qvprj/detail/StoredTables.h"
#include "qvprj/project/PairReplacement.h"
#include "qvprj/project/QvProject.h"

namespace qvprj {
namespace {

/// The project alone knows how its track file is named.
struct TrackFile : QvProject {
  using QvProject::GetTrackFileName;
};

/// Whether there is a table of that name; true also where the list of tables cannot be read, since that is
/// damage and no lack.
bool MayHaveTable(qvsql::Database& database, const char* name) {
  bool found = false;
  const bool listed =
      ForEachRow(database, std::string("SELECT 1 FROM sqlite_master WHERE lower(name) = '") + name + "'",
                 [&found](std::span<char* const>) { found = true; });
  return found || !listed;
}

}  // namespace

bool CheckProject(const std::string& path, ProjectReport& report) noexcept {
  const bool checked = qvdetail::NoThrow([&] {
    report = {};
    const PairFiles pair{path, TrackFile::GetTrackFileName(path)};
    const PairFiles files = FilesThatHold(pair);
    qvsql::Database database;
    const bool opens = database.Open(files.database);
    if ((!opens && !database.OpenDamaged(files.database)) ||
        !MayHaveTable(database, StoredProjectTable().name)) {
      return false;
    }
    CheckState state;
    if (!opens) {
      state.findings.Add(
          {Severity::kError,
           "integrity",
           path,
           {},
           {},
           std::nullopt,
           "the database cannot be opened as it is: cut short, damaged, or in use by another program",
           0});
    }
    state.database = path;
    state.track_file = pair.track_file;
    state.tracks_now = files.track_file;
    if (files.database != pair.database || files.track_file != pair.track_file) {
      state.findings.Add({Severity::kWarning,
                          "waiting-save",
                          path,
                          {},
                          {},
                          std::nullopt,
                          "a save was interrupted and waits beside it; opening the project finishes it",
                          0});
    }
    CheckTables(database, state);
    CheckTrackFile(ReadStamp(database), state);
    CheckMatchTable(database, state);
    report.database = state.database;
    report.track_file = state.track_file;
    report.counts = state.counts;
    state.findings.MoveInto(report);
    std::stable_partition(report.findings.begin(), report.findings.end(),
                          [&path](const Finding& finding) { return finding.file == path; });
    return true;
  });
  if (!checked) {
    report = {};
  }
  return checked;
}

}  // namespace qvprj
