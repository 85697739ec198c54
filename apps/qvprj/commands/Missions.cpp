// qvprj missions: what a flight database holds.
#include "commands/Missions.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "common/Failure.h"
#include "common/Json.h"
#include "common/Missions.h"
#include "common/Text.h"

namespace qvapp {
namespace {

constexpr const char* kFooter =
    "With --json: {\"file\", \"missions\": [{\"id\", \"name\", \"project\", \"project_id\", \"created\",\n"
    "\"images\"}]}; \"project\" is null where no database in the folder knows the project, \"images\"\n"
    "where the mission cannot be read.\n"
    "\n"
    "Example:\n"
    "  qvprj missions flight.db";

struct Row {
  Mission mission;
  std::optional<int> images;
};

std::vector<Row> Collect(const MissionsOptions& options, Console& console) {
  const StatusLine status(console, "Listing the missions of", options.flight);
  std::vector<Row> rows;
  for (Mission& mission : ListMissions(options.flight)) {
    const auto images = ImageCount(options.flight, mission);
    rows.push_back({std::move(mission), images});
  }
  return rows;
}

Json ToJson(const Row& row) {
  const Mission& mission = row.mission;
  return {{"id", JsonText(mission.id)},
          {"name", JsonText(mission.flight_task_name)},
          {"project", mission.project_name.empty() ? Json(nullptr) : JsonText(mission.project_name)},
          {"project_id", JsonText(mission.project_id)},
          {"created", JsonText(mission.created_at)},
          {"images", row.images ? Json(*row.images) : Json(nullptr)}};
}

void PrintAsJson(const std::string& flight, const std::vector<Row>& rows, std::ostream& out) {
  Json missions = Json::array();
  for (const Row& row : rows) {
    missions.push_back(ToJson(row));
  }
  PrintJson(out, {{"file", JsonText(flight)}, {"missions", std::move(missions)}});
}

void PrintAsTable(const std::string& flight, const std::vector<Row>& rows, std::ostream& out) {
  if (rows.empty()) {
    out << Printable(flight) << " has no mission with position records.\n";
    return;
  }
  using enum Table::Align;
  Table table({kLeft, kLeft, kLeft, kLeft, kRight});
  table.Add({"ID", "MISSION", "PROJECT", "CREATED", "IMAGES"});
  for (const Row& row : rows) {
    table.Add({row.mission.id, row.mission.flight_task_name, row.mission.project_name, row.mission.created_at,
               row.images ? std::to_string(*row.images) : "?"});
  }
  table.Print(out, "");
}

}  // namespace

int RunMissions(const MissionsOptions& options, Console& console) {
  return Reported(console.err, [&] {
    const std::vector<Row> rows = Collect(options, console);
    const auto print = options.json ? PrintAsJson : PrintAsTable;
    print(options.flight, rows, console.out);
    return kDone;
  });
}

void AddMissions(CLI::App& program, Action& action) {
  const auto options = std::make_shared<MissionsOptions>();
  CLI::App* const command =
      program.add_subcommand("missions", "List the missions of a flight database, the newest first");
  command->add_option("FLIGHT.db", options->flight, "the database that the flight controller left behind")
      ->required();
  command->add_flag("--json", options->json, "print one JSON document");
  command->footer(kFooter);
  command->callback([options, &action] {
    action = [options](Console& console) { return RunMissions(*options, console); };
  });
}

}  // namespace qvapp
