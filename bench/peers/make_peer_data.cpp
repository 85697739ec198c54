// The same project in every way that is compared.
//
// COLMAP's binary model, all little-endian, without padding:
//   cameras.bin    u64 count, each: u32 camera id, i32 model (1: PINHOLE), u64 width, u64 height,
//                  f64 fx fy cx cy
//   images.bin     u64 count, each: u32 image id, f64 qw qx qy qz, f64 tx ty tz, u32 camera id, name and a
//                  NUL, u64 points, each: f64 x y, u64 point id
//   points3D.bin   u64 count, each: u64 point id, f64 x y z, u8 r g b, f64 error, u64 elements of the track,
//                  each: u32 image id, u32 index among the points of the image

#include <bit>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "Peers.h"
#include "Workloads.h"
#include "support/ProjectBuilder.h"

namespace peers {
namespace {

static_assert(std::endian::native == std::endian::little);

class BinaryFile {
 public:
  explicit BinaryFile(const std::filesystem::path& path)
      : path_(path.string()), file_(path, std::ios::binary) {}

  template <class... Values>
  void Add(Values... values) {
    (file_.write(reinterpret_cast<const char*>(&values), sizeof values), ...);
  }
  void AddText(const std::string& text) {
    file_.write(text.c_str(), static_cast<std::streamsize>(text.size() + 1));
  }
  void Close() { Require(static_cast<bool>(file_.flush()), path_ + " cannot be written"); }

 private:
  std::string path_;
  std::ofstream file_;
};

/// Where a track is seen in an image.
struct ImagePoint {
  double x;
  double y;
  std::uint64_t point;
};

/// The turn about the vector of three angles, as a unit quaternion: any turn does.
void AddRotation(BinaryFile& file, const qvfd::EOP& eop) {
  const double angle = std::hypot(eop.omega, eop.phi, eop.kappa);
  const double scale = angle > 0.0 ? std::sin(angle / 2.0) / angle : 0.0;
  file.Add(std::cos(angle / 2.0), scale * eop.omega, scale * eop.phi, scale * eop.kappa);
}

void WriteCameras(const qvfd::CameraInfoSet& cameras, const std::filesystem::path& path) {
  constexpr std::int32_t kPinhole = 1;
  BinaryFile file(path);
  file.Add(static_cast<std::uint64_t>(cameras.Size()));
  for (int i = 0; i < cameras.Size(); ++i) {
    const qvfd::CameraInfo& camera = *cameras.GetCamera(i);
    file.Add(static_cast<std::uint32_t>(camera.id), kPinhole, static_cast<std::uint64_t>(camera.width),
             static_cast<std::uint64_t>(camera.height), camera.focallength / camera.pixel_size_x,
             camera.focallength / camera.pixel_size_y, camera.width / 2.0, camera.height / 2.0);
  }
  file.Close();
}

}  // namespace

void WriteColmapModel(qvprj::QvProject& project, const std::string& folder) {
  const std::filesystem::path base(folder);
  std::filesystem::create_directories(base);
  WriteCameras(project.GetCameraInfoSet(), base / "cameras.bin");

  const qvprj::QvProject::Tracks& tracks = project.GetTracks();
  std::map<int, std::vector<ImagePoint>> imagePoints;
  support::Random random(1);
  BinaryFile points(base / "points3D.bin");
  points.Add(static_cast<std::uint64_t>(tracks.size()));
  std::uint64_t id = 0;
  for (const qvfd::Track& track : tracks) {
    const auto colour = static_cast<std::uint32_t>(random.Next());
    points.Add(++id, track.x, track.y, track.z, static_cast<std::uint8_t>(colour),
               static_cast<std::uint8_t>(colour >> 8U), static_cast<std::uint8_t>(colour >> 16U),
               random.Between(0.0, 2.0), static_cast<std::uint64_t>(track.observations.size()));
    for (const qvfd::TrackObservation& observation : track.observations) {
      auto& image = imagePoints[observation.image_id];
      points.Add(static_cast<std::uint32_t>(observation.image_id), static_cast<std::uint32_t>(image.size()));
      image.push_back({observation.x, observation.y, id});
    }
  }
  points.Close();

  const qvfd::ImageInfoSet& images = project.GetImageInfoSet();
  BinaryFile file(base / "images.bin");
  file.Add(static_cast<std::uint64_t>(images.Size()));
  for (const qvfd::ImageInfo& image : images) {
    const qvfd::EOP& eop = image.GetUpdatedEOP();
    file.Add(static_cast<std::uint32_t>(image.Id()));
    AddRotation(file, eop);
    file.Add(eop.x, eop.y, eop.z, static_cast<std::uint32_t>(images.FindImageExt(image.Id())->camera_id));
    file.AddText(image.Name());
    const std::vector<ImagePoint>& seen = imagePoints[image.Id()];
    file.Add(static_cast<std::uint64_t>(seen.size()));
    for (const ImagePoint& point : seen) {
      file.Add(point.x, point.y, point.point);
    }
  }
  file.Close();
}

void MakePeerData(const std::string& folder, bool tiny) {
  const std::filesystem::path base(folder);
  std::filesystem::create_directories(base);
  qvprj::QvProject project = support::BuildProject(bench::ShapeM({tiny}));
  Require(project.Save((base / "survey.db").string()), "saving the project");
  WriteColmapModel(project, (base / "colmap").string());
  const TiePoints points{std::move(project.GetFeatures()), std::move(project.GetMatches()),
                         std::move(project.GetTracks())};
  WriteJson(points, (base / "tie_points.json").string());
  WriteCsv(points, (base / "csv").string());
}

}  // namespace peers
