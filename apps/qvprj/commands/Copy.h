// qvprj copy: a second pair of files.
#pragma once

#include <string>

#include "common/Program.h"

namespace qvapp {

struct CopyOptions {
  std::string source;
  std::string target;
  bool force = false;
  bool json = false;
};

int RunCopy(const CopyOptions& options, Console& console);

void AddCopy(CLI::App& program, Action& action);

}  // namespace qvapp
