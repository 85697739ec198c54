// Conversions that others have published, both ways.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <vector>

#include "Positions.h"
#include "support/TestFiles.h"

namespace qvmath_test {
namespace {

using qvfd::CoordinateInfoSet;
using qvmath::GeoPrj;

struct Published {
  int code = 0;
  Position degrees;
  Position metres;
  std::string source;
  double tolerance = 0.0;  // metres
};

/// The fields of a line of comma-separated values, with quotes where a field has commas.
std::vector<std::string> FieldsOf(const std::string& line) {
  std::vector<std::string> fields(1);
  bool quoted = false;
  for (const char c : line) {
    if (c == '"') {
      quoted = !quoted;
    } else if (c == ',' && !quoted) {
      fields.emplace_back();
    } else if (c != '\r') {
      fields.back() += c;
    }
  }
  return fields;
}

std::vector<Published> ReadPublished() {
  std::ifstream file(*support::TestData() + "/geodesy-published.csv");
  std::string line;
  std::getline(file, line);
  EXPECT_EQ(line.substr(0, 12), "epsg,lon,lat");
  std::vector<Published> rows;
  while (std::getline(file, line)) {
    const std::vector<std::string> fields = FieldsOf(line);
    if (fields.size() != 7) {
      ADD_FAILURE() << line;
      continue;
    }
    rows.push_back({std::stoi(fields[0]),
                    {std::stod(fields[1]), std::stod(fields[2])},
                    {std::stod(fields[3]), std::stod(fields[4])},
                    fields[5],
                    std::stod(fields[6])});
  }
  return rows;
}

TEST(PublishedPositions, HoldBothWays) {
  QVPRJ_NEEDS_TEST_DATA();
  const std::vector<Published> rows = ReadPublished();
  EXPECT_GE(rows.size(), 80U);
  for (const Published& row : rows) {
    SCOPED_TRACE(row.source + ", EPSG " + std::to_string(row.code));
    GeoPrj there(CoordinateInfoSet::GetWGS84(), Epsg(row.code));
    const auto metres = FromDegrees(there, row.degrees);
    ASSERT_TRUE(metres) << row.degrees;
    EXPECT_NEAR(metres->x, row.metres.x, row.tolerance) << row.degrees;
    EXPECT_NEAR(metres->y, row.metres.y, row.tolerance) << row.degrees;

    GeoPrj back(Epsg(row.code), CoordinateInfoSet::GetWGS84());
    const auto degrees = ToDegrees(back, row.metres);
    ASSERT_TRUE(degrees) << row.metres;
    constexpr double kMetresPerDegree = 111'320.0;
    const double narrowing = std::cos(row.degrees.y * kRadiansPerDegree);
    EXPECT_NEAR(degrees->x * kMetresPerDegree * narrowing, row.degrees.x * kMetresPerDegree * narrowing,
                row.tolerance)
        << row.metres;
    EXPECT_NEAR(degrees->y * kMetresPerDegree, row.degrees.y * kMetresPerDegree, row.tolerance) << row.metres;
  }
}

}  // namespace
}  // namespace qvmath_test
