// Instants as photos and logs write them.
#include "interchange/text/DateTime.h"

#include <gtest/gtest.h>

using interchange::DateTime;
using interchange::DateTimeOf;

namespace {

constexpr double kOctober = 1413724851.0;  // 2014-10-19 13:20:51 UTC, by date -d

TEST(DateTimes, AreReadInTheFormsOfPhotosAndLogs) {
  EXPECT_EQ(DateTimeOf("2014:10:19 13:20:51"), (DateTime{kOctober, false}));
  EXPECT_EQ(DateTimeOf("2014-10-19T13:20:51Z"), (DateTime{kOctober, true}));
  EXPECT_EQ(DateTimeOf("2014/10/19 13:20:51.5"), (DateTime{kOctober + 0.5, false}));
  EXPECT_EQ(DateTimeOf("2014-10-19 15:20:51+02:00"), (DateTime{kOctober, true}));
  EXPECT_EQ(DateTimeOf("2014-10-19 09:50:51 -0330"), (DateTime{kOctober, true}));
  EXPECT_EQ(DateTimeOf(" 2014-10-19 13:20 "), (DateTime{kOctober - 51, false}));
}

TEST(DateTimes, ThatDoNotExistAreNone) {
  for (const char* text : {"", "0000:00:00 00:00:00", "2014-02-30 10:00:00", "2014-13-01 10:00:00",
                           "2014-10-19", "2014-10-19 24:00:00", "2014-10-19 13:60:00", "2014-10-19 13:20:61",
                           "2014-10-19 13:20:51 CET", "13:20:51", "2014-10-19 13:20:5x"}) {
    EXPECT_FALSE(DateTimeOf(text)) << text;
  }
}

TEST(DateTimes, OfGpsWeeksLoseTheirLeapSeconds) {
  // 2014-10-19 was a Sunday, the first day of week 1815; 16 leap seconds were in force.
  EXPECT_EQ(interchange::UtcOfGps(1815, 13 * 3600 + 20 * 60 + 51 + 16), kOctober);
  EXPECT_EQ(interchange::UtcOfGps(0, 0), 315964800.0);       // 1980-01-06
  EXPECT_EQ(interchange::UtcOfGps(2200, 18), 1646524800.0);  // 2022-03-06 00:00:00
  EXPECT_EQ(interchange::TextOfDateTime(kOctober + 0.7), "2014-10-19 13:20:51");
}

}  // namespace
