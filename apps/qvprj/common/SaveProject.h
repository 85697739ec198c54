// Opening a project that a command reads, and saving what an import made, so that it is known to open again.
#pragma once

#include <string>

#include "common/Console.h"
#include "common/ProjectPair.h"
#include "qvprj/project/QvProject.h"

namespace qvapp {

/// Opens the project at `path` as a whole. Throws a `Failure` that says why it cannot be.
void OpenProject(const std::string& path, qvprj::QvProject& project, Console& console);

/// Puts the project in place of `pair`, once the new one is safe on the disk and has been opened again.
/// Throws a `Failure` otherwise; what was there before is untouched then.
void SaveAndCheck(const ProjectPair& pair, qvprj::QvProject& project, Console& console);

}  // namespace qvapp
