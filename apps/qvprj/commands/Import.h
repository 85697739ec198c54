// qvprj import: one mission of a flight database becomes a saved project.
#pragma once

#include <optional>
#include <string>

#include "common/Program.h"

namespace qvapp {

struct ImportOptions {
  std::string flight;
  std::string mission;  ///< an id, "latest", or a name
  std::string out;
  std::string operator_name;
  std::optional<std::string> camera_file;
  std::optional<std::string> crs;
  bool force = false;
  bool json = false;
};

int RunImport(const ImportOptions& options, Console& console);

void AddImport(CLI::App& program, Action& action);

}  // namespace qvapp
