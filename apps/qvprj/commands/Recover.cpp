// qvprj recover: saves what can be read of a damaged project.
#include "commands/Recover.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <utility>

#include "common/DatabaseFiles.h"
#include "common/Failure.h"
#include "common/Json.h"
#include "common/ProjectPair.h"
#include "common/Text.h"
#include "qvprj/check/Recovery.h"

namespace qvapp {
namespace {

constexpr const char* kFooter =
    "Reads every row that can still be reached and every whole record of the track file, writes them to\n"
    "a new project and tells what is lost. The damaged files are not changed. Rows below a damaged header,\n"
    "list of tables or inner page are found on the pages themselves, told as found by a scan; a page that\n"
    "may belong to several tables is not taken. Blobs of the track file whose check value holds are taken\n"
    "whole; of others the records before the damage, told as not verified. What is damaged without\n"
    "breaking the structure of a file, such as one digit of a number, cannot be told: look at the new\n"
    "project, and run 'qvprj check' on it.\n"
    "\n"
    "Exit codes: 0 all was recovered, 1 something is lost, or the work failed, 2 wrong usage, 3 nothing\n"
    "can be recovered.\n"
    "\n"
    "With --json: {\"source\", \"complete\", \"tables\": [{\"table\", \"found\", \"kept\",\n"
    "\"found_by_scan\", \"lost\", \"end_unknown\"}], \"other_tables\", \"ambiguous_pages\",\n"
    "\"track_file_state\" (\"ok\", \"damaged\" or \"missing\"), \"blobs\": [{\"blob\",\n"
    "\"verified\", \"kept\", \"claimed\"}], \"files\": {\"database\": {\"path\", \"bytes\"},\n"
    "\"track_file\": {\"path\", \"bytes\"}}}; \"end_unknown\" where more rows than \"lost\"\n"
    "tells may be lost; \"claimed\" counts the records that there were.\n"
    "\n"
    "Example:\n"
    "  qvprj recover damaged.db --out recovered.db";

const char* WordOf(qvprj::TrackFileState state) {
  switch (state) {
    case qvprj::TrackFileState::kSound:
      return "ok";
    case qvprj::TrackFileState::kDamaged:
      return "damaged";
    default:
      return "missing";
  }
}

std::string TextOf(const qvprj::TableRecovery& table) {
  if (!table.found && table.kept == 0) {
    return "missing: the new one has defaults";
  }
  std::string text = Counted(table.kept, "row", "rows");
  text += table.found_by_scan > 0 ? ", " + std::to_string(table.found_by_scan) + " found by a scan" : "";
  text += table.lost > 0 ? ", " + std::to_string(table.lost) + " lost" : "";
  return text + (table.end_unknown ? ", and maybe more at the end" : "");
}

std::string TextOf(const qvprj::BlobRecovery& blob) {
  if (blob.verified) {
    return Counted(blob.kept, "record", "records");
  }
  return Counted(blob.kept, "record", "records") + " of " + std::to_string(blob.claimed) +
         ", damaged: not verified";
}

std::string TextOf(qvprj::TrackFileState state) {
  return state == qvprj::TrackFileState::kMissing
             ? "missing: there were no tie points to recover"
             : "header or directory damaged: blobs that are not listed are lost";
}

void PrintAsText(const RecoverOptions& options, const qvprj::RecoveryReport& report, std::ostream& out) {
  out << "Recovered " << Printable(options.damaged) << ":\n";
  using enum Table::Align;
  Table table({kLeft, kLeft});
  for (const qvprj::TableRecovery& recovery : report.tables) {
    table.Add({recovery.table, TextOf(recovery)});
  }
  for (const std::string& other : report.other_tables) {
    table.Add({other, "no table of a project: not taken over"});
  }
  if (report.ambiguous_pages > 0) {
    table.Add({Counted(report.ambiguous_pages, "page", "pages"),
               "with rows that may belong to several tables: not taken"});
  }
  for (const qvprj::BlobRecovery& recovery : report.blobs) {
    table.Add({recovery.blob, TextOf(recovery)});
  }
  if (report.tracks != qvprj::TrackFileState::kSound) {
    table.Add({"track file", TextOf(report.tracks)});
  }
  table.Print(out, "  ");
  out << Printable(report.database) << ": "
      << (report.IsComplete() ? "all was recovered" : "something is lost, as listed") << '\n';
}

void PrintAsJson(const RecoverOptions& options, const qvprj::RecoveryReport& report, std::ostream& out) {
  Json tables = Json::array();
  for (const qvprj::TableRecovery& table : report.tables) {
    tables.push_back({{"table", table.table},
                      {"found", table.found},
                      {"kept", table.kept},
                      {"found_by_scan", table.found_by_scan},
                      {"lost", table.lost},
                      {"end_unknown", table.end_unknown}});
  }
  Json others = Json::array();
  for (const std::string& other : report.other_tables) {
    others.push_back(JsonText(other));
  }
  Json blobs = Json::array();
  for (const qvprj::BlobRecovery& blob : report.blobs) {
    blobs.push_back(
        {{"blob", blob.blob}, {"verified", blob.verified}, {"kept", blob.kept}, {"claimed", blob.claimed}});
  }
  PrintJson(out, {{"source", JsonText(options.damaged)},
                  {"complete", report.IsComplete()},
                  {"tables", std::move(tables)},
                  {"other_tables", std::move(others)},
                  {"ambiguous_pages", report.ambiguous_pages},
                  {"track_file_state", WordOf(report.tracks)},
                  {"blobs", std::move(blobs)},
                  {"files", JsonFiles({report.database, report.track_file})}});
}

qvprj::RecoveryReport Recover(const RecoverOptions& options, Console& console) {
  RequireProjectName(options.out);
  const ProjectPair target = PairOf(options.out);
  RequireApart(target, options.damaged);
  RequireApart(target, PairOf(options.damaged).track_file);
  RequireFree(target, options.force);
  const StatusLine status(console, "Recovering", options.damaged);
  qvprj::RecoveryReport report;
  if (qvprj::RecoverProject(options.damaged, options.out, report)) {
    return report;
  }
  if (report.IsEmpty()) {
    throw Failure(options.damaged, "nothing can be recovered: not one row and not one record can be read",
                  "restore it from a backup", kNoProject);
  }
  throw Failure(options.out,
                "cannot be written: " + WhyNotWritable(options.out, FileBytes(options.damaged).value_or(0)),
                "make room, or choose another place; what was there is as it was");
}

}  // namespace

int RunRecover(const RecoverOptions& options, Console& console) {
  return Reported(console.err, [&] {
    const qvprj::RecoveryReport report = Recover(options, console);
    const auto print = options.json ? PrintAsJson : PrintAsText;
    print(options, report, console.out);
    return report.IsComplete() ? kDone : kFailed;
  });
}

void AddRecover(CLI::App& program, Action& action) {
  const auto options = std::make_shared<RecoverOptions>();
  CLI::App* const command = program.add_subcommand("recover", "Save what can be read of a damaged project");
  command->add_option("DAMAGED.db", options->damaged, "the damaged project; it is not changed")->required();
  command->add_option("--out", options->out, "the new project; its track file comes beside it")
      ->type_name("NEW.db")
      ->required();
  command->add_flag("--force", options->force, "replace a project that is there already");
  command->add_flag("--json", options->json, "print one JSON document");
  command->footer(kFooter);
  command->callback(
      [options, &action] { action = [options](Console& console) { return RunRecover(*options, console); }; });
}

}  // namespace qvapp
