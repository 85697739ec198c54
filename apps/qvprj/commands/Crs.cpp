// qvprj crs: which coordinate systems there are.
#include "commands/Crs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>

#include "common/CoordinateSystem.h"
#include "common/DatabaseFiles.h"
#include "common/Failure.h"
#include "common/Json.h"
#include "common/Text.h"
#include "qvfd/CoordinateCatalog.h"
#include "qvprj/project/QvProject.h"

namespace qvapp {
namespace {

constexpr const char* kJson =
    "With --json: {\"query\" or \"near\", \"found\", \"systems\": [{\"id\", \"name\", \"kind\" "
    "(\"geographic\" or\n"
    "\"projected\"), \"unit\", \"area\", \"west\", \"south\", \"east\", \"north\"}]}; \"found\" counts those "
    "that\n"
    "are not shown too. The area is in degrees; where \"west\" is above \"east\" it crosses the 180th\n"
    "meridian.\n"
    "\n";

constexpr const char* kExamples =
    "Example:\n"
    "  qvprj crs find cgcs2000 120e\n"
    "  qvprj crs find --near survey.db";

/// More than a screen helps nobody who has not asked for it.
constexpr std::size_t kMostToShow = 20;

using qvfd::CatalogEntry;
using qvfd::GeographicArea;

std::string TextOf(const CrsFindOptions& options) {
  std::string text;
  for (const std::string& word : options.words) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

void RequireRightUsage(const CrsFindOptions& options) {
  constexpr const char* kHint = "see 'qvprj crs find --help'";
  if (options.words.empty() != options.survey.has_value()) {
    throw Failure("qvprj crs find", "needs either a TEXT or --near SURVEY.db", kHint, kWrongUsage);
  }
  if (!options.survey && TextOf(options).find_first_not_of(" \t\r\n") == std::string::npos) {
    throw Failure("qvprj crs find", "there is no word in TEXT", kHint, kWrongUsage);
  }
}

void RequireFound(bool found) {
  if (!found) {
    throw Failure("geodesy database", "cannot be read: no coordinate system can be looked for",
                  "install it (proj.db), or let PROJ_DATA name its folder");
  }
}

// ---- By place -----------------------------------------------------------------------------------

struct Position {
  double longitude;
  double latitude;
};

/// The positions of the images as flown, as far as they are on the globe.
std::vector<Position> PositionsIn(const std::string& path, Console& console) {
  const StatusLine status(console, "Reading", path);
  RequireDatabase(path, DatabaseKind::kProject);
  qvprj::QvProject project;
  if (!project.OpenPrj(path)) {
    ThrowWhyNotProject(path);
  }
  std::vector<Position> positions;
  for (const qvfd::ImageInfo& image : project.GetImageInfoSet()) {
    const qvfd::EOP& eop = image.GetEOP();
    if (std::fabs(eop.x) <= 180.0 && std::fabs(eop.y) <= 90.0) {  // false for what is no number
      positions.push_back({eop.x, eop.y});
    }
  }
  if (positions.empty()) {
    throw Failure(path, "has no image with a longitude and latitude",
                  "look for a system by its name: qvprj crs find TEXT");
  }
  return positions;
}

/// A longitude counted from Greenwich to the east alone, so that the 180th meridian is no border.
double Eastward(const Position& position) {
  return position.longitude < 0.0 ? position.longitude + 360.0 : position.longitude;
}

/// The area that all positions lie in, the shorter way round the globe.
GeographicArea ExtentOf(const std::vector<Position>& positions) {
  const auto bounds = [&positions](auto value) {
    return std::minmax_element(positions.begin(), positions.end(),
                               [value](const Position& a, const Position& b) { return value(a) < value(b); });
  };
  const auto [south, north] = bounds([](const Position& position) { return position.latitude; });
  const auto [west, east] = bounds([](const Position& position) { return position.longitude; });
  const auto [first, last] = bounds(Eastward);
  const bool crosses = Eastward(*last) - Eastward(*first) < east->longitude - west->longitude;
  return {(crosses ? first : west)->longitude, south->latitude, (crosses ? last : east)->longitude,
          north->latitude};
}

/// The area that consists of the middle of `extent`.
GeographicArea MiddleOf(const GeographicArea& extent) {
  const double width =
      extent.east >= extent.west ? extent.east - extent.west : extent.east - extent.west + 360.0;
  double longitude = extent.west + width / 2.0;
  if (longitude >= 180.0) {
    longitude -= 360.0;
  }
  const double latitude = extent.south + (extent.north - extent.south) / 2.0;
  return {longitude, latitude, longitude, latitude};
}

bool IsUtm(const CatalogEntry& entry) {
  return entry.utm;
}

std::vector<CatalogEntry> FindNear(const GeographicArea& extent) {
  std::vector<CatalogEntry> entries;
  RequireFound(FindCoordinatesFor(extent, entries));
  if (std::any_of(entries.begin(), entries.end(), IsUtm)) {
    return entries;
  }
  // Images on both sides of a zone's border: the zone of the middle serves them all.
  std::vector<CatalogEntry> middle;
  RequireFound(FindCoordinatesFor(MiddleOf(extent), middle));
  std::vector<CatalogEntry> zones;
  std::copy_if(middle.begin(), middle.end(), std::back_inserter(zones), IsUtm);
  entries.insert(entries.begin(), zones.begin(), zones.end());
  return entries;
}

// ---- Both ---------------------------------------------------------------------------------------

struct Found {
  std::size_t count = 0;
  std::vector<CatalogEntry> shown;
};

Found Find(const CrsFindOptions& options, Console& console) {
  RequireRightUsage(options);
  std::vector<CatalogEntry> entries;
  if (options.survey) {
    entries = FindNear(ExtentOf(PositionsIn(*options.survey, console)));
  } else {
    RequireFound(FindCoordinates(TextOf(options), entries));
  }
  const std::size_t count = entries.size();
  if (!options.all && count > kMostToShow) {
    entries.resize(kMostToShow);
  }
  FillUnits(entries);
  return {count, std::move(entries)};
}

Json ToJson(const CatalogEntry& entry) {
  return {{"id", entry.id},
          {"name", JsonText(entry.name)},
          {"kind", entry.geographic ? "geographic" : "projected"},
          {"unit", JsonText(entry.unit)},
          {"area", JsonText(entry.area_name)},
          {"west", entry.area.west},
          {"south", entry.area.south},
          {"east", entry.area.east},
          {"north", entry.area.north}};
}

void PrintAsJson(const CrsFindOptions& options, const Found& found, std::ostream& out) {
  Json systems = Json::array();
  for (const CatalogEntry& entry : found.shown) {
    systems.push_back(ToJson(entry));
  }
  Json document;
  document[options.survey ? "near" : "query"] = JsonText(options.survey.value_or(TextOf(options)));
  document["found"] = found.count;
  document["systems"] = std::move(systems);
  PrintJson(out, document);
}

void PrintAsTable(const CrsFindOptions& options, const Found& found, std::ostream& out) {
  if (found.count == 0) {
    out << (options.survey
                ? "No coordinate system is meant for the place of " + Printable(*options.survey)
                : "No coordinate system has '" + Printable(TextOf(options)) + "' in name, area or code")
        << ".\n";
    return;
  }
  constexpr int kAreaColumns = 60;
  using enum Table::Align;
  Table table({kLeft, kLeft, kLeft, kLeft});
  table.Add({"CODE", "NAME", "UNIT", "AREA"});
  for (const CatalogEntry& entry : found.shown) {
    table.Add({"EPSG:" + std::to_string(entry.id), entry.name, entry.unit,
               Shortened(entry.area_name, kAreaColumns)});
  }
  table.Print(out, "");
  if (found.count > found.shown.size()) {
    out << "... and " << found.count - found.shown.size() << " more: --all shows them.\n";
  }
}

}  // namespace

int RunCrsFind(const CrsFindOptions& options, Console& console) {
  return Reported(console.err, [&] {
    const Found found = Find(options, console);
    const auto print = options.json ? PrintAsJson : PrintAsTable;
    print(options, found, console.out);
    return kDone;
  });
}

void AddCrs(CLI::App& program, Action& action) {
  const auto options = std::make_shared<CrsFindOptions>();
  CLI::App* const group = program.add_subcommand("crs", "Find coordinate systems and their codes");
  group->require_subcommand(1);
  group->footer(std::string(kJson) + kExamples);
  CLI::App* const command = group->add_subcommand("find", "Find coordinate systems by words or by place");
  command->add_option("TEXT", options->words, "words that all are in the name, the area or the code");
  command
      ->add_option("--near", options->survey,
                   "a project: the systems for the place of its images, the UTM zone first")
      ->type_name("SURVEY.db");
  command->add_flag("--all", options->all, "show all of them, not 20");
  command->add_flag("--json", options->json, "print one JSON document");
  command->footer(std::string(kJson) + kExamples);
  command->callback(
      [options, &action] { action = [options](Console& console) { return RunCrsFind(*options, console); }; });
}

}  // namespace qvapp
