#include "qvfd/Text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/ContractsLocale.h"

namespace {

using qvfd::ToString;

std::string NewGuid() {
  char buffer[32];
  qvfd::GenerateGUID(buffer);
  return {buffer, sizeof buffer};
}

TEST(ToString, OfADoubleIsItsShortestText) {
  EXPECT_EQ(ToString(0.1), "0.1");
  EXPECT_EQ(ToString(114.30547812345678), "114.30547812345678");
  EXPECT_EQ(ToString(-1e-9), "-1e-09");
  EXPECT_EQ(ToString(1.0 / 3.0), "0.3333333333333333");
}

TEST(ToString, OfAWholeNumberHasNoExponent) {
  EXPECT_EQ(ToString(100000.0), "100000");
  EXPECT_EQ(ToString(123456789012345.0), "123456789012345");
  EXPECT_EQ(ToString(1e15), "1e+15");
}

TEST(ToString, OfZeroKeepsTheSign) {
  EXPECT_EQ(ToString(0.0), "0");
  EXPECT_EQ(ToString(-0.0), "-0");
}

TEST(ToString, OfWhatIsNoFiniteNumberIsItsName) {
  EXPECT_EQ(ToString(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(ToString(-std::numeric_limits<double>::infinity()), "-inf");
  EXPECT_EQ(ToString(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(ToString(-std::numeric_limits<double>::quiet_NaN()), "nan");
}

TEST(ToString, OfATextIsTheText) {
  EXPECT_EQ(ToString(std::string("\xB1\xBE")), "\xB1\xBE");
  EXPECT_EQ(ToString(std::string("a\0b", 3)), std::string("a\0b", 3));
  EXPECT_EQ(ToString(std::string()), "");
}

TEST(ToString, NoLocaleHasASay) {
  const support::CommaStreams comma;
  const support::GeneratedLocale german("de_DE", "UTF-8");
  EXPECT_EQ(ToString(1234567.5), "1234567.5");
  EXPECT_EQ(ToString(1234567.0), "1234567");
}

TEST(GenerateGUID, GivesLowerCaseHexadecimalDigits) {
  for (int i = 0; i < 1000; ++i) {
    const std::string guid = NewGuid();
    EXPECT_EQ(guid.find_first_not_of("0123456789abcdef"), std::string::npos) << guid;
  }
}

TEST(GenerateGUID, WritesThirtyTwoCharactersAndNoMore) {
  char buffer[64];
  std::memset(buffer, '#', sizeof buffer);
  qvfd::GenerateGUID(buffer + 16);
  EXPECT_EQ(std::string(buffer, 16), std::string(16, '#'));
  EXPECT_EQ(std::string(buffer + 48, 16), std::string(16, '#'));
  EXPECT_EQ(std::string(buffer + 16, 32).find('#'), std::string::npos);
}

TEST(GenerateGUID, IsARandomUuid) {
  for (int i = 0; i < 1000; ++i) {
    const std::string guid = NewGuid();
    EXPECT_EQ(guid[12], '4') << guid;
    EXPECT_NE(std::string("89ab").find(guid[16]), std::string::npos) << guid;
  }
}

TEST(GenerateGUID, NeverRepeats) {
  std::set<std::string> guids;
  for (int i = 0; i < 20000; ++i) {
    guids.insert(NewGuid());
  }
  EXPECT_EQ(guids.size(), 20000U);
}

TEST(GenerateGUID, UsesEveryDigitEverywhere) {
  std::vector<std::set<char>> digits(32);
  for (int i = 0; i < 2000; ++i) {
    const std::string guid = NewGuid();
    for (std::size_t position = 0; position < digits.size(); ++position) {
      digits[position].insert(guid[position]);
    }
  }
  for (std::size_t position = 0; position < digits.size(); ++position) {
    EXPECT_EQ(digits[position].size(), position == 12 ? 1U : position == 16 ? 4U : 16U) << position;
  }
}

TEST(GenerateGUID, NeverRepeatsAcrossThreads) {
  std::vector<std::vector<std::string>> made(4);
  std::vector<std::thread> threads;
  for (auto& guids : made) {
    threads.emplace_back([&guids] {
      for (int i = 0; i < 2000; ++i) {
        guids.push_back(NewGuid());
      }
    });
  }
  std::set<std::string> all;
  for (std::size_t i = 0; i < threads.size(); ++i) {
    threads[i].join();
    all.insert(made[i].begin(), made[i].end());
  }
  EXPECT_EQ(all.size(), 8000U);
}

}  // namespace
