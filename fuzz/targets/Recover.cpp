// A damaged project, looked at and recovered. The first two bytes of an input say how long its first part is (the
// lower 14 bits) and which file it is: the track file, or what a program that was killed while it wrote has left
// beside the database, a journal or a write-ahead log; or it is the track file, and the header of the database is
// lost. The rest is the database.

#include <array>
#include <filesystem>

#include "Target.h"
#include "qvprj/check/ProjectCheck.h"
#include "qvprj/check/Recovery.h"
#include "support/Folder.h"
#include "support/Memory.h"
#include "support/ProjectChecks.h"
#include "support/ProjectCompare.h"

namespace {

using fuzz::Bytes;
using fuzz::Require;

constexpr unsigned kLostHeader = 3;

/// What is in the folder besides the recovered project.
std::vector<std::string> SourceIn(const fuzz::Folder& folder) {
  std::vector<std::string> contents = folder.Contents();
  std::erase_if(contents, [](const std::string& entry) { return entry.starts_with("new/"); });
  return contents;
}

/// What a recovered project has to be, whatever it was recovered from.
qvprj::QvProject RequireRecovered(const std::string& path, const qvprj::RecoveryReport& report) {
  qvprj::ProjectReport check;
  Require(qvprj::CheckProject(path, check), "what was recovered is a project");
  const auto isBroken = [](const qvprj::Finding& finding) {
    return finding.kind == "integrity" || finding.kind == "missing-table" ||
           finding.kind == "unreadable-table" || finding.kind == "no-container" ||
           finding.kind == "check-value" || finding.kind == "other-stamp";
  };
  Require(std::none_of(check.findings.begin(), check.findings.end(), isBroken),
          "the files of what was recovered are whole");
  qvprj::QvProject project;
  Require(project.OpenPrj(path), "what was recovered opens");
  for (const qvprj::TableRecovery& table : report.tables) {
    Require(table.found_by_scan <= table.kept, "rows that were found are kept");
    Require(table.table != "data_image" ||
                table.kept == static_cast<std::size_t>(project.GetImageInfoSet().Size()),
            "every row of an image that is kept is an image");
  }
  return project;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const auto head = input.Value<std::uint16_t>();
  const unsigned kind = head >> 14U;
  const Bytes sibling = input.Take(head & 0x3FFFU);
  Bytes database = input.Rest();
  if (kind == kLostHeader) {
    constexpr std::size_t kHeaderSize = 100;
    std::fill_n(database.begin(), std::min(database.size(), kHeaderSize), std::uint8_t{0});
  }
  const fuzz::Folder& folder = fuzz::EmptyFolder();
  const std::string path = folder.File("p.db");
  fuzz::WriteFile(path, database);
  constexpr std::array kSiblings = {"p.gb", "p.db-wal", "p.db-journal", "p.gb"};
  fuzz::WriteFile(folder.File(kSiblings[kind]), sibling);
  std::filesystem::create_directory(folder.File("new"));
  const std::vector<std::string> before = folder.Contents();
  const std::vector<std::string> source = SourceIn(folder);

  qvprj::ProjectReport check;
  bool checked = false;
  {
    const fuzz::MemoryWatch memory(database.size() + sibling.size());
    checked = qvprj::CheckProject(path, check);
  }
  Require(folder.Contents() == before, "a check changes no file and makes none");

  const std::string target = folder.File("new/n.db");
  qvprj::RecoveryReport report;
  bool recovered = false;
  {
    const fuzz::MemoryWatch memory(database.size() + sibling.size());
    recovered = qvprj::RecoverProject(path, target, report);
  }
  Require(SourceIn(folder) == source, "a recovery changes no file of what it reads");
  Require(recovered != report.IsEmpty(), "a recovery fails where there is nothing to recover");
  if (!recovered) {
    Require(folder.Contents() == before, "a recovery of nothing makes no file");
    return 0;
  }
  qvprj::QvProject project = RequireRecovered(target, report);
  if (checked && check.IsSound()) {
    Require(report.IsComplete(), "a sound project is recovered completely");
    qvprj::QvProject sound;
    Require(sound.OpenPrj(path), "a sound project opens");
    sound.GetPrjInfo().file_path = project.GetPrjInfo().file_path;
    const std::string difference = support::FirstDifference(sound, project);
    Require(difference.empty(), "a sound project is recovered as it is: " + difference);
  }
  fuzz::RequireSavesAndOpensTheSame(project, folder.File("new"), "saved");
  return 0;
}
