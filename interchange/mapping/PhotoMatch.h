// Which photo belongs to which position record. A pure function: no files, no project.
//
// Means, in order of trust; docs/photos.md has them at length:
//   name      the log names the photos
//   position  a photo's own position lies at one record and clearly at no other; with times on both sides, the
//             time has to agree too, after the one constant offset between the two clocks that most pairs have in
//             common. What that leaves open (photos taken at one place) is settled by the index in the file
//             name, where the pairs found so far have a constant difference, then by the order between
//             neighbours
//   index     a number in the file name is the index of a record
//   order     there are as many photos as records
//
// A photo that could be that of several records, by all of these, is ambiguous, and the match is refused.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "interchange/text/DateTime.h"

namespace interchange {

/// Degrees on WGS 84.
struct GroundPosition {
  double longitude = 0.0;
  double latitude = 0.0;
};

/// What a log tells of one exposure, in the order of the log.
struct MatchRecord {
  std::optional<long long> index;
  std::string name;  ///< of the photo's file; empty where the log has none
  std::optional<DateTime> time;
  std::optional<GroundPosition> position;
};

/// What a photo tells, in the natural order of the files' paths.
struct MatchPhoto {
  std::string name;  ///< of the file
  std::optional<DateTime> time;
  std::optional<GroundPosition> position;
};

/// How a photo was tied to its record.
enum class Tie { kNone, kName, kPositionAndTime, kPositionAndOrder, kPosition, kTime, kIndex, kOrder };

/// "position and time" and so on.
[[nodiscard]] const char* TextOf(Tie tie);

/// What was decided of one photo, or of a record that no photo was found for.
struct Decision {
  std::optional<std::size_t> photo;   ///< position among the photos
  std::optional<std::size_t> record;  ///< position among the records
  Tie how = Tie::kNone;
  std::optional<double> distance;  ///< metres over the ground between the two
  std::optional<double> seconds;   ///< from the photo's time to the record's, less the clock offset
  std::string reason;              ///< why nothing was tied, or what is remarkable
};

/// The means that a match may use.
enum class TieBy { kAny, kName, kPosition, kIndex, kOrder };

struct MatchOptions {
  TieBy by = TieBy::kAny;

  /// How far a photo's position may lie from its record's, in metres. Where it is not given: half of the
  /// median distance between records, from 0.5 to 25 m, or less where the pairs agree better: eight times
  /// their median distance, and at least 0.5 m.
  std::optional<double> distance;

  /// How far times may differ, in seconds, once the clocks agree. Where it is not given: half of the median
  /// interval between records, from 0.75 to 5 s.
  std::optional<double> seconds;

  /// Whether ambiguous photos are left out, each with its reason, where otherwise the match is refused.
  bool leave_ambiguous = false;
};

struct Match {
  std::vector<Decision> decisions;  ///< one a photo, in their order; then one a record without a photo

  /// What was added to the photos' times to get those of the log, in seconds, where that could be told.
  std::optional<double> clock_offset;
  std::size_t clock_pairs = 0;  ///< that agree in it

  std::string refusal;  ///< why nothing may be tied; empty where all is well
  std::vector<std::string> notes;

  /// The number of photos that were tied.
  [[nodiscard]] std::size_t Tied() const;
};

/// Ties photos to records. Takes time in proportion to the number of pairs that lie near each other.
[[nodiscard]] Match MatchPhotos(const std::vector<MatchRecord>& records,
                                const std::vector<MatchPhoto>& photos, const MatchOptions& options);

}  // namespace interchange
