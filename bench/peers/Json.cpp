// Tie points in one JSON file.

#include <fstream>
#include <nlohmann/json.hpp>

#include "Peers.h"

namespace peers {

using nlohmann::json;

TiePoints ReadJson(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  Require(static_cast<bool>(file), path + " cannot be opened");
  const json root = json::parse(file);
  TiePoints points;
  for (const json& record : root.at("features")) {
    auto& image = points.features[record.at(0).get<int>()];
    image.reserve(record.size() / 2);
    for (std::size_t i = 1; i < record.size(); i += 2) {
      image.push_back({record.at(i).get<float>(), record.at(i + 1).get<float>()});
    }
  }
  for (const json& record : root.at("matches")) {
    auto& pair = points.matches[{record.at(0).get<int>(), record.at(1).get<int>()}];
    pair.reserve(record.size() / 2);
    for (std::size_t i = 2; i < record.size(); i += 2) {
      pair.push_back({record.at(i).get<int>(), record.at(i + 1).get<int>()});
    }
  }
  const json& tracks = root.at("tracks");
  points.tracks.reserve(tracks.size());
  for (const json& record : tracks) {
    qvfd::Track& track = points.tracks.emplace_back();
    track.x = record.at(0).get<double>();
    track.y = record.at(1).get<double>();
    track.z = record.at(2).get<double>();
    track.observations.reserve(record.size() / 3);
    for (std::size_t i = 3; i < record.size(); i += 3) {
      track.observations.push_back(
          {record.at(i).get<int>(), record.at(i + 1).get<float>(), record.at(i + 2).get<float>()});
    }
  }
  return points;
}

void WriteJson(const TiePoints& points, const std::string& path) {
  json features = json::array();
  for (const auto& [id, image] : points.features) {
    json record = json::array({id});
    for (const auto& point : image) {
      record.push_back(point.x);
      record.push_back(point.y);
    }
    features.push_back(std::move(record));
  }
  json matches = json::array();
  for (const auto& [ids, pair] : points.matches) {
    json record = json::array({ids.x, ids.y});
    for (const auto& match : pair) {
      record.push_back(match.x);
      record.push_back(match.y);
    }
    matches.push_back(std::move(record));
  }
  json tracks = json::array();
  for (const qvfd::Track& track : points.tracks) {
    json record = json::array({track.x, track.y, track.z});
    for (const auto& observation : track.observations) {
      record.push_back(observation.image_id);
      record.push_back(observation.x);
      record.push_back(observation.y);
    }
    tracks.push_back(std::move(record));
  }
  json root;
  root["features"] = std::move(features);
  root["matches"] = std::move(matches);
  root["tracks"] = std::move(tracks);
  std::ofstream file(path, std::ios::binary);
  file << root;
  Require(static_cast<bool>(file.flush()), path + " cannot be written");
}

}  // namespace peers
