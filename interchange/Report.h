// What a conversion tells of itself: what it took for granted, what it read and wrote, what it left behind.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace interchange {

/// One id that a conversion gave anew.
struct RenumberedId {
  std::uint64_t from = 0;  ///< in what was read
  std::uint64_t to = 0;    ///< in what was written
};

/// What was decided of each thing that had to be found, such as the photo of a position. Rows have a cell a
/// column; an empty cell is a value that is not there.
struct DecisionTable {
  struct Column {
    std::string name;
    bool is_number = false;
  };
  std::vector<Column> columns;
  std::vector<std::vector<std::string>> rows;
};

/// The report of one import or export. Texts are in the narrow encoding of the paths and names that were
/// read.
struct Report {
  /// The convention used for each of "angles", "axes", "heights", "positions" and "pixel origin", as far as
  /// the conversion meets it.
  std::vector<std::pair<std::string, std::string>> conventions;

  std::vector<std::pair<std::string, std::size_t>> read;     ///< counts, such as "images"
  std::vector<std::pair<std::string, std::size_t>> written;  ///< counts
  std::vector<std::string> files;                            ///< that were written

  /// What the other side cannot hold, a line each, with how often.
  std::vector<std::string> not_carried;

  /// What the user should know besides.
  std::vector<std::string> notes;

  DecisionTable decisions;  ///< empty where nothing had to be found

  /// Ids that are not the same on both sides; empty where all are.
  std::vector<RenumberedId> images;
  std::vector<RenumberedId> cameras;

  void Use(std::string what, std::string convention) {
    for (auto& entry : conventions) {
      if (entry.first == what) {
        entry.second = std::move(convention);
        return;
      }
    }
    conventions.emplace_back(std::move(what), std::move(convention));
  }

  /// Adds "1 `one`" or "`count` `many`" to the notes, unless `count` is 0.
  void Note(std::size_t count, const std::string& one, const std::string& many) {
    if (count > 0) {
      notes.push_back(std::to_string(count) + " " + (count == 1 ? one : many));
    }
  }

  /// Adds "`what` (`count`)" to what is not carried, unless `count` is 0.
  void Lose(std::size_t count, const std::string& what) {
    if (count > 0) {
      not_carried.push_back(what + " (" + std::to_string(count) + ")");
    }
  }
};

}  // namespace interchange
