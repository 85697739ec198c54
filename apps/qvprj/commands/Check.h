// qvprj check: tells whether a project is whole.
#pragma once

#include <string>

#include "common/Program.h"

namespace qvapp {

struct CheckOptions {
  std::string project;
  bool json = false;
};

int RunCheck(const CheckOptions& options, Console& console);

void AddCheck(CLI::App& program, Action& action);

}  // namespace qvapp
