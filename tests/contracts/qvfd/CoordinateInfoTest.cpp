#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "qvfd/CoordinateInfo.h"

namespace {

using qvfd::CoordinateInfo;
using qvfd::CoordinateInfoSet;
using qvfd::QvConfiguration;

CoordinateInfo HostSystem(int id, const std::string& name) {
  return {
      .type = 0, .id = id, .name = name, .description = "of the host", .definition = "+proj=utm +zone=50"};
}

CoordinateInfoSet Registry() {
  return QvConfiguration::Instance().GetCoordinateInfoSet();
}

bool Register(const CoordinateInfo& info) {
  return QvConfiguration::Instance().AddCoordinate(info);
}

TEST(CoordinateInfo, StartsAsTheUnregisteredLocalSystem) {
  const CoordinateInfo info;
  EXPECT_EQ(info.type, 4);
  EXPECT_EQ(info.id, -1);
  EXPECT_EQ(info.description, "");
  EXPECT_EQ(info.definition, "");
}

TEST(CoordinateInfo, DefaultNameIsTenBytesOfGbk) {
  const std::vector<unsigned char> expected{0xB1, 0xBE, 0xB5, 0xD8, 0xD7, 0xF8, 0xB1, 0xEA, 0xCF, 0xB5};
  const std::string name = CoordinateInfo().name;
  EXPECT_EQ(std::vector<unsigned char>(name.begin(), name.end()), expected);
}

TEST(CoordinateInfoSet, StartsEmpty) {
  const CoordinateInfoSet set;
  EXPECT_EQ(set.Size(), 0);
  EXPECT_EQ(set.begin(), set.end());
}

TEST(CoordinateInfoSet, AnEmptySetKnowsNothing) {
  CoordinateInfo out = HostSystem(1, "before");
  EXPECT_FALSE(CoordinateInfoSet().GetCoordinateByID(4326, out));
  EXPECT_EQ(out, HostSystem(1, "before"));
}

TEST(CoordinateInfoSet, WGS84IsTheGeographicSystem) {
  const CoordinateInfo wgs84 = CoordinateInfoSet::GetWGS84();
  EXPECT_EQ(wgs84.id, 4326);
  EXPECT_EQ(wgs84.type, 1);
  EXPECT_NE(wgs84.name.find("WGS"), std::string::npos);
  EXPECT_NE(wgs84.definition, "");
}

TEST(CoordinateRegistry, IsOneForTheProcess) {
  EXPECT_EQ(&QvConfiguration::Instance(), &QvConfiguration::Instance());
}

TEST(CoordinateRegistry, AFailedLookupLeavesTheOutputAsItWas) {
  CoordinateInfo out = HostSystem(77, "before");
  for (const int unknown :
       {-1, 999999999, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_FALSE(Registry().GetCoordinateByID(unknown, out));
    EXPECT_EQ(out, HostSystem(77, "before"));
  }
}

TEST(CoordinateRegistry, FindsWhatTheHostAdded) {
  ASSERT_TRUE(Register(HostSystem(900001, "mine")));
  CoordinateInfo out;
  EXPECT_TRUE(Registry().GetCoordinateByID(900001, out));
  EXPECT_EQ(out, HostSystem(900001, "mine"));
}

TEST(CoordinateRegistry, RefusesATakenId) {
  ASSERT_TRUE(Register(HostSystem(900002, "first")));
  const int size = Registry().Size();
  EXPECT_FALSE(Register(HostSystem(900002, "second")));
  CoordinateInfo out;
  ASSERT_TRUE(Registry().GetCoordinateByID(900002, out));
  EXPECT_EQ(out.name, "first");
  EXPECT_EQ(Registry().Size(), size);
}

TEST(CoordinateRegistry, RefusesANegativeId) {
  const int size = Registry().Size();
  EXPECT_FALSE(Register(HostSystem(-1, "negative")));
  EXPECT_FALSE(Register(HostSystem(std::numeric_limits<int>::min(), "negative")));
  EXPECT_EQ(Registry().Size(), size);
}

TEST(CoordinateRegistry, RefusesTheUnregisteredDefault) {
  EXPECT_FALSE(Register(CoordinateInfo()));
}

TEST(CoordinateRegistry, ListsSystemsInAscendingOrderOfIds) {
  ASSERT_TRUE(Register(HostSystem(900012, "b")));
  ASSERT_TRUE(Register(HostSystem(900010, "a")));
  ASSERT_TRUE(Register(HostSystem(900011, "c")));
  const CoordinateInfoSet set = Registry();
  EXPECT_TRUE(
      std::is_sorted(set.begin(), set.end(), [](const auto& a, const auto& b) { return a.id < b.id; }));
  EXPECT_EQ(set.end() - set.begin(), set.Size());
  EXPECT_GE(set.Size(), 3);
}

TEST(CoordinateRegistry, EveryListedSystemIsFoundByItsId) {
  ASSERT_TRUE(Register(HostSystem(900020, "a")));
  const CoordinateInfoSet set = Registry();
  for (const CoordinateInfo& listed : set) {
    CoordinateInfo out;
    ASSERT_TRUE(set.GetCoordinateByID(listed.id, out)) << listed.id;
    EXPECT_EQ(out, listed);
  }
}

TEST(CoordinateRegistry, ASnapshotDoesNotChange) {
  const CoordinateInfoSet before = Registry();
  const int size = before.Size();
  ASSERT_TRUE(Register(HostSystem(900030, "later")));
  CoordinateInfo out;
  EXPECT_FALSE(before.GetCoordinateByID(900030, out));
  EXPECT_EQ(before.Size(), size);
  EXPECT_EQ(Registry().Size(), size + 1);
}

TEST(CoordinateRegistry, ACopyOfASnapshotKnowsTheSame) {
  ASSERT_TRUE(Register(HostSystem(900031, "copied")));
  CoordinateInfoSet copy;
  {
    const CoordinateInfoSet snapshot = Registry();
    copy = snapshot;
  }
  CoordinateInfo out;
  EXPECT_TRUE(copy.GetCoordinateByID(900031, out));
  EXPECT_EQ(out.name, "copied");
}

TEST(CoordinateRegistry, ThreadsAddAndReadAtTheSameTime) {
  constexpr int kThreads = 4;
  constexpr int kEach = 100;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread, &wrong] {
      for (int i = 0; i < kEach; ++i) {
        const int id = 910000 + i * kThreads + thread;
        CoordinateInfo out;
        wrong += Register(HostSystem(id, std::to_string(id))) ? 0 : 1;
        wrong += Registry().GetCoordinateByID(id, out) && out.name == std::to_string(id) ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_GE(Registry().Size(), kThreads * kEach);
}

TEST(CoordinateRegistry, OfThreadsThatClashOneWins) {
  std::atomic<int> winners{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&winners] {
      for (int id = 920000; id < 920200; ++id) {
        winners += Register(HostSystem(id, "clash")) ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(winners, 200);
}

}  // namespace
