#include "qvprj/project/PrjInfo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "support/ProjectCompare.h"

namespace {

using qvprj::PrjInfo;
using support::TextOf;

static_assert(!std::is_polymorphic_v<PrjInfo>);
static_assert(sizeof(PrjInfo::id) == 33);
static_assert(sizeof(PrjInfo::project_name) == 65);
static_assert(sizeof(PrjInfo::operator_name) == 65);
static_assert(sizeof(PrjInfo::date) == 33);
static_assert(sizeof(PrjInfo::description) == 257);
static_assert(std::is_same_v<decltype(PrjInfo::coordinate_id), std::int32_t>);
static_assert(std::is_same_v<decltype(PrjInfo::nadir), std::int32_t>);
static_assert(std::is_same_v<decltype(PrjInfo::uavtype), std::int32_t>);

void FillArrays(PrjInfo& info, char with) {
  std::memset(info.id, with, sizeof info.id);
  std::memset(info.project_name, with, sizeof info.project_name);
  std::memset(info.operator_name, with, sizeof info.operator_name);
  std::memset(info.date, with, sizeof info.date);
  std::memset(info.description, with, sizeof info.description);
}

template <std::size_t N>
bool IsFilled(const char (&array)[N], char with) {
  return std::all_of(array, array + N, [with](char c) { return c == with; });
}

bool AllArraysHold(const PrjInfo& info, char with) {
  return IsFilled(info.id, with) && IsFilled(info.project_name, with) && IsFilled(info.operator_name, with) &&
         IsFilled(info.date, with) && IsFilled(info.description, with);
}

TEST(PrjInfoTest, ANewRecordHasTheDefaultNumbers) {
  const PrjInfo info;
  EXPECT_EQ(info.coordinate_id, -1);
  EXPECT_EQ(info.nadir, 1);
  EXPECT_EQ(info.uavtype, 99);
  EXPECT_EQ(info.height, 0.0);
}

TEST(PrjInfoTest, ANewRecordHasEmptyTexts) {
  const PrjInfo info;
  EXPECT_EQ(info.project_name[0], '\0');
  EXPECT_EQ(info.operator_name[0], '\0');
  EXPECT_EQ(info.date[0], '\0');
  EXPECT_EQ(info.description[0], '\0');
  EXPECT_EQ(info.file_path, "");
}

TEST(PrjInfoTest, ANewRecordHasAnIdOf32CharactersAndANul) {
  const PrjInfo info;
  EXPECT_EQ(std::find(info.id, info.id + 33, '\0') - info.id, 32);
}

TEST(PrjInfoTest, NoTwoNewRecordsShareAnId) {
  const PrjInfo first;
  const PrjInfo second;
  EXPECT_NE(TextOf(first.id), TextOf(second.id));
}

TEST(PrjInfoTest, ACopyTakesTheArraysOverInFullLength) {
  PrjInfo source;
  FillArrays(source, 'x');
  const PrjInfo copy(source);
  EXPECT_TRUE(AllArraysHold(copy, 'x'));
}

TEST(PrjInfoTest, AssignmentTakesTheArraysOverInFullLength) {
  PrjInfo source;
  FillArrays(source, 'x');
  PrjInfo target;
  FillArrays(target, 'y');
  target = source;
  EXPECT_TRUE(AllArraysHold(target, 'x'));
}

TEST(PrjInfoTest, AssignmentTakesBytesBehindANulOver) {
  PrjInfo source;
  FillArrays(source, 'x');
  source.description[0] = '\0';
  PrjInfo target;
  target = source;
  EXPECT_EQ(target.description[256], 'x');
}

TEST(PrjInfoTest, ACopyTakesNumbersAndPathOver) {
  PrjInfo source;
  source.coordinate_id = 4547;
  source.nadir = 0;
  source.uavtype = 3;
  source.height = 120.5;
  source.file_path = "a/b.db";
  const PrjInfo copy(source);
  EXPECT_EQ(copy.coordinate_id, 4547);
  EXPECT_EQ(copy.nadir, 0);
  EXPECT_EQ(copy.uavtype, 3);
  EXPECT_EQ(copy.height, 120.5);
  EXPECT_EQ(copy.file_path, "a/b.db");
}

TEST(PrjInfoTest, AssigningARecordToItselfChangesNothing) {
  PrjInfo info;
  info.file_path = "a/long/enough/path/to/be/on/the/heap.db";
  FillArrays(info, 'x');
  const PrjInfo& same = info;
  info = same;
  EXPECT_EQ(info.file_path, "a/long/enough/path/to/be/on/the/heap.db");
  EXPECT_TRUE(AllArraysHold(info, 'x'));
}

}  // namespace
