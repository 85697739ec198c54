// qvprj crs: which coordinate systems there are.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/Program.h"

namespace qvapp {

/// Exactly one of `words` and `survey` is given.
struct CrsFindOptions {
  std::vector<std::string> words;     ///< to be found in names, areas and codes
  std::optional<std::string> survey;  ///< a project, to find systems for the place of its images
  bool all = false;
  bool json = false;
};

int RunCrsFind(const CrsFindOptions& options, Console& console);

/// Adds "crs" with its own subcommands.
void AddCrs(CLI::App& program, Action& action);

}  // namespace qvapp
