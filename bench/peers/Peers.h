// Other ways to keep the tie points of a project, each with the straightforward code that many programs have.
#pragma once

#include <string>

#include "qvprj/project/QvProject.h"

namespace peers {

/// What all of them keep, in the containers that a project has.
struct TiePoints {
  qvprj::QvProject::Features features;
  qvprj::QvProject::Matches matches;
  qvprj::QvProject::Tracks tracks;

  friend bool operator==(const TiePoints&, const TiePoints&) = default;
};

/// One JSON file, {"features": [...], "matches": [...], "tracks": [...]}, each record an array of numbers
/// with nothing nested in it, which is the least that a JSON library can have to do:
///   features   image id, then x, y of each point
///   matches    two image ids, then two indices of each match
///   tracks     x, y, z, then image id, x, y of each observation
TiePoints ReadJson(const std::string& path);
void WriteJson(const TiePoints& points, const std::string& path);

/// Three CSV files in a folder, without a line of titles:
///   features.csv   image id, x, y                          a line a point, in feature order
///   matches.csv    image id, image id, index, index        a line a match
///   tracks.csv     x, y, z, then image id, x, y of each observation; a line a track
TiePoints ReadCsv(const std::string& folder);
void WriteCsv(const TiePoints& points, const std::string& folder);

/// A sparse model of the project in COLMAP's binary format: cameras, images with a pose, and the tracks as
/// points. The points of an image are the observations in it: the model has no others, and no matches.
void WriteColmapModel(qvprj::QvProject& project, const std::string& folder);

/// Workload M, or a tiny one, in all of these ways below `folder`: survey.db with its track file, colmap/,
/// tie_points.json, csv/.
void MakePeerData(const std::string& folder, bool tiny);

/// Throws when a file operation failed: what is measured has to be whole.
void Require(bool condition, const std::string& what);

}  // namespace peers
