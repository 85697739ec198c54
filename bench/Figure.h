// A figure is what a benchmark run shows: one measured operation beside another that it is compared with, its
// floor. Both run in the same process in interleaved rounds, and the ratio of their medians is the result, so
// that it means the same on every machine.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// One round of an operation: does its work and returns the cost in the figure's unit.
using Round = std::function<double()>;

struct Figure {
  std::string operation;
  std::string floor_name;      ///< what the floor is, for the table
  std::string unit;            ///< of measured and floor: "ms", "bytes"
  std::optional<double> goal;  ///< the largest ratio that is good enough; none where the ratio is only shown

  /// Both sides write large new files: what that costs has two levels on a busy machine, whichever side is
  /// measured, so the least of at least 15 rounds counts in place of the median.
  bool writes_large_files = false;

  /// Builds what both need, and returns what measures the operation and what measures its floor. Called only
  /// for figures that were asked for. Whatever the rounds hold is freed when the figure is done.
  std::function<std::pair<Round, Round>()> prepare;
};

/// How large the workloads are. `tiny` is for seeing that they work, not for measuring.
struct Scale {
  bool tiny = false;

  [[nodiscard]] int Of(int full, int small) const { return tiny ? small : full; }
};

/// What a figure came to: the medians, or the least, of its rounds.
struct Result {
  const Figure* figure;
  double measured;
  double floor;

  [[nodiscard]] double Ratio() const { return measured / floor; }
  [[nodiscard]] bool GoodEnough() const { return !figure->goal || Ratio() <= *figure->goal; }
};

/// Runs one figure through the benchmark library in `rounds` interleaved rounds; one round is a trial.
Result Run(const Figure& figure, int rounds);

/// How long `work` takes, in milliseconds.
double Milliseconds(const std::function<void()>& work);

/// Gives the memory that is free back to the system, so that a round begins as in a program that has just
/// started: neither finds pages there that the one before it has left, nor pays for tidying up after it.
void ForgetFreeMemory();

/// Ends the program with a message when an operation did not do what it should: there is nothing to measure.
void Require(bool condition, const std::string& what);

std::vector<Figure> SaveOpenFigures(const Scale& scale);
std::vector<Figure> FlightListingFigures(const Scale& scale);
std::vector<Figure> TableFigures(const Scale& scale);
std::vector<Figure> ProjectFigures(const Scale& scale);
std::vector<Figure> TrackFileFigures(const Scale& scale);
std::vector<Figure> LocalFrameFigures(const Scale& scale);

}  // namespace bench
