// Saving what an import made, so that it is known to open again.
#pragma once

#include "common/Console.h"
#include "common/ProjectPair.h"
#include "qvprj/project/QvProject.h"

namespace qvapp {

/// Puts the project in place of `pair`, once the new one is safe on the disk and has been opened again.
/// Throws a `Failure` otherwise; what was there before is untouched then.
void SaveAndCheck(const ProjectPair& pair, qvprj::QvProject& project, Console& console);

}  // namespace qvapp
