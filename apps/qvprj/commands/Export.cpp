// qvprj export: a project in the files of another program.
#include "commands/Export.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <system_error>

#include "common/Failure.h"
#include "common/Json.h"
#include "common/ProjectPair.h"
#include "common/SaveProject.h"
#include "common/Text.h"
#include "interchange/mapping/BundlerProject.h"
#include "interchange/mapping/ColmapProject.h"
#include "interchange/mapping/GisProject.h"
#include "interchange/mapping/OpenSfmProject.h"
#include "interchange/mapping/TextProject.h"

namespace fs = std::filesystem;

namespace qvapp {
namespace {

using interchange::Report;
using interchange::SceneOptions;

constexpr const char* kFooter =
    "Each prints the conventions that it used for angles, axes, heights and pixels, and what the other\n"
    "format cannot hold; docs/conventions.md derives them, and docs/gis.md has the layers of gpkg, shp, "
    "fgb,\n"
    "geojson, kml and postgis. Those are in the project's coordinate system, or --crs; geojson and kml in\n"
    "WGS 84 degrees always.\n"
    "\n"
    "With --json: {\"project\", \"to\", \"conventions\": {...}, \"read\": {...}, \"written\": {...}, "
    "\"files\",\n"
    "\"not_carried\", \"notes\", \"renumbered_images\": [{\"from\", \"to\"}], \"renumbered_cameras\"}.\n"
    "\n"
    "Example:\n"
    "  qvprj export survey.db --to colmap sparse/0\n"
    "  qvprj export survey.db --to gpkg survey.gpkg --ground 35\n"
    "  qvprj export survey.db --to postgis 'PG:dbname=surveys active_schema=north'";

/// What there is in the way of an export.
enum class Target {
  kFolder,
  kFile,
  kDatabase,  // a connection string
};

struct Kind {
  const char* name;
  const char* what;
  Target target;
  Report (*write)(qvprj::QvProject& project, const ExportOptions& options, const SceneOptions& scene);
};

Report ToColmap(qvprj::QvProject& project, const ExportOptions& options, const SceneOptions& scene) {
  return interchange::ExportColmapModel(project, options.path, interchange::ColmapForm::kBinary, scene);
}

Report ToColmapText(qvprj::QvProject& project, const ExportOptions& options, const SceneOptions& scene) {
  return interchange::ExportColmapModel(project, options.path, interchange::ColmapForm::kText, scene);
}

Report ToColmapDatabase(qvprj::QvProject& project, const ExportOptions& options, const SceneOptions& scene) {
  return interchange::ExportColmapDatabase(project, options.path, scene);
}

Report ToOpenSfm(qvprj::QvProject& project, const ExportOptions& options, const SceneOptions& scene) {
  return interchange::ExportOpenSfm(project, options.path, scene);
}

Report ToBundler(qvprj::QvProject& project, const ExportOptions& options, const SceneOptions& scene) {
  return interchange::ExportBundler(project, options.path, {scene, options.approximate});
}

interchange::TextOptions TextOptionsOf(const ExportOptions& options, const SceneOptions& scene) {
  interchange::TextOptions made;
  made.crs = options.crs;
  made.order = AxisOrderOf(options.conventions);
  made.project = scene.project;
  return made;
}

Report ToOdm(qvprj::QvProject& project, const ExportOptions& options, const SceneOptions& scene) {
  return interchange::ExportOdm(project, options.path, TextOptionsOf(options, scene));
}

Report ToOpk(qvprj::QvProject& project, const ExportOptions& options, const SceneOptions& scene) {
  return interchange::ExportText(project, options.path, interchange::TextKind::kOpk,
                                 TextOptionsOf(options, scene));
}

Report ToYpr(qvprj::QvProject& project, const ExportOptions& options, const SceneOptions& scene) {
  return interchange::ExportText(project, options.path, interchange::TextKind::kYpr,
                                 TextOptionsOf(options, scene));
}

template <interchange::GisFormat kFormat>
Report ToGis(qvprj::QvProject& project, const ExportOptions& options, const SceneOptions& scene) {
  interchange::GisOptions gis = options.gis;
  gis.scene = scene;
  gis.crs = options.crs;
  return interchange::ExportGis(project, kFormat, options.path, options.force, gis);
}

constexpr std::array kKinds = {
    Kind{"colmap", "COLMAP sparse model, a folder", Target::kFolder, ToColmap},
    Kind{"colmap-txt", "the same as text", Target::kFolder, ToColmapText},
    Kind{"colmap-db", "COLMAP database of features and matches, a file", Target::kFile, ToColmapDatabase},
    Kind{"opensfm", "OpenSfM reconstruction.json and tracks.csv, a folder", Target::kFolder, ToOpenSfm},
    Kind{"odm", "OpenDroneMap geo.txt and gcp_list.txt, a folder", Target::kFolder, ToOdm},
    Kind{"bundler", "Bundler bundle.out and list.txt, a folder", Target::kFolder, ToBundler},
    Kind{"opk", "omega, phi, kappa as text, a file", Target::kFile, ToOpk},
    Kind{"ypr", "yaw, pitch, roll as a table, a file", Target::kFile, ToYpr},
    Kind{"gpkg", "GeoPackage of layers", Target::kFile, ToGis<interchange::GisFormat::kGeoPackage>},
    Kind{"shp", "shapefiles, a folder", Target::kFolder, ToGis<interchange::GisFormat::kShapefile>},
    Kind{"fgb", "FlatGeobuf files, a folder", Target::kFolder, ToGis<interchange::GisFormat::kFlatGeobuf>},
    Kind{"geojson", "GeoJSON files, a folder", Target::kFolder, ToGis<interchange::GisFormat::kGeoJson>},
    Kind{"kml", "KML with a folder a layer", Target::kFile, ToGis<interchange::GisFormat::kKml>},
    Kind{"postgis", "tables in PostGIS; PATH is 'PG:host=... dbname=...'", Target::kDatabase,
         ToGis<interchange::GisFormat::kPostgis>},
};

const Kind& KindOf(const std::string& name) {
  const auto* const kind =
      std::find_if(kKinds.begin(), kKinds.end(), [&](const Kind& k) { return name == k.name; });
  if (kind == kKinds.end()) {
    throw Failure("--to", "'" + name + "' is not known", "see 'qvprj export --help'", kWrongUsage);
  }
  return *kind;
}

/// Throws when something is at `path` that an export must not touch.
void RequireRoom(const Kind& kind, const ExportOptions& options) {
  if (kind.target == Target::kDatabase || interchange::IsConnection(options.path)) {
    if (kind.target != Target::kDatabase || !interchange::IsConnection(options.path)) {
      throw Failure(interchange::WithoutPassword(options.path), std::string("is no place for ") + kind.name,
                    "a connection string ('PG:...') goes with --to postgis, a path with the others",
                    kWrongUsage);
    }
    return;
  }
  const ProjectPair pair = PairOf(options.project);
  RequireApart(pair, options.path);
  std::error_code error;
  const bool isFile = kind.target != Target::kFolder;
  const bool taken = isFile ? fs::exists(options.path, error)
                            : fs::exists(options.path, error) && !(fs::is_directory(options.path, error) &&
                                                                   fs::is_empty(options.path, error));
  if (!taken) {
    return;
  }
  if (!options.force) {
    throw Failure(options.path, isFile ? "exists already" : "exists already and is not empty",
                  "use --force to replace files in it");
  }
  if (isFile && !fs::is_regular_file(options.path, error)) {
    throw Failure(options.path, "is no file", "choose another name");
  }
}

}  // namespace

std::vector<std::string> ExportKinds() {
  std::vector<std::string> names;
  names.reserve(kKinds.size());
  for (const Kind& kind : kKinds) {
    names.emplace_back(kind.name);
  }
  return names;
}

int RunExport(const ExportOptions& options, Console& console) {
  return Reported(console.err, [&] {
    const Kind& kind = KindOf(options.to);
    qvprj::QvProject project;
    OpenProject(options.project, project, console);
    RequireRoom(kind, options);
    Report report;
    {
      const StatusLine status(console, "Writing", interchange::WithoutPassword(options.path));
      Converted([&] { report = kind.write(project, options, SceneOptionsOf(options.conventions)); });
    }
    if (options.json) {
      Json document{{"project", JsonText(options.project)}, {"to", options.to}};
      document.update(ReportJson(report));
      PrintJson(console.out, document);
    } else {
      console.out << "Exported " << Printable(options.project) << " (" << options.to << "):\n";
      PrintReport(report, console.out);
    }
    return kDone;
  });
}

void AddExport(CLI::App& program, Action& action) {
  const auto options = std::make_shared<ExportOptions>();
  CLI::App* const command =
      program.add_subcommand("export", "Write a project in the files of another program");
  command->add_option("SURVEY.db", options->project, "the project")->required();
  std::string kinds;
  for (const Kind& kind : kKinds) {
    kinds += std::string(kinds.empty() ? "" : "; ") + kind.name + ": " + kind.what;
  }
  command->add_option("--to", options->to, kinds)->required()->type_name("FORMAT");
  command->add_option("PATH", options->path, "where to")->required();
  command
      ->add_option("--crs", options->crs,
                   "layers, odm, opk, ypr: the coordinate system to write, instead of the project's")
      ->type_name("CODE");
  AddProjectConventions(*command, options->conventions);
  AddPixelConventions(*command, options->conventions);
  command
      ->add_option("--ground", options->gis.ground,
                   "layers: height of the ground, for the footprints; otherwise the median height of the tie "
                   "points, or of the ground points, or the flying height below each image")
      ->type_name("METRES");
  command
      ->add_option("--check-type", options->gis.check_type,
                   "layers: the type of ground points that are check points (1)")
      ->type_name("N");
  command->add_flag("--tie-points", options->gis.tie_points, "layers: write the tie points too");
  AddAxisOrder(*command, options->conventions);
  command->add_flag("--approximate", options->approximate,
                    "bundler: leave out what it has no place for, instead of refusing the camera");
  command->add_flag("--force", options->force, "replace files that are there already");
  command->add_flag("--json", options->json, "print one JSON document");
  command->footer(kFooter);
  command->callback(
      [options, &action] { action = [options](Console& console) { return RunExport(*options, console); }; });
}

}  // namespace qvapp
