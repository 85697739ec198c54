#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "detail/NumberText.h"

namespace {

using qvdetail::ParseInteger;
using qvdetail::ParseReal;
using qvdetail::WholeInteger;
using qvdetail::WholeReal;

constexpr int kMaxInt = std::numeric_limits<int>::max();
constexpr int kMinInt = std::numeric_limits<int>::min();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Test programs start in the "C" locale, so the C library itself says what a text means.
void ExpectLikeTheCLibrary(const std::string& text) {
  const double expected = std::atof(text.c_str());
  const double actual = ParseReal(text);
  if (std::isnan(expected)) {
    ASSERT_TRUE(std::isnan(actual)) << "'" << text << "' gave " << actual;
    return;
  }
  ASSERT_EQ(std::bit_cast<std::uint64_t>(actual), std::bit_cast<std::uint64_t>(expected))
      << "'" << text << "' gave " << actual << " instead of " << expected;
}

int ClampedAtoi(const std::string& text) {
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  return static_cast<int>(value > kMaxInt ? kMaxInt : value < kMinInt ? kMinInt : value);
}

class RandomText {
 public:
  explicit RandomText(std::string alphabet) : alphabet_(std::move(alphabet)) {}

  std::string Next(std::size_t longest) {
    std::string text(random_() % (longest + 1), ' ');
    for (char& c : text) {
      c = alphabet_[random_() % alphabet_.size()];
    }
    return text;
  }

 private:
  std::string alphabet_;
  std::mt19937_64 random_{1234};
};

TEST(ParseReal, ReadsDecimalNumbers) {
  EXPECT_EQ(ParseReal("0.5"), 0.5);
  EXPECT_EQ(ParseReal("-12.25"), -12.25);
  EXPECT_EQ(ParseReal("+3"), 3.0);
  EXPECT_EQ(ParseReal("1e3"), 1000.0);
  EXPECT_EQ(ParseReal("1E-3"), 0.001);
}

TEST(ParseReal, TextWithoutANumberIsZero) {
  for (const char* text : {"", " ", "abc", "-", "+", ".", "-.", "e5", "NULL", "--1", "+-1", "- 1"}) {
    EXPECT_EQ(std::bit_cast<std::uint64_t>(ParseReal(text)), 0U) << text;
  }
}

TEST(ParseReal, SkipsLeadingBlanksOfEveryKind) {
  EXPECT_EQ(ParseReal(" \t\n\v\f\r7.5"), 7.5);
}

TEST(ParseReal, NoBreakSpaceIsNoBlank) {
  EXPECT_EQ(ParseReal("\xA0"
                      "7.5"),
            0.0);
}

TEST(ParseReal, IgnoresTrailingJunk) {
  EXPECT_EQ(ParseReal("7.5m"), 7.5);
  EXPECT_EQ(ParseReal("7,5"), 7.0);
  EXPECT_EQ(ParseReal("1.2.3"), 1.2);
  EXPECT_EQ(ParseReal("1e+"), 1.0);
}

TEST(ParseReal, ReadsHexadecimalNumbers) {
  EXPECT_EQ(ParseReal("0x10"), 16.0);
  EXPECT_EQ(ParseReal("-0X1.8p1"), -3.0);
  EXPECT_EQ(ParseReal("0x.8"), 0.5);
}

TEST(ParseReal, ASignBehindTheHexadecimalMarkIsJunk) {
  EXPECT_EQ(ParseReal("0x-5"), 0.0);
  EXPECT_EQ(ParseReal("0x+5"), 0.0);
  EXPECT_EQ(ParseReal("-0x-5"), 0.0);
}

TEST(ParseReal, ReadsInfinitiesInAnyCase) {
  EXPECT_EQ(ParseReal("inf"), kInfinity);
  EXPECT_EQ(ParseReal("-INF"), -kInfinity);
  EXPECT_EQ(ParseReal("+Infinity"), kInfinity);
  EXPECT_EQ(ParseReal("infinitesimal"), kInfinity);
}

TEST(ParseReal, ReadsNanInAnyCase) {
  EXPECT_TRUE(std::isnan(ParseReal("nan")));
  EXPECT_TRUE(std::isnan(ParseReal("-NaN")));
  EXPECT_TRUE(std::isnan(ParseReal("nan(12)")));
}

TEST(ParseReal, TooLargeIsInfinite) {
  EXPECT_EQ(ParseReal("1e309"), kInfinity);
  EXPECT_EQ(ParseReal("-1e309"), -kInfinity);
  EXPECT_EQ(ParseReal("1" + std::string(400, '0')), kInfinity);
  EXPECT_EQ(ParseReal("0.0001e9999999999999999999"), kInfinity);
  EXPECT_EQ(ParseReal("0x1p1024"), kInfinity);
}

TEST(ParseReal, TooSmallIsZeroWithItsSign) {
  for (const std::string text :
       {"1e-400", "-1e-400", "10e-9999999999999999999", "0x1p-2000", "-0x1p-99999"}) {
    EXPECT_EQ(ParseReal(text), 0.0) << text;
    EXPECT_EQ(std::signbit(ParseReal(text)), text[0] == '-') << text;
  }
  EXPECT_EQ(ParseReal("0." + std::string(400, '0') + "1"), 0.0);
}

TEST(ParseReal, LongMantissaAndExponentMayCancelOut) {
  EXPECT_EQ(ParseReal("1" + std::string(400, '0') + "e-400"), 1.0);
  EXPECT_EQ(ParseReal("0." + std::string(400, '0') + "1e401"), 1.0);
}

TEST(ParseReal, ZeroWithAHugeExponentIsZero) {
  EXPECT_EQ(ParseReal("0e999999999"), 0.0);
  EXPECT_EQ(ParseReal("0.000e-999999999"), 0.0);
  EXPECT_EQ(ParseReal("0x0p99999"), 0.0);
}

TEST(ParseReal, StopsAtANul) {
  EXPECT_EQ(ParseReal(std::string_view("1\0002", 3)), 1.0);
}

TEST(ParseReal, StopsAtTheEndOfTheView) {
  EXPECT_EQ(ParseReal(std::string_view("12345").substr(0, 2)), 12.0);
  EXPECT_EQ(ParseReal(std::string_view("0x1F").substr(0, 2)), 0.0);
}

TEST(ParseReal, OddTextsMeanWhatTheCLibrarySays) {
  for (const char* text : {"0",
                           "-0",
                           "00012",
                           "1.",
                           ".5",
                           "-.5e1",
                           "1e0",
                           "1e+0",
                           "1e-0",
                           "1ee5",
                           "1e5e5",
                           "1e5.5",
                           "0x",
                           "0X",
                           "-0x",
                           "0xg",
                           "0xG1",
                           "0x.",
                           "0x.p1",
                           "0x1p",
                           "0x1p+",
                           "0x1p-",
                           "0x1.8",
                           "0x1.8p",
                           "0xABCDEFp-4",
                           "0xabcdefg",
                           "0x1e5",
                           "0x1p1.5",
                           "0xp1",
                           "0x 1",
                           "0xinf",
                           "0xnan",
                           "0xin",
                           "in",
                           "infi",
                           "infinit",
                           "INFINITYx",
                           "na",
                           "nanx",
                           "nan(",
                           "nan()",
                           "nan(abc",
                           "nan(a b)",
                           "+nan",
                           "+inf",
                           "++inf",
                           "-+inf",
                           "1_000",
                           "1'000",
                           "1 000",
                           "\t-1.5\t",
                           "\n1",
                           "1\n2",
                           "5e-324",
                           "2e-324",
                           "3e-324",
                           "4.9e-324",
                           "1e308",
                           "1.8e308",
                           "0x1p-1074",
                           "0x1p-1075",
                           "0x1.8p-1075",
                           "0x1p1023",
                           "0x1.fffffffffffff8p1023",
                           "0x1.fffffffffffff7p1023",
                           "9007199254740993",
                           "1.00000000000000011102230246251565404",
                           "1.00000000000000011102230246251565405",
                           "2.2250738585072011e-308",
                           "179769313486231580793728971405303415079934132710037e258"}) {
    ExpectLikeTheCLibrary(text);
  }
}

TEST(ParseReal, RandomTextsMeanWhatTheCLibrarySays) {
  RandomText texts("0123456789.eExXpP+-aAfFnNiIty( ,\t");
  for (int i = 0; i < 300000 && !HasFatalFailure(); ++i) {
    ExpectLikeTheCLibrary(texts.Next(10));
  }
}

TEST(ParseReal, RandomNumbersMeanWhatTheCLibrarySays) {
  RandomText digits("0123456789");
  RandomText tails("0123456789e.-");
  for (int i = 0; i < 100000 && !HasFatalFailure(); ++i) {
    ExpectLikeTheCLibrary(digits.Next(25) + "." + digits.Next(25) + "e" + tails.Next(3));
  }
}

TEST(ParseReal, RandomHexadecimalNumbersMeanWhatTheCLibrarySays) {
  RandomText digits("0123456789abcdefABCDEF");
  RandomText exponents("0123456789-");
  for (int i = 0; i < 100000 && !HasFatalFailure(); ++i) {
    ExpectLikeTheCLibrary("0x" + digits.Next(18) + "." + digits.Next(18) + "p" + exponents.Next(5));
  }
}

TEST(ParseInteger, ReadsDecimalIntegers) {
  EXPECT_EQ(ParseInteger("0"), 0);
  EXPECT_EQ(ParseInteger("42"), 42);
  EXPECT_EQ(ParseInteger("-42"), -42);
  EXPECT_EQ(ParseInteger("+42"), 42);
  EXPECT_EQ(ParseInteger("007"), 7);
}

TEST(ParseInteger, TextWithoutANumberIsZero) {
  for (const char* text : {"", " ", "abc", "-", "+", "--1", "+-1", "- 1", ".5", "NULL", "inf", "nan"}) {
    EXPECT_EQ(ParseInteger(text), 0) << text;
  }
}

TEST(ParseInteger, SkipsLeadingBlanksOfEveryKind) {
  EXPECT_EQ(ParseInteger(" \t\n\v\f\r-7"), -7);
}

TEST(ParseInteger, StopsAtTheFirstOtherCharacter) {
  EXPECT_EQ(ParseInteger("12.9"), 12);
  EXPECT_EQ(ParseInteger("1e+05"), 1);
  EXPECT_EQ(ParseInteger("0x10"), 0);
  EXPECT_EQ(ParseInteger("3,4"), 3);
  EXPECT_EQ(ParseInteger(std::string_view("1\0002", 3)), 1);
  EXPECT_EQ(ParseInteger(std::string_view("123").substr(0, 1)), 1);
}

TEST(ParseInteger, TheExtremesAreExact) {
  EXPECT_EQ(ParseInteger("2147483647"), kMaxInt);
  EXPECT_EQ(ParseInteger("-2147483648"), kMinInt);
  EXPECT_EQ(ParseInteger("-2147483647"), -kMaxInt);
}

TEST(ParseInteger, OutOfRangeSaturates) {
  EXPECT_EQ(ParseInteger("2147483648"), kMaxInt);
  EXPECT_EQ(ParseInteger("-2147483649"), kMinInt);
  EXPECT_EQ(ParseInteger("4294967296"), kMaxInt);
  EXPECT_EQ(ParseInteger("18446744073709551617"), kMaxInt);
  EXPECT_EQ(ParseInteger("-" + std::string(1000, '9')), kMinInt);
}

TEST(ParseInteger, LeadingZerosDoNotSaturate) {
  EXPECT_EQ(ParseInteger(std::string(1000, '0') + "5"), 5);
}

TEST(ParseInteger, RandomTextsMeanWhatTheCLibrarySays) {
  RandomText texts("0123456789+- \t.x");
  for (int i = 0; i < 200000; ++i) {
    const std::string text = texts.Next(14);
    ASSERT_EQ(ParseInteger(text), ClampedAtoi(text)) << "'" << text << "'";
  }
}

TEST(WholeInteger, TakesWhatIsADecimalIntegerFromEndToEnd) {
  EXPECT_EQ(WholeInteger("0"), 0);
  EXPECT_EQ(WholeInteger("-17"), -17);
  EXPECT_EQ(WholeInteger("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(WholeInteger("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
}

TEST(WholeInteger, RefusesEverythingElse) {
  for (const char* text : {"", "-", "+", " 1", "1 ", "1.0", "1e3", "0x10", "1a", "--1", "inf",
                           "9223372036854775808", "-9223372036854775809"}) {
    EXPECT_EQ(WholeInteger(text), std::nullopt) << text;
  }
  EXPECT_EQ(WholeInteger(std::string_view("1\0", 2)), std::nullopt);
}

TEST(WholeReal, TakesWhatIsAFiniteNumberFromEndToEnd) {
  EXPECT_EQ(WholeReal("0.5"), 0.5);
  EXPECT_EQ(WholeReal("-1e-3"), -0.001);
  EXPECT_EQ(WholeReal("12"), 12.0);
  EXPECT_EQ(WholeReal("1.7976931348623157e308"), std::numeric_limits<double>::max());
}

TEST(WholeReal, KeepsTheSignOfZero) {
  ASSERT_TRUE(WholeReal("-0").has_value());
  EXPECT_TRUE(std::signbit(*WholeReal("-0")));
}

TEST(WholeReal, RefusesEverythingElse) {
  for (const char* text : {"", "-", ".", " 1.5", "1.5 ", "1.5m", "1,5", "0x10", "inf", "-inf", "nan",
                           "nan(1)", "infinity", "1e", "1e400", "--1", "1.2.3"}) {
    EXPECT_EQ(WholeReal(text), std::nullopt) << text;
  }
  EXPECT_EQ(WholeReal(std::string_view("1.5\0", 4)), std::nullopt);
}

}  // namespace
