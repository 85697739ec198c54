// A project as the programs of computer vision see one: pinhole cameras in pixels, poses in one metric frame,
// points in space with the image points that show them. COLMAP, OpenSfM and Bundler are written from it and
// read into it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interchange/Report.h"
#include "interchange/project/PixelCamera.h"
#include "interchange/project/WorldFrame.h"
#include "qvprj/project/QvProject.h"

namespace interchange {

/// Where (0, 0) is in the pixel positions of a project.
enum class PixelOrigin {
  kCorner,  ///< the corner of the image; the middle of the first pixel is (0.5, 0.5)
  kCentre,  ///< the middle of the first pixel
};

/// How a project is read, or written, by the conversions over a scene.
struct SceneOptions {
  ProjectOptions project;
  PrincipalPoint principal_point = PrincipalPoint::kMillimetres;
  PixelOrigin pixel_origin = PixelOrigin::kCorner;
};

struct SceneCamera {
  int id = 0;  ///< in the project
  std::string name;
  PixelCamera camera;
};

struct SceneImage {
  int id = 0;                 ///< in the project
  std::string name;           ///< of its file; unique in a scene that was made of a project
  std::size_t camera = 0;     ///< position among the cameras
  std::optional<Pose> pose;   ///< none of an image that is not oriented: a scene of a project has none
  std::vector<Pixel> points;  ///< the features in their order, then what only tracks have; from the corner
};

struct ScenePoint {
  struct Element {
    std::uint32_t image = 0;  ///< position among the images
    std::uint32_t point = 0;  ///< position among the points of that image
  };
  Vector3 position;
  std::vector<Element> track;
};

struct Scene {
  std::vector<SceneCamera> cameras;
  std::vector<SceneImage> images;
  std::vector<ScenePoint> points;
};

/// Names for the images of a project, in their order, no two the same: the name, or that of the file where
/// there is none, or the id; with the id behind it where another image has it. Tells the report of those it
/// made.
[[nodiscard]] std::vector<std::string> UniqueNames(const qvfd::ImageInfoSet& images, Report& report);

/// The scene of a project in a frame. Throws `Failure` when the project has no images, when two have one id,
/// when an image refers to a camera that is not there, or its position cannot be converted. Tells `report`
/// what was taken for granted, read, and not carried. The project is not changed.
[[nodiscard]] Scene SceneOf(qvprj::QvProject& project, const ProjectFrame& frame, const WorldFrame& world,
                            const SceneOptions& options, Report& report);

/// What of a project no format of another program holds: project information, paths that are not the names, strips.
void TellWhatIsNowhere(const qvprj::QvProject& project, Report& report);

/// What of a project no scene holds: as flown orientations, strips, ground control, matches, and so on.
void TellWhatScenesLack(qvprj::QvProject& project, bool matchesToo, Report& report);

/// Puts a scene in place of the cameras, images, features and tracks of a project, in the frame that its
/// coordinate id has already. Both orientations of an image are its pose: as flown in navigation angles,
/// adjusted in omega, phi, kappa. Images without a pose get zeros, which the report tells. Throws `Failure`
/// when a position cannot be converted; the project is then as it was.
void TakeScene(const Scene& scene, const ProjectFrame& frame, const WorldFrame& world,
               const SceneOptions& options, qvprj::QvProject& project, Report& report);

/// The mean distance in pixels of a point's image points from where the cameras see it; none where it lies
/// behind one.
[[nodiscard]] std::optional<double> ReprojectionError(const Scene& scene, const ScenePoint& point);

}  // namespace interchange
