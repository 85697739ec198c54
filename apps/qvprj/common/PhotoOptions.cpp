// Options of tying photos to positions, as commands take them.
#include "common/PhotoOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>

#include "common/Failure.h"

namespace qvapp {
namespace {

using interchange::TieBy;

const std::map<std::string, TieBy>& Ties() {
  static const std::map<std::string, TieBy> kTies = {{"any", TieBy::kAny},
                                                     {"name", TieBy::kName},
                                                     {"position", TieBy::kPosition},
                                                     {"index", TieBy::kIndex},
                                                     {"order", TieBy::kOrder}};
  return kTies;
}

}  // namespace

void RequireReportApart(const PhotoOptions& options, const ProjectPair& pair,
                        const std::vector<std::string>& sources) {
  if (!options.report) {
    return;
  }
  RequireApart(pair, *options.report);
  if (std::any_of(sources.begin(), sources.end(),
                  [&](const std::string& source) { return IsSameFile(source, *options.report); })) {
    throw Failure(*options.report, "is a file that the command reads", "write the report somewhere else",
                  kWrongUsage);
  }
}

void AddPhotoOptions(CLI::App& command, PhotoOptions& options) {
  command
      .add_option("--report", options.report,
                  "photos: write what was decided of each photo and position, a line each")
      ->type_name("FILE.csv");
  command
      .add_option(
          "--tie", options.tie,
          "photos: by what they are tied to positions: name, position (and time), index, order, or any "
          "(default): the first of these that can be used")
      ->check(CLI::IsMember({"any", "name", "position", "index", "order"}))
      ->type_name("MEANS");
  command.add_flag("--leave-ambiguous", options.leave_ambiguous,
                   "photos: leave out those that could be of several positions, and import the others");
  command
      .add_option(
          "--photo-distance", options.distance,
          "photos: how far a photo may lie from its position; without it that is found from the flight")
      ->check(CLI::PositiveNumber)
      ->type_name("METRES");
}

interchange::PhotoOptions PhotoOptionsOf(const PhotoOptions& options, const std::string& folder,
                                         const std::string& project) {
  interchange::PhotoOptions made;
  made.folder = folder;
  made.project = project;
  made.report = options.report;
  made.match.by = Ties().at(options.tie);
  made.match.leave_ambiguous = options.leave_ambiguous;
  made.match.distance = options.distance;
  return made;
}

}  // namespace qvapp
