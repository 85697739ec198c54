// The missions of a flight database, and the one that a person means.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "qvprj/flight/FlyProjectHelper.h"
#include "qvprj/project/QvProject.h"

namespace qvapp {

using Mission = qvprj::FlyProjectHelper::FlyPrjInfo;

/// The missions in the flight database at `flight`, the newest first. Throws a `Failure` when they cannot be
/// read.
[[nodiscard]] std::vector<Mission> ListMissions(const std::string& flight);

/// The mission that `wanted` means: the one with that id; else, for "latest", the newest; else the one with
/// that name. Throws a `Failure` when there is none, or several have the name.
[[nodiscard]] const Mission& ChooseMission(const std::string& flight, const std::vector<Mission>& missions,
                                           const std::string& wanted);

/// Reads a mission into `project`, which is empty. Throws a `Failure` when it cannot be read.
void ReadMission(const std::string& flight, const Mission& mission, qvprj::QvProject& project);

/// The number of a mission's images; none when it cannot be read.
[[nodiscard]] std::optional<int> ImageCount(const std::string& flight, const Mission& mission);

}  // namespace qvapp
