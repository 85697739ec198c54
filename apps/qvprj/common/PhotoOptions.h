// Options of tying photos to positions, as commands take them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/ProjectPair.h"
#include "interchange/mapping/PhotoProject.h"

namespace CLI {
class App;
}

namespace qvapp {

/// What the command line says of photos; what it does not say is as the options' own defaults.
struct PhotoOptions {
  std::optional<std::string> report;  ///< where the table of decisions goes
  std::string tie = "any";
  bool leave_ambiguous = false;
  std::optional<double> distance;  ///< metres
};

/// Throws wrong usage when --report would write over a file of the project, or over one of `sources`.
void RequireReportApart(const PhotoOptions& options, const ProjectPair& pair,
                        const std::vector<std::string>& sources);

/// Adds --report, --tie, --leave-ambiguous and --photo-distance.
void AddPhotoOptions(CLI::App& command, PhotoOptions& options);

/// The options for the photos in `folder`, of a project that is going to be at `project`.
[[nodiscard]] interchange::PhotoOptions PhotoOptionsOf(const PhotoOptions& options, const std::string& folder,
                                                       const std::string& project);

}  // namespace qvapp
