// qvprj gcp import, qvprj gcp export: ground points from and to text files.
#include "commands/Gcp.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <system_error>

#include "common/DatabaseFiles.h"
#include "common/Failure.h"
#include "common/Json.h"
#include "common/ProjectPair.h"
#include "common/SaveProject.h"
#include "common/Text.h"
#include "interchange/mapping/GroundControl.h"
#include "qvsql/SideFiles.h"

namespace qvapp {
namespace {

using interchange::Report;

constexpr const char* kImportFooter =
    "FILE is OpenDroneMap's gcp_list.txt, whose first line names its coordinate system, or a table with the\n"
    "columns name, x, y, z and, where they are known, role (control or check), type, enabled, image, "
    "column,\n"
    "row: named in the first line, or with --columns. Points of a name that the project has are replaced.\n"
    "\n"
    "With --json: {\"project\", \"file\", \"conventions\": {...}, \"read\": {...}, \"written\": {...}, "
    "\"files\",\n"
    "\"not_carried\", \"notes\", ...}.\n"
    "\n"
    "Example:\n"
    "  qvprj gcp import survey.db points.csv --crs EPSG:32650";

constexpr const char* kExportFooter =
    "FILE is a table where its name ends in .csv, otherwise a gcp_list.txt, which holds measured points "
    "only.\n"
    "\n"
    "Example:\n"
    "  qvprj gcp export survey.db gcp_list.txt";

interchange::GroundControlOptions ControlOptionsOf(const GcpOptions& options) {
  const interchange::SceneOptions scene = SceneOptionsOf(options.conventions);
  interchange::GroundControlOptions made;
  made.crs = options.crs;
  made.order = AxisOrderOf(options.conventions);
  made.columns = options.columns;
  made.check_type = options.check_type;
  made.project = scene.project;
  made.pixel_origin = scene.pixel_origin;
  return made;
}

/// One table in place of its rows; an older one without all columns is made anew.
bool Rewrite(qvsql::Database& database, qvprj::QvProject& project, const std::string& table,
             bool (qvprj::QvProject::*create)(qvsql::Database&),
             bool (qvprj::QvProject::*write)(qvsql::Database&)) {
  const auto run = [&database](const std::string& statement) {
    return database.ExecSQL(statement, nullptr, nullptr);
  };
  if (run("DELETE FROM " + table) && (project.*write)(database)) {
    return true;
  }
  return run("DROP TABLE IF EXISTS " + table) && (project.*create)(database) && (project.*write)(database);
}

/// Puts a copy of the pair with other ground points in its place: everything else stays byte for byte.
void SaveGroundControl(const std::string& path, qvprj::QvProject& project, Console& console) {
  const StatusLine status(console, "Saving", path);
  const ProjectPair pair = PairOf(path);
  const std::uintmax_t bytes = FileBytes(pair.database).value_or(0) + FileBytes(pair.track_file).value_or(0);
  ReplaceProject(pair, bytes, [&](const ProjectPair& made) {
    std::error_code error;
    const auto copy = [&error](const std::string& from, const std::string& to) {
      if (!error && FileBytes(from)) {
        std::filesystem::copy_file(from, to, error);
      }
    };
    // With what a program that was killed in the middle of a write has left beside it, which belongs to it.
    for (const char* const suffix : {"", qvsql::kJournalEnd, qvsql::kLogEnd}) {
      copy(pair.database + suffix, made.database + suffix);
    }
    copy(pair.track_file, made.track_file);
    qvsql::Database database;
    using Project = qvprj::QvProject;
    if (error || !database.Open(made.database) ||
        !Rewrite(database, project, "data_gcp", &Project::CreateGCPTable, &Project::WriteGCPRecords) ||
        !Rewrite(database, project, "data_cp", &Project::CreateCPTable, &Project::WriteCPRecords)) {
      throw Failure(path, "cannot be saved: " + WhyNotWritable(path, bytes),
                    "make room, or choose another place; " + WhatStays(pair));
    }
  });
}

void Print(const GcpOptions& options, const char* verb, const Report& report, std::ostream& out) {
  if (options.json) {
    Json document{{"project", JsonText(options.project)}, {"file", JsonText(options.file)}};
    document.update(ReportJson(report));
    PrintJson(out, document);
    return;
  }
  out << verb << ' ' << Printable(options.file) << ":\n";
  PrintReport(report, out);
}

void AddOptions(CLI::App& command, GcpOptions& options) {
  command.add_option("SURVEY.db", options.project, "the project")->required();
  command.add_option("FILE", options.file, "the file of ground points")->required();
  command
      .add_option("--crs", options.crs,
                  "the coordinate system of the file; that of the project, or degrees, when it is not given")
      ->type_name("CODE");
  command.add_option("--check-type", options.check_type, "the type that check points have (1)")
      ->type_name("NUMBER");
  AddPositionConvention(command, options.conventions);
  command
      .add_option("--pixel-origin", options.conventions.pixel_origin,
                  "where the project's pixels count from: corner of the image (default), or centre of the "
                  "first pixel")
      ->check(CLI::IsMember({"corner", "centre"}))
      ->type_name("PLACE");
  AddAxisOrder(command, options.conventions);
  command.add_flag("--json", options.json, "print one JSON document");
}

}  // namespace

int RunGcpImport(const GcpOptions& options, Console& console) {
  return Reported(console.err, [&] {
    RequireApart(PairOf(options.project), options.file);
    qvprj::QvProject project;
    OpenProject(options.project, project, console);
    Report report;
    Converted([&] { report = ImportGroundControl(options.file, ControlOptionsOf(options), project); });
    SaveGroundControl(options.project, project, console);
    report.files = {options.project};
    Print(options, "Imported", report, console.out);
    return kDone;
  });
}

int RunGcpExport(const GcpOptions& options, Console& console) {
  return Reported(console.err, [&] {
    RequireApart(PairOf(options.project), options.file);
    qvprj::QvProject project;
    OpenProject(options.project, project, console);
    std::error_code error;
    if (!options.force && std::filesystem::exists(options.file, error)) {
      throw Failure(options.file, "exists already", "use --force to replace it");
    }
    Report report;
    Converted([&] { report = ExportGroundControl(project, options.file, ControlOptionsOf(options)); });
    Print(options, "Exported", report, console.out);
    return kDone;
  });
}

void AddGcp(CLI::App& program, Action& action) {
  CLI::App* const gcp = program.add_subcommand("gcp", "Ground points from and to text files");
  gcp->require_subcommand(1);
  gcp->footer(
      "With --json: {\"project\", \"file\", \"conventions\": {...}, ...}; see 'qvprj gcp import --help'.\n"
      "\n"
      "Example:\n"
      "  qvprj gcp import survey.db gcp_list.txt");
  const auto import = std::make_shared<GcpOptions>();
  CLI::App* const in = gcp->add_subcommand("import", "Add the ground points of a file to a project");
  AddOptions(*in, *import);
  in->add_option("--columns", import->columns,
                 "the columns of a table without a first line, for example name,y,x,z")
      ->type_name("NAMES");
  in->footer(kImportFooter);
  in->callback(
      [import, &action] { action = [import](Console& console) { return RunGcpImport(*import, console); }; });

  const auto out = std::make_shared<GcpOptions>();
  CLI::App* const to = gcp->add_subcommand("export", "Write the ground points of a project to a file");
  AddOptions(*to, *out);
  to->add_flag("--force", out->force, "replace a file that is there already");
  to->footer(kExportFooter);
  to->callback([out, &action] { action = [out](Console& console) { return RunGcpExport(*out, console); }; });
}

}  // namespace qvapp
