// qvprj export: a project in the files of another program.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/Interchange.h"
#include "common/Program.h"
#include "interchange/mapping/GisProject.h"

namespace qvapp {

struct ExportOptions {
  std::string project;
  std::string to;                  ///< one of `ExportKinds`
  std::string path;                ///< of a folder or a file, or a connection string
  std::optional<std::string> crs;  ///< of the coordinates in layers and texts
  bool approximate = false;        ///< bundler: without what it has no place for
  ConventionOptions conventions;
  interchange::GisOptions gis;  ///< without `scene` and `crs`
  bool force = false;
  bool json = false;
};

/// What --to takes.
[[nodiscard]] std::vector<std::string> ExportKinds();

/// Returns the exit code; results go to `console.out`, a failure is one line on `console.err`.
int RunExport(const ExportOptions& options, Console& console);

void AddExport(CLI::App& program, Action& action);

}  // namespace qvapp
