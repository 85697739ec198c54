// Tells where two projects differ first.
#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qvfd/Text.h"
#include "qvprj/project/QvProject.h"

namespace support {

/// The text in a fixed array: up to its first NUL, or all of it.
template <std::size_t N>
std::string TextOf(const char (&array)[N]) {
  const std::string whole(array, N);
  return whole.substr(0, whole.find('\0'));
}

inline bool SameBits(double left, double right) {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}

inline bool SameBits(float left, float right) {
  return std::bit_cast<std::uint32_t>(left) == std::bit_cast<std::uint32_t>(right);
}

/// Compares two projects and keeps the first difference as a text.
class ProjectComparer {
 public:
  /// "images[3].updated.phi: 0.1 against 0.2"; empty when nothing differs. Numbers that blobs hold are
  /// compared bit for bit; in those that tables hold a zero has no sign, and every NaN is the same.
  static std::string FirstDifference(qvprj::QvProject& left, qvprj::QvProject& right) {
    ProjectComparer comparer;
    comparer.Info(left.GetPrjInfo(), right.GetPrjInfo());
    comparer.Cameras(left.GetCameraInfoSet(), right.GetCameraInfoSet());
    comparer.Images(left.GetImageInfoSet(), right.GetImageInfoSet());
    comparer.GroundControl(left.GetGroundControl(), right.GetGroundControl());
    comparer.Features(left.GetFeatures(), right.GetFeatures());
    comparer.Matches(left.GetMatches(), right.GetMatches());
    comparer.Tracks(left.GetTracks(), right.GetTracks());
    return comparer.difference_;
  }

 private:
  static std::string Show(double value) { return qvfd::ToString<double>(value); }
  static std::string Show(int value) { return std::to_string(value); }
  static std::string Show(std::size_t value) { return std::to_string(value); }
  static std::string Show(const std::string& value) { return "'" + value + "'"; }

  template <class T>
  void Found(const std::string& where, const T& left, const T& right) {
    if (difference_.empty()) {
      difference_ = where + ": " + Show(left) + " against " + Show(right);
    }
  }

  template <class T>
  void Equal(const std::string& where, const T& left, const T& right) {
    if (!(left == right)) {
      Found(where, left, right);
    }
  }

  void Number(const std::string& where, double left, double right) {
    if (!(left == right || (std::isnan(left) && std::isnan(right)))) {
      Found(where, left, right);
    }
  }

  void Info(const qvprj::PrjInfo& left, const qvprj::PrjInfo& right) {
    Equal("id", TextOf(left.id), TextOf(right.id));
    Equal("coordinate_id", left.coordinate_id, right.coordinate_id);
    Equal("nadir", left.nadir, right.nadir);
    Equal("project_name", TextOf(left.project_name), TextOf(right.project_name));
    Equal("operator_name", TextOf(left.operator_name), TextOf(right.operator_name));
    Equal("date", TextOf(left.date), TextOf(right.date));
    Equal("description", TextOf(left.description), TextOf(right.description));
    Number("height", left.height, right.height);
    Equal("uavtype", left.uavtype, right.uavtype);
    Equal("file_path", left.file_path, right.file_path);
  }

  void Cameras(const qvfd::CameraInfoSet& left, const qvfd::CameraInfoSet& right) {
    Equal("number of cameras", left.Size(), right.Size());
    for (int i = 0; difference_.empty() && i < left.Size(); ++i) {
      Camera("cameras[" + std::to_string(i) + "].", *left.GetCamera(i), *right.GetCamera(i));
    }
  }

  void Camera(const std::string& where, const qvfd::CameraInfo& left, const qvfd::CameraInfo& right) {
    Equal(where + "id", left.id, right.id);
    Equal(where + "name", left.name, right.name);
    Equal(where + "width", left.width, right.width);
    Equal(where + "height", left.height, right.height);
    Number(where + "ccdwidth", left.ccdwidth, right.ccdwidth);
    Number(where + "ccdheight", left.ccdheight, right.ccdheight);
    Number(where + "focallength", left.focallength, right.focallength);
    Number(where + "x0", left.x0, right.x0);
    Number(where + "y0", left.y0, right.y0);
    Equal(where + "distortion_type", left.distortion_type, right.distortion_type);
    for (std::size_t k = 0; k < left.distortion.size(); ++k) {
      Number(where + "distortion[" + std::to_string(k) + "]", left.distortion[k], right.distortion[k]);
    }
    Number(where + "pixel_size_x", left.pixel_size_x, right.pixel_size_x);
    Number(where + "pixel_size_y", left.pixel_size_y, right.pixel_size_y);
  }

  void Images(const qvfd::ImageInfoSet& left, const qvfd::ImageInfoSet& right) {
    Equal("number of images", left.Size(), right.Size());
    for (int i = 0; difference_.empty() && i < left.Size(); ++i) {
      const std::string where = "images[" + std::to_string(i) + "].";
      const qvfd::ImageInfo& a = *left.GetImage(i);
      const qvfd::ImageInfo& b = *right.GetImage(i);
      Equal(where + "id", a.Id(), b.Id());
      Equal(where + "name", a.Name(), b.Name());
      Equal(where + "path", a.Path(), b.Path());
      Orientation(where + "eop.", a.GetEOP(), b.GetEOP());
      Orientation(where + "updated.", a.GetUpdatedEOP(), b.GetUpdatedEOP());
      const qvfd::ImageInfoExt& ea = *left.GetImageExt(i);
      const qvfd::ImageInfoExt& eb = *right.GetImageExt(i);
      Equal(where + "strip_id", ea.strip_id, eb.strip_id);
      Equal(where + "camera_id", ea.camera_id, eb.camera_id);
      Equal(where + "enabled", static_cast<int>(ea.enabled), static_cast<int>(eb.enabled));
    }
  }

  void Orientation(const std::string& where, const qvfd::EOP& left, const qvfd::EOP& right) {
    Number(where + "x", left.x, right.x);
    Number(where + "y", left.y, right.y);
    Number(where + "z", left.z, right.z);
    Number(where + "omega", left.omega, right.omega);
    Number(where + "phi", left.phi, right.phi);
    Number(where + "kappa", left.kappa, right.kappa);
  }

  void GroundControl(const qvgcp::GCPPrj& left, const qvgcp::GCPPrj& right) {
    std::vector<int> ids;
    std::vector<int> otherIds;
    left.ground_points.GetPointIndex(ids);
    right.ground_points.GetPointIndex(otherIds);
    Equal("number of ground points", ids.size(), otherIds.size());
    for (std::size_t i = 0; difference_.empty() && i < ids.size(); ++i) {
      Equal("id of ground point " + std::to_string(i), ids[i], otherIds[i]);
      GroundPoint(ids[i], left, right);
    }
  }

  void GroundPoint(int id, const qvgcp::GCPPrj& left, const qvgcp::GCPPrj& right) {
    const std::string where = "ground point " + std::to_string(id) + ".";
    qvgcp::GroundPoint a;
    qvgcp::GroundPoint b;
    left.ground_points.GetPoint(id, a);
    right.ground_points.GetPoint(id, b);
    Equal(where + "name", a.name, b.name);
    Number(where + "x", a.x, b.x);
    Number(where + "y", a.y, b.y);
    Number(where + "z", a.z, b.z);
    Equal(where + "type", a.type, b.type);
    Equal(where + "enable", static_cast<int>(a.enable), static_cast<int>(b.enable));
    Measurements(where, id, left, right);
  }

  void Measurements(const std::string& where, int id, const qvgcp::GCPPrj& left, const qvgcp::GCPPrj& right) {
    std::map<int, qvfd::Point2_T<double>> a;
    std::map<int, qvfd::Point2_T<double>> b;
    left.common_points.GetGroundPoint(id, a);
    right.common_points.GetGroundPoint(id, b);
    Equal(where + "number of measurements", a.size(), b.size());
    for (const auto& [image, point] : a) {
      const std::string in = where + "image " + std::to_string(image);
      Equal(in + " measured", std::size_t{1}, b.count(image));
      Number(in + " x", point.x, b[image].x);
      Number(in + " y", point.y, b[image].y);
    }
  }

  void Features(const qvprj::QvProject::Features& left, const qvprj::QvProject::Features& right) {
    Equal("number of images with features", left.size(), right.size());
    for (auto a = left.begin(), b = right.begin(); difference_.empty() && a != left.end(); ++a, ++b) {
      Equal("image id of features", a->first, b->first);
      const std::string where = "features of " + std::to_string(a->first);
      Equal(where + ": number", a->second.size(), b->second.size());
      for (std::size_t i = 0; difference_.empty() && i < a->second.size(); ++i) {
        Bits(where, i, a->second[i].x, b->second[i].x);
        Bits(where, i, a->second[i].y, b->second[i].y);
      }
    }
  }

  void Matches(const qvprj::QvProject::Matches& left, const qvprj::QvProject::Matches& right) {
    Equal("number of image pairs", left.size(), right.size());
    for (auto a = left.begin(), b = right.begin(); difference_.empty() && a != left.end(); ++a, ++b) {
      Equal("first image of a pair", a->first.x, b->first.x);
      Equal("second image of a pair", a->first.y, b->first.y);
      const std::string where = "matches of " + std::to_string(a->first.x) + "," + std::to_string(a->first.y);
      Equal(where + ": number", a->second.size(), b->second.size());
      for (std::size_t i = 0; difference_.empty() && i < a->second.size(); ++i) {
        if (!(a->second[i] == b->second[i])) {
          Found(where + " at " + std::to_string(i), a->second[i].x, b->second[i].x);
        }
      }
    }
  }

  void Tracks(const qvprj::QvProject::Tracks& left, const qvprj::QvProject::Tracks& right) {
    Equal("number of tracks", left.size(), right.size());
    for (std::size_t i = 0; difference_.empty() && i < left.size(); ++i) {
      const auto& a = left[i];
      const auto& b = right[i];
      Bits("track x", i, a.x, b.x);
      Bits("track y", i, a.y, b.y);
      Bits("track z", i, a.z, b.z);
      Equal("observations of a track", a.observations.size(), b.observations.size());
      for (std::size_t k = 0; difference_.empty() && k < a.observations.size(); ++k) {
        Equal("image id of an observation", a.observations[k].image_id, b.observations[k].image_id);
        Bits("observation x of track", i, a.observations[k].x, b.observations[k].x);
        Bits("observation y of track", i, a.observations[k].y, b.observations[k].y);
      }
    }
  }

  template <class T>
  void Bits(const std::string& where, std::size_t index, T left, T right) {
    if (!SameBits(left, right)) {
      Found(where + " at " + std::to_string(index), static_cast<double>(left), static_cast<double>(right));
    }
  }

  std::string difference_;
};

inline std::string FirstDifference(qvprj::QvProject& left, qvprj::QvProject& right) {
  return ProjectComparer::FirstDifference(left, right);
}

}  // namespace support
