// simulate_flight FOLDER: leaves behind what a drone's controller leaves behind after a survey.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

#include "examples/FlightSimulator.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct Options {
  std::string folder;
  std::uint64_t seed = 1;
  int images = 240;
  bool force = false;
};

int Fail(const std::string& message) {
  std::cerr << "simulate_flight: " << message << '\n';
  return kFailed;
}

int Run(const Options& options) {
  namespace fs = std::filesystem;
  std::error_code error;
  fs::create_directories(options.folder, error);
  if (!fs::is_directory(options.folder, error)) {
    return Fail(options.folder + ": no folder, and none can be made there; name another one");
  }

  const flightsim::FlightFiles files = flightsim::FilesIn(options.folder);
  for (const std::string& file : {files.flight, files.project}) {
    if (!fs::exists(fs::symlink_status(file, error))) {
      continue;
    }
    if (!options.force) {
      return Fail(file + ": is there already; --force replaces it");
    }
    if (!fs::remove(file, error)) {
      return Fail(file + ": cannot be replaced: " + error.message());
    }
  }

  std::string reason;
  if (!flightsim::WriteFlight(options.folder, options.images, options.seed, reason)) {
    return Fail(reason);
  }
  std::cout << files.flight << ": two missions, the newest with " << options.images << " images\n"
            << files.project << ": the project that they were flown for\n";
  return kDone;
}

// Reads the command line and does what it says.
int Main(int argc, char** argv) {
  CLI::App app(
      "Flies a survey that never took place (wind, turns, missed triggers) and writes its flight database\n"
      "and a sibling project database. The same seed gives the same flight.\n\n"
      "Example: simulate_flight flight --seed 7 --images 500");
  Options options;
  app.add_option("FOLDER", options.folder, "where to write flight.db and project.db; made when missing")
      ->required();
  app.add_option("--seed", options.seed, "which flight")->capture_default_str();
  app.add_option("--images", options.images, "photos of the newest mission, 1 to 100000")
      ->capture_default_str()
      ->check(CLI::Range(1, 100000));
  app.add_flag("--force", options.force, "replace files that are there already");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kWrongUsage;
  }
  return Run(options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Main(argc, argv);
  } catch (const std::exception& error) {
    return Fail(error.what());
  }
}
