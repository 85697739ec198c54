// qvprj import: one mission of a flight database becomes a saved project.
#pragma once

#include <optional>
#include <string>

#include "common/PhotoOptions.h"
#include "common/Program.h"

namespace qvapp {

struct ImportOptions {
  std::string flight;
  std::string mission;  ///< an id, "latest", or a name
  std::string out;
  std::string operator_name;
  std::optional<std::string> camera_file;
  std::optional<std::string> crs;
  std::optional<std::string> photos;  ///< the folder of the photos that belong to the mission
  PhotoOptions photo_options;
  bool force = false;
  bool json = false;
};

int RunImport(const ImportOptions& options, Console& console);

void AddImport(CLI::App& program, Action& action);

}  // namespace qvapp
