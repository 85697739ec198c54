// The program on real flights: what it lists, imports and tells is what is known of them, value for value.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "Commands.h"

using namespace apps_test;
using nlohmann::json;

namespace {

class RealFlight : public testing::Test {
 protected:
  void SetUp() override {
    QVPRJ_NEEDS_TEST_DATA();
    folder_ = *support::TestData() + "/flights";
    std::ifstream file(folder_ + "/expected.json");
    ASSERT_TRUE(file) << "expected.json is not in the test data";
    expected_ = json::parse(file).at("flights");
  }

  [[nodiscard]] std::string Flight() const { return folder_ + "/flight.db"; }

  /// What a text is known to be; none and the empty text are one here.
  static std::string TextOf(const json& text) {
    return text.is_null()     ? std::string()
           : text.is_string() ? text.get<std::string>()
                              : text.at("utf8").get<std::string>();
  }

  static void ExpectImage(const qvfd::ImageInfo& image, const json& columns, const json& row) {
    std::map<std::string, double> value;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      value[columns[i].get<std::string>()] = row[i].get<double>();
    }
    EXPECT_EQ(image.Id(), value.at("id"));
    const qvfd::EOP expected{value.at("x"),     value.at("y"),   value.at("z"),
                             value.at("omega"), value.at("phi"), value.at("kappa")};
    EXPECT_EQ(image.GetEOP(), expected) << "image " << image.Id();
  }

  static void ExpectProject(const std::string& path, const json& mission) {
    qvprj::QvProject project;
    ASSERT_TRUE(project.OpenPrj(path));
    const json& images = mission.at("images");
    ASSERT_EQ(project.GetImageInfoSet().Size(), static_cast<int>(images.size()));
    for (std::size_t i = 0; i < images.size(); ++i) {
      ExpectImage(*project.GetImageInfoSet().GetImage(static_cast<int>(i)), mission.at("columns"), images[i]);
    }
  }

  /// Smallest and largest value of one column.
  static std::pair<double, double> RangeOf(const json& mission, const std::string& column) {
    const auto& columns = mission.at("columns");
    const auto index =
        static_cast<std::size_t>(std::find(columns.begin(), columns.end(), column) - columns.begin());
    std::vector<double> values;
    for (const json& row : mission.at("images")) {
      values.push_back(row.at(index).get<double>());
    }
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    return {*least, *most};
  }

  static void ExpectInfo(const std::string& path, const json& mission) {
    const json told = json::parse(Info(path, true).out);
    EXPECT_EQ(told["project"]["name"], TextOf(mission.at("project_name")));
    EXPECT_EQ(told["project"]["date"], mission.at("date"));
    EXPECT_EQ(told["project"]["height"], mission.at("height"));
    EXPECT_EQ(told["project"]["description"], TextOf(mission.at("description")));
    EXPECT_EQ(told["images"], mission.at("image_count"));
    const auto x = RangeOf(mission, "x");
    const auto y = RangeOf(mission, "y");
    const auto z = RangeOf(mission, "z");
    EXPECT_EQ(told["extent"],
              (json{{"x_min", x.first}, {"x_max", x.second}, {"y_min", y.first}, {"y_max", y.second}}));
    EXPECT_EQ(told["height_range"], (json{{"z_min", z.first}, {"z_max", z.second}}));
  }

  std::string folder_;
  json expected_;
};

}  // namespace

TEST_F(RealFlight, IsListed) {
  const Outcome outcome = Missions(Flight(), true);
  EXPECT_THAT(outcome, Succeeds());
  const json listed = json::parse(outcome.out)["missions"];
  const json& expected = expected_.at("quick_read");
  ASSERT_EQ(listed.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(listed[i]["id"], expected[i].at("id"));
    EXPECT_EQ(listed[i]["project_id"], expected[i].at("project_id"));
    EXPECT_EQ(listed[i]["name"], TextOf(expected[i].at("flight_task_name")));
    EXPECT_EQ(listed[i]["created"], expected[i].at("created_at"));
    EXPECT_EQ(listed[i]["project"].is_null() ? "" : listed[i]["project"],
              TextOf(expected[i].at("project_name")));
  }
}

TEST_F(RealFlight, BecomesAProject) {
  const auto before = support::Snapshot(folder_);
  const support::TempFolder made;
  int imported = 0;
  for (const json& mission : expected_.at("read")) {
    if (mission.at("image_count") == 0 || !mission.at("result").get<bool>()) {
      continue;  // not listed, so not for this program
    }
    const std::string out = made.File("survey" + std::to_string(++imported) + ".db");
    EXPECT_THAT(Import(ImportOf(Flight(), mission.at("id").get<std::string>(), out)), Succeeds());
    ExpectProject(out, mission);
    ExpectInfo(out, mission);
  }
  EXPECT_GT(imported, 0);
  EXPECT_EQ(support::Snapshot(folder_), before);
}

TEST_F(RealFlight, DoesNotHaveAMissionThatNobodyFlew) {
  const support::TempFolder made;
  const std::string unknown = expected_.at("unknown_mission").at("id").get<std::string>();
  EXPECT_THAT(Import(ImportOf(Flight(), unknown, made.File("survey.db"))),
              FailsWith(qvapp::kFailed, Flight(), "no mission '" + unknown + "'; this database has: "));
  EXPECT_THAT(made.Names(), testing::IsEmpty());
}
