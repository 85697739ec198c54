// What a check knows while it goes through the files of a project. Private to this room.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "qvprj/check/ProjectCheck.h"
#include "qvsql/Database.h"

namespace qvprj {

/// Findings, those of a kind together, in the order in which the kinds first came up.
class Findings {
 public:
  void Add(Finding finding);

  /// Takes over all of `others`, behind its own.
  void Append(Findings others);

  /// Puts everything into the report.
  void MoveInto(ProjectReport& report);

 private:
  struct Group {
    std::vector<Finding> listed;
    std::size_t more = 0;
  };
  using Key = std::tuple<std::string, std::string, std::string, std::string>;

  std::vector<Group> groups_;
  std::map<Key, std::size_t> index_;
};

/// A set of ids that is asked far more often than it grows.
class IdSet {
 public:
  /// False when the id is there already.
  bool Insert(int id);

  [[nodiscard]] bool Has(int id) const {
    const auto flag = static_cast<std::uint64_t>(std::int64_t{id} - first_);
    return flag < flags_.size() ? flags_[flag] != 0 : ids_.contains(id);
  }
  [[nodiscard]] std::size_t Size() const { return ids_.size(); }

  /// Makes `Has` fast for ids that are not too far apart; to be called when all are there.
  void Settle();

 private:
  std::set<int> ids_;
  std::int64_t first_ = 0;
  std::vector<char> flags_;  // by id, from the first one
};

/// How many features each image has.
using FeatureCounts = std::map<int, std::size_t>;

struct CheckState {
  std::string database;  // paths as findings tell them: those of the project
  std::string track_file;
  std::string tracks_now;  // where the track file is: elsewhere while a save waits to be finished
  Findings findings;
  ProjectCounts counts;

  // What others refer to. Where it could not be read, nothing that refers to it is a finding.
  IdSet cameras;
  IdSet images;
  IdSet ground_points;
  bool cameras_known = false;
  bool images_known = false;
  bool ground_points_known = false;

  FeatureCounts features;       // those that a reader would take
  bool features_known = false;  // false while they were not read, and when they cannot be
  bool features_in_table = false;
};

/// Why a list of matches is not in order with the features of its two images; empty when it is.
class MatchIndexCheck {
 public:
  MatchIndexCheck(const CheckState& state, int left, int right);

  void Take(std::int64_t leftIndex, std::int64_t rightIndex) {
    ++matches_;
    outside_ += leftIndex >= 0 && leftIndex < left_ && rightIndex >= 0 && rightIndex < right_ ? 0U : 1U;
  }

  [[nodiscard]] std::string Complaint() const;

 private:
  std::int64_t left_;  // how many features the image has
  std::int64_t right_;
  std::size_t matches_ = 0;
  std::size_t outside_ = 0;
};

/// Looks at the database as a file, at its tables, and at every row but those of matches.
void CheckTables(qvsql::Database& database, CheckState& state);

/// Looks at the track file. Comes behind the tables, whose images it refers to and whose features go before
/// its own.
void CheckTrackFile(std::uint32_t databaseStamp, CheckState& state);

/// Looks at the rows of matches. Comes last, since the features that they refer to may be in the track file.
void CheckMatchTable(qvsql::Database& database, CheckState& state);

}  // namespace qvprj
