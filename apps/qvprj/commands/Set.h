// qvprj set: changes what a project says of itself.
#pragma once

#include <optional>
#include <string>

#include "common/Program.h"

namespace qvapp {

/// What is not given stays as it is.
struct SetOptions {
  std::string project;
  std::optional<std::string> crs;  ///< a code, or "none"
  std::optional<std::string> name;
  std::optional<std::string> operator_name;
  std::optional<std::string> description;
  bool json = false;
};

int RunSet(const SetOptions& options, Console& console);

void AddSet(CLI::App& program, Action& action);

}  // namespace qvapp
