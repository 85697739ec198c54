// qvprj recover: saves what can be read of a damaged project.
#pragma once

#include <string>

#include "common/Program.h"

namespace qvapp {

struct RecoverOptions {
  std::string damaged;
  std::string out;
  bool force = false;
  bool json = false;
};

int RunRecover(const RecoverOptions& options, Console& console);

void AddRecover(CLI::App& program, Action& action);

}  // namespace qvapp
