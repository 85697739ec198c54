#include "qvmath/GeoPrj.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <atomic>
#include <cstdlib>
#include <limits>
#include <thread>
#include <vector>

#include "Positions.h"

namespace qvmath_test {
namespace {

using qvfd::CoordinateInfo;
using qvfd::CoordinateInfoSet;
using qvmath::GeoPrj;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kMillimetre = 1e-3;

GeoPrj FromWGS84(const std::string& definition) {
  return {CoordinateInfoSet::GetWGS84(), System(definition)};
}

GeoPrj ToWGS84(const std::string& definition) {
  return {System(definition), CoordinateInfoSet::GetWGS84()};
}

void ExpectNear(const std::optional<Position>& actual, Position expected, double tolerance) {
  ASSERT_TRUE(actual);
  EXPECT_NEAR(actual->x, expected.x, tolerance);
  EXPECT_NEAR(actual->y, expected.y, tolerance);
}

TEST(GeoPrj, TakesRadiansAndGivesMetres) {
  GeoPrj converter = FromWGS84("EPSG:32632");
  ExpectNear(FromDegrees(converter, {9.0, 0.0}), {500000.0, 0.0}, 1e-6);
}

TEST(GeoPrj, TakesMetresAndGivesRadians) {
  GeoPrj converter = ToWGS84("EPSG:32632");
  ExpectNear(Convert(converter, {500000.0, 0.0}), {9.0 * kRadiansPerDegree, 0.0}, 1e-12);
}

TEST(GeoPrj, EastingComesFirstWhateverTheAuthoritySays) {
  // EPSG gives these their northing first.
  const std::vector<std::pair<const char*, double>> systems = {
      {"EPSG:4549", 120.0}, {"EPSG:31467", 9.0}, {"EPSG:3034", 10.0}, {"EPSG:2180", 19.0}};
  for (const auto& [definition, longitude] : systems) {
    GeoPrj converter = FromWGS84(definition);
    const auto west = FromDegrees(converter, {longitude, 50.0});
    const auto east = FromDegrees(converter, {longitude + 0.1, 50.0});
    ASSERT_TRUE(west && east) << definition;
    EXPECT_NEAR(east->x - west->x, 7170.0, 300.0) << definition;
    EXPECT_NEAR(east->y - west->y, 0.0, 100.0) << definition;
  }
}

TEST(GeoPrj, LongitudeComesFirstInEveryGeographicSystem) {
  for (const int code : {4326, 4490, 4610, 4258, 4269}) {
    GeoPrj converter(CoordinateInfoSet::GetWGS84(), Epsg(code));
    const auto radians = FromDegrees(converter, {10.0, 50.0});
    ASSERT_TRUE(radians) << code;
    EXPECT_NEAR(radians->x / kRadiansPerDegree, 10.0, 1e-3) << code;
    EXPECT_NEAR(radians->y / kRadiansPerDegree, 50.0, 1e-3) << code;
  }
}

TEST(GeoPrj, AGeographicSystemInGradsTakesAndGivesRadians) {
  // NTF (Paris): longitudes from the meridian of Paris, 2.5969213 grads east of Greenwich.
  GeoPrj forward = FromWGS84("EPSG:4807");
  const auto radians = FromDegrees(forward, {2.5969213 * 0.9 + 1.0, 48.0});
  ASSERT_TRUE(radians);
  EXPECT_NEAR(radians->x, 1.0 * kRadiansPerDegree, 2e-5);
  EXPECT_NEAR(radians->y, 48.0 * kRadiansPerDegree, 2e-5);
  GeoPrj backward = ToWGS84("EPSG:4807");
  ExpectNear(ToDegrees(backward, *radians), {2.5969213 * 0.9 + 1.0, 48.0}, 1e-7);
}

TEST(GeoPrj, ProjectedCoordinatesAreInTheUnitOfTheirSystem) {
  // California zone 1 in US survey feet against the same in metres.
  GeoPrj feet = FromWGS84("EPSG:2225");
  GeoPrj metres = FromWGS84("EPSG:26941");
  const auto inFeet = FromDegrees(feet, {-122.0, 40.0});
  const auto inMetres = FromDegrees(metres, {-122.0, 40.0});
  ASSERT_TRUE(inFeet && inMetres);
  EXPECT_NEAR(inFeet->x * 1200.0 / 3937.0, inMetres->x, kMillimetre);
  EXPECT_NEAR(inFeet->y * 1200.0 / 3937.0, inMetres->y, kMillimetre);
}

TEST(GeoPrj, ReadsACodeInAnyForm) {
  for (const char* const definition : {"EPSG:32650", "epsg:32650", "32650", "urn:ogc:def:crs:EPSG::32650"}) {
    GeoPrj converter = FromWGS84(definition);
    ExpectNear(FromDegrees(converter, {117.0, 30.0}), {500000.0, 3318785.352581}, kMillimetre);
  }
}

TEST(GeoPrj, ReadsAProjString) {
  for (const char* const definition :
       {"+proj=utm +zone=50 +datum=WGS84", "proj=utm zone=50 datum=WGS84",
        "+proj=utm +zone=50 +datum=WGS84 +units=m +no_defs +type=crs", "+proj=utm +zone=50 +ellps=WGS84"}) {
    GeoPrj converter = FromWGS84(definition);
    ExpectNear(FromDegrees(converter, {117.0, 30.0}), {500000.0, 3318785.352581}, kMillimetre);
  }
}

constexpr char kLocalGridWkt[] = R"(PROJCS["Site grid",
  GEOGCS["WGS 84", DATUM["WGS_1984", SPHEROID["WGS 84", 6378137, 298.257223563]],
    PRIMEM["Greenwich", 0], UNIT["degree", 0.0174532925199433]],
  PROJECTION["Transverse_Mercator"],
  PARAMETER["latitude_of_origin", 0], PARAMETER["central_meridian", 117],
  PARAMETER["scale_factor", 1], PARAMETER["false_easting", 20000], PARAMETER["false_northing", 0],
  UNIT["metre", 1]])";

TEST(GeoPrj, ReadsWkt) {
  GeoPrj converter = FromWGS84(kLocalGridWkt);
  GeoPrj known = FromWGS84("EPSG:4548");
  const auto onSite = FromDegrees(converter, {117.1, 30.0});
  const auto inZone = FromDegrees(known, {117.1, 30.0});
  ASSERT_TRUE(onSite && inZone);
  EXPECT_NEAR(onSite->x - 20000.0, inZone->x - 500000.0, kMillimetre);
  EXPECT_NEAR(onSite->y, inZone->y, kMillimetre);
}

constexpr char kCalibration[] =
    "+proj=pipeline +step +proj=utm +zone=32 +ellps=WGS84 +step +proj=affine +xoff=-499000 +yoff=-110000";

TEST(GeoPrj, APipelineIsASystemOfItsOwn) {
  GeoPrj forward = FromWGS84(kCalibration);
  const auto site = FromDegrees(forward, {9.0, 1.0});
  ExpectNear(site, {1000.0, 530.158802}, kMillimetre);
  GeoPrj backward = ToWGS84(kCalibration);
  ExpectNear(ToDegrees(backward, *site), {9.0, 1.0}, 1e-11);
}

TEST(GeoPrj, APipelineThatTakesDegreesGetsDegrees) {
  const std::string definition =
      "+proj=pipeline +step +proj=unitconvert +xy_in=deg +xy_out=rad +step +proj=utm +zone=32 +ellps=WGS84";
  GeoPrj forward = FromWGS84(definition);
  const auto place = FromDegrees(forward, {9.0, 1.0});
  ExpectNear(place, {500000.0, 110530.158802}, kMillimetre);
  GeoPrj backward = ToWGS84(definition);
  ExpectNear(ToDegrees(backward, *place), {9.0, 1.0}, 1e-11);
}

TEST(GeoPrj, APipelineMeetsOtherSystemsInWGS84) {
  for (const int code : {32632, 25832}) {
    GeoPrj toSite(Epsg(code), System(kCalibration));
    ExpectNear(Convert(toSite, {500000.0, 110530.158802}), {1000.0, 530.158802}, 0.01);
    GeoPrj fromSite(System(kCalibration), Epsg(code));
    ExpectNear(Convert(fromSite, {1000.0, 530.158802}), {500000.0, 110530.158802}, 0.01);
  }
}

TEST(GeoPrj, AnOperationWithoutAWayBackLeadsNowhere) {
  const std::string oneWay = "+proj=pipeline +step +proj=airy +lat_b=60 +ellps=sphere";
  EXPECT_FALSE(ToWGS84(oneWay).IsValid());
}

TEST(GeoPrj, OfACompoundSystemTheHorizontalPartCounts) {
  GeoPrj compound = FromWGS84("EPSG:7415");  // with heights
  GeoPrj horizontal = FromWGS84("EPSG:28992");
  const auto a = FromDegrees(compound, {5.0, 52.0});
  const auto b = FromDegrees(horizontal, {5.0, 52.0});
  ASSERT_TRUE(a && b);
  EXPECT_NEAR(a->x, b->x, 1.0);
  EXPECT_NEAR(a->y, b->y, 1.0);
}

TEST(GeoPrj, ConvertsBetweenTwoProjectedSystems) {
  GeoPrj converter(Epsg(32631), Epsg(32632));
  GeoPrj first = FromWGS84("EPSG:32631");
  GeoPrj second = FromWGS84("EPSG:32632");
  const auto from = FromDegrees(first, {6.0, 50.0});
  const auto to = FromDegrees(second, {6.0, 50.0});
  ASSERT_TRUE(from && to);
  ExpectNear(Convert(converter, *from), *to, 1e-6);
}

TEST(GeoPrj, TheSameSystemOnBothSidesChangesNothing) {
  for (const char* const definition : {"EPSG:4326", "EPSG:4549", "EPSG:25832"}) {
    GeoPrj converter(System(definition), System(definition));
    ASSERT_TRUE(converter.IsValid()) << definition;
    const Position p =
        std::string(definition) == "EPSG:4326" ? Position{0.1, 0.2} : Position{500000.0, 4000000.0};
    ExpectNear(Convert(converter, p), p, 1e-8);
  }
}

TEST(GeoPrj, CannotBuildTheDefaultLocalSystem) {
  GeoPrj to(CoordinateInfoSet::GetWGS84(), CoordinateInfo());
  GeoPrj from(CoordinateInfo(), CoordinateInfoSet::GetWGS84());
  GeoPrj both{CoordinateInfo(), CoordinateInfo()};
  for (GeoPrj* converter : {&to, &from, &both}) {
    EXPECT_FALSE(converter->IsValid());
    EXPECT_FALSE(Convert(*converter, {0.1, 0.2}));
  }
}

TEST(GeoPrj, CannotBuildWhatIsNoHorizontalSystem) {
  for (const char* const definition :
       {"nonsense", "WGS 84 / UTM zone 50N", "EPSG:", "EPSG:0", "EPSG:-1", "EPSG:999999", "EPSG:99999999999",
        "+proj=no", "PROJCS[", "{}", " ", "EPSG:5703" /* heights */, "EPSG:4978" /* geocentric */,
        "+proj=pipeline", "+proj=pipeline +step +proj=no"}) {
    EXPECT_FALSE(FromWGS84(definition).IsValid()) << definition;
    EXPECT_FALSE(ToWGS84(definition).IsValid()) << definition;
  }
}

TEST(GeoPrj, RefusesWhatIsNoPlaceOnTheGlobe) {
  for (const char* const definition : {"EPSG:32650", "EPSG:4549", "EPSG:4490", "EPSG:25832", "EPSG:4258"}) {
    GeoPrj converter = FromWGS84(definition);
    for (const Position p :
         {Position{10.0, 91.0}, Position{10.0, -90.5}, Position{1e6, 10.0}, Position{kNaN, 10.0},
          Position{10.0, kNaN}, Position{kInfinity, 10.0}, Position{10.0, -kInfinity}}) {
      EXPECT_FALSE(FromDegrees(converter, p)) << definition << " " << p;
    }
    EXPECT_TRUE(FromDegrees(converter, {117.0, 50.0}))
        << definition << ": a refused position must not spoil the next";
  }
}

TEST(GeoPrj, RefusesProjectedCoordinatesFarOutside) {
  for (const char* const definition : {"EPSG:32650", "EPSG:4549", "EPSG:25832"}) {
    GeoPrj converter = ToWGS84(definition);
    for (const Position p : {Position{1e12, 0.0}, Position{kNaN, 0.0}, Position{0.0, kInfinity}}) {
      EXPECT_FALSE(Convert(converter, p)) << definition << " " << p;
    }
    EXPECT_TRUE(Convert(converter, {500000.0, 5000000.0})) << definition;
  }
}

TEST(GeoPrj, RefusesWhereAProjectionIsNotDefined) {
  // A quarter of the globe away from the central meridian the transverse Mercator projection goes to
  // infinity.
  GeoPrj converter = FromWGS84("EPSG:32650");
  EXPECT_FALSE(FromDegrees(converter, {27.0, 0.0}));
  EXPECT_TRUE(FromDegrees(converter, {117.0, 0.0}));
}

TEST(GeoPrj, AFailureLeavesTheOutputAlone) {
  GeoPrj converter = FromWGS84("EPSG:32650");
  double in[2] = {2.0, 1.6};
  double out[2] = {-1.0, -2.0};
  EXPECT_FALSE(converter.Transform(in, out));
  EXPECT_EQ(out[0], -1.0);
  EXPECT_EQ(out[1], -2.0);
}

TEST(GeoPrj, InputAndOutputMayBeTheSame) {
  GeoPrj converter = FromWGS84("EPSG:32632");
  double pair[2] = {9.0 * kRadiansPerDegree, 0.0};
  ASSERT_TRUE(converter.Transform(pair, pair));
  EXPECT_NEAR(pair[0], 500000.0, 1e-6);
  EXPECT_NEAR(pair[1], 0.0, 1e-6);
}

TEST(GeoPrj, LeavesTheInputAlone) {
  GeoPrj converter = FromWGS84("EPSG:32632");
  double in[2] = {0.15, 0.5};
  double out[2] = {0.0, 0.0};
  ASSERT_TRUE(converter.Transform(in, out));
  EXPECT_EQ(in[0], 0.15);
  EXPECT_EQ(in[1], 0.5);
}

TEST(GeoPrj, CanBeMoved) {
  GeoPrj first = FromWGS84("EPSG:32632");
  GeoPrj second = std::move(first);
  ExpectNear(FromDegrees(second, {9.0, 0.0}), {500000.0, 0.0}, 1e-6);
  second = FromWGS84("EPSG:25833");
  ExpectNear(FromDegrees(second, {15.0, 0.0}), {500000.0, 0.0}, 1e-3);
}

TEST(GeoPrj, ObjectsInThreadsDoNotDisturbEachOther) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([thread, &wrong] {
      for (int round = 0; round < 20; ++round) {
        const int zone = 1 + (thread * 20 + round) % 60;
        // Half of them through the database.
        GeoPrj converter =
            FromWGS84(thread % 2 == 0 ? "EPSG:" + std::to_string(32600 + zone)
                                      : "+proj=utm +datum=WGS84 +zone=" + std::to_string(zone));
        for (int i = 0; i < 50; ++i) {
          const auto place = FromDegrees(converter, {6.0 * zone - 183.0, i - 25.0});
          wrong += place && std::abs(place->x - 500000.0) < 1e-6 ? 0 : 1;
          wrong += FromDegrees(converter, {0.0, 95.0}) ? 1 : 0;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

#if !defined(_WIN32)
TEST(GeoPrj, PrintsNothingWithoutADatabase) {
  setenv("PROJ_DATA", "/nowhere", 1);
  setenv("PROJ_LIB", "/nowhere", 1);
  testing::internal::CaptureStderr();
  EXPECT_TRUE(FromWGS84("EPSG:32632").IsValid());
  EXPECT_FALSE(FromWGS84("EPSG:25832").IsValid());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  unsetenv("PROJ_DATA");
  unsetenv("PROJ_LIB");
}

TEST(GeoPrj, TouchesNoNetworkWhereTheEnvironmentAsksForIt) {
  // Whoever fetched a grid would have to knock here.
  const int door = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(door, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(door, 8), 0);
  ASSERT_EQ(getsockname(door, reinterpret_cast<sockaddr*>(&address), &size), 0);
  const std::string endpoint = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  setenv("PROJ_NETWORK", "ON", 1);
  setenv("PROJ_NETWORK_ENDPOINT", endpoint.c_str(), 1);
  {
    // The best operations of both need grids that are not installed.
    GeoPrj british = FromWGS84("EPSG:27700");
    EXPECT_TRUE(FromDegrees(british, {-1.0, 52.0}));
    GeoPrj dutch = FromWGS84("EPSG:28992");
    EXPECT_TRUE(FromDegrees(dutch, {5.0, 52.0}));
  }
  unsetenv("PROJ_NETWORK");
  unsetenv("PROJ_NETWORK_ENDPOINT");
  pollfd knock = {door, POLLIN, 0};
  EXPECT_EQ(poll(&knock, 1, 0), 0) << "somebody came for a grid";
  close(door);
}
#endif

}  // namespace
}  // namespace qvmath_test
