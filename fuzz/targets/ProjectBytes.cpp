// A project of which both files are any bytes: two bytes say how long the track file is, which comes first;
// the rest is the database.

#include "Target.h"
#include "qvprj/project/QvProject.h"
#include "support/Folder.h"
#include "support/Memory.h"
#include "support/ProjectChecks.h"
#include "support/ProjectCompare.h"

namespace {

using fuzz::Bytes;
using fuzz::Require;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const Bytes trackFile = input.Take(input.Value<std::uint16_t>());
  const Bytes database = input.Rest();
  const fuzz::Folder& folder = fuzz::EmptyFolder();
  fuzz::WriteFile(folder.File("p.db"), database);
  fuzz::WriteFile(folder.File("p.gb"), trackFile);
  const std::vector<std::string> before = folder.Contents();

  qvprj::QvProject project;
  qvprj::QvProject quick;
  bool opened = false;
  bool openedQuickly = false;
  {
    const fuzz::MemoryWatch memory(database.size() + trackFile.size());
    opened = project.OpenPrj(folder.File("p.db"));
    openedQuickly = quick.QuickOpenPrj(folder.File("p.db"));
  }
  Require(folder.Contents() == before, "opening changes no file and makes none");
  Require(openedQuickly || !opened, "what opens opens quickly");
  if (openedQuickly && opened) {
    Require(support::TextOf(quick.GetPrjInfo().project_name) ==
                support::TextOf(project.GetPrjInfo().project_name),
            "a project has the same name however it is opened");
  }
  if (opened) {
    fuzz::RequireSavesAndOpensTheSame(project, folder.Path(), "saved");
  }
  return 0;
}
