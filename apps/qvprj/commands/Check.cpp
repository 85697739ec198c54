// qvprj check: tells whether a project is whole.
#include "commands/Check.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <utility>

#include "common/DatabaseFiles.h"
#include "common/Failure.h"
#include "common/Json.h"
#include "common/Text.h"
#include "qvprj/check/ProjectCheck.h"

namespace qvapp {
namespace {

constexpr const char* kFooter =
    "Looks at the database as a file, its tables, columns and numbers, at ids and what refers to them, and "
    "at\n"
    "the check values and records of the track file. Changes nothing. Each finding is a line: an error "
    "where\n"
    "something is lost or means something else than it should, a warning otherwise. The first ten of a kind\n"
    "are listed, the others counted. The row of a table is its row id; records of the track file count from\n"
    "1.\n"
    "\n"
    "Exit codes: 0 sound, 1 something was found, 2 wrong usage, 3 not a project.\n"
    "\n"
    "With --json: {\"file\", \"sound\", \"errors\", \"warnings\", \"findings\": [{\"severity\" (\"error\" or "
    "\"warning\"),\n"
    "\"kind\", \"file\", \"table\", \"blob\", \"record\", \"text\", \"more\"}], \"counts\": {\"cameras\", "
    "\"images\",\n"
    "\"control_points\", \"control_point_measurements\", \"features\": {\"images\", \"points\"}, "
    "\"matches\": {\"pairs\",\n"
    "\"matches\"}, \"tracks\", \"observations\"}}; \"more\" counts further findings of the kind, null stands "
    "for\n"
    "a table, blob or record that there is not.\n"
    "\n"
    "Example:\n"
    "  qvprj check survey.db";

const char* WordOf(qvprj::Severity severity) {
  return severity == qvprj::Severity::kError ? "error" : "warning";
}

/// "data_image row 7: ", or as much of it as is known.
std::string PlaceOf(const qvprj::Finding& finding) {
  const bool isInTable = !finding.table.empty();
  std::string place = isInTable ? finding.table : finding.blob;
  if (place.empty()) {
    return place;
  }
  if (finding.record) {
    place += (isInTable ? " row " : " record ") + std::to_string(*finding.record);
  }
  return place + ": ";
}

std::string Contents(const qvprj::ProjectCounts& counts) {
  return Counted(counts.images, "image", "images") + ", " + Counted(counts.cameras, "camera", "cameras") +
         ", " + Counted(counts.ground_points, "control point", "control points") + ", " +
         Counted(counts.features, "feature", "features") + ", " +
         Counted(counts.matches, "match", "matches") + ", " + Counted(counts.tracks, "track", "tracks");
}

std::string Verdict(const qvprj::ProjectReport& report) {
  if (report.IsSound()) {
    return "sound: " + Contents(report.counts);
  }
  return Counted(report.errors + report.warnings, "finding", "findings") + " (" +
         Counted(report.errors, "error", "errors") + ", " + Counted(report.warnings, "warning", "warnings") +
         ")";
}

void PrintAsText(const qvprj::ProjectReport& report, std::ostream& out) {
  using enum Table::Align;
  Table table({kLeft, kLeft, kLeft});
  for (const qvprj::Finding& finding : report.findings) {
    const std::string severity = WordOf(finding.severity);
    table.Add({severity, finding.file, PlaceOf(finding) + finding.text});
    if (finding.more > 0) {
      const std::string& place = finding.table.empty() ? finding.blob : finding.table;
      table.Add({severity, finding.file,
                 (place.empty() ? "" : place + ": ") + "and " + std::to_string(finding.more) +
                     " more of this kind"});
    }
  }
  table.Print(out, "");
  out << Printable(report.database) << ": " << Verdict(report) << '\n';
}

Json TextOrNull(const std::string& text) {
  return text.empty() ? Json(nullptr) : JsonText(text);
}

Json FindingJson(const qvprj::Finding& finding) {
  return {{"severity", WordOf(finding.severity)},
          {"kind", finding.kind},
          {"file", JsonText(finding.file)},
          {"table", TextOrNull(finding.table)},
          {"blob", TextOrNull(finding.blob)},
          {"record", finding.record ? Json(*finding.record) : Json(nullptr)},
          {"text", JsonText(finding.text)},
          {"more", finding.more}};
}

void PrintAsJson(const qvprj::ProjectReport& report, std::ostream& out) {
  Json findings = Json::array();
  for (const qvprj::Finding& finding : report.findings) {
    findings.push_back(FindingJson(finding));
  }
  const qvprj::ProjectCounts& counts = report.counts;
  PrintJson(out, {{"file", JsonText(report.database)},
                  {"sound", report.IsSound()},
                  {"errors", report.errors},
                  {"warnings", report.warnings},
                  {"findings", std::move(findings)},
                  {"counts",
                   {{"cameras", counts.cameras},
                    {"images", counts.images},
                    {"control_points", counts.ground_points},
                    {"control_point_measurements", counts.measurements},
                    {"features", {{"images", counts.feature_images}, {"points", counts.features}}},
                    {"matches", {{"pairs", counts.match_pairs}, {"matches", counts.matches}}},
                    {"tracks", counts.tracks},
                    {"observations", counts.observations}}}});
}

[[noreturn]] void ThrowWhyNoProject(const std::string& path) {
  try {
    ThrowWhyNotProject(path);
  } catch (const Failure& reason) {
    throw reason.With(kNoProject);
  }
}

qvprj::ProjectReport Check(const CheckOptions& options, Console& console) {
  const StatusLine status(console, "Checking", options.project);
  qvprj::ProjectReport report;
  if (!qvprj::CheckProject(options.project, report)) {
    ThrowWhyNoProject(options.project);
  }
  return report;
}

}  // namespace

int RunCheck(const CheckOptions& options, Console& console) {
  return Reported(console.err, [&] {
    const qvprj::ProjectReport report = Check(options, console);
    const auto print = options.json ? PrintAsJson : PrintAsText;
    print(report, console.out);
    return report.IsSound() ? kDone : kFailed;
  });
}

void AddCheck(CLI::App& program, Action& action) {
  const auto options = std::make_shared<CheckOptions>();
  CLI::App* const command = program.add_subcommand("check", "Tell whether a project is whole");
  command->add_option("SURVEY.db", options->project, "the project")->required();
  command->add_flag("--json", options->json, "print one JSON document");
  command->footer(kFooter);
  command->callback(
      [options, &action] { action = [options](Console& console) { return RunCheck(*options, console); }; });
}

}  // namespace qvapp
