// qvprj info: what a project holds.
#pragma once

#include <string>

#include "common/Program.h"

namespace qvapp {

struct InfoOptions {
  std::string project;
  bool json = false;
};

int RunInfo(const InfoOptions& options, Console& console);

void AddInfo(CLI::App& program, Action& action);

}  // namespace qvapp
