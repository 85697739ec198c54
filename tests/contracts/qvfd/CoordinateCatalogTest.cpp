#include "qvfd/CoordinateCatalog.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace qvfd {
void PrintTo(const CatalogEntry& entry, std::ostream* out) {
  *out << entry.id << " " << entry.name;
}
}  // namespace qvfd

namespace {

using qvfd::CatalogEntry;
using qvfd::FindCoordinates;
using qvfd::FindCoordinatesFor;
using qvfd::GeographicArea;
using testing::Contains;
using testing::Each;
using testing::Field;
using testing::HasSubstr;
using testing::Not;

std::vector<CatalogEntry> Search(const std::string& text) {
  std::vector<CatalogEntry> entries;
  EXPECT_TRUE(FindCoordinates(text, entries));
  return entries;
}

std::vector<CatalogEntry> SearchFor(const GeographicArea& area) {
  std::vector<CatalogEntry> entries;
  EXPECT_TRUE(FindCoordinatesFor(area, entries));
  return entries;
}

auto HasId(int id) {
  return Field(&CatalogEntry::id, id);
}

TEST(FindCoordinates, FindsByTheWordsOfAName) {
  const auto entries = Search("cgcs2000 3-DEGREE 120e");
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].id, 4549);
  EXPECT_EQ(entries[0].name, "CGCS2000 / 3-degree Gauss-Kruger CM 120E");
  EXPECT_FALSE(entries[0].geographic);
  EXPECT_FALSE(entries[0].utm);
  EXPECT_THAT(entries[0].area_name, HasSubstr("China"));
  EXPECT_NEAR(entries[0].area.west, 118.5, 0.1);
  EXPECT_NEAR(entries[0].area.east, 121.5, 0.1);
}

TEST(FindCoordinates, FindsByTheArea) {
  EXPECT_THAT(Search("luxembourg"), Contains(HasId(2169)));
}

TEST(FindCoordinates, FindsByTheCode) {
  EXPECT_THAT(Search("4549"), Contains(HasId(4549)));
  const auto exact = Search("epsg:32650");
  ASSERT_EQ(exact.size(), 1U);
  EXPECT_EQ(exact[0].id, 32650);
  EXPECT_TRUE(exact[0].utm);
}

TEST(FindCoordinates, GoesByAllWords) {
  EXPECT_TRUE(Search("utm luxembourg nowhere").empty());
}

TEST(FindCoordinates, IsInOrderOfIdsAndWithoutDeprecatedSystems) {
  const auto entries = Search("");
  EXPECT_GT(entries.size(), 4000U);
  EXPECT_TRUE(std::is_sorted(entries.begin(), entries.end(),
                             [](const auto& a, const auto& b) { return a.id < b.id; }));
  EXPECT_THAT(entries, Not(Contains(HasId(2192))));  // deprecated
  EXPECT_THAT(entries, Not(Contains(HasId(4979))));  // three axes
  EXPECT_THAT(entries, Contains(HasId(4326)));
  EXPECT_TRUE(
      std::find_if(entries.begin(), entries.end(), [](const auto& e) { return e.id == 4326; })->geographic);
}

TEST(FindCoordinates, AppendsToWhatIsThere) {
  std::vector<CatalogEntry> entries(1);
  EXPECT_TRUE(FindCoordinates("epsg:32650", entries));
  EXPECT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].id, -1);
}

TEST(FindCoordinatesFor, BeginsWithTheUtmZone) {
  const auto entries = SearchFor({10.09, 48.37, 10.10, 48.38});
  ASSERT_FALSE(entries.empty());
  EXPECT_EQ(entries[0].id, 32632);
  EXPECT_TRUE(entries[0].utm);
  EXPECT_THAT(entries, Contains(HasId(25832)));
  EXPECT_THAT(entries, Contains(HasId(31467)));
  EXPECT_THAT(entries, Contains(HasId(4258)));
  EXPECT_THAT(entries, Not(Contains(HasId(27700))));
}

TEST(FindCoordinatesFor, GoesFromTheSmallestAreaToTheLargest) {
  const auto entries = SearchFor({117.0, 30.0, 117.1, 30.1});
  ASSERT_GT(entries.size(), 3U);
  EXPECT_EQ(entries[0].id, 32650);
  double last = 0.0;
  for (std::size_t i = 1; i < entries.size(); ++i) {
    const GeographicArea& area = entries[i].area;
    const double width = area.east >= area.west ? area.east - area.west : area.east - area.west + 360.0;
    const double size = width * (std::sin(area.north * 0.0174533) - std::sin(area.south * 0.0174533));
    EXPECT_GE(size, last * 0.999999) << entries[i].name;
    last = size;
  }
  EXPECT_THAT(entries, Contains(HasId(4548)));
  EXPECT_THAT(entries, Contains(HasId(2384)));
}

TEST(FindCoordinatesFor, TheWholeAreaHasToBeHeld) {
  // Over the border between two zones.
  EXPECT_THAT(SearchFor({11.9, 48.0, 12.1, 48.1}), Each(Field(&CatalogEntry::utm, false)));
}

TEST(FindCoordinatesFor, AnAreaMayCrossThe180thMeridian) {
  const auto entries = SearchFor({179.0, -18.0, -179.5, -17.0});
  EXPECT_THAT(entries, Contains(HasId(3460)));  // Fiji 1986 / Fiji Map Grid
  EXPECT_THAT(entries, Not(Contains(HasId(32632))));
}

TEST(FillUnits, TellsTheUnitOfEach) {
  std::vector<CatalogEntry> entries(4);
  entries[0].id = 32650;
  entries[1].id = 2225;
  entries[2].id = 4326;
  entries[3].id = 5703;
  qvfd::FillUnits(entries);
  EXPECT_EQ(entries[0].unit, "metre");
  EXPECT_EQ(entries[1].unit, "US survey foot");
  EXPECT_EQ(entries[2].unit, "degree");
  EXPECT_EQ(entries[3].unit, "");
}

#if !defined(_WIN32)
TEST(FillUnits, KnowsTheBuiltInSystemsWithoutADatabase) {
  setenv("PROJ_DATA", "/nowhere", 1);
  setenv("PROJ_LIB", "/nowhere", 1);
  std::vector<CatalogEntry> entries(2);
  entries[0].id = 4549;
  entries[1].id = 4490;
  qvfd::FillUnits(entries);
  EXPECT_EQ(entries[0].unit, "metre");
  EXPECT_EQ(entries[1].unit, "degree");
  unsetenv("PROJ_DATA");
  unsetenv("PROJ_LIB");
}

TEST(FindCoordinates, IsFalseWithoutADatabase) {
  setenv("PROJ_DATA", "/nowhere", 1);
  setenv("PROJ_LIB", "/nowhere", 1);
  std::vector<CatalogEntry> entries;
  EXPECT_FALSE(FindCoordinates("", entries));
  EXPECT_FALSE(FindCoordinatesFor({}, entries));
  EXPECT_TRUE(entries.empty());
  unsetenv("PROJ_DATA");
  unsetenv("PROJ_LIB");
}
#endif

}  // namespace
