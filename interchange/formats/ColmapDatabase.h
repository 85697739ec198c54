// COLMAP's database of features and matches, as its manual describes it (doc/database.rst): an SQLite file.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "interchange/formats/ColmapModel.h"
#include "qvfd/Track.h"

namespace interchange {

struct ColmapDatabaseImage {
  std::uint32_t id = 0;
  std::string name;
  std::uint32_t camera = 0;
};

/// The features of two images that match, the first image being that of the smaller id.
using ColmapMatches = std::map<std::pair<std::uint32_t, std::uint32_t>, std::vector<qvfd::Point2_T<int>>>;

struct ColmapDatabase {
  std::vector<ColmapCamera> cameras;
  std::vector<ColmapDatabaseImage> images;
  std::map<std::uint32_t, std::vector<qvfd::Point2_T<float>>> keypoints;
  ColmapMatches matches;   ///< as they were found
  ColmapMatches verified;  ///< those of them that fit the geometry of two views; the mapper takes these

  // Of a database that was read: what it has besides.
  std::size_t shapes = 0;       ///< keypoints with a scale, orientation or affine shape
  std::size_t descriptors = 0;  ///< images with descriptors
  std::size_t geometries = 0;   ///< pairs with a matrix or a pose
  std::size_t priors = 0;       ///< images with a prior of their position or orientation
};

/// The number that stands for a pair of images: 2147483647 times the smaller id and the larger one.
[[nodiscard]] std::uint64_t ColmapPairId(std::uint32_t a, std::uint32_t b);

/// Reads a database of any release. Throws `Failure` when it is none or damaged.
[[nodiscard]] ColmapDatabase ReadColmapDatabase(const std::string& path);

/// Writes the database in place of what is there, as a whole or not at all: under another name first. Throws
/// `Failure` when it cannot be written; what was there is then as it was.
void WriteColmapDatabase(const std::string& path, const ColmapDatabase& database);

}  // namespace interchange
