// flight_map PROJECT.db MAP.svg: opens a project and draws the plan of its flight.
#include <CLI/CLI.hpp>
#include <clocale>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "examples/FlightMap.h"
#include "qvprj/qvprj.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

int Fail(const std::string& message) {
  std::cerr << "flight_map: " << message << '\n';
  return kFailed;
}

int Run(const std::string& projectPath, const std::string& mapPath, bool force) {
  qvprj::QvProject project;
  if (!project.OpenPrj(projectPath)) {
    return Fail(projectPath + ": not a project, or a damaged one; 'qvprj info' says what is wrong");
  }
  if (!force && std::filesystem::exists(mapPath)) {
    return Fail(mapPath + ": is there already; --force replaces it");
  }

  std::ofstream file(mapPath, std::ios::binary | std::ios::trunc);
  file << examples::DrawFlightMap(project);
  file.close();
  if (!file) {
    return Fail(mapPath + ": cannot be written");
  }
  std::cout << mapPath << ": " << project.GetImageInfoSet().Size() << " images\n";
  return kDone;
}

// Reads the command line and does what it says.
int Main(int argc, char** argv) {
  CLI::App app(
      "Draws the flight of a project as an SVG picture.\n\nExample: flight_map survey.db survey.svg");
  std::string project;
  std::string map;
  bool force = false;
  app.add_option("PROJECT", project, "the project database")->required();
  app.add_option("MAP", map, "where to write the picture")->required();
  app.add_flag("--force", force, "replace a picture that is there already");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kWrongUsage;
  }
  return Run(project, map, force);
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "");  // the project's texts are in the user's encoding
  try {
    return Main(argc, argv);
  } catch (const std::exception& error) {
    return Fail(error.what());
  }
}
