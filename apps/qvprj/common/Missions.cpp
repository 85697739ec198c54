// The missions of a flight database, and the one that a person means.
#include "common/Missions.h"

#include <algorithm>
#include <iterator>

#include "common/DatabaseFiles.h"
#include "common/Failure.h"

namespace qvapp {
namespace {

/// A line that goes on for pages helps nobody.
constexpr std::size_t kMostToName = 20;

template <class Describe>
std::string Listed(const std::vector<Mission>& missions, Describe describe) {
  std::string text;
  for (std::size_t i = 0; i < missions.size() && i < kMostToName; ++i) {
    text += (i == 0 ? "" : ", ") + describe(missions[i]);
  }
  if (missions.size() > kMostToName) {
    text += " and " + std::to_string(missions.size() - kMostToName) + " more";
  }
  return text;
}

[[noreturn]] void ThrowUnknown(const std::string& flight, const std::vector<Mission>& missions,
                               const std::string& wanted) {
  if (missions.empty()) {
    throw Failure(flight, "no mission '" + wanted + "'",
                  "this database has no mission with position records: choose another database");
  }
  const auto nameAndId = [](const Mission& mission) {
    return mission.flight_task_name + " (" + mission.id + ")";
  };
  throw Failure(flight, "no mission '" + wanted + "'", "this database has: " + Listed(missions, nameAndId));
}

}  // namespace

std::vector<Mission> ListMissions(const std::string& flight) {
  RequireDatabase(flight, DatabaseKind::kFlight);
  std::vector<Mission> missions;
  if (!qvprj::FlyProjectHelper().QuickRead(flight, missions)) {
    ThrowWhyNotFlight(flight);
  }
  return missions;
}

const Mission& ChooseMission(const std::string& flight, const std::vector<Mission>& missions,
                             const std::string& wanted) {
  const auto withId = std::find_if(missions.begin(), missions.end(),
                                   [&wanted](const Mission& mission) { return mission.id == wanted; });
  if (withId != missions.end()) {
    return *withId;
  }
  if (wanted == "latest" && !missions.empty()) {
    return missions.front();
  }
  const auto hasName = [&wanted](const Mission& mission) { return mission.flight_task_name == wanted; };
  std::vector<Mission> named;
  std::copy_if(missions.begin(), missions.end(), std::back_inserter(named), hasName);
  if (named.empty()) {
    ThrowUnknown(flight, missions, wanted);
  }
  if (named.size() > 1) {
    throw Failure(flight, std::to_string(named.size()) + " missions are named '" + wanted + "'",
                  "give the id of one: " + Listed(named, [](const Mission& mission) { return mission.id; }));
  }
  return *std::find_if(missions.begin(), missions.end(), hasName);
}

void ReadMission(const std::string& flight, const Mission& mission, qvprj::QvProject& project) {
  if (qvprj::FlyProjectHelper().Read(flight, mission.id, project)) {
    return;
  }
  if (mission.id.find('\'') != std::string::npos) {
    throw Failure(flight, "the id of mission " + mission.id + " has a single quote: it cannot be imported",
                  "choose another mission");
  }
  ThrowWhyNotFlight(flight);
}

std::optional<int> ImageCount(const std::string& flight, const Mission& mission) {
  qvprj::QvProject scratch;
  if (!qvprj::FlyProjectHelper().Read(flight, mission.id, scratch)) {
    return std::nullopt;
  }
  return scratch.GetImageInfoSet().Size();
}

}  // namespace qvapp
