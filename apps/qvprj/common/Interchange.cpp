// Conversions as commands see them: options that all of them take, their reports, their failures.
#include "common/Interchange.h"

#include <CLI/CLI.hpp>

#include "common/Failure.h"
#include "common/Text.h"
#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace qvapp {
namespace {

using interchange::Report;

Json CountsJson(const std::vector<std::pair<std::string, std::size_t>>& counts) {
  Json json = Json::object();
  for (const auto& [what, count] : counts) {
    json[what] = count;
  }
  return json;
}

Json TextsJson(const std::vector<std::string>& texts) {
  Json json = Json::array();
  for (const std::string& text : texts) {
    json.push_back(JsonText(text));
  }
  return json;
}

Json IdsJson(const std::vector<interchange::RenumberedId>& ids) {
  Json json = Json::array();
  for (const interchange::RenumberedId& id : ids) {
    json.push_back({{"from", id.from}, {"to", id.to}});
  }
  return json;
}

Json DecisionsJson(const interchange::DecisionTable& table) {
  Json json = Json::array();
  for (const std::vector<std::string>& row : table.rows) {
    Json object = Json::object();
    for (std::size_t i = 0; i < row.size(); ++i) {
      const auto number = table.columns[i].is_number ? interchange::NumberOf(row[i]) : std::nullopt;
      object[table.columns[i].name] = row[i].empty() ? Json(nullptr)
                                      : number       ? Json(*number)
                                                     : JsonText(row[i]);
    }
    json.push_back(std::move(object));
  }
  return json;
}

/// "1 camera", "2 cameras", "1 match".
std::string CountText(std::size_t count, std::string what) {
  if (count == 1 && what.ends_with('s')) {
    what.erase(what.size() - (what.ends_with("ches") ? 2 : 1));
  }
  return std::to_string(count) + " " + what;
}

std::string CountsText(const std::vector<std::pair<std::string, std::size_t>>& counts) {
  std::string text;
  for (const auto& [what, count] : counts) {
    text += (text.empty() ? "" : ", ") + CountText(count, what);
  }
  return text.empty() ? "nothing" : text;
}

}  // namespace

void AddProjectConventions(CLI::App& command, ConventionOptions& options) {
  command
      .add_option("--orientation", options.orientation,
                  "which orientation of the images: adjusted (default) or as-flown")
      ->check(CLI::IsMember({"adjusted", "as-flown"}))
      ->type_name("WHICH");
  command
      .add_option(
          "--angles", options.angles,
          "what stored angles are: navigation (roll, -pitch, yaw), opk, or auto (default): opk where the "
          "adjusted orientation differs from that as flown")
      ->check(CLI::IsMember({"auto", "navigation", "opk"}))
      ->type_name("KIND");
  AddFileConventions(command, options);
  AddPositionConvention(command, options);
}

void AddFileConventions(CLI::App& command, ConventionOptions& options) {
  command
      .add_option("--pitch-at-nadir", options.pitch_at_nadir,
                  "the pitch of navigation angles where the camera looks straight down: 0 (default) or -90")
      ->type_name("DEGREES");
  command
      .add_option("--geoid-height", options.geoid_height,
                  "what to add to stored heights to make them heights above the ellipsoid")
      ->type_name("METRES");
}

void AddPositionConvention(CLI::App& command, ConventionOptions& options) {
  command
      .add_option("--positions", options.positions,
                  "what positions are in a project without a coordinate system: degrees, cartesian, or auto "
                  "(default)")
      ->check(CLI::IsMember({"auto", "degrees", "cartesian"}))
      ->type_name("KIND");
}

void AddPixelConventions(CLI::App& command, ConventionOptions& options) {
  command
      .add_option("--principal-point", options.principal_point,
                  "what x0, y0 of a camera are: mm from the middle, y up (default), or pixels from the "
                  "corner, y down")
      ->check(CLI::IsMember({"mm", "pixels"}))
      ->type_name("UNIT");
  command
      .add_option("--pixel-origin", options.pixel_origin,
                  "where the project's pixels count from: corner of the image (default), or centre of the "
                  "first pixel")
      ->check(CLI::IsMember({"corner", "centre"}))
      ->type_name("PLACE");
}

void AddAxisOrder(CLI::App& command, ConventionOptions& options) {
  command
      .add_option(
          "--axis-order", options.axis_order,
          "which coordinate comes first in a text: east-north (default), also longitude first, or north-east")
      ->check(CLI::IsMember({"east-north", "north-east"}))
      ->type_name("ORDER");
}

interchange::AxisOrder AxisOrderOf(const ConventionOptions& options) {
  return options.axis_order == "east-north" ? interchange::AxisOrder::kEastNorth
                                            : interchange::AxisOrder::kNorthEast;
}

interchange::SceneOptions SceneOptionsOf(const ConventionOptions& options) {
  interchange::SceneOptions made;
  made.project.orientation = options.orientation == "adjusted" ? interchange::Orientation::kAdjusted
                                                               : interchange::Orientation::kAsFlown;
  made.project.angles = options.angles == "navigation" ? interchange::Angles::kNavigation
                        : options.angles == "opk"      ? interchange::Angles::kOpk
                                                       : interchange::Angles::kAuto;
  made.project.positions = options.positions == "degrees"     ? interchange::Positions::kDegrees
                           : options.positions == "cartesian" ? interchange::Positions::kCartesian
                                                              : interchange::Positions::kAuto;
  made.project.pitch_at_nadir = options.pitch_at_nadir;
  made.project.geoid_height = options.geoid_height;
  made.principal_point = options.principal_point == "mm" ? interchange::PrincipalPoint::kMillimetres
                                                         : interchange::PrincipalPoint::kPixels;
  made.pixel_origin = options.pixel_origin == "corner" ? interchange::PixelOrigin::kCorner
                                                       : interchange::PixelOrigin::kCentre;
  return made;
}

interchange::Vector3 TripleOf(const std::string& option, const std::string& text) {
  const std::vector<std::string> fields = interchange::Fields(text, ',');
  std::vector<double> numbers;
  for (const std::string& field : fields) {
    if (const auto number = interchange::NumberOf(field)) {
      numbers.push_back(*number);
    }
  }
  if (fields.size() != 3 || numbers.size() != 3) {
    throw Failure(option, "'" + text + "' is not three numbers", "write X,Y,Z", kWrongUsage);
  }
  return {numbers[0], numbers[1], numbers[2]};
}

void Converted(const std::function<void()>& work) {
  try {
    work();
  } catch (const interchange::Failure& failure) {
    throw Failure(failure.Subject(), failure.Problem(), failure.Remedy());
  }
}

Json ReportJson(const Report& report) {
  Json conventions = Json::object();
  for (const auto& [what, convention] : report.conventions) {
    conventions[what] = JsonText(convention);
  }
  Json document = {{"conventions", conventions},
                   {"read", CountsJson(report.read)},
                   {"written", CountsJson(report.written)},
                   {"files", TextsJson(report.files)},
                   {"not_carried", TextsJson(report.not_carried)},
                   {"notes", TextsJson(report.notes)},
                   {"renumbered_images", IdsJson(report.images)},
                   {"renumbered_cameras", IdsJson(report.cameras)}};
  if (!report.decisions.columns.empty()) {
    document["decisions"] = DecisionsJson(report.decisions);
  }
  return document;
}

void PrintReport(const Report& report, std::ostream& out) {
  using enum Table::Align;
  Table table({kLeft, kLeft});
  table.Add({"read", CountsText(report.read)});
  table.Add({"written", CountsText(report.written)});
  for (const auto& [what, convention] : report.conventions) {
    table.Add({what, convention});
  }
  for (const std::string& file : report.files) {
    table.Add({"file", file});
  }
  for (const std::string& what : report.not_carried) {
    table.Add({"not carried", what});
  }
  for (const std::string& note : report.notes) {
    table.Add({"note", note});
  }
  if (!report.images.empty()) {
    table.Add(
        {"note", Counted(report.images.size(), "image id is", "image ids are") + " new: --json lists them"});
  }
  if (!report.cameras.empty()) {
    table.Add({"note",
               Counted(report.cameras.size(), "camera id is", "camera ids are") + " new: --json lists them"});
  }
  table.Print(out, "  ");
}

}  // namespace qvapp
