// Conversions as commands see them: options that all of them take, their reports, their failures.
#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "common/Json.h"
#include "interchange/Report.h"
#include "interchange/mapping/Scene.h"
#include "interchange/project/FileCoordinates.h"

namespace CLI {
class App;
}

namespace qvapp {

/// Conventions as a command line says them; what it does not say is as the options' own defaults.
struct ConventionOptions {
  std::string orientation = "adjusted";
  std::string angles = "auto";
  std::string positions = "auto";
  double pitch_at_nadir = 0.0;
  std::optional<double> geoid_height;
  std::string principal_point = "mm";
  std::string pixel_origin = "corner";
  std::string axis_order = "east-north";
};

/// Adds the options that say how a project is to be read.
void AddProjectConventions(CLI::App& command, ConventionOptions& options);

/// Adds the options that say what heights and angles of a file are.
void AddFileConventions(CLI::App& command, ConventionOptions& options);

/// Adds the option that says what positions of a project without a coordinate system are.
void AddPositionConvention(CLI::App& command, ConventionOptions& options);

/// Adds the options of cameras and pixels.
void AddPixelConventions(CLI::App& command, ConventionOptions& options);

/// Adds the option for the order of the coordinates in a text.
void AddAxisOrder(CLI::App& command, ConventionOptions& options);
[[nodiscard]] interchange::AxisOrder AxisOrderOf(const ConventionOptions& options);

[[nodiscard]] interchange::SceneOptions SceneOptionsOf(const ConventionOptions& options);

/// "X,Y,Z". Throws wrong usage, of `option`, for anything else.
[[nodiscard]] interchange::Vector3 TripleOf(const std::string& option, const std::string& text);

/// Runs `work`; what a conversion throws becomes a `Failure`.
void Converted(const std::function<void()>& work);

/// What stands in the JSON document of every conversion: "conventions", "read", "written", "files",
/// "not_carried", "notes", "renumbered_images" and "renumbered_cameras"; "decisions" where there were any.
[[nodiscard]] Json ReportJson(const interchange::Report& report);

/// The same for people.
void PrintReport(const interchange::Report& report, std::ostream& out);

}  // namespace qvapp
