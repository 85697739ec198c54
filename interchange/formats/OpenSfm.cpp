// OpenSfM's reconstruction.json and tracks.csv.
#include "interchange/formats/OpenSfm.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kTracksVersion = "OPENSFM_TRACKS_VERSION_v";

Json JsonOf(const Vector3& v) {
  return Json::array({v.x, v.y, v.z});
}

Vector3 VectorOf(const Json& json) {
  return {json.at(0).get<double>(), json.at(1).get<double>(), json.at(2).get<double>()};
}

OpenSfmCamera CameraOf(const std::string& path, const std::string& name, const Json& json) {
  OpenSfmCamera camera;
  camera.name = name;
  camera.projection = json.value("projection_type", std::string("perspective"));
  camera.width = json.at("width").get<int>();
  camera.height = json.at("height").get<int>();
  const bool perspective = camera.projection == "perspective";
  if (!perspective && camera.projection != "brown" && camera.projection != "simple_radial" &&
      camera.projection != "radial") {
    throw Failure(path,
                  "camera '" + name + "' has the projection " + camera.projection +
                      ", which no camera of a project holds: it is no pinhole with Brown's distortion",
                  "reconstruct with a perspective or brown camera");
  }
  camera.focal_x = json.at(perspective ? "focal" : "focal_x").get<double>();
  camera.focal_y = perspective ? camera.focal_x : json.at("focal_y").get<double>();
  for (const auto& [key, place] :
       std::initializer_list<std::pair<const char*, double*>>{{"c_x", &camera.c_x},
                                                              {"c_y", &camera.c_y},
                                                              {"k1", &camera.k1},
                                                              {"k2", &camera.k2},
                                                              {"k3", &camera.k3},
                                                              {"p1", &camera.p1},
                                                              {"p2", &camera.p2}}) {
    *place = json.value(key, 0.0);
  }
  return camera;
}

OpenSfmReconstruction ReconstructionOf(const std::string& path, const Json& json) {
  OpenSfmReconstruction made;
  if (json.contains("reference_lla")) {
    const Json& reference = json.at("reference_lla");
    made.reference = Geodetic{reference.at("longitude").get<double>(), reference.at("latitude").get<double>(),
                              reference.at("altitude").get<double>()};
  }
  for (const auto& [name, camera] : json.at("cameras").items()) {
    made.cameras.push_back(CameraOf(path, name, camera));
  }
  for (const auto& [name, shot] : json.at("shots").items()) {
    made.shots.push_back({name, shot.at("camera").get<std::string>(), VectorOf(shot.at("rotation")),
                          VectorOf(shot.at("translation"))});
    made.gps += shot.contains("gps_position") || shot.contains("capture_time") ? 1U : 0U;
  }
  if (json.contains("points")) {
    for (const auto& [id, point] : json.at("points").items()) {
      made.points.push_back({id, VectorOf(point.at("coordinates"))});
      made.colours += point.contains("color") ? 1U : 0U;
    }
  }
  return made;
}

}  // namespace

OpenSfmReconstruction ReadOpenSfmReconstruction(const std::string& path) {
  const std::string text = ReadWholeFile(path);
  try {
    const Json list = Json::parse(text);
    if (!list.is_array() || list.empty()) {
      throw Failure(path, "holds no reconstruction", "name a reconstruction.json with at least one");
    }
    std::size_t largest = 0;
    for (std::size_t i = 1; i < list.size(); ++i) {
      largest = list.at(i).at("shots").size() > list.at(largest).at("shots").size() ? i : largest;
    }
    OpenSfmReconstruction made = ReconstructionOf(path, list.at(largest));
    made.other_reconstructions = list.size() - 1;
    return made;
  } catch (const Json::exception& error) {
    throw Failure(path, std::string("is no reconstruction of OpenSfM, or damaged: ") + error.what(),
                  "take a whole copy of it");
  }
}

void WriteOpenSfmReconstruction(const std::string& path, const OpenSfmReconstruction& reconstruction) {
  Json cameras = Json::object();
  for (const OpenSfmCamera& camera : reconstruction.cameras) {
    cameras[camera.name] = {{"projection_type", camera.projection},
                            {"width", camera.width},
                            {"height", camera.height},
                            {"focal_x", camera.focal_x},
                            {"focal_y", camera.focal_y},
                            {"c_x", camera.c_x},
                            {"c_y", camera.c_y},
                            {"k1", camera.k1},
                            {"k2", camera.k2},
                            {"p1", camera.p1},
                            {"p2", camera.p2},
                            {"k3", camera.k3}};
  }
  // Built by hand: objects with a key for each of millions of points would take a search for each.
  std::string text = "[{\"cameras\":" + cameras.dump() + ",\n\"shots\":{";
  bool first = true;
  for (const OpenSfmShot& shot : reconstruction.shots) {
    const Json json{{"rotation", JsonOf(shot.rotation)},
                    {"translation", JsonOf(shot.translation)},
                    {"camera", shot.camera},
                    {"orientation", 1},
                    {"capture_time", 0.0}};
    text += (first ? "\n" : ",\n") + Json(shot.name).dump() + ":" + json.dump();
    first = false;
  }
  text += "},\n\"points\":{";
  first = true;
  for (const OpenSfmPoint& point : reconstruction.points) {
    text += (first ? "\n" : ",\n") + Json(point.id).dump() +
            ":{\"color\":[255.0,255.0,255.0],\"coordinates\":" + JsonOf(point.position).dump() + "}";
    first = false;
  }
  text += "}";
  if (reconstruction.reference) {
    const Geodetic& reference = *reconstruction.reference;
    text += ",\n\"reference_lla\":" + Json{{"latitude", reference.latitude},
                                           {"longitude", reference.longitude},
                                           {"altitude", reference.height}}
                                          .dump();
  }
  WriteWholeFile(path, text + "}]\n");
}

std::vector<OpenSfmObservation> ReadOpenSfmTracks(const std::string& path) {
  const std::string text = ReadWholeFile(path);
  std::vector<OpenSfmObservation> observations;
  Lines lines(text);
  std::size_t version = 0;
  while (const auto line = lines.Next()) {
    if (lines.Number() == 1 && line->starts_with(kTracksVersion)) {
      version = static_cast<std::size_t>(
          IntegerOf(line->substr(std::string_view(kTracksVersion).size())).value_or(99));
      if (version > 2) {
        throw Failure(path, "is of a version that is not known here: " + std::string(line->substr(0, 60)),
                      "write it with a release of OpenSfM that has version 2");
      }
      continue;
    }
    if (Trimmed(*line).empty()) {
      continue;
    }
    // image, track, feature, x, y, then (from version 1) scale, r, g, b, and more (from version 2)
    const std::vector<std::string> fields = Fields(*line, '\t');
    const auto feature = fields.size() < 5 ? std::nullopt : IntegerOf(fields[2]);
    const auto x = fields.size() < 5 ? std::nullopt : NumberOf(fields[3]);
    const auto y = fields.size() < 5 ? std::nullopt : NumberOf(fields[4]);
    if (!feature || !x || !y) {
      throw Failure(LineOf(path, lines.Number()), "is no observation of a track",
                    "take a whole copy of the file");
    }
    observations.push_back({fields[0], fields[1], *feature, *x, *y});
  }
  return observations;
}

void WriteOpenSfmTracks(const std::string& path, const std::vector<OpenSfmObservation>& observations) {
  std::string text = std::string(kTracksVersion) + "2\n";
  for (const OpenSfmObservation& observation : observations) {
    text += observation.image + "\t" + observation.track + "\t" + std::to_string(observation.feature) + "\t" +
            TextOf(observation.x) + "\t" + TextOf(observation.y) + "\t0.001\t255\t255\t255\t-1\t-1\n";
  }
  WriteWholeFile(path, text);
}

}  // namespace interchange
