// qvprj, the program: a table of its subcommands.
#include <clocale>

#include "commands/Check.h"
#include "commands/Copy.h"
#include "commands/Crs.h"
#include "commands/Export.h"
#include "commands/Gcp.h"
#include "commands/Import.h"
#include "commands/Info.h"
#include "commands/Missions.h"
#include "commands/Recover.h"
#include "commands/Set.h"
#include "commands/Transform.h"
#include "common/Program.h"

int main(int argc, char** argv) {
  // Texts are in the user's encoding; numbers stay as they are written everywhere.
  std::setlocale(LC_CTYPE, "");
  return qvapp::RunProcess(
      argc, argv,
      {qvapp::AddMissions, qvapp::AddImport, qvapp::AddInfo, qvapp::AddCheck, qvapp::AddSet, qvapp::AddCrs,
       qvapp::AddTransform, qvapp::AddExport, qvapp::AddGcp, qvapp::AddCopy, qvapp::AddRecover});
}
