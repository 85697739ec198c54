#include "Figure.h"

#include <benchmark/benchmark.h>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace bench {
namespace {

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2.0;
}

double Least(std::vector<double> values) {
  return *std::min_element(values.begin(), values.end());
}

/// Keeps the cost of every round by the name of its benchmark and prints nothing.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration) {
        costs_[run.run_name.function_name].push_back(run.real_accumulated_time /
                                                     static_cast<double>(run.iterations));
      }
    }
  }

  [[nodiscard]] const std::vector<double>& CostsOf(const std::string& name) const { return costs_.at(name); }

 private:
  std::map<std::string, std::vector<double>> costs_;
};

void Register(const std::string& name, const Round& round, int rounds) {
  // What a round costs goes through as its manual time, whatever its unit.
  benchmark::RegisterBenchmark(name.c_str(),
                               [round](benchmark::State& state) {
                                 for ([[maybe_unused]] auto iteration : state) {
                                   state.SetIterationTime(round());
                                 }
                               })
      ->Iterations(1)
      ->Repetitions(rounds)
      ->UseManualTime();
}

}  // namespace

Result Run(const Figure& figure, int rounds) {
  constexpr int kRoundsForLeast = 15;
  if (figure.writes_large_files && rounds > 1) {
    rounds = std::max(rounds, kRoundsForLeast);
  }
  const auto [measured, floor] = figure.prepare();
  measured();  // once unmeasured, for the caches of the system
  floor();
  benchmark::ClearRegisteredBenchmarks();
  Register("measured", measured, rounds);
  Register("floor", floor, rounds);
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  benchmark::ClearRegisteredBenchmarks();
  const auto statistic = figure.writes_large_files ? Least : Median;
  return {&figure, statistic(collector.CostsOf("measured")), statistic(collector.CostsOf("floor"))};
}

double Milliseconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void ForgetFreeMemory() {
#if defined(__GLIBC__)
  malloc_trim(0);
#endif
}

void Require(bool condition, const std::string& what) {
  if (!condition) {
    std::fprintf(stderr, "qvprj_bench: failed: %s\n", what.c_str());
    std::exit(1);
  }
}

}  // namespace bench
