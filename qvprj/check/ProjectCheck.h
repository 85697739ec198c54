// Whether a saved project is whole: a look at its two files that changes neither.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qvprj/Export.h"

namespace qvprj {

/// How bad a finding is.
enum class Severity {
  kWarning,  ///< the project opens with all that it was to hold, but something is not as a save leaves it
  kError,    ///< something is lost, is read as something else than was meant, or refers to what is not there
};

/// One thing that is not as it should be.
struct Finding {
  Severity severity = Severity::kError;
  std::string kind;   ///< a short name that stays the same from version to version, such as "unknown-camera"
  std::string file;   ///< the file in which it is
  std::string table;  ///< the table of the database; empty where it is in no table
  std::string blob;   ///< "tracks", "features" or "matches"; empty where it is in none of them
  std::optional<std::int64_t> record;  ///< the row id in a table, or the number of a record in a blob, from 1
  std::string text;                    ///< what is wrong, in a few words that do not repeat the place
  std::size_t more = 0;  ///< further findings of this kind in this table or blob that are not listed
};

/// How much a project holds, as far as it can be read.
struct ProjectCounts {
  std::size_t cameras = 0;
  std::size_t images = 0;
  std::size_t ground_points = 0;
  std::size_t measurements = 0;    ///< of ground points in images
  std::size_t feature_images = 0;  ///< images with a record of features
  std::size_t features = 0;
  std::size_t match_pairs = 0;
  std::size_t matches = 0;
  std::size_t tracks = 0;
  std::size_t observations = 0;  ///< of tracks in images
};

/// What `CheckProject` found.
struct ProjectReport {
  std::string database;           ///< path of the project database
  std::string track_file;         ///< path of the track file
  std::vector<Finding> findings;  ///< those of a kind together, the first ten of each
  std::size_t errors = 0;         ///< how many there are, with those that are not listed
  std::size_t warnings = 0;
  ProjectCounts counts;

  /// Whether nothing was found.
  [[nodiscard]] bool IsSound() const { return errors == 0 && warnings == 0; }
};

/// Looks at the project whose database is at `path`, and fills `report`:
///
/// - the database engine's own check of the whole file,
/// - tables and columns against the documented ones: what is missing, misplaced, declared as another type, or
///   more than there should be,
/// - numbers that are none, are not finite, not whole or out of range,
/// - ids that occur more than once,
/// - what refers to cameras, images, ground points or features that are not there,
/// - the check values of the track file, and the records in its blobs,
/// - the stamps that say whether both files come from one save.
///
/// Where features or matches are in tables and in the track file, both are looked at; the indices of matches
/// are held against the features that a reader would take. A blob whose check value does not hold is reported
/// as such and not looked into.
///
/// A project of which a durable save was interrupted is looked at as it will be when that save is finished.
///
/// False, and an empty report, when `path` is no project: missing, no database, or without the table
/// "data_project"; or when memory runs out. Nothing is written, and nothing is changed. Memory grows with the
/// number of images, image pairs and points of one record, not with the number of tracks.
[[nodiscard]] QVPRJ_API bool CheckProject(const std::string& path, ProjectReport& report) noexcept;

}  // namespace qvprj
