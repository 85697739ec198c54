#include "qvfd/ByteStream.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "qvfd/Track.h"

namespace {

using qvfd::ByteReader;
using qvfd::ByteWriter;
using Bytes = std::vector<unsigned char>;

TEST(ByteReader, ReadsLittleEndianValuesOneAfterTheOther) {
  const Bytes bytes{0x01, 0x02, 0x03, 0x04, 0xFE, 0xFF, 0x00, 0x00, 0xC0, 0x3F};
  ByteReader reader(bytes);
  std::uint32_t first = 0;
  std::int16_t second = 0;
  float third = 0.0F;
  ASSERT_TRUE(reader.Read(first) && reader.Read(second) && reader.Read(third));
  EXPECT_EQ(first, 0x04030201U);
  EXPECT_EQ(second, -2);
  EXPECT_EQ(third, 1.5F);
  EXPECT_EQ(reader.Remaining(), 0U);
}

TEST(ByteReader, RefusesAValueThatIsNotWhole) {
  const Bytes bytes{1, 2, 3, 4, 5, 6, 7};
  ByteReader reader(bytes);
  double value = 0.25;
  EXPECT_FALSE(reader.Read(value));
  EXPECT_EQ(value, 0.25);
  EXPECT_EQ(reader.Remaining(), 7U);
}

TEST(ByteReader, ReadsOnAfterARefusal) {
  const Bytes bytes{1, 2, 3};
  ByteReader reader(bytes);
  std::uint32_t large = 0;
  std::uint8_t small = 0;
  EXPECT_FALSE(reader.Read(large));
  EXPECT_TRUE(reader.Read(small));
  EXPECT_EQ(small, 1);
  EXPECT_EQ(reader.Remaining(), 2U);
}

TEST(ByteReader, OfNothingRefusesEverything) {
  ByteReader reader({});
  std::uint8_t value = 9;
  std::vector<int> values;
  EXPECT_FALSE(reader.Read(value));
  EXPECT_FALSE(reader.ReadArray(1, values));
  EXPECT_EQ(value, 9);
}

TEST(ByteReader, ReadsValuesThatAreNotAligned) {
  const Bytes bytes{0xFF, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
  ByteReader reader(bytes);
  std::uint8_t skipped = 0;
  std::uint64_t value = 0;
  ASSERT_TRUE(reader.Read(skipped) && reader.Read(value));
  EXPECT_EQ(value, 1U);
}

TEST(ByteReader, ReadsAnArrayInPlaceOfWhatWasThere) {
  const Bytes bytes{1, 0, 2, 0, 3, 0, 4};
  ByteReader reader(bytes);
  std::vector<std::uint16_t> values{9, 9, 9, 9, 9};
  ASSERT_TRUE(reader.ReadArray(3, values));
  EXPECT_EQ(values, (std::vector<std::uint16_t>{1, 2, 3}));
  EXPECT_EQ(reader.Remaining(), 1U);
}

TEST(ByteReader, ReadsRecordsAsTheyStand) {
  const Bytes bytes{7, 0, 0, 0, 0, 0, 0xC0, 0x3F, 0, 0, 0x20, 0xC0};
  ByteReader reader(bytes);
  std::vector<qvfd::TrackObservation> observations;
  ASSERT_TRUE(reader.ReadArray(1, observations));
  EXPECT_EQ(observations.front(), (qvfd::TrackObservation{7, 1.5F, -2.5F}));
}

TEST(ByteReader, AnArrayOfNoneSucceedsAtTheEnd) {
  ByteReader reader({});
  std::vector<int> values{1, 2};
  EXPECT_TRUE(reader.ReadArray(0, values));
  EXPECT_TRUE(values.empty());
}

TEST(ByteReader, RefusesAnArrayOneElementTooLong) {
  const Bytes bytes(11, 1);
  ByteReader reader(bytes);
  std::vector<std::uint32_t> values{5};
  EXPECT_FALSE(reader.ReadArray(3, values));
  EXPECT_EQ(values, (std::vector<std::uint32_t>{5}));
  EXPECT_EQ(reader.Remaining(), 11U);
}

TEST(ByteReader, RefusesCountsThatOverflow) {
  const Bytes bytes(16, 1);
  constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
  for (const std::size_t count : {kMax, kMax / 8, kMax / 8 + 1, kMax / 8 + 2, std::size_t{1} << 61U}) {
    ByteReader reader(bytes);
    std::vector<double> values;
    EXPECT_FALSE(reader.ReadArray(count, values)) << count;
    EXPECT_EQ(values.capacity(), 0U);
  }
}

TEST(ByteWriter, StartsEmpty) {
  EXPECT_TRUE(ByteWriter().Bytes().empty());
}

TEST(ByteWriter, WritesLittleEndianValuesOneAfterTheOther) {
  ByteWriter writer;
  writer.Write(std::uint32_t{0x04030201});
  writer.Write(std::int16_t{-2});
  writer.Write(1.5F);
  EXPECT_EQ(writer.Bytes(), (Bytes{0x01, 0x02, 0x03, 0x04, 0xFE, 0xFF, 0x00, 0x00, 0xC0, 0x3F}));
}

TEST(ByteWriter, WritesArraysAsTheyStand) {
  ByteWriter writer;
  writer.WriteArray(std::vector<std::uint16_t>{1, 2, 0xABCD});
  writer.WriteArray(std::vector<double>{});
  EXPECT_EQ(writer.Bytes(), (Bytes{1, 0, 2, 0, 0xCD, 0xAB}));
}

TEST(ByteWriter, ReserveWritesNothing) {
  ByteWriter writer;
  writer.Reserve(1000);
  EXPECT_TRUE(writer.Bytes().empty());
  EXPECT_GE(writer.Bytes().capacity(), 1000U);
}

TEST(ByteWriter, TakeGivesTheBytesAway) {
  ByteWriter writer;
  writer.Write(std::uint8_t{7});
  EXPECT_EQ(writer.Take(), Bytes{7});
  EXPECT_TRUE(writer.Bytes().empty());
}

TEST(ByteStream, WhatIsWrittenIsRead) {
  const std::vector<std::array<double, 3>> points{{1.0, -0.0, 3e300}, {4.5, 5.5, 6.5}};
  ByteWriter writer;
  writer.Write(std::numeric_limits<std::int64_t>::min());
  writer.WriteArray(points);
  ByteReader reader(writer.Bytes());
  std::int64_t number = 0;
  std::vector<std::array<double, 3>> read;
  ASSERT_TRUE(reader.Read(number) && reader.ReadArray(2, read));
  EXPECT_EQ(number, std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(read, points);
}

}  // namespace
