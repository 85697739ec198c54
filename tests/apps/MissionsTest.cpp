// qvprj missions.
#include <gtest/gtest.h>

#include "Commands.h"

using namespace apps_test;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace {

class MissionsCommand : public testing::Test {
 protected:
  support::TempFolder folder_;
  std::string flight_ = folder_.File("flight.db");
};

}  // namespace

TEST_F(MissionsCommand, ListsTheNewestFirst) {
  MakeFlight(flight_,
             {{"m1", "Early", "2024-05-01", 3}, {"m2", "Late \xE6\xBB\xB4", "2024-05-02", 12, "p2"}});
  MakeSibling(folder_.File("sibling.db"), "p1", "Quarry");
  const Outcome outcome = Missions(flight_);
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out,
            "ID  MISSION  PROJECT  CREATED     IMAGES\n"
            "m2  Late \xE6\xBB\xB4  -        2024-05-02      12\n"
            "m1  Early    Quarry   2024-05-01       3\n");
}

TEST_F(MissionsCommand, PrintsJson) {
  MakeFlight(flight_, {{"m1", "Early", "2024-05-01", 3}, {"m2", "Late", "2024-05-02", 1, "p2"}});
  MakeSibling(folder_.File("sibling.db"), "p1", "Quarry");
  const Outcome outcome = Missions(flight_, true);
  EXPECT_THAT(outcome, Succeeds());
  const json expected = {{"file", flight_},
                         {"missions",
                          {{{"id", "m2"},
                            {"name", "Late"},
                            {"project", nullptr},
                            {"project_id", "p2"},
                            {"created", "2024-05-02"},
                            {"images", 1}},
                           {{"id", "m1"},
                            {"name", "Early"},
                            {"project", "Quarry"},
                            {"project_id", "p1"},
                            {"created", "2024-05-01"},
                            {"images", 3}}}}};
  EXPECT_EQ(json::parse(outcome.out), expected);
}

TEST_F(MissionsCommand, SaysThatThereIsNone) {
  MakeFlight(flight_, {});
  const Outcome outcome = Missions(flight_);
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, flight_ + " has no mission with position records.\n");
  EXPECT_EQ(json::parse(Missions(flight_, true).out)["missions"], json::array());
}

TEST_F(MissionsCommand, DoesNotKnowTheImagesOfAMissionThatCannotBeRead) {
  MakeFlight(flight_, {{"it's", "Quoted", "2024", 5}});
  EXPECT_THAT(Missions(flight_).out, HasSubstr("2024          ?\n"));
  EXPECT_EQ(json::parse(Missions(flight_, true).out)["missions"][0]["images"], nullptr);
}

TEST_F(MissionsCommand, KeepsHostileNamesOffTheTerminal) {
  MakeFlight(flight_, {{"m1", "a\x1B]0;owned\x07\nm9  Fake", "2024-05-01\r"}});
  const Outcome outcome = Missions(flight_);
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_THAT(outcome.out, HasSubstr("a?]0;owned??m9  Fake"));
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 2);
  EXPECT_THAT(outcome.out, Not(testing::ContainsRegex("[\x01-\x09\x0B-\x1F]")));
  EXPECT_EQ(json::parse(Missions(flight_, true).out)["missions"][0]["name"], "a\x1B]0;owned\x07\nm9  Fake");
}

TEST_F(MissionsCommand, PrintsValidJsonWhateverTheBytes) {
  MakeFlight(flight_, {});
  support::Execute(flight_,
                   "INSERT INTO flight_mission VALUES('m1', 'p', CAST(x'41FF42' AS TEXT), '2024', 1);"
                   "INSERT INTO pos_data VALUES('m1', 1, 0, 0, 0, 0, 0, 0);");
  const Outcome outcome = Missions(flight_, true);
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_THAT(json::parse(outcome.out)["missions"][0]["name"].get<std::string>(),
              testing::AnyOf("A?B",
                             "A\xEF\xBF\xBD"
                             "B"));
}

TEST_F(MissionsCommand, LeavesTheFlightFolderAsItWas) {
  MakeFlight(flight_, {{"m1", "Early"}});
  MakeSibling(folder_.File("sibling.db"), "p1", "Quarry");
  support::WriteText(folder_.File("notes.txt"), "no database");
  const auto before = support::Snapshot(folder_.Path());
  EXPECT_THAT(Missions(flight_), Succeeds());
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}
