// Real flights against what is known of them: every value exactly.

#include <gmock/gmock.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "FlightTest.h"
#include "support/ContractsLocale.h"

namespace {

using nlohmann::json;
using qvprj::FlyProjectHelper;
using qvprj::QvProject;
using support::TextOf;
namespace fs = std::filesystem;

std::string FromHex(const std::string& hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

class RealFlightTest : public ::testing::Test {
 protected:
  void SetUp() override {
    QVPRJ_NEEDS_TEST_DATA();
    flights_ = fs::path(*support::TestData()) / "flights";
    std::ifstream file(flights_ / "expected.json");
    expected_ = json::parse(file).at("flights");
    database_ = (fs::path(*support::TestData()) / expected_.at("database").get<std::string>()).string();
  }

  /// A text in the encoding that the test runs in.
  [[nodiscard]] std::string Local(const json& text) const {
    if (!gbk_) {
      return text.at("utf8");
    }
    return text.contains("gbk_hex") ? FromHex(text.at("gbk_hex")) : text.at("utf8").get<std::string>();
  }

  void ExpectMissions(const std::vector<FlyProjectHelper::FlyPrjInfo>& missions) {
    const json& expected = expected_.at("quick_read");
    ASSERT_EQ(missions.size(), expected.size());
    for (std::size_t i = 0; i < missions.size(); ++i) {
      EXPECT_EQ(missions[i].id, expected[i].at("id"));
      EXPECT_EQ(missions[i].project_id, expected[i].at("project_id"));
      EXPECT_EQ(missions[i].created_at, expected[i].at("created_at"));
      EXPECT_EQ(missions[i].flight_task_name, Local(expected[i].at("flight_task_name")));
      EXPECT_EQ(missions[i].project_name, Local(expected[i].at("project_name")));
    }
  }

  void ExpectInformation(const QvProject& project, const json& expected, const std::string& before) {
    const qvprj::PrjInfo& info = project.GetPrjInfo();
    EXPECT_EQ(TextOf(info.project_name), Local(expected.at("project_name")));
    EXPECT_EQ(TextOf(info.date), expected.at("date"));
    EXPECT_EQ(info.height, expected.at("height").get<double>());
    EXPECT_EQ(TextOf(info.description),
              expected.at("description").is_null() ? before : expected.at("description").get<std::string>());
  }

  static void ExpectImages(const QvProject& project, const json& expected) {
    const qvfd::ImageInfoSet& images = project.GetImageInfoSet();
    const json& rows = expected.at("images");
    ASSERT_EQ(images.Size(), expected.at("image_count").get<int>());
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(images.Size()));
    for (int i = 0; i < images.Size(); ++i) {
      const json& row = rows[static_cast<std::size_t>(i)];
      const qvfd::EOP& eop = images.GetImage(i)->GetEOP();
      EXPECT_EQ(images.GetImage(i)->Id(), row[0].get<int>());
      std::size_t column = 1;
      for (const double value : {eop.x, eop.y, eop.z, eop.omega, eop.phi, eop.kappa}) {
        EXPECT_PRED2(static_cast<bool (*)(double, double)>(support::SameBits), value,
                     row[column].get<double>())
            << "image " << row[0] << " column " << column;
        ++column;
      }
      EXPECT_EQ(images.GetImage(i)->GetUpdatedEOP(), eop);
    }
  }

  /// Imports each expected mission into a project of its own and hands it over with what is expected of it.
  template <class Check>
  void ForEachMission(Check check) {
    int missions = 0;
    for (const json& expected : expected_.at("read")) {
      QvProject project;
      support::SetText(project.GetPrjInfo().description, "before");
      const bool result = FlyProjectHelper().Read(database_, expected.at("id"), project);
      ASSERT_EQ(result, expected.value("result", true));
      check(project, expected);
      ++missions;
    }
    ASSERT_GT(missions, 0);
  }

  fs::path flights_;
  std::string database_;
  json expected_;
  bool gbk_ = false;
};

TEST_F(RealFlightTest, MissionsAreListedAsTheyWereFlown) {
  std::vector<FlyProjectHelper::FlyPrjInfo> missions;
  ASSERT_TRUE(FlyProjectHelper().QuickRead(database_, missions));
  ExpectMissions(missions);
}

TEST_F(RealFlightTest, MissionsAreListedInTheCodePageOfTheProcess) {
  const support::GeneratedLocale gbk("zh_CN", "GBK");
  gbk_ = gbk.InForce();
  if (!gbk_) {
    GTEST_SKIP() << "no C locale in GBK can be had here";
  }
  std::vector<FlyProjectHelper::FlyPrjInfo> missions;
  ASSERT_TRUE(FlyProjectHelper().QuickRead(database_, missions));
  ExpectMissions(missions);
}

TEST_F(RealFlightTest, EachMissionGivesItsInformation) {
  ForEachMission([&](const QvProject& project, const json& expected) {
    ExpectInformation(project, expected, "before");
  });
}

TEST_F(RealFlightTest, EachMissionGivesItsImagesBitForBit) {
  ForEachMission([&](const QvProject& project, const json& expected) { ExpectImages(project, expected); });
}

TEST_F(RealFlightTest, AnUnknownMissionIsRefused) {
  const json& unknown = expected_.at("unknown_mission");
  QvProject project;
  QvProject before = project;
  EXPECT_EQ(FlyProjectHelper().Read(database_, unknown.at("id"), project), unknown.at("result").get<bool>());
  EXPECT_EQ(support::FirstDifference(project, before), "");
}

TEST_F(RealFlightTest, EachImportedMissionComesBackAfterSaveAndOpen) {
  const support::TempFolder folder;
  ForEachMission([&](QvProject& project, const json&) {
    ASSERT_TRUE(project.Save(folder.File("survey.db")));
    QvProject opened;
    ASSERT_TRUE(opened.OpenPrj(folder.File("survey.db")));
    EXPECT_EQ(support::FirstDifference(opened, project), "");
  });
}

TEST_F(RealFlightTest, TheFlightsFolderStaysAsItIs) {
  const auto before = support::Snapshot(flights_);
  std::vector<FlyProjectHelper::FlyPrjInfo> missions;
  ASSERT_TRUE(FlyProjectHelper().QuickRead(database_, missions));
  ForEachMission([](const QvProject&, const json&) {});
  EXPECT_EQ(support::Snapshot(flights_), before);
}

}  // namespace
