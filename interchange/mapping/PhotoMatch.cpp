// Which photo belongs to which position record. A pure function: no files, no project.
#include "interchange/mapping/PhotoMatch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <numbers>
#include <numeric>
#include <unordered_map>
#include <utility>

#include "interchange/geometry/Ellipsoid.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

constexpr std::size_t kNobody = std::numeric_limits<std::size_t>::max();
constexpr double kShareOfOrder = 0.95;         // of pairs that a rule has to hold for, to be one
constexpr std::size_t kPairsOfRule = 3;        // fewer show nothing
constexpr std::size_t kMostEdges = 4'000'000;  // of records and photos that lie near each other
constexpr double kBeside = 4.0;       // times the limit: where a photo lies beside a record, not at it
constexpr double kClockWindow = 2.0;  // seconds: both clocks may tell whole seconds only
constexpr int kRunsOfDigits = 4;      // that are looked at in a file name, from its end

double Median(std::vector<double> values) {
  if (values.empty()) {
    return 0.0;
  }
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

struct Edge {
  std::size_t photo = 0;
  std::size_t record = 0;
  double distance = 0.0;          // 0 where the photo has no position
  std::optional<double> seconds;  // between the clocks, before the offset is taken off
};

/// The numbers in the stem of a file name, the last one first.
std::vector<long long> NumbersIn(const std::string& name) {
  const std::string stem = TitleOf(name);
  std::vector<long long> numbers;
  std::size_t end = stem.size();
  while (end > 0 && static_cast<int>(numbers.size()) < kRunsOfDigits) {
    const auto isDigit = [&](std::size_t i) { return stem[i] >= '0' && stem[i] <= '9'; };
    while (end > 0 && !isDigit(end - 1)) {
      --end;
    }
    std::size_t begin = end;
    while (begin > 0 && isDigit(begin - 1)) {
      --begin;
    }
    if (begin == end) {
      break;
    }
    numbers.push_back(IntegerOf(stem.substr(begin, end - begin)).value_or(-1));  // -1: too long for an index
    end = begin;
  }
  return numbers;
}

/// The name of a file in any case of its letters, without folders.
std::string Folded(const std::string& name) {
  const std::size_t slash = name.find_last_of("/\\");
  return LowerCase(slash == std::string::npos ? name : name.substr(slash + 1));
}

class Matcher {
 public:
  Matcher(const std::vector<MatchRecord>& records, const std::vector<MatchPhoto>& photos,
          const MatchOptions& options)
      : records_(records),
        photos_(photos),
        options_(options),
        record_of_(photos.size(), kNobody),
        photo_of_(records.size(), kNobody),
        how_(photos.size(), Tie::kNone),
        reason_(photos.size()) {}

  Match Run() {
    if (photos_.empty() || records_.empty()) {
      match_.refusal = photos_.empty() ? "there are no photos" : "there are no position records";
    } else {
      TieAll();
    }
    return Told();
  }

 private:
  void TieAll() {
    const TieBy by = options_.by;
    if ((by == TieBy::kAny || by == TieBy::kName) && TieByName()) {
      return;
    }
    if (by == TieBy::kName) {
      match_.refusal = "the log names none of the photos";
      return;
    }
    PlacePoints();
    const auto placed = static_cast<std::size_t>(std::count_if(
        photos_.begin(), photos_.end(), [](const MatchPhoto& photo) { return photo.position.has_value(); }));
    const bool recordsPlaced = std::any_of(records_.begin(), records_.end(), [](const MatchRecord& record) {
      return record.position.has_value();
    });
    const bool mostPlaced = recordsPlaced && placed > 0 && placed * 2 >= photos_.size();
    if (by == TieBy::kPosition || (by == TieBy::kAny && mostPlaced)) {
      if (placed == 0 || !recordsPlaced) {
        match_.refusal = "no photo has a position";
        return;
      }
      TieByPosition();
      return;
    }
    if (by == TieBy::kAny || by == TieBy::kIndex) {
      if (TieByIndex() || !match_.refusal.empty()) {
        RequireAgreement();
        return;
      }
      if (by == TieBy::kIndex) {
        match_.refusal = "no number in the names of the photos is the index of a record";
        return;
      }
    }
    TieByOrder();
    RequireAgreement();
  }

  // ---- Names ----------------------------------------------------------------------------------------------

  bool TieByName() {
    std::map<std::string, std::vector<std::size_t>> named;
    for (std::size_t r = 0; r < records_.size(); ++r) {
      if (!records_[r].name.empty()) {
        named[Folded(records_[r].name)].push_back(r);
      }
    }
    if (named.empty()) {
      return false;
    }
    std::vector<std::pair<std::size_t, std::size_t>> pairs;
    std::map<std::size_t, std::size_t> taken;
    for (std::size_t p = 0; p < photos_.size(); ++p) {
      const std::string name = Folded(photos_[p].name);
      auto found = named.find(name);
      if (found == named.end()) {
        found = named.find(LowerCase(TitleOf(name)));
      }
      if (found == named.end()) {
        reason_[p] = "the log does not name it";
        continue;
      }
      const std::size_t r = found->second.front();
      if (found->second.size() > 1) {
        Ambiguous(p, "the log names it in " + std::to_string(found->second.size()) + " rows");
      } else if (const auto [first, isNew] = taken.emplace(r, p); !isNew) {
        Ambiguous(p, "another photo has its name: " + photos_[first->second].name);
        Ambiguous(first->second, "another photo has its name: " + photos_[p].name);
      } else {
        pairs.emplace_back(p, r);
      }
    }
    for (const auto& [p, r] : pairs) {
      if (reason_[p].empty()) {
        Pair(p, r, Tie::kName);
      }
    }
    if (pairs.empty() && match_.refusal.empty()) {
      match_.notes.emplace_back("the log names photos, but none of these");
      reason_.assign(photos_.size(), {});
      return false;
    }
    return true;
  }

  // ---- Positions ------------------------------------------------------------------------------------------

  struct Point {
    double x = 0.0;
    double y = 0.0;
  };

  /// Puts all positions into one plane, good to a few parts in a thousand over a survey.
  void PlacePoints() {
    const auto first = std::find_if(records_.begin(), records_.end(),
                                    [](const MatchRecord& record) { return record.position.has_value(); });
    if (first == records_.end()) {
      return;
    }
    const GroundPosition origin = *first->position;
    const double north = MetresPerDegreeOfLatitude(origin.latitude);
    const double east = north * std::cos(origin.latitude * std::numbers::pi / 180.0);
    const auto place = [&](const auto& items) {
      std::vector<std::optional<Point>> points;
      points.reserve(items.size());
      for (const auto& item : items) {
        points.emplace_back();
        if (item.position) {
          const double across = std::remainder(item.position->longitude - origin.longitude, 360.0);
          points.back() = Point{across * east, (item.position->latitude - origin.latitude) * north};
        }
      }
      return points;
    };
    record_points_ = place(records_);
    photo_points_ = place(photos_);
  }

  [[nodiscard]] std::optional<double> DistanceOf(std::size_t p, std::size_t r) const {
    if (record_points_.empty() || !photo_points_[p] || !record_points_[r]) {
      return std::nullopt;
    }
    return std::hypot(photo_points_[p]->x - record_points_[r]->x, photo_points_[p]->y - record_points_[r]->y);
  }

  [[nodiscard]] std::optional<double> SecondsOf(std::size_t p, std::size_t r) const {
    if (!photos_[p].time || !records_[r].time) {
      return std::nullopt;
    }
    return records_[r].time->seconds - photos_[p].time->seconds;
  }

  [[nodiscard]] double DistanceLimit() const {
    if (options_.distance) {
      return *options_.distance;
    }
    std::vector<double> steps;
    for (std::size_t r = 0; r + 1 < records_.size(); ++r) {
      if (record_points_[r] && record_points_[r + 1]) {
        steps.push_back(std::hypot(record_points_[r + 1]->x - record_points_[r]->x,
                                   record_points_[r + 1]->y - record_points_[r]->y));
      }
    }
    constexpr double kLeast = 0.5;
    constexpr double kMost = 25.0;
    return steps.empty() ? kMost : std::clamp(Median(std::move(steps)) / 2.0, kLeast, kMost);
  }

  [[nodiscard]] double TimeLimit() const {
    if (options_.seconds) {
      return *options_.seconds;
    }
    std::vector<double> intervals;
    for (std::size_t r = 0; r + 1 < records_.size(); ++r) {
      if (records_[r].time && records_[r + 1].time) {
        intervals.push_back(std::fabs(records_[r + 1].time->seconds - records_[r].time->seconds));
      }
    }
    constexpr double kLeast = 0.75;
    constexpr double kMost = 5.0;
    return std::clamp(Median(std::move(intervals)) / 2.0, kLeast, kMost);
  }

  /// Every photo and record that lie within `limit`. False when there are too many.
  bool FindNear(double limit) {
    using Cell = std::pair<std::int64_t, std::int64_t>;
    const double size = std::max(limit, 1e-3);
    const auto cellOf = [size](const Point& point) {
      return Cell{std::llround(std::floor(point.x / size)), std::llround(std::floor(point.y / size))};
    };
    std::map<Cell, std::vector<std::size_t>> cells;
    for (std::size_t r = 0; r < records_.size(); ++r) {
      if (record_points_[r]) {
        cells[cellOf(*record_points_[r])].push_back(r);
      }
    }
    for (std::size_t p = 0; p < photos_.size(); ++p) {
      if (!photo_points_[p]) {
        continue;
      }
      const auto [column, row] = cellOf(*photo_points_[p]);
      for (std::int64_t i = column - 1; i <= column + 1; ++i) {
        for (std::int64_t j = row - 1; j <= row + 1; ++j) {
          const auto cell = cells.find({i, j});
          if (cell == cells.end()) {
            continue;
          }
          for (const std::size_t r : cell->second) {
            const double distance = *DistanceOf(p, r);
            if (distance <= limit) {
              edges_.push_back({p, r, distance, SecondsOf(p, r)});
            }
          }
          if (edges_.size() > kMostEdges) {
            return false;
          }
        }
      }
    }
    return true;
  }

  /// How many photos have their nearest record within `limit`, and how many have it beyond, among the edges.
  [[nodiscard]] std::pair<std::size_t, std::size_t> CountNear(double limit) const {
    const std::vector<double> nearest = Nearest();
    const auto at = static_cast<std::size_t>(std::count_if(
        nearest.begin(), nearest.end(), [limit](double distance) { return distance <= limit; }));
    return {at, nearest.size() - at};
  }

  /// How well the positions agree: the median distance of the photos to their nearest records.
  [[nodiscard]] double Agreement() const { return Median(Nearest()); }

  /// The distances of the photos that have edges to their nearest records.
  [[nodiscard]] std::vector<double> Nearest() const {
    std::vector<double> nearest(photos_.size(), -1.0);
    for (const Edge& edge : edges_) {
      double& best = nearest[edge.photo];
      best = best < 0.0 ? edge.distance : std::min(best, edge.distance);
    }
    nearest.erase(std::remove(nearest.begin(), nearest.end(), -1.0), nearest.end());
    return nearest;
  }

  /// The offset that the most of `differences` have in common, and how many do.
  static std::pair<double, std::size_t> CommonOffset(std::vector<double> differences) {
    std::sort(differences.begin(), differences.end());
    std::size_t best = 0;
    std::size_t bestBegin = 0;
    std::size_t begin = 0;
    for (std::size_t end = 0; end < differences.size(); ++end) {
      while (differences[end] - differences[begin] > kClockWindow) {
        ++begin;
      }
      if (end + 1 - begin > best) {
        best = end + 1 - begin;
        bestBegin = begin;
      }
    }
    return {best == 0 ? 0.0 : differences[bestBegin + best / 2], best};
  }

  /// Finds the offset of the clocks from photos that lie at one record only. None where they do not agree in
  /// one.
  void FindClockOffset() {
    std::vector<std::size_t> count(photos_.size(), 0);
    for (const Edge& edge : edges_) {
      ++count[edge.photo];
    }
    std::vector<double> differences;
    for (const Edge& edge : edges_) {
      if (edge.seconds && count[edge.photo] == 1) {
        differences.push_back(*edge.seconds);
      }
    }
    if (differences.size() < kPairsOfRule) {
      differences.clear();
      for (const Edge& edge : edges_) {
        if (edge.seconds) {
          differences.push_back(*edge.seconds);
        }
      }
    }
    TakeClockOffset(differences);
  }

  void TakeClockOffset(const std::vector<double>& differences) {
    const auto [offset, pairs] = CommonOffset(differences);
    if (pairs < kPairsOfRule || pairs * 2 < differences.size()) {
      if (differences.size() >= kPairsOfRule) {
        match_.notes.emplace_back(
            "the clocks of photos and log have no offset in common; times were not used");
      }
      return;
    }
    match_.clock_offset = offset;
    match_.clock_pairs = pairs;
  }

  [[nodiscard]] bool IsInTime(const std::optional<double>& seconds, double limit) const {
    return !match_.clock_offset || !seconds || std::fabs(*seconds - *match_.clock_offset) <= limit;
  }

  /// Records that were taken when photos without a position were.
  void FindInTime(double limit) {
    if (!match_.clock_offset) {
      return;
    }
    std::vector<std::pair<double, std::size_t>> times;
    for (std::size_t r = 0; r < records_.size(); ++r) {
      if (records_[r].time) {
        times.emplace_back(records_[r].time->seconds, r);
      }
    }
    std::sort(times.begin(), times.end());
    for (std::size_t p = 0; p < photos_.size(); ++p) {
      if (photos_[p].position || !photos_[p].time) {
        continue;
      }
      const double at = photos_[p].time->seconds + *match_.clock_offset;
      auto time = std::lower_bound(times.begin(), times.end(), std::pair(at - limit, std::size_t{0}));
      for (; time != times.end() && time->first <= at + limit && edges_.size() <= kMostEdges; ++time) {
        edges_.push_back({p, time->second, 0.0, SecondsOf(p, time->second)});
      }
    }
  }

  void TieByPosition() {
    const double widest = DistanceLimit();
    if (!FindNear(kBeside * widest)) {
      match_.refusal = "too many photos and records lie at one place";
      return;
    }
    const auto [at, beside] = CountNear(widest);
    std::erase_if(edges_, [widest](const Edge& edge) { return edge.distance > widest; });
    if (beside > at && at > 0 && !options_.distance) {
      match_.refusal = "most photos lie beside the records, not at them: " + std::to_string(at) + " within " +
                       TextOf(widest, 1) + " m, " + std::to_string(beside) + " within " +
                       TextOf(kBeside * widest, 1) + " m";
      return;
    }
    if (edges_.empty()) {
      match_.refusal =
          "no photo lies within " + TextOf(widest, 1) + " m of a position record" + NearestInWords();
      return;
    }
    const double agreement = Agreement();
    constexpr double kLeast = 0.5;
    constexpr double kTimes = 8.0;
    const double limit = options_.distance ? widest : std::min(widest, std::max(kLeast, kTimes * agreement));
    std::erase_if(edges_, [limit](const Edge& edge) { return edge.distance > limit; });
    std::vector<bool> near(photos_.size(), false);
    for (const Edge& edge : edges_) {
      near[edge.photo] = true;
    }
    FindClockOffset();
    const double timeLimit = TimeLimit();
    std::erase_if(edges_, [&](const Edge& edge) { return !IsInTime(edge.seconds, timeLimit); });
    FindInTime(timeLimit);
    std::sort(edges_.begin(), edges_.end(), IsBefore);

    TieClear(std::max(0.1, 3.0 * agreement));
    TieOpenByIndex();
    TieOpenByOrder();
    NameTies();
    TellOpen(near, limit);
  }

  [[nodiscard]] std::string NearestInWords() const {
    double nearest = std::numeric_limits<double>::infinity();
    const std::size_t step = photos_.size() * records_.size() / 1'000'000 + 1;  // a guess is enough for words
    for (std::size_t p = 0; p < photos_.size(); p += step) {
      for (std::size_t r = 0; r < records_.size(); ++r) {
        nearest = std::min(nearest, DistanceOf(p, r).value_or(nearest));
      }
    }
    return std::isfinite(nearest) ? " (the nearest is " + TextOf(nearest, 0) + " m away)" : std::string();
  }

  /// Ties what lies clearly nearer to each other than to anything else that is free, until nothing does.
  void TieClear(double margin) {
    const double timeMargin = TimeMargin();
    const auto off = [&](const Edge& edge) {
      return edge.seconds && match_.clock_offset ? std::fabs(*edge.seconds - *match_.clock_offset) : 0.0;
    };
    const auto clearlyBetter = [&](const Edge& a, const Edge& b) {
      const double nearer = b.distance - a.distance;
      const double sooner = off(b) - off(a);
      return (nearer > margin && sooner > -timeMargin) || (sooner > timeMargin && nearer > -margin);
    };
    const auto cost = [&](const Edge& edge) { return edge.distance / margin + off(edge) / timeMargin; };
    constexpr int kMostPasses = 100;
    bool again = true;
    for (int pass = 0; pass < kMostPasses && again; ++pass) {
      again = false;
      std::vector<const Edge*> bestOfPhoto(photos_.size(), nullptr);
      std::vector<const Edge*> bestOfRecord(records_.size(), nullptr);
      for (const Edge& edge : edges_) {
        for (const Edge** best : {&bestOfPhoto[edge.photo], &bestOfRecord[edge.record]}) {
          *best = *best == nullptr || cost(edge) < cost(**best) ? &edge : *best;
        }
      }
      std::vector<bool> contested(photos_.size(), false);
      for (const Edge& edge : edges_) {
        const Edge* const ofPhoto = bestOfPhoto[edge.photo];
        if (&edge != ofPhoto && !clearlyBetter(*ofPhoto, edge)) {
          contested[edge.photo] = true;
        }
        const Edge* const ofRecord = bestOfRecord[edge.record];
        if (&edge != ofRecord && !clearlyBetter(*ofRecord, edge)) {
          contested[ofRecord->photo] = true;
        }
      }
      for (std::size_t p = 0; p < photos_.size(); ++p) {
        const Edge* const edge = bestOfPhoto[p];
        if (edge != nullptr && !contested[p] && bestOfRecord[edge->record] == edge) {
          Pair(p, edge->record, photos_[p].position ? Tie::kPosition : Tie::kTime);
          again = true;
        }
      }
      DropTaken();
    }
  }

  /// How much better a time has to be to be clearly better.
  [[nodiscard]] double TimeMargin() const {
    constexpr double kLeast = 0.25;
    std::vector<double> off;
    for (const Edge& edge : edges_) {
      if (edge.seconds && match_.clock_offset) {
        off.push_back(std::fabs(*edge.seconds - *match_.clock_offset));
      }
    }
    return std::max(kLeast, 2.0 * Median(std::move(off)));
  }

  void DropTaken() {
    std::erase_if(edges_, [this](const Edge& edge) {
      return record_of_[edge.photo] != kNobody || photo_of_[edge.record] != kNobody;
    });
  }

  /// What is open, by the index in the file name, where the pairs so far have one difference from the
  /// records'.
  void TieOpenByIndex() {
    const auto tied = static_cast<std::size_t>(std::count_if(
        record_of_.begin(), record_of_.end(), [](std::size_t record) { return record != kNobody; }));
    for (std::size_t run = 0; run < kRunsOfDigits; ++run) {
      std::map<long long, std::size_t> differences;
      std::size_t pairs = 0;
      for (std::size_t p = 0; p < photos_.size(); ++p) {
        const std::size_t r = record_of_[p];
        const std::vector<long long> numbers = NumbersIn(photos_[p].name);
        if (r != kNobody && records_[r].index && run < numbers.size() && numbers[run] >= 0) {
          ++differences[numbers[run] - *records_[r].index];
          ++pairs;
        }
      }
      if (pairs < kPairsOfRule) {
        if (tied >= kPairsOfRule) {
          continue;  // the tied photos have no such number
        }
        differences = {{0, pairs}};  // too few to show a difference: the number is the index itself
      }
      const auto common = std::max_element(differences.begin(), differences.end(),
                                           [](const auto& a, const auto& b) { return a.second < b.second; });
      if (static_cast<double>(common->second) < kShareOfOrder * static_cast<double>(pairs)) {
        continue;
      }
      std::unordered_map<long long, std::size_t> byIndex;
      for (std::size_t r = 0; r < records_.size(); ++r) {
        if (records_[r].index && !byIndex.emplace(*records_[r].index, r).second) {
          byIndex[*records_[r].index] = kNobody;
        }
      }
      std::map<std::size_t, std::vector<std::size_t>> wanted;  // photos by the record that is theirs
      for (std::size_t p = 0; p < photos_.size(); ++p) {
        const std::vector<long long> numbers = NumbersIn(photos_[p].name);
        if (record_of_[p] != kNobody || run >= numbers.size()) {
          continue;
        }
        const auto found = byIndex.find(numbers[run] - common->first);
        if (found != byIndex.end() && found->second != kNobody && photo_of_[found->second] == kNobody &&
            IsPossible(p, found->second)) {
          wanted[found->second].push_back(p);
        }
      }
      for (const auto& [r, candidates] : wanted) {
        if (candidates.size() == 1) {
          Pair(candidates.front(), r, Tie::kIndex);
        }
      }
      DropTaken();
      return;
    }
  }

  /// Whether nothing speaks against a pair: one of the edges that are left, or a photo without position and
  /// time.
  [[nodiscard]] bool IsPossible(std::size_t p, std::size_t r) const {
    if (IsFreeOfEvidence(p)) {
      return true;
    }
    const Edge wanted{p, r, 0.0, {}};
    return std::binary_search(edges_.begin(), edges_.end(), wanted, IsBefore);
  }

  [[nodiscard]] static bool IsBefore(const Edge& a, const Edge& b) {
    return std::pair(a.photo, a.record) < std::pair(b.photo, b.record);
  }

  [[nodiscard]] bool IsFreeOfEvidence(std::size_t p) const {
    return !photos_[p].position && !(photos_[p].time && match_.clock_offset);
  }

  /// The photos in the order in which they were taken, as far as that can be told.
  [[nodiscard]] std::vector<std::size_t> PhotosInOrder() const {
    std::vector<std::size_t> order(photos_.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (std::all_of(photos_.begin(), photos_.end(),
                    [](const MatchPhoto& photo) { return photo.time.has_value(); })) {
      std::stable_sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) {
        return photos_[a].time->seconds < photos_[b].time->seconds;
      });
    }
    return order;
  }

  /// What is open, by the order between tied neighbours, where the tied photos come in the order of their
  /// records.
  void TieOpenByOrder() {
    const std::vector<std::size_t> order = PhotosInOrder();
    std::vector<std::size_t> tied;
    for (const std::size_t p : order) {
      if (record_of_[p] != kNobody) {
        tied.push_back(p);
      }
    }
    std::size_t rising = 0;
    for (std::size_t i = 0; i + 1 < tied.size(); ++i) {
      rising += record_of_[tied[i]] < record_of_[tied[i + 1]] ? 1U : 0U;
    }
    const std::size_t steps = tied.empty() ? 0 : tied.size() - 1;
    in_order_ = static_cast<double>(rising) >= kShareOfOrder * static_cast<double>(steps);
    if (!in_order_) {
      return;
    }
    std::vector<bool> open(photos_.size(), false);
    for (const Edge& edge : edges_) {
      open[edge.photo] = true;
    }
    std::vector<std::size_t> waiting;
    std::size_t before = kNobody;  // the record of the last tied photo; + 1 is the first record after it
    const auto settle = [&](std::size_t end) {
      std::vector<std::size_t> free;
      for (std::size_t r = before + 1; r < end; ++r) {
        if (photo_of_[r] == kNobody) {
          free.push_back(r);
        }
      }
      if (std::none_of(waiting.begin(), waiting.end(),
                       [this](std::size_t p) { return IsFreeOfEvidence(p); })) {
        // Records that none of these can have, as that of a missing photo, do not count.
        std::erase_if(free, [&](std::size_t r) {
          return std::none_of(waiting.begin(), waiting.end(),
                              [&](std::size_t p) { return IsPossible(p, r); });
        });
      }
      bool fits = !waiting.empty() && waiting.size() == free.size();
      for (std::size_t i = 0; fits && i < free.size(); ++i) {
        fits = IsPossible(waiting[i], free[i]);
      }
      for (std::size_t i = 0; i < waiting.size(); ++i) {
        if (fits) {
          Pair(waiting[i], free[i], photos_[waiting[i]].position ? Tie::kPositionAndOrder : Tie::kOrder);
        } else if (free.empty() && IsFreeOfEvidence(waiting[i])) {
          reason_[waiting[i]] = "has no position, and its neighbours leave no record for it";
        }
      }
      waiting.clear();
    };
    for (const std::size_t p : order) {
      if (record_of_[p] == kNobody) {
        if (open[p] || IsFreeOfEvidence(p)) {
          waiting.push_back(p);
        }
      } else if (before == kNobody || record_of_[p] > before) {
        settle(record_of_[p]);
        before = record_of_[p];
      }
    }
    settle(records_.size());
    DropTaken();
  }

  /// Tells what a position agreed with besides.
  void NameTies() {
    for (std::size_t p = 0; p < photos_.size(); ++p) {
      if (how_[p] != Tie::kPosition) {
        continue;
      }
      if (match_.clock_offset && SecondsOf(p, record_of_[p])) {
        how_[p] = Tie::kPositionAndTime;
      } else if (in_order_) {
        how_[p] = Tie::kPositionAndOrder;
      }
    }
    if (!in_order_ && !match_.clock_offset && photos_.size() > kPairsOfRule) {
      match_.notes.emplace_back(
          "the order of the photos is not that of the records; positions alone were used");
    }
  }

  /// Says of each photo that is not tied why it is not.
  void TellOpen(const std::vector<bool>& near, double limit) {
    std::vector<std::vector<std::size_t>> open(photos_.size());
    for (const Edge& edge : edges_) {
      open[edge.photo].push_back(edge.record);
    }
    for (std::size_t p = 0; p < photos_.size(); ++p) {
      if (record_of_[p] != kNobody || !reason_[p].empty()) {
        continue;
      }
      if (!open[p].empty()) {
        const std::string what = photos_[p].position ? "lies at " : "was taken at the time of ";
        Ambiguous(p, open[p].size() > 1
                         ? what + std::to_string(open[p].size()) + " records: " + RecordsInWords(open[p])
                         : what + RecordsInWords(open[p]) + ", as another photo does");
      } else if (IsFreeOfEvidence(p)) {
        const bool anyFree = std::find(photo_of_.begin(), photo_of_.end(), kNobody) != photo_of_.end();
        if (anyFree) {
          Ambiguous(p, "has no position, and its neighbours leave several records, or other photos, for it");
        } else {
          reason_[p] = "has no position, and all records have a photo";
        }
      } else if (!photos_[p].position) {
        reason_[p] = "has no position, and was not taken at the time of a free record";
      } else if (near[p]) {
        reason_[p] = match_.clock_offset ? "the record where it lies has another photo, or another time"
                                         : "the record where it lies has another photo";
      } else {
        reason_[p] = "lies farther than " + TextOf(limit, 1) + " m from any record";
      }
    }
  }

  [[nodiscard]] std::string RecordInWords(std::size_t r) const {
    return records_[r].index ? std::to_string(*records_[r].index) : "#" + std::to_string(r + 1);
  }

  [[nodiscard]] std::string RecordsInWords(const std::vector<std::size_t>& records) const {
    constexpr std::size_t kMost = 4;
    std::string words;
    for (std::size_t i = 0; i < std::min(records.size(), kMost); ++i) {
      words += (i == 0 ? "record " : ", ") + RecordInWords(records[i]);
    }
    return records.size() > kMost ? words + ", ..." : words;
  }

  // ---- Index and order ------------------------------------------------------------------------------------

  /// The pairs of one run of digits: photo and record.
  using Pairs = std::vector<std::pair<std::size_t, std::size_t>>;

  bool TieByIndex() {
    std::unordered_map<long long, std::size_t> byIndex;
    bool repeated = false;
    for (std::size_t r = 0; r < records_.size(); ++r) {
      if (records_[r].index) {
        repeated = !byIndex.emplace(*records_[r].index, r).second || repeated;
      }
    }
    std::array<Pairs, kRunsOfDigits> runs;
    for (std::size_t p = 0; p < photos_.size(); ++p) {
      const std::vector<long long> numbers = NumbersIn(photos_[p].name);
      for (std::size_t run = 0; run < numbers.size(); ++run) {
        if (const auto found = byIndex.find(numbers[run]); found != byIndex.end()) {
          runs[run].emplace_back(p, found->second);
        }
      }
    }
    const auto* const best = std::max_element(
        runs.begin(), runs.end(), [](const Pairs& a, const Pairs& b) { return a.size() < b.size(); });
    if (best->size() * 2 < std::min(photos_.size(), records_.size()) || best->empty()) {
      return false;
    }
    if (repeated) {
      match_.refusal = "several records have the same index";
      return false;
    }
    for (const Pairs& other : runs) {
      if (&other != &*best && other.size() == best->size() && other != *best) {
        match_.refusal = "the names of the photos hold two numbers, and both are indices of records";
        return false;
      }
    }
    if (options_.by == TieBy::kAny && photos_.size() == records_.size() && best->size() < photos_.size()) {
      match_.refusal = "the numbers in the names of the photos tie " + std::to_string(best->size()) +
                       " of them, their order would tie all " + std::to_string(photos_.size()) +
                       " differently";
      return false;
    }
    std::vector<std::size_t> first(records_.size(), kNobody);
    for (const auto& [p, r] : *best) {
      if (first[r] != kNobody) {
        Ambiguous(p, "has the same number as " + photos_[first[r]].name);
        Ambiguous(first[r], "has the same number as " + photos_[p].name);
      } else {
        first[r] = p;
      }
    }
    for (const auto& [p, r] : *best) {
      if (reason_[p].empty()) {
        Pair(p, r, Tie::kIndex);
      }
    }
    for (std::size_t p = 0; p < photos_.size(); ++p) {
      if (record_of_[p] == kNobody && reason_[p].empty()) {
        reason_[p] = "no record has its number";
      }
    }
    return true;
  }

  void TieByOrder() {
    if (photos_.size() != records_.size()) {
      match_.refusal = "there are " + std::to_string(photos_.size()) + " photos and " +
                       std::to_string(records_.size()) +
                       " position records, and neither positions nor the names of the photos tie them";
      return;
    }
    const std::vector<std::size_t> order = PhotosInOrder();
    for (std::size_t r = 0; r < records_.size(); ++r) {
      Pair(order[r], r, Tie::kOrder);
    }
  }

  /// Refuses what was tied by index or order when times or positions speak against it.
  void RequireAgreement() {
    std::vector<double> differences;
    std::vector<double> distances;
    for (std::size_t p = 0; p < photos_.size(); ++p) {
      if (record_of_[p] == kNobody) {
        continue;
      }
      if (const auto seconds = SecondsOf(p, record_of_[p])) {
        differences.push_back(*seconds);
      }
      if (const auto distance = DistanceOf(p, record_of_[p])) {
        distances.push_back(*distance);
      }
    }
    const double limit = record_points_.empty() ? 0.0 : DistanceLimit();
    if (!distances.empty() && Median(distances) > limit) {
      match_.refusal = "the photos would lie " + TextOf(Median(distances), 0) +
                       " m from their records: these are not the photos of this log";
      return;
    }
    const auto [offset, pairs] = CommonOffset(differences);
    constexpr double kShare = 0.8;
    if (differences.size() >= kPairsOfRule &&
        static_cast<double>(pairs) < kShare * static_cast<double>(differences.size())) {
      match_.refusal = "the times of photos and records speak against it: only " + std::to_string(pairs) +
                       " of " + std::to_string(differences.size()) + " pairs have a clock offset in common";
      return;
    }
    if (differences.size() >= kPairsOfRule) {
      match_.clock_offset = offset;
      match_.clock_pairs = pairs;
    }
  }

  // ---- Results --------------------------------------------------------------------------------------------

  void Pair(std::size_t p, std::size_t r, Tie how) {
    record_of_[p] = r;
    photo_of_[r] = p;
    how_[p] = how;
  }

  void Ambiguous(std::size_t p, const std::string& reason) {
    reason_[p] = "ambiguous: it " + reason;
    if (!options_.leave_ambiguous && match_.refusal.empty()) {
      match_.refusal = photos_[p].name + " is ambiguous: it " + reason;
    }
  }

  Match Told() {
    for (std::size_t p = 0; p < photos_.size(); ++p) {
      Decision decision;
      decision.photo = p;
      decision.how = how_[p];
      decision.reason = reason_[p];
      if (record_of_[p] != kNobody) {
        const std::size_t r = record_of_[p];
        decision.record = r;
        decision.distance = DistanceOf(p, r);
        if (const auto seconds = SecondsOf(p, r); seconds && match_.clock_offset) {
          decision.seconds = *seconds - *match_.clock_offset;
        }
      }
      match_.decisions.push_back(std::move(decision));
    }
    for (std::size_t r = 0; r < records_.size(); ++r) {
      if (photo_of_[r] == kNobody) {
        Decision decision;
        decision.record = r;
        decision.reason = "no photo";
        match_.decisions.push_back(std::move(decision));
      }
    }
    return std::move(match_);
  }

  const std::vector<MatchRecord>& records_;
  const std::vector<MatchPhoto>& photos_;
  const MatchOptions& options_;
  Match match_;
  std::vector<std::optional<Point>> record_points_;  // empty where no record has a position
  std::vector<std::optional<Point>> photo_points_;
  std::vector<Edge> edges_;             // between photos and records that are free, and may belong together
  std::vector<std::size_t> record_of_;  // of each photo
  std::vector<std::size_t> photo_of_;   // of each record
  std::vector<Tie> how_;                // of each photo
  std::vector<std::string> reason_;     // of each photo
  bool in_order_ = false;
};

}  // namespace

const char* TextOf(Tie tie) {
  switch (tie) {
    case Tie::kName:
      return "name";
    case Tie::kPositionAndTime:
      return "position and time";
    case Tie::kPositionAndOrder:
      return "position and order";
    case Tie::kPosition:
      return "position";
    case Tie::kTime:
      return "time";
    case Tie::kIndex:
      return "index";
    case Tie::kOrder:
      return "order";
    case Tie::kNone:
      break;
  }
  return "";
}

std::size_t Match::Tied() const {
  return static_cast<std::size_t>(
      std::count_if(decisions.begin(), decisions.end(),
                    [](const Decision& decision) { return decision.photo && decision.record; }));
}

Match MatchPhotos(const std::vector<MatchRecord>& records, const std::vector<MatchPhoto>& photos,
                  const MatchOptions& options) {
  return Matcher(records, photos, options).Run();
}

}  // namespace interchange
