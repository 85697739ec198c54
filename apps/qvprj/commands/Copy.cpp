// qvprj copy: a second pair of files.
#include "commands/Copy.h"

#include <CLI/CLI.hpp>
#include <array>
#include <fstream>
#include <memory>
#include <string_view>
#include <tuple>
#include <vector>

#include "common/DatabaseFiles.h"
#include "common/Failure.h"
#include "common/Json.h"
#include "common/ProjectPair.h"
#include "common/Text.h"
#include "qvfd/PathHelper.h"
#include "qvprj/project/QvProject.h"
#include "qvsql/Database.h"
#include "qvsql/SideFiles.h"

namespace qvapp {
namespace {

constexpr const char* kFooter =
    "With --json: {\"source\", \"files\": {\"database\": {\"path\", \"bytes\"}, \"track_file\": {\"path\",\n"
    "\"bytes\"}}}; \"bytes\" of the track file is null where the source has none.\n"
    "\n"
    "Example:\n"
    "  qvprj copy survey.db backup/survey.db";

/// The library copies in silence, so the copy is looked at: the same bytes, or no file where there was none.
bool IsSameContent(const std::string& source, const std::string& target) {
  if (FileBytes(source) != FileBytes(target)) {
    return false;
  }
  if (!qvfd::PathHelper::IsFileExisted(source)) {
    return true;
  }
  std::ifstream a(source, std::ios::binary);
  std::ifstream b(target, std::ios::binary);
  std::array<char, 65536> blockA{};
  std::array<char, 65536> blockB{};
  while (a && b) {
    a.read(blockA.data(), blockA.size());
    b.read(blockB.data(), blockB.size());
    const std::string_view bytesA(blockA.data(), static_cast<std::size_t>(a.gcount()));
    const std::string_view bytesB(blockB.data(), static_cast<std::size_t>(b.gcount()));
    if (bytesA != bytesB) {
      return false;
    }
  }
  return a.eof() && b.eof();
}

/// Lets the engine undo or finish in a copy what a program that was killed had begun. False when it cannot.
bool FinishWrites(const std::string& path) {
  const std::string journal = path + qvsql::kJournalEnd;
  const std::string log = path + qvsql::kLogEnd;
  if (!FileBytes(journal) && !FileBytes(log)) {
    return true;
  }
  {
    qvsql::Database database;
    const bool finished = database.Open(path) && database.ExecSQL("BEGIN IMMEDIATE", nullptr, nullptr) &&
                          database.ExecSQL("COMMIT", nullptr, nullptr);
    if (!finished) {
      return false;
    }
  }
  // A journal that is done may be kept by the engine; a log that is left has not been written into the database.
  return !FileBytes(log) && (!FileBytes(journal) || qvfd::PathHelper::RemoveFile(journal));
}

void RequireRightUsage(const CopyOptions& options) {
  RequireProjectName(options.source);
  RequireProjectName(options.target);
  const ProjectPair target = PairOf(options.target);
  RequireApart(target, options.source);
  RequireApart(target, PairOf(options.source).track_file);
}

void CopyAndCheck(const ProjectPair& source, const ProjectPair& target, Console& console) {
  const StatusLine status(console, "Copying", source.database);
  const std::uintmax_t bytes =
      FileBytes(source.database).value_or(0) + FileBytes(source.track_file).value_or(0);
  ReplaceProject(target, bytes, [&](const ProjectPair& made) {
    qvprj::QvProject::CopyTo(source.database, made.database);
    std::vector copies = {std::tuple(source.database, made.database, target.database),
                          std::tuple(source.track_file, made.track_file, target.track_file)};
    for (const char* const suffix : qvsql::kUnfinishedWriteEnds) {
      if (FileBytes(source.database + suffix).value_or(0) > 0) {
        copies.emplace_back(source.database + suffix, made.database + suffix, target.database);
      }
    }
    for (const auto& [from, to, name] : copies) {
      if (!IsSameContent(from, to)) {
        throw Failure(
            name, "cannot be copied from " + from + ": " + WhyNotWritable(name, FileBytes(from).value_or(0)),
            "make room, or choose another place; " + WhatStays(target));
      }
    }
    if (!FinishWrites(made.database)) {
      throw Failure(source.database,
                    "was left in the middle of a write, and what is beside it cannot be finished",
                    "open it in the program that wrote it; " + WhatStays(target));
    }
  });
}

ProjectPair Copy(const CopyOptions& options, Console& console) {
  RequireRightUsage(options);
  RequireDatabase(options.source, DatabaseKind::kProject);
  if (!qvprj::QvProject().QuickOpenPrj(options.source)) {
    ThrowWhyNotProject(options.source);
  }
  ProjectPair target = PairOf(options.target);
  RequireFree(target, options.force);
  CopyAndCheck(PairOf(options.source), target, console);
  return target;
}

void PrintAsJson(const CopyOptions& options, const ProjectPair& made, std::ostream& out) {
  PrintJson(out, {{"source", JsonText(options.source)}, {"files", JsonFiles(made)}});
}

void PrintAsText(const CopyOptions& options, const ProjectPair& made, std::ostream& out) {
  out << "Copied " << Printable(options.source) << ":\n";
  using enum Table::Align;
  Table table({kLeft, kLeft});
  for (const std::string& file : {made.database, made.track_file}) {
    const auto bytes = FileBytes(file);
    table.Add({file, bytes ? std::to_string(*bytes) + " bytes" : "none: the source has no track file"});
  }
  table.Print(out, "  ");
}

}  // namespace

int RunCopy(const CopyOptions& options, Console& console) {
  return Reported(console.err, [&] {
    const ProjectPair made = Copy(options, console);
    const auto print = options.json ? PrintAsJson : PrintAsText;
    print(options, made, console.out);
    return kDone;
  });
}

void AddCopy(CLI::App& program, Action& action) {
  const auto options = std::make_shared<CopyOptions>();
  CLI::App* const command = program.add_subcommand("copy", "Copy both files of a project");
  command->add_option("A.db", options->source, "the project to copy")->required();
  command->add_option("B.db", options->target, "the copy to make; its track file B.gb comes beside it")
      ->required();
  command->add_flag("--force", options->force, "replace a project that is there already");
  command->add_flag("--json", options->json, "print one JSON document");
  command->footer(kFooter);
  command->callback(
      [options, &action] { action = [options](Console& console) { return RunCopy(*options, console); }; });
}

}  // namespace qvapp
