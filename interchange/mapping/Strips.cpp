// The flight strips of a sequence of camera positions.
#include "interchange/mapping/Strips.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <numbers>
#include <optional>

namespace interchange {
namespace {

constexpr double kTurn = 45.0 * std::numbers::pi / 180.0;
constexpr std::size_t kLegsOfMean = 5;
constexpr std::size_t kShortest = 3;  // positions of a strip

/// Positions `first` to `last`, both included.
struct Run {
  std::size_t first = 0;
  std::size_t last = 0;

  [[nodiscard]] std::size_t Size() const { return last - first + 1; }
};

PlanePoint Leg(const std::vector<PlanePoint>& positions, std::size_t i) {
  return {positions[i + 1].x - positions[i].x, positions[i + 1].y - positions[i].y};
}

double Length(const PlanePoint& leg) {
  return std::hypot(leg.x, leg.y);
}

double Angle(const PlanePoint& a, const PlanePoint& b) {
  return std::fabs(std::atan2(a.x * b.y - a.y * b.x, a.x * b.x + a.y * b.y));
}

/// The legs that are too short to have a course.
double ShortLeg(const std::vector<PlanePoint>& positions) {
  std::vector<double> lengths;
  for (std::size_t i = 0; i + 1 < positions.size(); ++i) {
    lengths.push_back(Length(Leg(positions, i)));
  }
  const auto middle = lengths.begin() + static_cast<std::ptrdiff_t>(lengths.size() / 2);
  std::nth_element(lengths.begin(), middle, lengths.end());
  constexpr double kShare = 0.25;
  return std::max(kShare * *middle, std::numeric_limits<double>::min());
}

/// The sum of the last legs' directions within a strip.
std::optional<PlanePoint> MeanCourse(const std::vector<PlanePoint>& directions) {
  if (directions.empty()) {
    return std::nullopt;
  }
  PlanePoint sum;
  for (std::size_t i = directions.size() - std::min(directions.size(), kLegsOfMean); i < directions.size();
       ++i) {
    sum.x += directions[i].x;
    sum.y += directions[i].y;
  }
  return sum;
}

std::vector<Run> Runs(const std::vector<PlanePoint>& positions) {
  const double tooShort = ShortLeg(positions);
  std::vector<Run> runs = {{0, 0}};
  std::vector<PlanePoint> directions;
  for (std::size_t i = 0; i + 1 < positions.size(); ++i) {
    const PlanePoint leg = Leg(positions, i);
    const double length = Length(leg);
    const bool hasCourse = length >= tooShort;
    const auto mean = MeanCourse(directions);
    if (hasCourse && mean && Angle(leg, *mean) > kTurn) {
      runs.push_back({i + 1, i + 1});
      directions.clear();
      continue;  // the leg between two strips belongs to neither
    }
    runs.back().last = i + 1;
    if (hasCourse) {
      directions.push_back({leg.x / length, leg.y / length});
    }
  }
  return runs;
}

/// Joins runs that are one line after all: a long turn bends the mean course, so that the line behind it
/// seems to turn once more. Their ends have to point one way, and the leg between them not to leave the last
/// ones of the first.
std::vector<Run> Joined(const std::vector<PlanePoint>& positions, const std::vector<Run>& runs) {
  constexpr double kOneWay = 60.0 * std::numbers::pi / 180.0;
  const auto chord = [&](std::size_t from, std::size_t to) {
    return PlanePoint{positions[to].x - positions[from].x, positions[to].y - positions[from].y};
  };
  std::vector<Run> joined;
  for (const Run& run : runs) {
    if (!joined.empty() && joined.back().Size() >= kShortest && run.Size() >= kShortest) {
      Run& last = joined.back();
      const PlanePoint leg = chord(last.last, run.first);
      if (Angle(chord(last.first, last.last), chord(run.first, run.last)) < kOneWay &&
          Angle(chord(last.last - 2, last.last), leg) < kTurn &&
          Angle(leg, chord(run.first, run.first + 2)) < kTurn) {
        last.last = run.last;
        continue;
      }
    }
    joined.push_back(run);
  }
  return joined;
}

/// How far a position lies from the line through the ends of a run, counted along the line too where it lies
/// beyond.
double Distance(const std::vector<PlanePoint>& positions, const Run& run, std::size_t i) {
  const PlanePoint& a = positions[run.first];
  const PlanePoint& b = positions[run.last];
  const PlanePoint line = {b.x - a.x, b.y - a.y};
  const PlanePoint to = {positions[i].x - a.x, positions[i].y - a.y};
  const double length = Length(line);
  return length > 0.0 ? std::fabs(line.x * to.y - line.y * to.x) / length : Length(to);
}

}  // namespace

std::vector<int> StripsOf(const std::vector<PlanePoint>& positions) {
  std::vector<int> strips(positions.size(), 1);
  if (positions.size() < 2) {
    return strips;
  }
  const std::vector<Run> runs = Joined(positions, Runs(positions));
  std::vector<Run> kept;
  std::copy_if(runs.begin(), runs.end(), std::back_inserter(kept),
               [](const Run& run) { return run.Size() >= kShortest; });
  if (kept.empty()) {
    return strips;
  }
  // Positions between two strips go to one of them; from the turn on, all to the later one, so that strips
  // are whole.
  std::size_t begin = 0;
  for (std::size_t k = 0; k < kept.size(); ++k) {
    std::size_t end = positions.size();
    if (k + 1 < kept.size()) {
      end = kept[k].last + 1;
      while (end < kept[k + 1].first &&
             Distance(positions, kept[k], end) <= Distance(positions, kept[k + 1], end)) {
        ++end;
      }
    }
    std::fill(strips.begin() + static_cast<std::ptrdiff_t>(begin),
              strips.begin() + static_cast<std::ptrdiff_t>(end), static_cast<int>(k + 1));
    begin = end;
  }
  return strips;
}

}  // namespace interchange
