// A project of which both files are any bytes. The first two bytes of an input say how long its first part is
// (the lower 14 bits) and which file it is: the track file, or what a program that was killed while it wrote has
// left beside the database, a journal or a write-ahead log. The rest is the database.

#include <array>

#include "Target.h"
#include "qvprj/project/QvProject.h"
#include "support/Folder.h"
#include "support/Memory.h"
#include "support/ProjectChecks.h"

namespace {

using fuzz::Bytes;
using fuzz::Require;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const auto head = input.Value<std::uint16_t>();
  const Bytes sibling = input.Take(head & 0x3FFFU);
  const Bytes database = input.Rest();
  const fuzz::Folder& folder = fuzz::EmptyFolder();
  fuzz::WriteFile(folder.File("p.db"), database);
  constexpr std::array kSiblings = {"p.gb", "p.db-wal", "p.db-journal", "p.gb"};
  fuzz::WriteFile(folder.File(kSiblings[head >> 14U]), sibling);
  const std::vector<std::string> before = folder.Contents();

  qvprj::QvProject project;
  qvprj::QvProject quick;
  bool opened = false;
  {
    const fuzz::MemoryWatch memory(database.size() + sibling.size());
    opened = project.OpenPrj(folder.File("p.db"));
    // Whether it succeeds too is not for us to say: what the engine makes of a damaged page can depend on what
    // was in memory before.
    static_cast<void>(quick.QuickOpenPrj(folder.File("p.db")));
  }
  Require(folder.Contents() == before, "opening changes no file and makes none");
  if (opened) {
    fuzz::RequireSavesAndOpensTheSame(project, folder.Path(), "saved");
  }
  return 0;
}
