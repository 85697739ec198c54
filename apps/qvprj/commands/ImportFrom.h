// qvprj import --from: files of another program become a saved project.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/Console.h"
#include "common/Interchange.h"
#include "common/PhotoOptions.h"

namespace qvapp {

struct ImportFromOptions {
  std::string kind;  ///< one of `ImportKinds`
  std::string path;
  std::string out;
  std::optional<std::string> crs;
  std::optional<std::string> offset;       ///< "X,Y,Z"
  std::optional<std::string> database;     ///< colmap: of features and matches
  std::optional<std::string> camera_file;  ///< cameras, where the files have none
  std::optional<std::string> log;          ///< photos: positions in place of their own
  std::string columns;                     ///< photos: of the log
  PhotoOptions photo_options;              ///< photos
  std::string operator_name;
  ConventionOptions conventions;
  bool force = false;
  bool json = false;
};

/// What --from takes.
[[nodiscard]] std::vector<std::string> ImportKinds();

/// Returns the exit code; results go to `console.out`, a failure is one line on `console.err`.
int RunImportFrom(const ImportFromOptions& options, Console& console);

}  // namespace qvapp
