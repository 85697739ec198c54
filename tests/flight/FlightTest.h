// What the tests of the flight import have in common: a folder with a flight database in it.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "qvprj/flight/FlyProjectHelper.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

/// A text as an SQL literal.
inline std::string Quoted(const std::string& text) {
  std::string literal = "'";
  for (const char c : text) {
    literal += c;
    if (c == '\'') {
      literal += c;
    }
  }
  return literal + "'";
}

class FlightTest : public ::testing::Test {
 protected:
  using Mission = qvprj::FlyProjectHelper::FlyPrjInfo;

  [[nodiscard]] std::string Path(const std::string& name = "flight.db") const { return folder_.File(name); }

  void MakeFlightDatabase() {
    support::Execute(
        Path(),
        "CREATE TABLE flight_mission(id TEXT, project_id TEXT, flight_task_name TEXT, created_at TEXT,"
        " survey_average_altitude REAL);"
        "CREATE TABLE pos_data(flight_mission_id TEXT, img_idx INTEGER, lat REAL, lng REAL, alt_msl REAL,"
        " roll REAL, pitch REAL, yaw REAL);"
        "CREATE TABLE uas_status(flight_mission_id TEXT, uas_serial_id TEXT);");
  }

  void Execute(const std::string& statements) { support::Execute(Path(), statements); }

  void AddMission(const std::string& id, const std::string& created = "2024-01-01",
                  const std::string& project = "", const std::string& name = "mission") {
    Execute("INSERT INTO flight_mission VALUES(" + Quoted(id) + ", " + Quoted(project) + ", " + Quoted(name) +
            ", " + Quoted(created) + ", 100.5);");
  }

  void AddPosition(const std::string& mission, int image) {
    Execute("INSERT INTO pos_data VALUES(" + Quoted(mission) + ", " + std::to_string(image) +
            ", 31.5, 118.5, 200.25, 0, 0, 0);");
  }

  support::TempFolder folder_;
  qvprj::FlyProjectHelper helper_;
};
