#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "TableTest.h"
#include "support/ContractsLocale.h"
#include "support/ProjectBytes.h"

namespace {

using qvprj::QvProject;
using support::ByteString;
using support::kFeatureTable;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Points = std::vector<qvfd::Point2_T<float>>;

class FeatureTableTest : public TableTest {
 protected:
  static constexpr Operation kCreate = &QvProject::CreateFeatureTable;
  static constexpr Operation kWrite = &QvProject::WriteFeatures;
  static constexpr Operation kRead = &QvProject::ReadFeatures;

  QvProject::Features& Features() { return project_.GetFeatures(); }

  void AddImages(std::initializer_list<int> ids) {
    for (const int id : ids) {
      project_.GetImageInfoSet().AddImage(id, "", "", {}, 0, 0, true);
    }
  }

  /// A row whose blob holds the points (1, -1), (2, -2), and so on, then `tail` bytes of a point.
  static std::string FeatureRow(int image, const std::string& count, int points, int tail = 0) {
    ByteString bytes;
    for (int i = 1; i <= points; ++i) {
      bytes.F32(static_cast<float>(i), static_cast<float>(-i));
    }
    for (int i = 0; i < tail; i += 2) {
      bytes.U16(0x4040);
    }
    return "INSERT INTO data_feature VALUES(" + std::to_string(image) + ", " + count + ", " +
           bytes.Literal() + ");";
  }

  static Points PointsUpTo(int count) {
    Points points;
    for (int i = 1; i <= count; ++i) {
      points.push_back({static_cast<float>(i), static_cast<float>(-i)});
    }
    return points;
  }
};

TEST_F(FeatureTableTest, HasItsThreeColumns) {
  ASSERT_TRUE(InNewDatabase({kCreate}));
  EXPECT_THAT(support::Columns(Path(), "data_feature"),
              ElementsAre("image_id INTEGER", "feature_count INTEGER", "feature_data BLOB"));
}

TEST_F(FeatureTableTest, CannotBeCreatedTwice) {
  EXPECT_FALSE(InNewDatabase({kCreate, kCreate}));
}

TEST_F(FeatureTableTest, WritesThePointsAsLittleEndianFloats) {
  Features()[5] = {{1.5F, -2.0F}, {0.1F, 3e10F}};
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  const Row expected = {
      {"integer", "5"}, {"integer", "2"}, {"blob", ByteString().F32(1.5F, -2.0F, 0.1F, 3e10F).Text()}};
  EXPECT_THAT(Query("SELECT * FROM data_feature"), ElementsAre(expected));
}

TEST_F(FeatureTableTest, WritesImagesByAscendingId) {
  for (const int id : {9, -3, 100, 5}) {
    Features()[id].resize(1);
  }
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  std::vector<std::string> ids;
  for (const auto& row : Query("SELECT image_id FROM data_feature ORDER BY rowid")) {
    ids.push_back(row[0].text);
  }
  EXPECT_THAT(ids, ElementsAre("-3", "5", "9", "100"));
}

TEST_F(FeatureTableTest, WritesAnImageWithoutPointsAsAnEmptyBlob) {
  Features()[5] = {};
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  const Row expected = {{"integer", "5"}, {"integer", "0"}, {"blob", ""}};
  EXPECT_THAT(Query("SELECT * FROM data_feature"), ElementsAre(expected));
}

TEST_F(FeatureTableTest, NoFeaturesAreWrittenAsNoRows) {
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  EXPECT_EQ(QueryOne("SELECT count(*) FROM data_feature"), "0");
}

TEST_F(FeatureTableTest, WritingWithoutTheTableFails) {
  EXPECT_FALSE(InNewDatabase({kWrite}));
}

TEST_F(FeatureTableTest, AllRowsAreOneBatchHoweverManyThereAre) {
  constexpr int kImages = 100'001;
  for (int id = 0; id < kImages; ++id) {
    Features().emplace_hint(Features().end(), id, Points());
  }
  Execute(
      "CREATE TABLE data_feature(image_id INTEGER CHECK(image_id <> 100000), feature_count INTEGER,"
      " feature_data BLOB);");
  EXPECT_FALSE(InDatabase(kWrite));
  EXPECT_EQ(QueryOne("SELECT count(*) FROM data_feature"), "0");
}

TEST_F(FeatureTableTest, ReadsThePointsOfKnownImages) {
  AddImages({5, 6});
  Execute(kFeatureTable + FeatureRow(6, "1", 1) + FeatureRow(5, "3", 3));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Features(), (QvProject::Features{{5, PointsUpTo(3)}, {6, PointsUpTo(1)}}));
}

TEST_F(FeatureTableTest, RowsOfUnknownImagesAreNotRead) {
  AddImages({5});
  Execute(kFeatureTable + FeatureRow(6, "1", 1) + FeatureRow(5, "2", 2));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Features(), (QvProject::Features{{5, PointsUpTo(2)}}));
}

TEST_F(FeatureTableTest, AnImagesPositionIsNotItsId) {
  AddImages({10, 11, 12});
  Execute(kFeatureTable + FeatureRow(1, "1", 1));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_THAT(Features(), IsEmpty());
}

TEST_F(FeatureTableTest, RowsOfUnknownImagesOnlyAreStillASuccess) {
  Features()[7].resize(1);
  Execute(kFeatureTable + FeatureRow(6, "1", 1));
  EXPECT_TRUE(InDatabase(kRead));
  EXPECT_THAT(Features(), IsEmpty());
}

TEST_F(FeatureTableTest, ReadingReplacesAllFeatures) {
  AddImages({5, 7});
  Features()[7].resize(1);
  Execute(kFeatureTable + FeatureRow(5, "1", 1));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Features(), (QvProject::Features{{5, PointsUpTo(1)}}));
}

TEST_F(FeatureTableTest, ALaterRowOfAnImageReplacesTheEarlierOne) {
  AddImages({5});
  Execute(kFeatureTable + FeatureRow(5, "3", 3) + FeatureRow(5, "1", 1));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Features(), (QvProject::Features{{5, PointsUpTo(1)}}));
}

TEST_F(FeatureTableTest, ALaterShortRowOfAnImageReplacesTheEarlierOneToo) {
  AddImages({5});
  Execute(kFeatureTable + FeatureRow(5, "3", 3) + FeatureRow(5, "3", 2));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Features(), (QvProject::Features{{5, PointsUpTo(2)}}));
}

TEST_F(FeatureTableTest, AShortBlobGivesTheWholePointsThatAreThereAndReadingGoesOn) {
  AddImages({5, 6});
  Execute(kFeatureTable + FeatureRow(5, "3", 2, 6) + FeatureRow(6, "1", 1));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Features(), (QvProject::Features{{5, PointsUpTo(2)}, {6, PointsUpTo(1)}}));
}

TEST_F(FeatureTableTest, ALongBlobGivesAsManyPointsAsAreCounted) {
  AddImages({5});
  Execute(kFeatureTable + FeatureRow(5, "2", 4, 2));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Features(), (QvProject::Features{{5, PointsUpTo(2)}}));
}

/// Counts that no blob can have.
class FeatureCountTest : public FeatureTableTest,
                         public ::testing::WithParamInterface<std::pair<std::string, int>> {};

TEST_P(FeatureCountTest, GivesNoMorePointsThanTheBlobHolds) {
  AddImages({5, 6});
  Execute(kFeatureTable + FeatureRow(5, GetParam().first, 2) + FeatureRow(6, "1", 1));
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Features(), (QvProject::Features{{5, PointsUpTo(GetParam().second)}, {6, PointsUpTo(1)}}));
}

INSTANTIATE_TEST_SUITE_P(Counts, FeatureCountTest,
                         ::testing::Values(std::pair("-1", 0), std::pair("-2147483648", 0),   //
                                           std::pair("0", 0), std::pair("'junk'", 0),         //
                                           std::pair("NULL", 0), std::pair("2147483647", 2),  //
                                           std::pair("536870912", 2), std::pair("536870913", 2)));

TEST_F(FeatureTableTest, ANullBlobGivesAnImageWithoutPoints) {
  AddImages({5});
  Execute(kFeatureTable + "INSERT INTO data_feature VALUES(5, 3, NULL);");
  ASSERT_TRUE(InDatabase(kRead));
  EXPECT_EQ(Features(), (QvProject::Features{{5, {}}}));
}

TEST_F(FeatureTableTest, EveryBitPatternOfAFloatIsKept) {
  AddImages({5});
  const float nan = std::bit_cast<float>(0x7FA00001U);
  Features()[5] = {{nan, -0.0F}, {std::numeric_limits<float>::denorm_min(), -INFINITY}};
  ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
  ASSERT_TRUE(InDatabase(kRead));
  const Points& points = Features().at(5);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(points.at(0).x), 0x7FA00001U);
  EXPECT_TRUE(std::signbit(points.at(0).y));
  EXPECT_EQ(points.at(1), (qvfd::Point2_T<float>{std::numeric_limits<float>::denorm_min(), -INFINITY}));
}

TEST_F(FeatureTableTest, AHostsLocaleChangesNoNumber) {
  AddImages({12345});
  const Points points = PointsUpTo(4321);
  Features()[12345] = points;
  {
    const support::CommaStreams streams;
    ASSERT_TRUE(InNewDatabase({kCreate, kWrite}));
    ASSERT_TRUE(InDatabase(kRead));
  }
  EXPECT_EQ(Features(), (QvProject::Features{{12345, points}}));
  EXPECT_EQ(QueryOne("SELECT image_id || ' ' || feature_count FROM data_feature"), "12345 4321");
}

/// Databases that give no features at all, so that those of the track file are read.
class NoFeaturesTest : public FeatureTableTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(NoFeaturesTest, ReadingIsFalseAndLeavesNoFeatures) {
  AddImages({5});
  Features()[5].resize(1);
  Execute("CREATE TABLE other(x INTEGER);" + GetParam());
  EXPECT_FALSE(InDatabase(kRead));
  EXPECT_THAT(Features(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Databases, NoFeaturesTest,
    ::testing::Values("", kFeatureTable,
                      "CREATE TABLE data_feature(image_id INTEGER, feature_count INTEGER);"
                      "INSERT INTO data_feature VALUES(5, 0);",
                      "CREATE TABLE data_feature(image_id INTEGER, feature_count INTEGER, feature_data BLOB,"
                      " more TEXT); INSERT INTO data_feature VALUES(5, 0, X'', '');"));

TEST_F(FeatureTableTest, AClosedDatabaseIsFalseAndLeavesNoFeatures) {
  Features()[5].resize(1);
  EXPECT_FALSE(WithClosedDatabase(kRead));
  EXPECT_THAT(Features(), IsEmpty());
}

}  // namespace
