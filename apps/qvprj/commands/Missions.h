// qvprj missions: what a flight database holds.
#pragma once

#include <string>

#include "common/Program.h"

namespace qvapp {

struct MissionsOptions {
  std::string flight;
  bool json = false;
};

int RunMissions(const MissionsOptions& options, Console& console);

void AddMissions(CLI::App& program, Action& action);

}  // namespace qvapp
