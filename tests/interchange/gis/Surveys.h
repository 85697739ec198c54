// Projects for the tests of layers and catalogue, and readers of what was written that know nothing of GDAL.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "interchange/formats/GisLayers.h"
#include "qvprj/qvprj.h"
#include "support/ProjectBuilder.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

namespace gis_test {

constexpr double kDegree = 3.14159265358979323846 / 180.0;

/// 5472 x 3648 pixels, 100 m above the ground 150 m x 100 m of it, without distortion.
inline qvfd::CameraInfo PlainCamera(int id = 0) {
  qvfd::CameraInfo camera;
  camera.id = id;
  camera.name = "Plain";
  camera.width = 5472;
  camera.height = 3648;
  camera.ccdwidth = 13.2;
  camera.ccdheight = 8.8;
  camera.focallength = 8.8;
  return camera;
}

/// A project with one camera, without images.
inline qvprj::QvProject Survey(int crs, const std::string& name = "Survey") {
  qvprj::QvProject project;
  support::SetText(project.GetPrjInfo().project_name, name);
  project.GetPrjInfo().coordinate_id = crs;
  project.GetCameraInfoSet().AddCamera(PlainCamera());
  return project;
}

/// Adds an image as flown, looking straight down, its top to the north.
inline void AddImage(qvprj::QvProject& project, int id, double longitude, double latitude, double height,
                     int strip = 1) {
  project.GetImageInfoSet().AddImage(id, "I" + std::to_string(id), "/photos/I" + std::to_string(id),
                                     {longitude, latitude, height, 0.0, 0.0, 0.0}, 0, strip, true);
}

/// A survey of six images in two strips at 118.25, 31.5.
inline qvprj::QvProject SmallSurvey(int crs = 32650, const std::string& name = "Survey") {
  qvprj::QvProject project = Survey(crs, name);
  for (int i = 0; i < 6; ++i) {
    AddImage(project, 100 + i, 118.25 + 0.001 * (i % 3), 31.5 + 0.001 * (i / 3), 150.0 + i, 1 + i / 3);
  }
  project.GetPrjInfo().height = 100.0;
  return project;
}

/// Little-endian numbers of a file.
template <class T>
T NumberAt(std::string_view bytes, std::size_t at) {
  T value{};
  if (at + sizeof(T) > bytes.size()) {
    ADD_FAILURE() << "no bytes at " << at;
    return value;
  }
  std::memcpy(&value, bytes.data() + at, sizeof(T));
  return value;
}

inline std::string TextOfFile(const std::string& path) {
  const support::Bytes bytes = support::ReadBytes(path);
  return {bytes.begin(), bytes.end()};
}

/// A geometry of a GeoPackage: the srs id of its header, and its numbers.
struct Blob {
  int srs = 0;
  std::uint32_t type = 0;  ///< as WKB has it: 1001 is a point with a height
  std::vector<std::array<double, 3>> points;
};

inline Blob BlobOf(const std::string& bytes) {
  Blob blob;
  EXPECT_EQ(bytes.substr(0, 2), "GP");
  const auto flags = static_cast<unsigned char>(bytes.at(3));
  EXPECT_EQ(flags & 1U, 1U);
  blob.srs = NumberAt<std::int32_t>(bytes, 4);
  constexpr std::array<std::size_t, 5> kEnvelopes = {0, 32, 48, 48, 64};
  std::size_t at = 8 + kEnvelopes.at((flags >> 1U) & 7U) + 1;
  blob.type = NumberAt<std::uint32_t>(bytes, at);
  at += 4;
  const bool high = blob.type > 1000;
  std::uint32_t count = 1;
  if (blob.type % 1000 == 3) {
    EXPECT_EQ(NumberAt<std::uint32_t>(bytes, at), 1U) << "rings";
    at += 4;
  }
  if (blob.type % 1000 != 1) {
    count = NumberAt<std::uint32_t>(bytes, at);
    at += 4;
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    std::array<double, 3>& point = blob.points.emplace_back();
    for (std::size_t k = 0; k < (high ? 3U : 2U); ++k, at += 8) {
      point[k] = NumberAt<double>(bytes, at);
    }
  }
  EXPECT_EQ(at, bytes.size());
  return blob;
}

/// The geometry of one row of a layer.
inline Blob GeometryIn(const std::string& path, const std::string& layer, const std::string& where) {
  return BlobOf(support::QueryOne(path, "SELECT geom FROM " + layer + " WHERE " + where));
}

/// What a shell command prints.
inline std::string OutputOf(const std::string& command) {
  std::string text;
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    return text;
  }
  std::array<char, 4096> piece{};
  for (std::size_t count = 0; (count = std::fread(piece.data(), 1, piece.size(), pipe)) > 0;) {
    text.append(piece.data(), count);
  }
  pclose(pipe);
  return text;
}

}  // namespace gis_test
