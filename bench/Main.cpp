// The benchmark program: runs the figures and prints them as a table.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <thread>

#include "Figure.h"
#include "Growth.h"

namespace {

using bench::Figure;
using bench::Result;

constexpr char kUsage[] =
    "usage: qvprj_bench [FILTER] [--check] [--json FILE] [--rounds N] [--tiny]\n"
    "       qvprj_bench growth [--tiny]\n"
    "\n"
    "Measures operations against their floors in the same run: all, or those in whose names the regular\n"
    "expression FILTER is found. With growth: how saving and opening grow with the number of images.\n"
    "  --check      fail when a ratio is above its goal\n"
    "  --json FILE  write the figures to FILE too\n"
    "  --rounds N   rounds of each measurement, of which the median counts (default 9)\n"
    "  --tiny       tiny workloads: shows that everything works, measures nothing\n";

struct Options {
  std::string filter;
  bool check = false;
  std::string json;
  int rounds = 9;
  bool tiny = false;
};

[[noreturn]] void Usage(int code) {
  std::fputs(kUsage, code == 0 ? stdout : stderr);
  std::exit(code);
}

Options Parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const bool hasValue = i + 1 < argc;
    if (argument == "--help") {
      Usage(0);
    } else if (argument == "--check") {
      options.check = true;
    } else if (argument == "--tiny") {
      options.tiny = true;
    } else if (argument == "--json" && hasValue) {
      options.json = argv[++i];
    } else if (argument == "--rounds" && hasValue && std::atoi(argv[i + 1]) > 0) {
      options.rounds = std::atoi(argv[++i]);
    } else if (argument.starts_with("--") || !options.filter.empty()) {
      Usage(2);
    } else {
      options.filter = argument;
    }
  }
  return options;
}

std::regex FilterOf(const Options& options) {
  try {
    return std::regex(options.filter);
  } catch (const std::regex_error&) {
    std::fprintf(stderr, "qvprj_bench: '%s' is no regular expression\n", options.filter.c_str());
    std::exit(2);
  }
}

std::vector<Figure> AllFigures(const bench::Scale& scale) {
  std::vector<Figure> figures;
  for (auto& part :
       {bench::SaveOpenFigures(scale), bench::FlightListingFigures(scale), bench::LocalFrameFigures(scale),
        bench::TrackFileFigures(scale), bench::TableFigures(scale), bench::ProjectFigures(scale)}) {
    figures.insert(figures.end(), part.begin(), part.end());
  }
  return figures;
}

void PrintHead() {
  std::printf("%-44s %14s   %-21s %14s %8s %8s\n", "operation", "measured", "floor", "", "ratio", "goal");
}

void Print(const Result& result) {
  const Figure& figure = *result.figure;
  char goal[16] = "-";
  if (figure.goal) {
    std::snprintf(goal, sizeof goal, "%.2f", *figure.goal);
  }
  std::printf("%-44s %8.5g %5s   %-21s %8.5g %5s %8.2f %8s%s\n", figure.operation.c_str(), result.measured,
              figure.unit.c_str(), figure.floor_name.c_str(), result.floor, figure.unit.c_str(),
              result.Ratio(), goal, result.GoodEnough() ? "" : "  MISSED");
  std::fflush(stdout);
}

bool WriteJson(const std::string& path, const std::vector<Result>& results, int rounds) {
  std::ofstream file(path);
  file << "{\"rounds\": " << rounds << ", \"cpus\": " << std::thread::hardware_concurrency()
       << ", \"figures\": [";
  const char* separator = "\n";
  for (const Result& result : results) {
    file << separator << "  {\"operation\": \"" << result.figure->operation << "\", \"floor_name\": \""
         << result.figure->floor_name << "\", \"unit\": \"" << result.figure->unit
         << "\", \"measured\": " << result.measured << ", \"floor\": " << result.floor
         << ", \"ratio\": " << result.Ratio() << ", \"goal\": ";
    if (result.figure->goal) {
      file << *result.figure->goal;
    } else {
      file << "null";
    }
    file << "}";
    separator = ",\n";
  }
  file << "\n]}\n";
  return static_cast<bool>(file.flush());
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = Parse(argc, argv);
  char name[] = "qvprj_bench";
  char interleaving[] = "--benchmark_enable_random_interleaving=true";
  char* libraryArguments[] = {name, interleaving, nullptr};
  int libraryArgumentCount = 2;
  benchmark::Initialize(&libraryArgumentCount, libraryArguments);

#ifndef NDEBUG
  std::fputs("built without optimisation: the figures mean nothing\n", stderr);
#endif
  if (options.filter == "growth") {
    bench::PrintGrowth(options.tiny);
    return 0;
  }
  const std::regex filter = FilterOf(options);
  const std::vector<Figure> figures = AllFigures({options.tiny});
  std::vector<Result> results;
  bool good = true;
  PrintHead();
  for (const Figure& figure : figures) {
    if (std::regex_search(figure.operation, filter)) {
      results.push_back(bench::Run(figure, options.rounds));
      Print(results.back());
      good = good && results.back().GoodEnough();
    }
  }
  if (results.empty()) {
    std::fprintf(stderr, "qvprj_bench: '%s' is in no operation's name\n", options.filter.c_str());
    return 2;
  }
  if (!options.json.empty() && !WriteJson(options.json, results, options.rounds)) {
    std::fprintf(stderr, "qvprj_bench: %s: cannot be written\n", options.json.c_str());
    return 1;
  }
  return options.check && !good ? 1 : 0;
}
