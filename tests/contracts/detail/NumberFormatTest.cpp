#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "detail/NumberText.h"

namespace {

using qvdetail::FormatInteger;
using qvdetail::FormatReal;

// Every bit pattern is as likely as any other, so all magnitudes occur, subnormal ones too.
class RandomDoubles {
 public:
  double Next() {
    double value = 0.0;
    do {
      value = std::bit_cast<double>(random_());
    } while (!std::isfinite(value));
    return value;
  }

 private:
  std::mt19937_64 random_{20240607};
};

// The length of the first text with an exponent that reads back to the same value.
std::size_t ShortestWithExponent(double value) {
  char text[64];
  for (int digits = 1; digits <= 17; ++digits) {
    std::snprintf(text, sizeof text, "%.*e", digits - 1, value);
    if (std::strtod(text, nullptr) == value) {
      break;
    }
  }
  return std::string(text).size();
}

TEST(NumberFormat, IntegersAreDecimal) {
  EXPECT_EQ(FormatInteger(0), "0");
  EXPECT_EQ(FormatInteger(-1), "-1");
  EXPECT_EQ(FormatInteger(1234567), "1234567");
}

TEST(NumberFormat, ExtremeIntegersAreWhole) {
  EXPECT_EQ(FormatInteger(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(FormatInteger(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
}

TEST(NumberFormat, WholeNumbersBelowThePlainLimitHaveNoExponent) {
  EXPECT_EQ(FormatReal(100000.0), "100000");
  EXPECT_EQ(FormatReal(-100000.0), "-100000");
  EXPECT_EQ(FormatReal(1e14), "100000000000000");
  EXPECT_EQ(FormatReal(999999999999999.0), "999999999999999");
  EXPECT_EQ(FormatReal(-999999999999999.0), "-999999999999999");
}

TEST(NumberFormat, WholeNumbersFromThePlainLimitOnAreShortest) {
  EXPECT_EQ(FormatReal(1e15), "1e+15");
  EXPECT_EQ(FormatReal(-1e15), "-1e+15");
  EXPECT_EQ(FormatReal(1e300), "1e+300");
}

TEST(NumberFormat, EveryPowerOfTenOfAnIntSurvivesAtoi) {
  for (const int value : {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000}) {
    EXPECT_EQ(std::atoi(FormatReal(static_cast<double>(value)).c_str()), value);
  }
}

TEST(NumberFormat, FractionsAreShortest) {
  EXPECT_EQ(FormatReal(0.1), "0.1");
  EXPECT_EQ(FormatReal(-0.25), "-0.25");
  EXPECT_EQ(FormatReal(1.0 / 3.0), "0.3333333333333333");
  EXPECT_EQ(FormatReal(114.30547812345678), "114.30547812345678");
  EXPECT_EQ(FormatReal(5e-324), "5e-324");
  EXPECT_EQ(FormatReal(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
}

TEST(NumberFormat, ZeroKeepsItsSign) {
  EXPECT_EQ(FormatReal(0.0), "0");
  EXPECT_EQ(FormatReal(-0.0), "-0");
}

TEST(NumberFormat, InfinitiesHaveNames) {
  EXPECT_EQ(FormatReal(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(FormatReal(-std::numeric_limits<double>::infinity()), "-inf");
}

TEST(NumberFormat, EveryNanIsNan) {
  EXPECT_EQ(FormatReal(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(FormatReal(-std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(FormatReal(std::numeric_limits<double>::signaling_NaN()), "nan");
  EXPECT_EQ(FormatReal(std::bit_cast<double>(0x7FF8000000000123U)), "nan");
  EXPECT_EQ(FormatReal(std::bit_cast<double>(0xFFFFFFFFFFFFFFFFU)), "nan");
}

TEST(NumberFormat, TheCLibraryReadsBackTheSameBits) {
  RandomDoubles doubles;
  for (int i = 0; i < 200000; ++i) {
    const double value = doubles.Next();
    const std::string text = FormatReal(value);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)),
              std::bit_cast<std::uint64_t>(value))
        << text;
  }
}

TEST(NumberFormat, OurParserReadsBackTheSameBits) {
  RandomDoubles doubles;
  for (int i = 0; i < 200000; ++i) {
    const double value = doubles.Next();
    const std::string text = FormatReal(value);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(qvdetail::ParseReal(text)), std::bit_cast<std::uint64_t>(value))
        << text;
  }
}

TEST(NumberFormat, NoTextIsLongerThanItMustBe) {
  RandomDoubles doubles;
  for (int i = 0; i < 20000; ++i) {
    const double value = doubles.Next();
    ASSERT_LE(FormatReal(value).size(), ShortestWithExponent(value)) << FormatReal(value);
  }
}

TEST(NumberFormat, RandomCoordinatesReadBackTheSameBits) {
  std::mt19937_64 random{7};
  std::uniform_real_distribution<double> degrees(-180.0, 180.0);
  for (int i = 0; i < 100000; ++i) {
    const double value = degrees(random);
    ASSERT_EQ(std::strtod(FormatReal(value).c_str(), nullptr), value);
  }
}

TEST(NumberFormat, RandomWholeNumbersHaveDigitsOnly) {
  std::mt19937_64 random{11};
  std::uniform_int_distribution<std::int64_t> whole(0, 999999999999999);
  for (int i = 0; i < 20000; ++i) {
    const std::int64_t value = whole(random);
    ASSERT_EQ(FormatReal(static_cast<double>(value)), std::to_string(value));
  }
}

TEST(NumberFormat, TheLongestTextFitsTheBuffer) {
  char buffer[qvdetail::kNumberTextCapacity];
  char* const end = FormatReal(-2.2250738585072014e-308, buffer);
  EXPECT_EQ(std::string(buffer, end), "-2.2250738585072014e-308");
}

}  // namespace
