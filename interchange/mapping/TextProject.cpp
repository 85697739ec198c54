// Between projects and texts with one image a line.
#include "interchange/mapping/TextProject.h"

#include <algorithm>
#include <numbers>
#include <unordered_map>

#include "interchange/Failure.h"
#include "interchange/formats/OdmText.h"
#include "interchange/formats/OrientationText.h"
#include "interchange/mapping/GroundControl.h"
#include "interchange/mapping/OpenSfmProject.h"
#include "interchange/mapping/Scene.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

/// The coordinates of the files that are written for a project: in the system that is asked for, its own, or
/// degrees.
FileCoordinates CoordinatesFor(const ProjectFrame& frame, const TextOptions& options) {
  if (options.crs) {
    return FileCoordinates::Of(*options.crs, "--crs", options.order);
  }
  if (frame.IsCartesian()) {
    return {};
  }
  return frame.System() ? FileCoordinates::Of(NameOfSystem(frame.System()), "the project", options.order)
                        : FileCoordinates::Degrees(options.order);
}

/// The axes that omega, phi, kappa of a file refer to: those of a grid, or north.
WorldFrame AxesOf(const FileCoordinates& coordinates) {
  return coordinates.IsRelated() && !coordinates.IsGeographic() && coordinates.Code() >= 0
             ? WorldFrame::Grid(SystemOfCode(std::to_string(coordinates.Code())), {})
             : WorldFrame::Cartesian({});
}

YawPitchRoll DegreesOf(const YawPitchRoll& angles, double pitchAtNadir) {
  return {angles.yaw / kDegree, angles.pitch / kDegree + pitchAtNadir, angles.roll / kDegree};
}

void RequireImages(const qvprj::QvProject& project) {
  if (project.GetImageInfoSet().Size() == 0) {
    throw Failure("the project", "has no images, so that there is nothing to write", "import a flight first");
  }
}

OrientationLine LineOf(const ProjectFrame& frame, const FileCoordinates& coordinates, const WorldFrame& axes,
                       const qvfd::ImageInfo& image, const std::string& name, TextKind kind,
                       double pitchAtNadir) {
  const Geodetic position = frame.PositionOf(frame.EopOf(image));
  const auto inFile = coordinates.FromGlobe(position);
  if (!inFile) {
    throw Failure("image " + std::to_string(image.Id()),
                  "its position cannot be converted to " + coordinates.Description(),
                  "choose another coordinate system with --crs");
  }
  OrientationLine line{name, inFile->x, inFile->y, inFile->z, {}, true, {}, {}};
  const Matrix3 local = frame.LocalRotationOf(image);
  if (kind == TextKind::kOpk) {
    const Opk angles = OpkOf(axes.FromLocalAxes(position) * local);
    line.angles[0] = angles.omega / kDegree;
    line.angles[1] = angles.phi / kDegree;
    line.angles[2] = angles.kappa / kDegree;
  } else {
    const YawPitchRoll angles = DegreesOf(YawPitchRollOf(local), pitchAtNadir);
    line.angles[0] = angles.yaw;
    line.angles[1] = angles.pitch;
    line.angles[2] = angles.roll;
  }
  return line;
}

std::vector<OrientationLine> LinesOf(qvprj::QvProject& project, const ProjectFrame& frame,
                                     const FileCoordinates& coordinates, TextKind kind, double pitchAtNadir,
                                     Report& report) {
  const WorldFrame axes = AxesOf(coordinates);
  const std::vector<std::string> names = UniqueNames(project.GetImageInfoSet(), report);
  std::vector<OrientationLine> lines;
  for (const qvfd::ImageInfo& image : project.GetImageInfoSet()) {
    lines.push_back(LineOf(frame, coordinates, axes, image, names[lines.size()], kind, pitchAtNadir));
  }
  return lines;
}

std::string AnglesText(TextKind kind, const FileCoordinates& coordinates, double pitchAtNadir) {
  if (kind == TextKind::kYpr) {
    return "yaw clockwise from north, pitch " + TextOf(pitchAtNadir) + " straight down, roll, in degrees";
  }
  return std::string("omega, phi, kappa in degrees against ") +
         (coordinates.IsRelated() && !coordinates.IsGeographic() ? "the grid of " + coordinates.Header()
          : coordinates.IsRelated()                              ? "north"
                                                                 : "the axes of the coordinates");
}

/// Adds an image at a position, with both its orientations by what the file knows.
void AddImage(const std::string& name, const ProjectFrame::Orientations& orientations, bool adjusted,
              qvfd::ImageInfoSet& images) {
  images.AddImage(images.Size() + 1, name, name, orientations.as_flown, 0, 0, true);
  if (adjusted) {
    images.GetImage(images.Size() - 1)->Update(orientations.adjusted);
  }
}

void TakeCameras(const std::vector<qvfd::CameraInfo>& cameras, qvprj::QvProject& project, Report& report) {
  qvfd::CameraInfoSet set;
  for (const qvfd::CameraInfo& camera : cameras) {
    set.AddCamera(camera);
  }
  if (set.FindCamera(0) == nullptr) {
    report.notes.emplace_back("the images refer to camera 0, which --camera FILE.json adds");
  }
  project.SetCameraInfoSet(set);
}

std::size_t Accuracies(const std::vector<OrientationLine>& lines) {
  return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [](const OrientationLine& line) {
    return line.horizontal_accuracy || line.vertical_accuracy;
  }));
}

/// The images of lines, in a project whose coordinate id is set.
qvfd::ImageInfoSet ImagesOf(const std::vector<OrientationLine>& lines, TextKind kind,
                            const FileCoordinates& coordinates, const ProjectFrame& frame,
                            double pitchAtNadir) {
  const WorldFrame axes = AxesOf(coordinates);
  qvfd::ImageInfoSet images;
  for (const OrientationLine& line : lines) {
    const auto position = coordinates.ToGlobe({line.x, line.y, line.z});
    if (!position) {
      throw Failure("image " + line.name,
                    "its position cannot be converted from " + coordinates.Description(),
                    "check --crs and the order of the coordinates");
    }
    const double a = line.angles[0] * kDegree;
    const double b = line.angles[1] * kDegree;
    const double c = line.angles[2] * kDegree;
    Matrix3 local = Identity();
    if (kind == TextKind::kOpk) {
      local = Transposed(axes.FromLocalAxes(*position)) * MatrixOf(Opk{a, b, c});
    } else if (line.has_angles) {
      local = MatrixOf(YawPitchRoll{a, b - pitchAtNadir * kDegree, c});
    }
    AddImage(line.name, frame.OrientationsAt(*position, local), kind == TextKind::kOpk, images);
  }
  return images;
}

std::optional<std::string> FileIn(const std::string& folder, const char* name) {
  const std::string path = PathIn(folder, name);
  return IsFile(path) ? std::optional(path) : std::nullopt;
}

bool HasReconstruction(const std::string& folder) {
  return FileIn(folder, "reconstruction.json") || FileIn(PathIn(folder, "opensfm"), "reconstruction.json");
}

/// Positions as flown, by image name, into the images that a reconstruction has given.
void TakeFlown(const qvfd::ImageInfoSet& flown, qvfd::ImageInfoSet& images, Report& report) {
  std::unordered_map<std::string, const qvfd::ImageInfo*> byName;
  for (const qvfd::ImageInfo& image : flown) {
    byName.emplace(image.Name(), &image);
  }
  std::size_t taken = 0;
  for (qvfd::ImageInfo& image : images) {
    const auto found = byName.find(image.Name());
    if (found != byName.end()) {
      image.SetEOP(found->second->GetEOP());
      ++taken;
    }
  }
  report.Lose(byName.size() - taken, "positions of images that the reconstruction does not have");
}

}  // namespace

Report ExportText(qvprj::QvProject& project, const std::string& path, TextKind kind,
                  const TextOptions& options) {
  Report report;
  RequireImages(project);
  const ProjectFrame frame(project, options.project);
  const FileCoordinates coordinates = CoordinatesFor(frame, options);
  const double pitch = options.project.pitch_at_nadir;
  const std::vector<OrientationLine> lines = LinesOf(project, frame, coordinates, kind, pitch, report);
  kind == TextKind::kOpk ? WriteOpkText(path, lines) : WriteYprText(path, lines);
  report.files = {path};
  frame.Describe(project, report);
  report.Use("coordinates written", coordinates.Description());
  report.Use("angles written", AnglesText(kind, coordinates, pitch));
  report.read = {{"images", lines.size()}};
  report.written = {{"lines", lines.size()}};
  report.Lose(static_cast<std::size_t>(project.GetCameraInfoSet().Size()), "cameras");
  report.Lose(project.GetFeatures().size(), "images' features");
  report.Lose(project.GetTracks().size(), "tie points");
  TellWhatScenesLack(project, true, report);
  return report;
}

Report ImportText(const std::string& path, TextKind kind, const TextOptions& options,
                  const std::vector<qvfd::CameraInfo>& cameras, qvprj::QvProject& project) {
  Report report;
  const std::vector<OrientationLine> lines = kind == TextKind::kOpk ? ReadOpkText(path) : ReadYprText(path);
  if (lines.empty()) {
    throw Failure(path, "holds no image", "check that it is the right file");
  }
  const FileCoordinates coordinates =
      options.crs ? FileCoordinates::Of(*options.crs, "--crs", options.order) : FileCoordinates();
  const bool projected = coordinates.IsRelated() && !coordinates.IsGeographic();
  project.GetPrjInfo().coordinate_id = projected ? coordinates.Code() : -1;
  ProjectOptions made = options.project;
  made.positions = coordinates.IsRelated() ? Positions::kDegrees : Positions::kCartesian;
  const ProjectFrame frame(project, made);
  project.SetImageInfoSet(ImagesOf(lines, kind, coordinates, frame, options.project.pitch_at_nadir));
  TakeCameras(cameras, project, report);
  report.Use("coordinates read", coordinates.Description());
  report.Use("angles read", AnglesText(kind, coordinates, options.project.pitch_at_nadir));
  report.Use("heights", "stored as they are");
  report.read = {{"lines", lines.size()}};
  report.written = {{"images", lines.size()}, {"cameras", cameras.size()}};
  report.Lose(Accuracies(lines), "accuracies of positions");
  if (!options.crs) {
    report.notes.emplace_back("without --crs positions are kept as they are in the file");
  }
  return report;
}

Report ExportOdm(qvprj::QvProject& project, const std::string& folder, const TextOptions& options) {
  Report report;
  RequireImages(project);
  const ProjectFrame frame(project, options.project);
  if (frame.IsCartesian()) {
    throw Failure("the project",
                  "lies in a frame that nothing relates to the globe, and geo.txt has to name a system",
                  "give it a coordinate system");
  }
  const FileCoordinates coordinates = CoordinatesFor(frame, options);
  const double pitch = options.project.pitch_at_nadir;
  GeoText text;
  text.system = coordinates.Header();
  text.images = LinesOf(project, frame, coordinates, TextKind::kYpr, pitch, report);
  // Angles that are zeros in all images are not known.
  const bool angles = std::any_of(project.GetImageInfoSet().begin(), project.GetImageInfoSet().end(),
                                  [&](const qvfd::ImageInfo& image) {
                                    const qvfd::EOP& eop = frame.EopOf(image);
                                    return eop.omega != 0.0 || eop.phi != 0.0 || eop.kappa != 0.0;
                                  });
  for (OrientationLine& line : text.images) {
    line.has_angles = angles;
  }
  text.has_height.assign(text.images.size(), true);
  MakeFolder(folder);
  report.files = {PathIn(folder, "geo.txt")};
  WriteGeoText(report.files[0], text);
  frame.Describe(project, report);
  report.Use("coordinates written", coordinates.Description());
  report.Use("angles written", angles ? AnglesText(TextKind::kYpr, coordinates, pitch)
                                      : "none: those of the project are all 0");
  report.read = {{"images", text.images.size()}};
  report.written = {{"images", text.images.size()}};
  std::vector<int> points;
  project.GetGroundControl().ground_points.GetPointIndex(points);
  if (!points.empty()) {
    GroundControlOptions control;
    control.crs = options.crs;
    control.project = options.project;
    const Report made = ExportGroundControl(project, PathIn(folder, "gcp_list.txt"), control);
    report.files.insert(report.files.end(), made.files.begin(), made.files.end());
    report.written.insert(report.written.end(), made.written.begin(), made.written.end());
    report.not_carried.insert(report.not_carried.end(), made.not_carried.begin(), made.not_carried.end());
  }
  report.Lose(static_cast<std::size_t>(project.GetCameraInfoSet().Size()), "cameras");
  report.Lose(project.GetTracks().size(), "tie points: '--to opensfm' writes them");
  TellWhatIsNowhere(project, report);
  return report;
}

Report ImportOdm(const std::string& path, const TextOptions& options,
                 const std::vector<qvfd::CameraInfo>& cameras, qvprj::QvProject& project) {
  const bool folder = IsFolder(path);
  const auto geo = folder ? FileIn(path, "geo.txt") : std::optional(path);
  const auto gcp = folder ? FileIn(path, "gcp_list.txt") : std::nullopt;
  const bool reconstruction = folder && HasReconstruction(path);
  if (!geo && !reconstruction) {
    throw Failure(path, "holds neither a geo.txt nor a reconstruction.json",
                  "name a geo.txt, or the folder of a project");
  }
  Report report;
  if (reconstruction) {
    SceneOptions scene;
    scene.project = options.project;
    report = ImportOpenSfm(path, {options.crs, {}, options.project.geoid_height}, scene, project);
  }
  if (geo) {
    const GeoText text = ReadGeoText(*geo);
    const FileCoordinates coordinates = FileCoordinates::Of(text.system, *geo);
    if (!reconstruction) {
      const bool projected = !coordinates.IsGeographic() && coordinates.Code() >= 0;
      project.GetPrjInfo().coordinate_id = options.crs ? SystemOfCode(*options.crs).id
                                           : projected ? coordinates.Code()
                                                       : -1;
    }
    ProjectOptions made = options.project;
    made.positions = Positions::kDegrees;
    const ProjectFrame frame(project, made);
    const qvfd::ImageInfoSet images =
        ImagesOf(text.images, TextKind::kYpr, coordinates, frame, options.project.pitch_at_nadir);
    if (reconstruction) {
      TakeFlown(images, project.GetImageInfoSet(), report);
    } else {
      project.SetImageInfoSet(images);
      TakeCameras(cameras, project, report);
      report.written.emplace_back("images", text.images.size());
    }
    report.read.emplace_back("lines of geo.txt", text.images.size());
    report.Use("coordinates read", coordinates.Description());
    report.Use("angles read", AnglesText(TextKind::kYpr, coordinates, options.project.pitch_at_nadir));
    report.Use("heights", "stored as they are");
    report.Lose(Accuracies(text.images), "accuracies of positions");
    report.Lose(static_cast<std::size_t>(std::count(text.has_height.begin(), text.has_height.end(), false)),
                "heights that geo.txt does not have: they are 0");
  }
  if (gcp) {
    GroundControlOptions control;
    control.project.positions = Positions::kDegrees;
    const Report made = ImportGroundControl(*gcp, control, project);
    report.read.insert(report.read.end(), made.read.begin(), made.read.end());
    report.written.insert(report.written.end(), made.written.begin(), made.written.end());
    report.not_carried.insert(report.not_carried.end(), made.not_carried.begin(), made.not_carried.end());
  }
  return report;
}

}  // namespace interchange
