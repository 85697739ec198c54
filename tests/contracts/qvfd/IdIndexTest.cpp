#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <random>

#include "qvfd/IdIndex.h"

namespace {

using qvfd::IdIndex;

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

TEST(IdIndex, FindsNothingWhileEmpty) {
  const IdIndex index;
  EXPECT_EQ(index.Find(0), IdIndex::kMissing);
  EXPECT_EQ(index.Find(-1), IdIndex::kMissing);
}

TEST(IdIndex, FindsWhatWasSet) {
  IdIndex index;
  index.Set(5, 0);
  index.Set(-5, 7);
  EXPECT_EQ(index.Find(5), 0);
  EXPECT_EQ(index.Find(-5), 7);
  EXPECT_EQ(index.Find(0), IdIndex::kMissing);
}

TEST(IdIndex, ExtremeIdsAreIdsLikeOthers) {
  IdIndex index;
  index.Set(kLowest, 1);
  index.Set(kHighest, 2);
  index.Set(0, kHighest);
  EXPECT_EQ(index.Find(kLowest), 1);
  EXPECT_EQ(index.Find(kHighest), 2);
  EXPECT_EQ(index.Find(0), kHighest);
  EXPECT_EQ(index.Find(-1), IdIndex::kMissing);
}

TEST(IdIndex, ALaterPositionReplacesAnEarlierOne) {
  IdIndex index;
  index.Set(3, 10);
  index.Set(3, 4);
  EXPECT_EQ(index.Find(3), 4);
}

TEST(IdIndex, ClearForgetsAll) {
  IdIndex index;
  index.Set(3, 10);
  index.Clear();
  EXPECT_EQ(index.Find(3), IdIndex::kMissing);
  index.Set(4, 1);
  EXPECT_EQ(index.Find(4), 1);
  EXPECT_EQ(index.Find(3), IdIndex::kMissing);
}

TEST(IdIndex, ReserveKeepsWhatIsThere) {
  IdIndex index;
  index.Set(3, 10);
  index.Reserve(100000);
  index.Reserve(1);
  EXPECT_EQ(index.Find(3), 10);
  EXPECT_EQ(index.Find(4), IdIndex::kMissing);
}

TEST(IdIndex, ACopyIsIndependent) {
  IdIndex index;
  index.Set(3, 10);
  const IdIndex copy = index;
  index.Set(3, 11);
  index.Set(4, 12);
  EXPECT_EQ(copy.Find(3), 10);
  EXPECT_EQ(copy.Find(4), IdIndex::kMissing);
}

TEST(IdIndex, AgreesWithAMapOverRandomUse) {
  std::mt19937 random{99};
  IdIndex index;
  std::map<std::int32_t, std::int32_t> model;
  for (std::int32_t position = 0; position < 100000; ++position) {
    const auto id = static_cast<std::int32_t>(random() % 60000) - 30000;
    index.Set(id, position);
    model[id] = position;
  }
  for (std::int32_t id = -31000; id <= 31000; ++id) {
    const auto found = model.find(id);
    ASSERT_EQ(index.Find(id), found == model.end() ? IdIndex::kMissing : found->second) << id;
  }
}

TEST(IdIndex, EquallySpacedIdsAreAllFound) {
  for (const std::int32_t stride : {1, 2, 64, 1024, 65536, 1000003}) {
    IdIndex index;
    for (std::int32_t i = 0; i < 2000; ++i) {
      index.Set(i * stride, i);
    }
    for (std::int32_t i = 0; i < 2000; ++i) {
      ASSERT_EQ(index.Find(i * stride), i) << "stride " << stride;
    }
    ASSERT_EQ(index.Find(2000 * stride), IdIndex::kMissing);
  }
}

}  // namespace
