// Synthetic projects of any size for tests and benchmarks. The same shape gives the same project everywhere:
// the generator is our own, since the distributions of the standard library differ between platforms.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <string>

#include "qvprj/project/QvProject.h"

namespace support {

/// A small generator of repeatable numbers (SplitMix64).
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Next() {
    std::uint64_t value = (state_ += 0x9E3779B97F4A7C15U);
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
  }

  int Below(int bound) { return static_cast<int>(Next() % static_cast<std::uint64_t>(bound)); }

  double Between(double low, double high) {
    return low + (high - low) * static_cast<double>(Next() >> 11U) * 0x1p-53;
  }

  /// Any bit pattern that is a finite number other than zero: subnormal and huge numbers as often as others.
  double AnyFinite() {
    double value = 0.0;
    do {
      value = std::bit_cast<double>(Next());
    } while (!std::isfinite(value) || value == 0.0);
    return value;
  }

  float AnyFiniteFloat() {
    float value = 0.0F;
    do {
      value = std::bit_cast<float>(static_cast<std::uint32_t>(Next()));
    } while (!std::isfinite(value) || value == 0.0F);
    return value;
  }

 private:
  std::uint64_t state_;
};

/// How large a project is and what its numbers look like.
struct ProjectShape {
  int cameras = 2;
  int images = 12;
  int first_image_id = 1;
  int image_id_step = 1;
  int ground_points = 4;
  int measurements_per_point = 3;
  int features_per_image = 20;
  int pairs = 15;
  int matches_per_pair = 8;
  int tracks = 25;
  int observations_per_track = 3;
  bool any_numbers = false;  ///< any finite bit pattern instead of numbers that a survey would have
  std::uint64_t seed = 1;
};

/// A shape with nothing in it, to start from.
inline ProjectShape Nothing() {
  ProjectShape shape;
  shape.cameras = shape.images = shape.ground_points = shape.pairs = shape.tracks = 0;
  return shape;
}

/// Copies a text with its NUL to the start of a fixed array; what does not fit is cut.
template <std::size_t N>
void SetText(char (&array)[N], const std::string& text) {
  const std::size_t count = std::min(text.size(), N - 1);
  text.copy(array, count);
  array[count] = '\0';
}

/// Makes the project that a shape describes, one kind of content after the other.
class ProjectBuilder {
 public:
  explicit ProjectBuilder(const ProjectShape& shape) : shape_(shape), random_(shape.seed) {}

  qvprj::QvProject Build() {
    qvprj::QvProject project;
    FillInfo(project.GetPrjInfo());
    FillCameras(project.GetCameraInfoSet());
    FillImages(project.GetImageInfoSet());
    FillGroundControl(project.GetGroundControl());
    if (shape_.images > 0) {
      FillFeatures(project.GetFeatures());
      FillMatches(project.GetMatches());
      FillTracks(project.GetTracks());
    }
    return project;
  }

 private:
  void FillInfo(qvprj::PrjInfo& info) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string id;
    for (int i = 0; i < 32; ++i) {
      id += kDigits[random_.Below(16)];
    }
    SetText(info.id, id);
    SetText(info.project_name, "Survey " + std::to_string(shape_.seed));
    SetText(info.operator_name, "A. Surveyor");
    SetText(info.date, "2024-05-06 07:08:09");
    SetText(info.description, "Synthetic survey with a fixed seed");
    info.height = Real(50.0, 500.0);
    info.nadir = 0;
    info.uavtype = 7;
  }

  void FillCameras(qvfd::CameraInfoSet& cameras) {
    for (int i = 0; i < shape_.cameras; ++i) {
      qvfd::CameraInfo camera;
      camera.id = i;
      camera.name = "Camera " + std::to_string(i);
      camera.width = 4000 + i;
      camera.height = 3000 + i;
      for (double* length : {&camera.ccdwidth, &camera.ccdheight, &camera.focallength}) {
        *length = Real(4.0, 40.0);
      }
      camera.x0 = Real(-0.1, 0.1);
      camera.y0 = Real(-0.1, 0.1);
      camera.distortion_type = 1 + i % 3;
      for (double& coefficient : camera.distortion) {
        coefficient = Real(-1e-3, 1e-3);
      }
      camera.pixel_size_x = camera.ccdwidth / camera.width;
      camera.pixel_size_y = camera.ccdheight / camera.height;
      cameras.AddCamera(camera);
    }
  }

  void FillImages(qvfd::ImageInfoSet& images) {
    images.Reserve(shape_.images);
    for (int i = 0; i < shape_.images; ++i) {
      const std::string name = "DJI_" + std::to_string(10000 + i) + ".JPG";
      images.AddImage(ImageId(i), name, "/survey/photos/" + name, Orientation(),
                      i % std::max(shape_.cameras, 1), 1 + i / 50, i % 7 != 3);
      if (i % 4 != 0) {  // some images were never adjusted
        images.GetImage(i)->Update(Orientation());
      }
    }
  }

  void FillGroundControl(qvgcp::GCPPrj& control) {
    for (int i = 0; i < shape_.ground_points; ++i) {
      qvgcp::GroundPoint point;
      const int id = 100 + 3 * i;
      point.name = "GCP" + std::to_string(id);
      point.x = Real(3e5, 6e5);
      point.y = Real(3e6, 4e6);
      point.z = Real(0.0, 800.0);
      point.type = i % 2;
      point.enable = i % 3 != 1;
      control.ground_points.AddPoint(id, point);
      for (int k = 0; k < std::min(shape_.measurements_per_point, shape_.images); ++k) {
        const double x = Real(0.0, 4000.0);
        const double y = Real(0.0, 3000.0);
        control.common_points.AddImagePoint(id, ImageId((i + k) % shape_.images), {x, y});
      }
    }
  }

  void FillFeatures(qvprj::QvProject::Features& features) {
    if (shape_.features_per_image < 1) {
      return;
    }
    for (int i = 0; i < shape_.images; ++i) {
      auto& points = features[ImageId(i)];
      points.resize(static_cast<std::size_t>(shape_.features_per_image));
      for (auto& point : points) {
        point.x = Pixel(4000.0);
        point.y = Pixel(3000.0);
      }
    }
  }

  /// Each image with its next neighbour, then each with the one after that, and so on.
  void FillMatches(qvprj::QvProject::Matches& matches) {
    const std::int64_t possible = std::int64_t{shape_.images} * (shape_.images - 1);
    const int pairs = static_cast<int>(std::min<std::int64_t>(shape_.pairs, possible));
    for (int p = 0; p < pairs; ++p) {
      const int left = p % shape_.images;
      const int right = (left + 1 + p / shape_.images) % shape_.images;
      auto& indices = matches[{ImageId(left), ImageId(right)}];
      indices.resize(static_cast<std::size_t>(shape_.matches_per_pair));
      for (auto& index : indices) {
        index.x = random_.Below(std::max(shape_.features_per_image, 1));
        index.y = random_.Below(std::max(shape_.features_per_image, 1));
      }
    }
  }

  void FillTracks(qvprj::QvProject::Tracks& tracks) {
    tracks.resize(static_cast<std::size_t>(shape_.tracks));
    int start = 0;
    for (auto& track : tracks) {
      track.x = Real(3e5, 6e5);
      track.y = Real(3e6, 4e6);
      track.z = Real(0.0, 800.0);
      track.observations.resize(
          static_cast<std::size_t>(std::min(shape_.observations_per_track, shape_.images)));
      int image = start++ % shape_.images;
      for (auto& observation : track.observations) {
        observation.image_id = ImageId(image++ % shape_.images);
        observation.x = Pixel(4000.0);
        observation.y = Pixel(3000.0);
      }
    }
  }

  [[nodiscard]] int ImageId(int position) const {
    return shape_.first_image_id + position * shape_.image_id_step;
  }

  qvfd::EOP Orientation() {
    qvfd::EOP eop;
    eop.x = Real(118.0, 119.0);
    eop.y = Real(31.0, 32.0);
    eop.z = Real(100.0, 900.0);
    eop.omega = Real(-0.2, 0.2);
    eop.phi = Real(-0.2, 0.2);
    eop.kappa = Real(-3.2, 3.2);
    return eop;
  }

  double Real(double low, double high) {
    return shape_.any_numbers ? random_.AnyFinite() : random_.Between(low, high);
  }

  float Pixel(double limit) {
    return shape_.any_numbers ? random_.AnyFiniteFloat() : static_cast<float>(random_.Between(0.0, limit));
  }

  ProjectShape shape_;
  Random random_;
};

inline qvprj::QvProject BuildProject(const ProjectShape& shape = {}) {
  return ProjectBuilder(shape).Build();
}

}  // namespace support
