// qvprj gcp import, qvprj gcp export: ground points from and to text files.
#pragma once

#include <optional>
#include <string>

#include "common/Interchange.h"
#include "common/Program.h"

namespace qvapp {

struct GcpOptions {
  std::string project;
  std::string file;
  std::optional<std::string> crs;
  std::string columns;
  int check_type = 1;
  ConventionOptions conventions;
  bool force = false;  ///< of an export: replace the file
  bool json = false;
};

/// Return the exit code; results go to `console.out`, a failure is one line on `console.err`.
int RunGcpImport(const GcpOptions& options, Console& console);
int RunGcpExport(const GcpOptions& options, Console& console);

void AddGcp(CLI::App& program, Action& action);

}  // namespace qvapp
