#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <ostream>

#include "FlightTest.h"
#include "support/ContractsLocale.h"

namespace {

using qvprj::QvProject;
using support::TextOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MissionImportTest : public FlightTest {
 protected:
  MissionImportTest() { MakeFlightDatabase(); }

  bool Import(const std::string& mission = "m") { return helper_.Read(Path(), mission, project_); }

  /// A position record of the mission "m" from SQL values: "idx, lat, lng, alt, roll, pitch, yaw".
  void AddRecord(const std::string& values) { Execute("INSERT INTO pos_data VALUES('m', " + values + ");"); }

  void AddSerial(const std::string& serial) {
    Execute("INSERT INTO uas_status VALUES('m', " + Quoted(serial) + ");");
  }

  qvfd::ImageInfoSet& Images() { return project_.GetImageInfoSet(); }
  qvprj::PrjInfo& Info() { return project_.GetPrjInfo(); }

  [[nodiscard]] std::vector<int> Ids() {
    std::vector<int> ids;
    for (const auto& image : Images()) {
      ids.push_back(image.Id());
    }
    return ids;
  }

  void ExpectUnchanged(QvProject before) { EXPECT_EQ(support::FirstDifference(project_, before), ""); }

  QvProject project_;
};

TEST_F(MissionImportTest, MakesAnImageOfAPositionRecord) {
  AddMission("m");
  AddRecord("42, 31.5, 118.5, 200.25, 10.0, 20.0, 30.0");
  ASSERT_TRUE(Import());
  ASSERT_EQ(Images().Size(), 1);
  const qvfd::ImageInfo& image = *Images().GetImage(0);
  EXPECT_EQ(image.Id(), 42);
  EXPECT_EQ(image.Name(), "");
  EXPECT_EQ(image.Path(), "");
  EXPECT_EQ(image.GetEOP(),
            (qvfd::EOP{118.5, 31.5, 200.25, 10.0 * 0.0174533, -(20.0 * 0.0174533), 30.0 * 0.0174533}));
  EXPECT_EQ(image.GetUpdatedEOP(), image.GetEOP());
  EXPECT_EQ(*Images().GetImageExt(0), (qvfd::ImageInfoExt{1, 0, true}));
}

TEST_F(MissionImportTest, AHalfTurnIsNotQuitePi) {
  AddMission("m");
  AddRecord("1, 0, 0, 0, 180, 10, 0");
  ASSERT_TRUE(Import());
  EXPECT_EQ(Images().GetImage(0)->GetEOP().omega, 180.0 * 0.0174533);
  EXPECT_NEAR(Images().GetImage(0)->GetEOP().omega, 3.141594, 1e-12);
  EXPECT_NEAR(Images().GetImage(0)->GetEOP().phi, -0.174533, 1e-12);
}

TEST_F(MissionImportTest, OnlyThePitchChangesItsSign) {
  AddMission("m");
  AddRecord("1, -31.5, -118.5, -2.5, -1, -2, -3");
  ASSERT_TRUE(Import());
  EXPECT_EQ(Images().GetImage(0)->GetEOP(),
            (qvfd::EOP{-118.5, -31.5, -2.5, -0.0174533, 2 * 0.0174533, -3 * 0.0174533}));
}

TEST_F(MissionImportTest, ALevelPitchIsAZeroWithItsSignFlipped) {
  AddMission("m");
  AddRecord("1, 0, 0, 0, 0, 0, 0");
  ASSERT_TRUE(Import());
  EXPECT_TRUE(std::signbit(Images().GetImage(0)->GetEOP().phi));
  EXPECT_FALSE(std::signbit(Images().GetImage(0)->GetEOP().omega));
}

TEST_F(MissionImportTest, EveryRealIsTakenOverWithAllItsBits) {
  AddMission("m");
  support::Random random(7);
  std::vector<double> expected;
  std::string rows;
  for (int i = 0; i < 200; ++i) {
    expected.push_back(random.Between(-180.0, 180.0));
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", expected.back());
    rows += (i == 0 ? "('m', 1, 0, " : ", ('m', 1, 0, ") + std::string(text) + ", 0, 0, 0, 0)";
  }
  Execute("INSERT INTO pos_data VALUES" + rows + ";");
  ASSERT_TRUE(Import());
  ASSERT_EQ(Images().Size(), 200);
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(Images().GetImage(i)->GetEOP().x, expected[static_cast<std::size_t>(i)]) << i;
  }
}

TEST_F(MissionImportTest, KeepsTheOrderOfTheRecordsAndRepeatedIndices) {
  AddMission("m");
  for (const int image : {30, 5, 30, -1, 0}) {
    AddPosition("m", image);
  }
  ASSERT_TRUE(Import());
  EXPECT_THAT(Ids(), ElementsAre(30, 5, 30, -1, 0));
}

TEST_F(MissionImportTest, TakesTheRecordsOfItsMissionOnly) {
  AddMission("m");
  AddMission("n");
  AddPosition("m", 1);
  AddPosition("n", 2);
  ASSERT_TRUE(Import());
  EXPECT_THAT(Ids(), ElementsAre(1));
}

TEST_F(MissionImportTest, MissingValuesAreZeros) {
  AddMission("m");
  AddRecord("NULL, NULL, NULL, NULL, NULL, NULL, NULL");
  ASSERT_TRUE(Import());
  EXPECT_THAT(Ids(), ElementsAre(0));
  EXPECT_EQ(Images().GetImage(0)->GetEOP(), qvfd::EOP());
}

TEST_F(MissionImportTest, TextsAreParsedUpToTheirJunk) {
  AddMission("m");
  AddRecord("' 12abc', '31.5N', 'east', '2e2m', '1x', '', '-1'");
  ASSERT_TRUE(Import());
  EXPECT_THAT(Ids(), ElementsAre(12));
  EXPECT_EQ(Images().GetImage(0)->GetEOP(), (qvfd::EOP{0.0, 31.5, 200.0, 0.0174533, 0.0, -0.0174533}));
}

TEST_F(MissionImportTest, FillsNameDateHeightAndSerial) {
  Execute("INSERT INTO flight_mission VALUES('m', 'P', 'North field', '2024-05-06 07:08:09', 70.53);");
  AddSerial("7763-046");
  ASSERT_TRUE(Import());
  EXPECT_EQ(TextOf(Info().project_name), "North field");
  EXPECT_EQ(TextOf(Info().date), "2024-05-06 07:08:09");
  EXPECT_EQ(Info().height, 70.53);
  EXPECT_EQ(TextOf(Info().description), "7763-046");
}

TEST_F(MissionImportTest, TouchesNothingElseOfTheProject) {
  AddMission("m", "2024-01-01", "P", "name");
  AddPosition("m", 1000);
  AddSerial("serial");
  project_ = support::BuildProject();
  Info().file_path = "before.db";
  Info().coordinate_id = 4547;
  QvProject expected = project_;
  ASSERT_TRUE(Import());
  expected.GetImageInfoSet().AddImage(1000, "", "", {118.5, 31.5, 200.25, 0, 0, 0}, 0, 1, true);
  support::SetText(expected.GetPrjInfo().project_name, "name");
  support::SetText(expected.GetPrjInfo().date, "2024-01-01");
  support::SetText(expected.GetPrjInfo().description, "serial");
  expected.GetPrjInfo().height = 100.5;
  ExpectUnchanged(expected);
}

TEST_F(MissionImportTest, NullTextsAreTheWordNullAndANullHeightIsZero) {
  Execute("INSERT INTO flight_mission(id) VALUES('m'); INSERT INTO uas_status VALUES('m', NULL);");
  Info().height = 5.0;
  ASSERT_TRUE(Import());
  EXPECT_EQ(TextOf(Info().project_name), "NULL");
  EXPECT_EQ(TextOf(Info().date), "NULL");
  EXPECT_EQ(TextOf(Info().description), "NULL");
  EXPECT_EQ(Info().height, 0.0);
}

TEST_F(MissionImportTest, OfTwoMissionsOfOneIdTheFirstGivesTheInformation) {
  AddMission("m", "2024-01-01", "P", "first");
  AddMission("m", "2024-01-02", "P", "second");
  ASSERT_TRUE(Import());
  EXPECT_EQ(TextOf(Info().project_name), "first");
}

TEST_F(MissionImportTest, OfTwoSerialsTheFirstCounts) {
  AddMission("m");
  AddSerial("first");
  AddSerial("second");
  ASSERT_TRUE(Import());
  EXPECT_EQ(TextOf(Info().description), "first");
}

/// How many characters of a text an import keeps.
struct CutCase {
  int length;
  int kept;

  friend void PrintTo(const CutCase& test, std::ostream* out) { *out << test.length << " characters"; }
};

std::string Letters(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    text += static_cast<char>('a' + i % 26);
  }
  return text;
}

class NameCutTest : public MissionImportTest, public ::testing::WithParamInterface<CutCase> {};
class DateCutTest : public MissionImportTest, public ::testing::WithParamInterface<CutCase> {};
class SerialCutTest : public MissionImportTest, public ::testing::WithParamInterface<CutCase> {};

TEST_P(NameCutTest, KeepsWhatFits) {
  std::memset(Info().project_name, '#', sizeof Info().project_name);
  AddMission("m", "", "", Letters(GetParam().length));
  ASSERT_TRUE(Import());
  EXPECT_EQ(TextOf(Info().project_name), Letters(GetParam().kept));
}

TEST_P(DateCutTest, KeepsWhatFits) {
  std::memset(Info().date, '#', sizeof Info().date);
  AddMission("m", Letters(GetParam().length));
  ASSERT_TRUE(Import());
  EXPECT_EQ(TextOf(Info().date), Letters(GetParam().kept));
}

TEST_P(SerialCutTest, KeepsWhatFits) {
  std::memset(Info().description, '#', sizeof Info().description);
  AddMission("m");
  AddSerial(Letters(GetParam().length));
  ASSERT_TRUE(Import());
  EXPECT_EQ(TextOf(Info().description), Letters(GetParam().kept));
}

INSTANTIATE_TEST_SUITE_P(Lengths, NameCutTest,
                         ::testing::Values(CutCase{0, 0}, CutCase{62, 62}, CutCase{63, 63}, CutCase{64, 63},
                                           CutCase{65, 63}, CutCase{70, 63}, CutCase{500, 63}));
INSTANTIATE_TEST_SUITE_P(Lengths, DateCutTest,
                         ::testing::Values(CutCase{0, 0}, CutCase{30, 30}, CutCase{31, 31}, CutCase{32, 31},
                                           CutCase{33, 31}, CutCase{40, 31}));
INSTANTIATE_TEST_SUITE_P(Lengths, SerialCutTest,
                         ::testing::Values(CutCase{0, 0}, CutCase{5, 5}, CutCase{23, 23}, CutCase{24, 24},
                                           CutCase{25, 24}, CutCase{30, 24}));

TEST_F(MissionImportTest, AShortSerialClears25CharactersOfTheDescriptionAndLeavesTheRest) {
  std::memset(Info().description, '#', sizeof Info().description);
  AddMission("m");
  AddSerial("12345");
  ASSERT_TRUE(Import());
  const std::string expected = "12345" + std::string(20, '\0') + std::string(257 - 25, '#');
  EXPECT_EQ(std::string(Info().description, sizeof Info().description), expected);
}

TEST_F(MissionImportTest, ALongSerialLeavesTheDescriptionFromThe26thCharacterOn) {
  std::memset(Info().description, '#', sizeof Info().description);
  AddMission("m");
  AddSerial(Letters(30));
  ASSERT_TRUE(Import());
  const std::string expected = Letters(24) + std::string(1, '\0') + std::string(257 - 25, '#');
  EXPECT_EQ(std::string(Info().description, sizeof Info().description), expected);
}

TEST_F(MissionImportTest, AnImportTwiceAddsEveryImageTwice) {
  AddMission("m");
  AddPosition("m", 5);
  AddPosition("m", 6);
  ASSERT_TRUE(Import());
  ASSERT_TRUE(Import());
  EXPECT_THAT(Ids(), ElementsAre(5, 6, 5, 6));
}

TEST_F(MissionImportTest, AMissionWithoutPositionsAddsNoImages) {
  AddMission("m", "2024-01-01", "P", "grounded");
  ASSERT_TRUE(Import());
  EXPECT_THAT(Ids(), IsEmpty());
  EXPECT_EQ(TextOf(Info().project_name), "grounded");
}

TEST_F(MissionImportTest, AFileThatIsNoDatabaseIsFalseAndChangesNothing) {
  support::WriteText(Path("text"), std::string(5000, 't'));
  const QvProject before = project_;
  for (const std::string& path : {Path("text"), Path("missing"), folder_.Path().string(), std::string()}) {
    EXPECT_FALSE(helper_.Read(path, "m", project_)) << path;
  }
  ExpectUnchanged(before);
}

/// What must be missing for the position records to be unreadable.
class NoPositionsTest : public MissionImportTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(NoPositionsTest, IsFalseAndChangesNothing) {
  AddMission("m");
  AddPosition("m", 1);
  Execute(GetParam());
  const QvProject before = project_;
  EXPECT_FALSE(Import());
  ExpectUnchanged(before);
}

INSTANTIATE_TEST_SUITE_P(Missing, NoPositionsTest,
                         ::testing::Values("DROP TABLE pos_data;", "ALTER TABLE pos_data DROP COLUMN yaw;",
                                           "ALTER TABLE pos_data DROP COLUMN img_idx;"));

/// What must be missing for the mission itself to be unreadable.
class NoMissionTest : public MissionImportTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(NoMissionTest, IsFalseAndKeepsTheImagesButLeavesTheInformationAlone) {
  AddMission("m");
  AddPosition("m", 1);
  AddSerial("serial");
  Execute(GetParam());
  QvProject expected = project_;
  EXPECT_FALSE(Import());
  EXPECT_THAT(Ids(), ElementsAre(1));
  expected.SetImageInfoSet(Images());
  ExpectUnchanged(expected);
}

INSTANTIATE_TEST_SUITE_P(
    Missing, NoMissionTest,
    ::testing::Values("DELETE FROM flight_mission;", "DROP TABLE flight_mission;",
                      "ALTER TABLE flight_mission DROP COLUMN survey_average_altitude;"));

TEST_F(MissionImportTest, AnUnknownMissionIsFalseAndAddsNothing) {
  AddMission("m");
  AddPosition("m", 1);
  const QvProject before = project_;
  EXPECT_FALSE(Import("other"));
  EXPECT_FALSE(Import(""));
  ExpectUnchanged(before);
}

/// Databases that know no serial.
class NoSerialTest : public MissionImportTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(NoSerialTest, LeavesTheDescriptionAsItWas) {
  AddMission("m", "2024-01-01", "P", "name");
  support::SetText(Info().description, "before");
  Execute(GetParam());
  ASSERT_TRUE(Import());
  EXPECT_EQ(TextOf(Info().description), "before");
  EXPECT_EQ(TextOf(Info().project_name), "name");
}

INSTANTIATE_TEST_SUITE_P(Databases, NoSerialTest,
                         ::testing::Values("DROP TABLE uas_status;", "DELETE FROM uas_status;",
                                           "INSERT INTO uas_status VALUES('other', 'serial');",
                                           "ALTER TABLE uas_status DROP COLUMN uas_serial_id;"));

/// Ids that would mean something else as SQL.
class QuotedIdTest : public MissionImportTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(QuotedIdTest, IsFalseAndChangesNothing) {
  AddMission("x");
  AddPosition("x", 1);
  AddMission(GetParam());
  AddPosition(GetParam(), 2);
  const auto before = support::Snapshot(folder_.Path());
  const QvProject projectBefore = project_;
  EXPECT_FALSE(Import(GetParam()));
  ExpectUnchanged(projectBefore);
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

INSTANTIATE_TEST_SUITE_P(Ids, QuotedIdTest,
                         ::testing::Values("x'", "'", "''", "it's", "x' OR '1'='1",
                                           "x'; DELETE FROM pos_data; --", "x' --", "x'' OR ''1''=''1",
                                           "x' UNION SELECT 1,2,3,4,5,6,7 --"));

TEST_F(MissionImportTest, OtherSignsInAnIdMeanThemselves) {
  const std::string id = "x\"; DROP TABLE pos_data; -- %s \\ \xE6\xB5\x8B `";
  AddMission(id);
  AddPosition(id, 3);
  ASSERT_TRUE(Import(id));
  EXPECT_THAT(Ids(), ElementsAre(3));
}

TEST_F(MissionImportTest, ANumberAsIdIsFoundByItsText) {
  Execute(
      "DROP TABLE flight_mission; CREATE TABLE flight_mission(id INTEGER, flight_task_name TEXT,"
      " created_at TEXT, survey_average_altitude REAL);"
      "INSERT INTO flight_mission VALUES(7, 'seven', '', 1);");
  AddPosition("7", 1);
  ASSERT_TRUE(Import("7"));
  EXPECT_EQ(TextOf(Info().project_name), "seven");
}

TEST_F(MissionImportTest, ChangesNothingInTheFolder) {
  AddMission("m");
  AddPosition("m", 1);
  support::WriteText(Path("a.jpg"), "a photo");
  const auto before = support::Snapshot(folder_.Path());
  ASSERT_TRUE(Import());
  EXPECT_FALSE(Import("unknown"));
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(MissionImportTest, AnImportedProjectComesBackAfterSaveAndOpen) {
  AddMission("m", "2024-01-01", "P", "North field");
  AddSerial("7763-046");
  AddRecord("30, 31.123456789012345, 118.98765432109876, 200.1, 1.1, 2.2, 3.3");
  AddRecord("2, 0.1, 0.2, 0.3, 0, 0, 0");
  AddRecord("30, 1e-7, -1e-7, 1e7, -0.1, -0.2, -0.3");
  ASSERT_TRUE(Import());
  ASSERT_TRUE(project_.Save(Path("out.db")));
  QvProject opened;
  ASSERT_TRUE(opened.OpenPrj(Path("out.db")));
  EXPECT_EQ(support::FirstDifference(opened, project_), "");
}

TEST_F(MissionImportTest, InAGbkLocaleTextsBecomeGbkBeforeTheyAreCut) {
  std::string name;
  for (int i = 0; i < 40; ++i) {
    name += "\xE6\xBB\xB4";
  }
  AddMission("m", "2024", "P", name);
  const support::GeneratedLocale gbk("zh_CN", "GBK");
  if (!gbk.InForce()) {
    GTEST_SKIP() << "no C locale in GBK can be had here";
  }
  ASSERT_TRUE(Import());
  std::string expected;
  for (int i = 0; i < 32; ++i) {
    expected += "\xB5\xCE";
  }
  EXPECT_EQ(TextOf(Info().project_name), expected.substr(0, 63));
}

TEST_F(MissionImportTest, AHostsLocalesChangeNoNumber) {
  AddMission("m");
  AddRecord("12345, 31.5, 118.5, 1234.5, 0.5, 0, 0");
  const support::GeneratedLocale german("de_DE", "UTF-8");
  const support::CommaStreams streams;
  ASSERT_TRUE(Import());
  EXPECT_THAT(Ids(), ElementsAre(12345));
  EXPECT_EQ(Images().GetImage(0)->GetEOP(), (qvfd::EOP{118.5, 31.5, 1234.5, 0.5 * 0.0174533, -0.0, 0.0}));
  EXPECT_EQ(Info().height, 100.5);
}

TEST_F(MissionImportTest, RefusesAnEndlessFlightInASmallFile) {
  Execute(
      "DROP TABLE flight_mission; DROP TABLE pos_data;"
      "CREATE TABLE flight_mission(id TEXT, project_id TEXT, created_at TEXT, survey_average_altitude REAL,"
      " flight_task_name AS (printf('%1000000d', 1)));"
      "CREATE TABLE pos_data(flight_mission_id TEXT, img_idx INTEGER, lat REAL, lng REAL, alt_msl REAL,"
      " roll REAL, pitch REAL, yaw AS (printf('%1000000d', 1)));"
      "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT 50)"
      " INSERT INTO pos_data(flight_mission_id, img_idx) SELECT 'm', x FROM c;"
      "INSERT INTO flight_mission(id) VALUES('m');"
      "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT 50)"
      " INSERT INTO flight_mission(id, project_id) SELECT 'm', x FROM c;");
  std::vector<Mission> missions;
  EXPECT_FALSE(helper_.QuickRead(Path(), missions));
  EXPECT_TRUE(missions.empty());
  qvprj::QvProject project;
  EXPECT_FALSE(helper_.Read(Path(), "m", project));
  EXPECT_EQ(project.GetImageInfoSet().Size(), 0);
}

}  // namespace
