// qvprj import: one mission of a flight database becomes a saved project.
#include "commands/Import.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "commands/ImportFrom.h"
#include "common/CameraFile.h"
#include "common/CoordinateSystem.h"
#include "common/DatabaseFiles.h"
#include "common/Failure.h"
#include "common/Interchange.h"
#include "common/Json.h"
#include "common/Missions.h"
#include "common/ProjectPair.h"
#include "common/ProjectRecord.h"
#include "common/SaveProject.h"
#include "common/Text.h"

namespace qvapp {
namespace {

constexpr const char* kFooter =
    "The flight database knows no camera: the images refer to camera 0, which --camera adds. The file\n"
    "holds one JSON object, or an array of them, with width and height in pixels, ccdwidth, ccdheight\n"
    "and focallength in millimetres, and, where they are known, id (0), name, x0, y0, distortion_type,\n"
    "k1, k2, k3, p1, p2, alpha, beta, n1, n2, n3.\n"
    "\n"
    "With --from PATH is a file or a folder of another program: see docs/conventions.md. With --json it "
    "prints\n"
    "{\"from\", \"path\", \"conventions\": {...}, \"read\", \"written\", \"files\", \"not_carried\", "
    "\"notes\", ...}.\n"
    "\n"
    "With --crs the project has a coordinate system, for example EPSG:32650; 'qvprj crs find' finds its\n"
    "code, and 'qvprj set' gives a project another one. Positions are stored as degrees all the same.\n"
    "\n"
    "With --photos the photos in a folder are tied to the mission's positions, by position, the number in\n"
    "the file name, or order; the images get names, paths, cameras and strips. What is ambiguous is\n"
    "refused; docs/photos.md says how it works. --from photos makes a project of the photos alone.\n"
    "\n"
    "With --json: {\"flight\", \"mission\": {\"id\", \"name\", \"project\", \"project_id\", \"created\"},\n"
    "\"images\", \"cameras\", \"missing_camera_id\", \"coordinate_id\", \"coordinate_name\",\n"
    "\"unconvertible_images\", \"files\": {\"database\": {\"path\", \"bytes\"}, \"track_file\": {\"path\",\n"
    "\"bytes\"}}}; \"missing_camera_id\" is null where the camera is there, \"coordinate_id\" and\n"
    "\"coordinate_name\" without --crs. \"unconvertible_images\" counts the images whose position cannot be\n"
    "converted to the coordinate system. With --photos also \"photos\": {\"folder\", \"conventions\",\n"
    "\"read\", \"written\", \"notes\", \"decisions\": [{\"photo\", \"record\", \"tied_by\", \"distance_m\",\n"
    "\"seconds\", \"reason\"}], ...}.\n"
    "\n"
    "Example:\n"
    "  qvprj import flight.db --mission latest --out survey.db --operator 'A. Surveyor'";

/// What every imported image refers to.
constexpr int kImportedCamera = 0;

struct Result {
  Mission mission;
  ProjectPair pair;
  int images = 0;
  int cameras = 0;
  bool camera_missing = false;
  std::optional<qvfd::CoordinateInfo> system;
  int unconvertible_images = 0;
  std::optional<interchange::Report> photos;
};

void RequireRightUsage(const ImportOptions& options) {
  RequireProjectName(options.out);
  const ProjectPair pair = PairOf(options.out);
  RequireApart(pair, options.flight);
  if (options.camera_file) {
    RequireApart(pair, *options.camera_file);
  }
  RequireReportApart(options.photo_options, pair, {options.flight});
  RequireKept("--operator", "name", options.operator_name, kOperatorCapacity);
}

void AddHostsPart(const ImportOptions& options, const std::vector<qvfd::CameraInfo>& cameras,
                  const std::optional<qvfd::CoordinateInfo>& system, qvprj::QvProject& project) {
  qvprj::PrjInfo& record = project.GetPrjInfo();
  project.string2char(record.operator_name, kOperatorCapacity + 1, options.operator_name);
  record.coordinate_id = system ? system->id : kNoCoordinateSystem;
  for (const qvfd::CameraInfo& camera : cameras) {
    project.GetCameraInfoSet().AddCamera(camera);
  }
}

Result Import(const ImportOptions& options, Console& console) {
  RequireRightUsage(options);
  const auto system = options.crs ? std::optional(CoordinateOfCode(*options.crs)) : std::nullopt;
  RequireDatabase(options.flight, DatabaseKind::kFlight);
  const auto cameras =
      options.camera_file ? ReadCameraFile(*options.camera_file) : std::vector<qvfd::CameraInfo>();
  const ProjectPair pair = PairOf(options.out);
  RequireFree(pair, options.force);

  qvprj::QvProject project;
  Mission mission;
  {
    const StatusLine status(console, "Reading", options.flight);
    const std::vector<Mission> missions = ListMissions(options.flight);
    mission = ChooseMission(options.flight, missions, options.mission);
    ReadMission(options.flight, mission, project);
  }
  AddHostsPart(options, cameras, system, project);
  Result result;
  if (options.photos) {
    const StatusLine status(console, "Reading", *options.photos);
    Converted([&] {
      result.photos = interchange::AddPhotos(
          PhotoOptionsOf(options.photo_options, *options.photos, options.out), project);
    });
  }
  SaveAndCheck(pair, project, console);

  result.mission = std::move(mission);
  result.pair = pair;
  result.images = project.GetImageInfoSet().Size();
  result.cameras = project.GetCameraInfoSet().Size();
  result.camera_missing =
      result.images > 0 && project.GetCameraInfoSet().FindCamera(kImportedCamera) == nullptr;
  result.system = system;
  result.unconvertible_images = system ? CountUnconvertible(project.GetImageInfoSet(), *system) : 0;
  return result;
}

void PrintAsJson(const ImportOptions& options, const Result& result, std::ostream& out) {
  const Mission& mission = result.mission;
  Json document = {
      {"flight", JsonText(options.flight)},
      {"mission",
       {{"id", JsonText(mission.id)},
        {"name", JsonText(mission.flight_task_name)},
        {"project", mission.project_name.empty() ? Json(nullptr) : JsonText(mission.project_name)},
        {"project_id", JsonText(mission.project_id)},
        {"created", JsonText(mission.created_at)}}},
      {"images", result.images},
      {"cameras", result.cameras},
      {"missing_camera_id", result.camera_missing ? Json(kImportedCamera) : Json(nullptr)},
      {"coordinate_id", result.system ? Json(result.system->id) : Json(nullptr)},
      {"coordinate_name", result.system ? JsonText(qvfd::DisplayName(*result.system)) : Json(nullptr)},
      {"unconvertible_images", result.unconvertible_images},
      {"files", JsonFiles(result.pair)}};
  if (result.photos) {
    document["photos"] = {{"folder", JsonText(*options.photos)}};
    document["photos"].update(ReportJson(*result.photos));
  }
  PrintJson(out, document);
}

void PrintAsText(const ImportOptions& options, const Result& result, std::ostream& out) {
  const Mission& mission = result.mission;
  out << "Imported from " << Printable(options.flight) << ":\n";
  using enum Table::Align;
  Table table({kLeft, kLeft});
  table.Add({"mission", mission.flight_task_name + " (" + mission.id + ")"});
  table.Add({"created", mission.created_at});
  table.Add({"images", std::to_string(result.images)});
  table.Add({"cameras", std::to_string(result.cameras)});
  if (result.system) {
    table.Add({"coordinate system", CoordinateText(result.system->id)});
  }
  for (const std::string& file : {result.pair.database, result.pair.track_file}) {
    table.Add({"file", file + ", " + std::to_string(FileBytes(file).value_or(0)) + " bytes"});
  }
  table.Print(out, "  ");
  if (result.photos) {
    out << "Photos of " << Printable(*options.photos) << ":\n";
    PrintReport(*result.photos, out);
  }
  if (result.camera_missing) {
    out << "The images refer to camera " << kImportedCamera
        << ", which is not in the project yet. To add it, import with --camera FILE.json\n"
           "(see 'qvprj import --help').\n";
  }
  if (result.unconvertible_images > 0) {
    out << "The position of "
        << Counted(static_cast<std::size_t>(result.unconvertible_images), "image", "images")
        << " cannot be converted to " << CodeOf(*result.system)
        << ". To give the project another\ncoordinate system, see 'qvprj set --help'.\n";
  }
}

}  // namespace

int RunImport(const ImportOptions& options, Console& console) {
  return Reported(console.err, [&] {
    const Result result = Import(options, console);
    const auto print = options.json ? PrintAsJson : PrintAsText;
    print(options, result, console.out);
    return kDone;
  });
}

void AddImport(CLI::App& program, Action& action) {
  const auto options = std::make_shared<ImportOptions>();
  const auto other = std::make_shared<ImportFromOptions>();
  CLI::App* const command = program.add_subcommand(
      "import", "Make a project of a mission of a flight database, or of another program's files");
  command
      ->add_option(
          "FLIGHT.db", options->flight,
          "the database that the flight controller left behind; with --from, the file or folder to read")
      ->required();
  CLI::Option* const mission =
      command
          ->add_option(
              "--mission", options->mission,
              "which mission: its id, 'latest', or its name when no other has it; required of a flight")
          ->type_name("ID|NAME|latest");
  command->add_option("--out", options->out, "the project to make; its track file SURVEY.gb comes beside it")
      ->required()
      ->type_name("SURVEY.db");
  command->add_option("--operator", options->operator_name, "who flew, at most 63 bytes")->type_name("NAME");
  command->add_option("--camera", options->camera_file, "the camera, or cameras, to add")
      ->type_name("FILE.json");
  command->add_option("--crs", options->crs, "the project's coordinate system, for example EPSG:32650")
      ->type_name("CODE");
  CLI::Option* const photos =
      command
          ->add_option("--photos", options->photos,
                       "the folder of the photos that belong to the mission, which get tied to its positions")
          ->type_name("DIR");
  AddPhotoOptions(*command, options->photo_options);
  command->add_flag("--force", options->force, "replace a project that is there already");
  command->add_flag("--json", options->json, "print one JSON document");

  CLI::Option* const from = command->add_option("--from", other->kind, "read the files of another program");
  from->check(CLI::IsMember(ImportKinds()))->type_name("FORMAT")->excludes(mission)->excludes(photos);
  command->add_option("--offset", other->offset, "what was taken off the coordinates")
      ->type_name("X,Y,Z")
      ->needs(from);
  command
      ->add_option("--database", other->database,
                   "colmap: the database whose features and matches belong to the model")
      ->type_name("FILE.db")
      ->needs(from);
  command
      ->add_option("--log", other->log,
                   "photos: a table or a log of positions, to be used in place of the photos' own")
      ->type_name("FILE")
      ->needs(from);
  command
      ->add_option(
          "--columns", other->columns,
          "photos: which columns of the table are name, index, time, date, lon, lat, x, y, height, yaw, "
          "pitch, roll, by their names or numbers")
      ->type_name("lon=COLUMN,...")
      ->needs(from);
  AddFileConventions(*command, other->conventions);
  AddPixelConventions(*command, other->conventions);
  AddAxisOrder(*command, other->conventions);
  command->footer(kFooter);
  command->callback([options, other, mission, from, &action] {
    const bool ties = options->photo_options.report || options->photo_options.tie != "any" ||
                      options->photo_options.leave_ambiguous || options->photo_options.distance;
    if (ties && !options->photos && other->kind != "photos") {
      throw CLI::RequiredError(
          "--report, --tie, --leave-ambiguous and --photo-distance: --photos or --from photos");
    }
    if ((other->log || !other->columns.empty()) && other->kind != "photos") {
      throw CLI::RequiredError("--log and --columns: --from photos");
    }
    if (from->count() == 0) {
      if (mission->count() == 0) {
        throw CLI::RequiredError("--mission");
      }
      action = [options](Console& console) { return RunImport(*options, console); };
      return;
    }
    other->path = options->flight;
    other->photo_options = options->photo_options;
    other->out = options->out;
    other->crs = options->crs;
    other->camera_file = options->camera_file;
    other->operator_name = options->operator_name;
    other->force = options->force;
    other->json = options->json;
    action = [other](Console& console) { return RunImportFrom(*other, console); };
  });
}

}  // namespace qvapp
