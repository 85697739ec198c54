// qvprj transform: positions to and from a project's coordinate system.
#pragma once

#include <string>

#include "common/Program.h"

namespace qvapp {

struct TransformOptions {
  std::string project;
  bool to_local = false;
  bool from_local = false;
  bool images = false;  ///< the project's images instead of the points in `Console::in`
  bool json = false;
};

int RunTransform(const TransformOptions& options, Console& console);

void AddTransform(CLI::App& program, Action& action);

}  // namespace qvapp
