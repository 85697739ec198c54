// qvprj crs.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>

#include "Commands.h"

using namespace apps_test;
using nlohmann::json;
using qvapp::CrsFindOptions;
using qvapp::kFailed;
using qvapp::kWrongUsage;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class CrsFindCommand : public testing::Test {
 protected:
  static CrsFindOptions Words(const std::vector<std::string>& words) {
    CrsFindOptions options;
    options.words = words;
    return options;
  }

  /// The systems for a project with images at the positions.
  [[nodiscard]] CrsFindOptions Near(const std::vector<qvfd::Point2_T<double>>& positions) const {
    MakeProjectAt(path_, -1, positions);
    CrsFindOptions options;
    options.survey = path_;
    return options;
  }

  static json Told(CrsFindOptions options) {
    options.json = true;
    const Outcome outcome = CrsFind(options);
    EXPECT_THAT(outcome, Succeeds());
    return json::parse(outcome.out);
  }

  static std::vector<int> Ids(CrsFindOptions options) {
    options.all = true;
    const json told = Told(options);
    std::vector<int> ids;
    for (const json& system : told["systems"]) {
      ids.push_back(system["id"].get<int>());
    }
    EXPECT_EQ(told["found"], ids.size());
    return ids;
  }

  /// Which of the systems found are UTM zones of WGS 84, with their places among all.
  static std::vector<std::pair<std::size_t, int>> Zones(const CrsFindOptions& options) {
    std::vector<std::pair<std::size_t, int>> zones;
    const std::vector<int> ids = Ids(options);
    for (std::size_t i = 0; i < ids.size(); ++i) {
      if ((ids[i] > 32600 && ids[i] <= 32660) || (ids[i] > 32700 && ids[i] <= 32760)) {
        zones.emplace_back(i, ids[i]);
      }
    }
    return zones;
  }

  support::TempFolder folder_;
  std::string path_ = folder_.File("survey.db");
};

using Zone = std::pair<std::size_t, int>;

}  // namespace

// ---- By words

TEST_F(CrsFindCommand, FindsByWordsInAnyCase) {
  EXPECT_THAT(Ids(Words({"cgcs2000", "120e"})), testing::Contains(4549));
  EXPECT_EQ(Ids(Words({"CGCS2000 120E"})), Ids(Words({"cgcs2000", "120e"})));
  EXPECT_THAT(Ids(Words({"epsg:2225"})), testing::Contains(2225));
}

TEST_F(CrsFindCommand, PrintsATable) {
  const Outcome outcome = CrsFind(Words({"epsg:4549"}));
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_THAT(outcome.out, StartsWith("CODE       NAME "));
  EXPECT_THAT(
      outcome.out,
      HasSubstr("\nEPSG:4549  CGCS2000 / 3-degree Gauss-Kruger CM 120E  metre  China - onshore between "));
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 2);
}

TEST_F(CrsFindCommand, TellsTheUnit) {
  EXPECT_THAT(CrsFind(Words({"epsg:2225", "ftus"})).out,
              HasSubstr("\nEPSG:2225  NAD83 / California zone 1 (ftUS)  US survey foot  "));
}

TEST_F(CrsFindCommand, DoesNotPrintAreasThatGoOnForPages) {
  const Outcome outcome = CrsFind(Words({"epsg:32632"}));
  EXPECT_THAT(outcome.out, HasSubstr("...\n"));
  EXPECT_LT(outcome.out.size(), 300U);
  EXPECT_THAT(Told(Words({"epsg:32632"}))["systems"][0]["area"].get<std::string>(), HasSubstr("Vatican"));
}

TEST_F(CrsFindCommand, PrintsJson) {
  const json told = Told(Words({"cgcs2000", "epsg:4549"}));
  EXPECT_EQ(told["query"], "cgcs2000 epsg:4549");
  EXPECT_EQ(told["found"], 1);
  ASSERT_EQ(told["systems"].size(), 1U);
  const json& system = told["systems"][0];
  EXPECT_EQ(system["id"], 4549);
  EXPECT_EQ(system["name"], "CGCS2000 / 3-degree Gauss-Kruger CM 120E");
  EXPECT_EQ(system["kind"], "projected");
  EXPECT_EQ(system["unit"], "metre");
  EXPECT_THAT(system["area"].get<std::string>(), StartsWith("China - onshore between "));
  EXPECT_EQ(system["west"], 118.5);
  EXPECT_EQ(system["east"], 121.5);
  EXPECT_LT(system["south"].get<double>(), system["north"].get<double>());
  const json geographic = Told(Words({"epsg:4490"}))["systems"][0];
  EXPECT_EQ(geographic["kind"], "geographic");
  EXPECT_EQ(geographic["unit"], "degree");
}

TEST_F(CrsFindCommand, ShowsTwentyUnlessAskedForAll) {
  CrsFindOptions options = Words({"utm"});
  const json some = Told(options);
  EXPECT_EQ(some["systems"].size(), 20U);
  const auto found = some["found"].get<std::size_t>();
  EXPECT_GT(found, 20U);
  const std::string text = CrsFind(options).out;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 22);
  EXPECT_THAT(text, HasSubstr("\n... and " + std::to_string(found - 20) + " more: --all shows them.\n"));
  options.all = true;
  EXPECT_EQ(Told(options)["systems"].size(), found);
  EXPECT_THAT(CrsFind(options).out, Not(HasSubstr("--all")));
}

TEST_F(CrsFindCommand, AdmitsThatThereIsNone) {
  const Outcome outcome = CrsFind(Words({"no", "such\x1B", "place"}));
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, "No coordinate system has 'no such? place' in name, area or code.\n");
  const json told = Told(Words({"nowhere at all"}));
  EXPECT_EQ(told["found"], 0);
  EXPECT_EQ(told["systems"], json::array());
}

// ---- By place

TEST_F(CrsFindCommand, SuggestsTheUtmZoneFirst) {
  const CrsFindOptions options = Near({{10.1, 48.3}, {10.2, 48.4}});
  EXPECT_THAT(Zones(options), ElementsAre(Zone{0, 32632}));
  const json told = Told(options);
  EXPECT_EQ(told["near"], path_);
  EXPECT_FALSE(told.contains("query"));
  EXPECT_EQ(told["systems"].size(), 20U);
  EXPECT_THAT(CrsFind(options).out, HasSubstr("\nEPSG:32632  WGS 84 / UTM zone 32N "));
}

TEST_F(CrsFindCommand, SuggestsOnlyWhatHoldsTheWholeExtent) {
  CrsFindOptions options = Near({{118.6, 30}, {121.4, 31}});
  EXPECT_THAT(Ids(options), testing::Contains(4549));
  options = Near({{118.4, 30}, {121.4, 31}});
  EXPECT_THAT(Ids(options), Not(testing::Contains(4549)));
  EXPECT_THAT(Ids(options), testing::Contains(4490));
}

TEST_F(CrsFindCommand, SuggestsTheZoneOfTheMiddleForAProjectInTwoZones) {
  EXPECT_THAT(Zones(Near({{5.8, 50}, {6.4, 50.1}})), ElementsAre(Zone{0, 32632}));
  EXPECT_THAT(Zones(Near({{5.6, 50}, {6.2, 50.1}})), ElementsAre(Zone{0, 32631}));
  EXPECT_GT(Ids(Near({{5.6, 50}, {6.2, 50.1}})).size(), 1U) << "the others are still there";
}

TEST_F(CrsFindCommand, CrossesTheHundredAndEightiethMeridian) {
  const CrsFindOptions options = Near({{179.9, -16.5}, {-179.8, -16.6}});
  EXPECT_THAT(Ids(options), testing::Contains(3460)) << "Fiji";
  EXPECT_THAT(Ids(options), Not(testing::Contains(32660))) << "the other way round";
  EXPECT_THAT(Zones(options), ElementsAre(Zone{0, 32701}));
  EXPECT_THAT(Zones(Near({{179.7, -16.5}, {-179.9, -16.6}})), ElementsAre(Zone{0, 32760}));
}

TEST_F(CrsFindCommand, DoesNotCrossItForImagesOnBothSidesOfGreenwich) {
  EXPECT_THAT(Ids(Near({{-0.2, 51.4}, {0.1, 51.5}})), testing::Contains(27700)) << "Great Britain";
}

TEST_F(CrsFindCommand, PassesOverPositionsThatAreNoPlaces) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Ids(Near({{nan, 48}, {10.1, 48.3}, {10, 91}, {181, 48}, {-infinity, 0}, {10, nan}})),
            Ids(Near({{10.1, 48.3}})));
}

TEST_F(CrsFindCommand, NeedsAnImageWithAPosition) {
  const std::string problem = "has no image with a longitude and latitude; ";
  EXPECT_THAT(CrsFind(Near({})), FailsWith(kFailed, path_, problem));
  EXPECT_THAT(CrsFind(Near({{500000, 5000000}})), FailsWith(kFailed, path_, problem));
}

TEST_F(CrsFindCommand, NeedsAProject) {
  CrsFindOptions options;
  options.survey = folder_.File("missing.db");
  EXPECT_THAT(CrsFind(options), FailsWith(kFailed, *options.survey, "no such file; "));
  options.survey = folder_.File("flight.db");
  MakeFlight(*options.survey, {{"m1", "Early"}});
  EXPECT_THAT(CrsFind(options), FailsWith(kFailed, *options.survey, "table data_project is missing"));
}

TEST_F(CrsFindCommand, LeavesTheProjectAsItWas) {
  const CrsFindOptions options = Near({{10.1, 48.3}});
  const auto before = support::Snapshot(folder_.Path());
  EXPECT_THAT(CrsFind(options), Succeeds());
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

// ---- Wrong usage, and no geodesy database

TEST_F(CrsFindCommand, NeedsEitherWordsOrAPlace) {
  const std::string problem = "needs either a TEXT or --near SURVEY.db; ";
  EXPECT_THAT(CrsFind({}), FailsWith(kWrongUsage, "qvprj crs find", problem));
  CrsFindOptions both = Near({{10, 48}});
  both.words = {"utm"};
  EXPECT_THAT(CrsFind(both), FailsWith(kWrongUsage, "qvprj crs find", problem));
  for (const std::string blank : {"", " \t"}) {
    EXPECT_THAT(CrsFind(Words({blank})),
                FailsWith(kWrongUsage, "qvprj crs find", "there is no word in TEXT; "));
  }
}

TEST_F(CrsFindCommand, SaysThatThereIsNoGeodesyDatabase) {
  MakeProjectAt(path_, -1, {{10, 48}});
  for (const std::string arguments : {"utm", "--near survey.db", "utm --json"}) {
    EXPECT_THAT(Shell(folder_,
                      "PROJ_DATA=none PROJ_LIB=none; export PROJ_DATA PROJ_LIB; qvprj crs find " + arguments),
                FailsWith(kFailed, "geodesy database", "cannot be read: "))
        << arguments;
  }
}
