// qvprj catalog: brings a catalogue of the projects below some folders up to date.
#include "commands/Catalog.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>

#include "common/Failure.h"
#include "common/Json.h"
#include "common/Text.h"
#include "interchange/formats/GisLayers.h"

namespace qvapp {
namespace {

constexpr const char* kFooter =
    "Walks the folders and writes one row a project into the table 'projects': name, date, operator,\n"
    "coordinate system, counts, the convex hull of the images, paths, sizes and times of both files, and "
    "what\n"
    "a check found. Projects whose files have not changed are not opened again. A project that cannot be\n"
    "opened gets a row with the reason; one that is there no more is marked as gone. Projects are not "
    "changed.\n"
    "docs/gis.md lists the columns.\n"
    "\n"
    "The catalogue is a GeoPackage, which is made where it is not there, or a PostGIS database:\n"
    "'PG:host=... dbname=...'. Leave the password to ~/.pgpass or PGPASSWORD.\n"
    "\n"
    "With --json: {\"folders\", \"catalogue\", \"conventions\", \"read\": {\"folders\", \"files\", "
    "\"projects\"},\n"
    "\"written\": {\"new\", \"changed\", \"unchanged\", \"unreadable\", \"gone\"}, \"files\", "
    "\"not_carried\", \"notes\",\n"
    "\"renumbered_images\", \"renumbered_cameras\"}; the unreadable are among the new and changed.\n"
    "\n"
    "Example:\n"
    "  qvprj catalog surveys --to catalogue.gpkg";

interchange::Report Update(const CatalogCommandOptions& options, Console& console) {
  interchange::CatalogOptions catalog = options.catalog;
  catalog.check = !options.unchecked;
  catalog.project = SceneOptionsOf(options.conventions).project;
  interchange::Report report;
  Converted([&] {
    std::optional<StatusLine> status;
    report = interchange::UpdateCatalog(catalog, [&](const std::string& project) {
      status.reset();
      status.emplace(console, "Reading", project);
    });
  });
  return report;
}

}  // namespace

int RunCatalog(const CatalogCommandOptions& options, Console& console) {
  return Reported(console.err, [&] {
    const interchange::Report report = Update(options, console);
    const std::string shown = interchange::WithoutPassword(options.catalog.target);
    if (options.json) {
      Json folders = Json::array();
      for (const std::string& folder : options.catalog.folders) {
        folders.push_back(JsonText(folder));
      }
      Json document{{"folders", folders}, {"catalogue", JsonText(shown)}};
      document.update(ReportJson(report));
      PrintJson(console.out, document);
    } else {
      console.out << "Catalogued in " << Printable(shown) << ":\n";
      PrintReport(report, console.out);
    }
    return kDone;
  });
}

void AddCatalog(CLI::App& program, Action& action) {
  const auto options = std::make_shared<CatalogCommandOptions>();
  CLI::App* const command =
      program.add_subcommand("catalog", "Bring a catalogue of all projects below some folders up to date");
  command->add_option("DIR", options->catalog.folders, "the folders to walk")->required();
  command
      ->add_option("--to", options->catalog.target,
                   "the catalogue: a GeoPackage, or a connection string 'PG:...'")
      ->required()
      ->type_name("PATH|PG:...");
  command->add_flag("--no-check", options->unchecked,
                    "do not check the projects: faster, without the track files");
  AddProjectConventions(*command, options->conventions);
  command->add_flag("--json", options->json, "print one JSON document");
  command->footer(kFooter);
  command->callback(
      [options, &action] { action = [options](Console& console) { return RunCatalog(*options, console); }; });
}

}  // namespace qvapp
