// The systems that the registry lists, and those that it finds in the geodesy database.

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "qvfd/CoordinateInfo.h"

namespace {

using qvfd::CoordinateInfo;
using qvfd::CoordinateInfoSet;
using qvfd::DisplayName;
using qvfd::QvConfiguration;
using testing::HasSubstr;

CoordinateInfo Find(int id) {
  CoordinateInfo info;
  EXPECT_TRUE(QvConfiguration::Instance().GetCoordinateInfoSet().GetCoordinateByID(id, info)) << id;
  return info;
}

bool IsKnown(int id) {
  CoordinateInfo info;
  return QvConfiguration::Instance().GetCoordinateInfoSet().GetCoordinateByID(id, info);
}

/// Whether the registry lists a system: without a look into the database.
bool IsListed(int id) {
  const CoordinateInfoSet set = QvConfiguration::Instance().GetCoordinateInfoSet();
  return std::any_of(set.begin(), set.end(), [id](const CoordinateInfo& info) { return info.id == id; });
}

TEST(DisplayName, PutsTheDatumOfTheNationalSystemsInFront) {
  CoordinateInfo info;
  info.name = "zone";
  info.type = 2;
  EXPECT_EQ(DisplayName(info), "Xian 1980 zone");
  info.type = 3;
  EXPECT_EQ(DisplayName(info), "CGCS2000 zone");
  for (const int other : {0, 1, 4, 5, -1}) {
    info.type = other;
    EXPECT_EQ(DisplayName(info), "zone");
  }
}

TEST(BuiltInRegistry, ListsWGS84AndItsUtmZones) {
  EXPECT_TRUE(IsListed(4326));
  for (int zone = 1; zone <= 60; ++zone) {
    for (const int id : {32600 + zone, 32700 + zone}) {
      EXPECT_TRUE(IsListed(id));
      const CoordinateInfo info = Find(id);
      EXPECT_EQ(info.type, 1);
      EXPECT_EQ(info.name, "WGS 84 / UTM zone " + std::to_string(zone) + (id < 32700 ? "N" : "S"));
    }
  }
}

struct Family {
  int first;
  int count;
  int type;
  int number;
  int step;
  const char* name;
  const char* suffix;
};

TEST(BuiltInRegistry, ListsTheGaussKrugerSystemsOfBothNationalDatums) {
  for (const Family& family : {Family{4491, 11, 3, 13, 1, "Gauss-Kruger zone ", ""},
                               Family{4502, 11, 3, 75, 6, "Gauss-Kruger CM ", "E"},
                               Family{4513, 21, 3, 25, 1, "3-degree Gauss-Kruger zone ", ""},
                               Family{4534, 21, 3, 75, 3, "3-degree Gauss-Kruger CM ", "E"},
                               Family{2327, 11, 2, 13, 1, "Gauss-Kruger zone ", ""},
                               Family{2338, 11, 2, 75, 6, "Gauss-Kruger CM ", "E"},
                               Family{2349, 21, 2, 25, 1, "3-degree Gauss-Kruger zone ", ""},
                               Family{2370, 21, 2, 75, 3, "3-degree Gauss-Kruger CM ", "E"}}) {
    for (int i = 0; i < family.count; ++i) {
      EXPECT_TRUE(IsListed(family.first + i));
      const CoordinateInfo info = Find(family.first + i);
      EXPECT_EQ(info.type, family.type) << info.id;
      EXPECT_EQ(info.name, family.name + std::to_string(family.number + i * family.step) + family.suffix)
          << info.id;
    }
  }
  EXPECT_EQ(DisplayName(Find(4549)), "CGCS2000 3-degree Gauss-Kruger CM 120E");
  EXPECT_EQ(DisplayName(Find(2349)), "Xian 1980 3-degree Gauss-Kruger zone 25");
}

TEST(BuiltInRegistry, ListsTheNationalGeographicSystems) {
  EXPECT_TRUE(IsListed(4490));
  EXPECT_TRUE(IsListed(4610));
  EXPECT_EQ(Find(4490).type, 3);
  EXPECT_EQ(Find(4610).type, 2);
}

TEST(BuiltInRegistry, EachSystemCarriesItsIdAndADefinition) {
  for (const CoordinateInfo& info : QvConfiguration::Instance().GetCoordinateInfoSet()) {
    if (info.id < 100'000) {  // above are those that tests of this program add
      EXPECT_EQ(info.definition, "EPSG:" + std::to_string(info.id));
      EXPECT_NE(info.name, "");
      EXPECT_NE(info.description, "");
    }
  }
}

TEST(DatabaseRegistry, FindsProjectedSystemsOfTheWholeWorld) {
  const CoordinateInfo info = Find(25832);
  EXPECT_EQ(info.type, 0);
  EXPECT_EQ(info.id, 25832);
  EXPECT_EQ(info.name, "ETRS89 / UTM zone 32N");
  EXPECT_THAT(info.description, HasSubstr("Europe"));
  EXPECT_EQ(info.definition, "EPSG:25832");
  for (const int id : {2154, 27700, 28354, 2056, 3857, 2225, 5514}) {
    EXPECT_TRUE(IsKnown(id)) << id;
    EXPECT_FALSE(IsListed(id)) << id;
  }
}

TEST(DatabaseRegistry, FindsGeographicSystems) {
  EXPECT_EQ(Find(4258).name, "ETRS89");
  EXPECT_EQ(Find(4269).name, "NAD83");
}

TEST(DatabaseRegistry, TellsWhatASystemIsBasedOn) {
  EXPECT_EQ(Find(3857).type, 1);   // on WGS 84
  EXPECT_EQ(Find(3395).type, 1);   // on WGS 84
  EXPECT_EQ(Find(25832).type, 0);  // on ETRS89
  EXPECT_EQ(Find(2414).type, 0);   // on Beijing 1954
}

TEST(DatabaseRegistry, HasNoOtherKindsOfSystems) {
  EXPECT_FALSE(IsKnown(5703));   // heights
  EXPECT_FALSE(IsKnown(4978));   // geocentric
  EXPECT_FALSE(IsKnown(4979));   // geographic with heights
  EXPECT_FALSE(IsKnown(7415));   // compound
  EXPECT_FALSE(IsKnown(16050));  // a conversion, no system
  EXPECT_FALSE(IsKnown(9001));   // a unit
  for (const int id : {0, 1, 32767, 999'999}) {
    EXPECT_FALSE(IsKnown(id)) << id;
  }
}

TEST(DatabaseRegistry, AHostCannotTakeTheIdOfASystemThere) {
  CoordinateInfo mine;
  mine.name = "mine";
  for (const int id : {25832, 4326, 32650, 4269}) {
    mine.id = id;
    EXPECT_FALSE(QvConfiguration::Instance().AddCoordinate(mine)) << id;
    EXPECT_NE(Find(id).name, "mine");
  }
  mine.id = 16050;  // no system in the database
  EXPECT_TRUE(QvConfiguration::Instance().AddCoordinate(mine));
  EXPECT_EQ(Find(16050).name, "mine");
}

TEST(DatabaseRegistry, IsAskedFromManyThreadsAtOnce) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&wrong] {
      for (int i = 0; i < 25; ++i) {
        wrong += Find(25828 + i % 10).id == 25828 + i % 10 ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

#if !defined(_WIN32)
TEST(DatabaseRegistry, BuiltInSystemsNeedNoDatabase) {
  setenv("PROJ_DATA", "/nowhere", 1);
  setenv("PROJ_LIB", "/nowhere", 1);
  EXPECT_TRUE(IsKnown(4549));
  EXPECT_TRUE(IsListed(32650));
  EXPECT_FALSE(IsKnown(25832));
  unsetenv("PROJ_DATA");
  unsetenv("PROJ_LIB");
  EXPECT_TRUE(IsKnown(25832));
}
#endif

}  // namespace
