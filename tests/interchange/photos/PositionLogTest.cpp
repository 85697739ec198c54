// Position logs as text.
#include "interchange/formats/PositionLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interchange/Failure.h"
#include "support/TestFiles.h"

using interchange::AngleOf;
using interchange::PositionLog;
using interchange::ReadPositionLog;
using testing::HasSubstr;

namespace {

struct AngleCase {
  const char* text;
  double degrees;
  bool comma = false;
};

class Angles : public testing::TestWithParam<AngleCase> {};

TEST_P(Angles, AreReadInDegrees) {
  const auto angle = AngleOf(GetParam().text, GetParam().comma);
  ASSERT_TRUE(angle) << GetParam().text;
  EXPECT_NEAR(*angle, GetParam().degrees, 1e-12) << GetParam().text;
}

constexpr double kDms = 41.0 + 2.0 / 60.0 + 4.8 / 3600.0;

INSTANTIATE_TEST_SUITE_P(Forms, Angles,
                         testing::Values(AngleCase{"41.0346", 41.0346}, AngleCase{"-83.305", -83.305},
                                         AngleCase{"83.305W", -83.305}, AngleCase{"S 33.5", -33.5},
                                         AngleCase{"41,0346", 41.0346, true}, AngleCase{"41 02 04.8N", kDms},
                                         AngleCase{"41 02 04,8N", kDms, true},
                                         AngleCase{"41d02'04.8\"N", kDms}, AngleCase{"41:02:04.8", kDms},
                                         AngleCase{"-41:02:04.8", -kDms}, AngleCase{"-0:30:00", -0.5},
                                         AngleCase{"41\xC2\xB0"
                                                   "02\xE2\x80\xB2"
                                                   "04.8\xE2\x80\xB3 S",
                                                   -kDms},
                                         AngleCase{"41\xB0 2' 4.8''", kDms},
                                         AngleCase{"W 98 5.394", -(98.0 + 5.394 / 60.0)},
                                         AngleCase{"n41d2m4.8s", kDms},
                                         AngleCase{"98 05.394 e", 98.0 + 5.394 / 60.0}));

TEST(AnglesThatAreNone, AreNotGuessed) {
  for (const char* text : {"", "N", "41 60 00", "41 02 60", "41.5 30", "41 2.5 10", "-41 02 04 N", "-41.5N",
                           "41 02 04 08", "41,0346", "abc", "41 x 4", "nan", "inf", "1e400"}) {
    EXPECT_FALSE(AngleOf(text)) << text;
  }
  EXPECT_FALSE(AngleOf("1.234,5", true)) << "nobody knows which is the point";
}

class Logs : public testing::Test {
 protected:
  PositionLog Read(const std::string& text, const std::string& columns = "") {
    support::WriteText(path_, text);
    return ReadPositionLog(path_, columns);
  }
  std::string Problem(const std::string& text, const std::string& columns = "") {
    try {
      Read(text, columns);
    } catch (const interchange::Failure& failure) {
      return failure.what();
    }
    return "";
  }
  support::TempFolder folder_;
  std::string path_ = folder_.File("log.csv");
};

TEST_F(Logs, TakeColumnsByTheirNames) {
  const PositionLog log = Read(
      "Image,Date,Time,Latitude [deg],Longitude [deg],Ellipsoidal Height (m),Yaw,Pitch,Roll\n"
      "a.jpg,2014-10-19,13:20:51.250,30.1712,-98.0899,317.3,10,-2,3\n"
      "b.jpg,2014-10-19,13:20:53.250,30.1711,-98.0898,318.9,11,-1,2\n");
  ASSERT_EQ(log.records.size(), 2U);
  EXPECT_FALSE(log.is_grid);
  EXPECT_TRUE(log.heights_are_ellipsoidal);
  EXPECT_EQ(log.records[1].name, "b.jpg");
  EXPECT_EQ(log.records[1].x, -98.0898);
  EXPECT_EQ(log.records[1].y, 30.1711);
  EXPECT_EQ(log.records[1].height, 318.9);
  EXPECT_EQ(log.records[0].time->seconds, 1413724851.25);
  EXPECT_EQ(log.records[0].attitude, (interchange::NavigationAngles{10, -2, 3}));
  EXPECT_EQ(log.records[1].line, 3U);
}

TEST_F(Logs, WithSemicolonsMayHaveDecimalCommas) {
  const PositionLog log = Read(
      "Punkt;Breite;Laenge;Hoehe\r\n"
      "7;41 02 04,8N;83 18 20,6W;313,98\r\n",
      "index=Punkt,lat=Breite,lon=Laenge,height=Hoehe");
  ASSERT_EQ(log.records.size(), 1U);
  EXPECT_EQ(log.records[0].index, 7);
  EXPECT_NEAR(log.records[0].y, kDms, 1e-12);
  EXPECT_NEAR(log.records[0].x, -(83.0 + 18.0 / 60 + 20.6 / 3600), 1e-12);
  EXPECT_EQ(log.records[0].height, 313.98);
}

TEST_F(Logs, WithoutNamesTakeColumnsByNumber) {
  const PositionLog log =
      Read("a.jpg 448000.5 3500000.25 12\nb.jpg 448010.5 3500000.25 13\n", "name=1,x=2,y=3,height=4");
  ASSERT_EQ(log.records.size(), 2U);
  EXPECT_TRUE(log.is_grid);
  EXPECT_EQ(log.records[0].x, 448000.5);
  EXPECT_EQ(log.records[1].height, 13.0);
}

TEST_F(Logs, OfFlightControllersAsTables) {
  const PositionLog log = Read(
      "timestamp,timestamp_utc,seq,lat,lon,alt,ground_distance,q[0],q[1],q[2],q[3],result\n"
      "1000000,1413724851250000,1,47.1,8.5,500.5,50,1,0,0,0,1\n"
      "3000000,1413724853250000,2,47.2,8.5,500.5,50,1,0,0,0,0\n"
      "5000000,1413724855250000,3,47.3,8.5,500.5,50,1,0,0,0,-1\n");
  ASSERT_EQ(log.records.size(), 2U) << "the second exposure failed";
  EXPECT_EQ(log.records[0].index, 1);
  EXPECT_EQ(log.records[1].index, 3);
  EXPECT_NEAR(log.records[0].time->seconds, 1413724851.25, 1e-6);
  EXPECT_FALSE(log.records[0].attitude);
}

TEST_F(Logs, OfDataFlashNameTheirOwnColumns) {
  const PositionLog log = Read(
      "FMT, 128, 89, FMT, BBnNZ, Type,Length,Name,Format,Columns\n"
      "FMT, 181, 43, CAM, QBHIHLLeeefff, TimeUS,I,Img,GPSTime,GPSWeek,Lat,Lng,Alt,RelAlt,GPSAlt,R,P,Y\n"
      "GPS, 1, 2, 3\n"
      "TRIG, 1, 0, 1, 48051000, 1815, 30.0, -98.0, 317.3, 50, 317, 1, 2, 3\n"
      "CAM, 100, 0, 12, 48067000, 1815, 30.1712, -98.0899, 317.3, 50.1, 317.9, 1.5, -2.5, 124\n"
      "CAM, 200, 0, 13, 48069000, 1815, 0, 0, 0, 0, 0, 0, 0, 0\n");
  ASSERT_EQ(log.records.size(), 1U) << "the second has no position";
  EXPECT_EQ(log.records[0].index, 12);
  EXPECT_EQ(log.records[0].x, -98.0899);
  EXPECT_EQ(log.records[0].height, 317.3);
  EXPECT_EQ(log.records[0].time, (interchange::DateTime{1413724851.0, true}));
  EXPECT_EQ(log.records[0].attitude, (interchange::NavigationAngles{124, -2.5, 1.5}));
}

TEST_F(Logs, OfOlderDataFlashToo) {
  const PositionLog log = Read(
      "FMT, 181, 43, CAM, QIHLLeeccC, TimeUS,GPSTime,GPSWeek,Lat,Lng,Alt,RelAlt,Roll,Pitch,Yaw\n"
      "CAM, 100, 48067000, 1815, 30.1712, -98.0899, 317.3, 50.1, 1.5, -2.5, 124\n");
  ASSERT_EQ(log.records.size(), 1U);
  EXPECT_FALSE(log.records[0].index);
  EXPECT_EQ(log.records[0].attitude, (interchange::NavigationAngles{124, -2.5, 1.5}));
}

TEST_F(Logs, SayWhatIsWrongAndWhere) {
  EXPECT_THAT(Problem(""), HasSubstr("has no lines"));
  EXPECT_THAT(Problem("a,b\n1,2\n"), HasSubstr("no columns of longitude and latitude"));
  EXPECT_THAT(Problem("lat,lon\n"), HasSubstr("has no positions"));
  EXPECT_THAT(Problem("lat,lon\n41,8\nnorth,8\n"), HasSubstr("line 3: lat is 'north', which is no angle"));
  EXPECT_THAT(Problem("lat,lon\n91,8\n"), HasSubstr("line 2: lat is '91'"));
  EXPECT_THAT(Problem("lat,lon,alt\n41,8,high\n"), HasSubstr("line 2: height is 'high'"));
  EXPECT_THAT(Problem("lat,lon,time\n41,8,noon\n"), HasSubstr("'noon' is no time"));
  EXPECT_THAT(Problem("lat,lon\n41,8\n", "lon=Nowhere"), HasSubstr("there is no column 'Nowhere'"));
  EXPECT_THAT(Problem("lat,lon\n41,8\n", "colour=1"), HasSubstr("--columns has no 'colour'"));
  EXPECT_THAT(Problem("lat,lon\n41,8\n", "lon"), HasSubstr("which has no '='"));
  EXPECT_THAT(Problem("FMT, 1, 2, CAM, Q, TimeUS\nCAM, 5\n"), HasSubstr("line 2: has no Lat and Lng"));
}

TEST_F(Logs, PassOverRowsWithoutPosition) {
  const PositionLog log = Read("name,lat,lon\na,41,8\nb,,\n\n# a remark\nc,42,8\n");
  EXPECT_EQ(log.records.size(), 2U);
  ASSERT_EQ(log.notes.size(), 1U);
  EXPECT_THAT(log.notes[0], HasSubstr("line 3"));
}

}  // namespace
