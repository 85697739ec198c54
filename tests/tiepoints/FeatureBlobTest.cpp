#include <gmock/gmock.h>

#include "BlobTest.h"

namespace {

using qvprj::QvProject;
using support::ByteString;
using ::testing::IsEmpty;
using Features = QvProject::Features;

class FeatureBlobTest : public BlobTest {
 protected:
  Features& Held() { return project_.GetFeatures(); }

  bool Write() { return project_.WriteFeatures(blobs_); }

  bool Read(const Bytes& blob) {
    blobs_.AddBlob(kFeatures, blob);
    return project_.ReadFeatures(blobs_);
  }
  bool Read(const ByteString& blob) { return Read(blob.Bytes()); }
};

TEST_F(FeatureBlobTest, OneImageWithThreePointsIs36BytesInThisOrder) {
  Held()[5] = {{1.5F, -2.5F}, {3.0F, 4.0F}, {0.1F, 6e9F}};
  ASSERT_TRUE(Write());
  EXPECT_EQ(Blob(kFeatures).size(), 36U);
  EXPECT_EQ(Blob(kFeatures), ByteString().I32(1, 5, 3).F32(1.5F, -2.5F, 3.0F, 4.0F, 0.1F, 6e9F).Bytes());
}

TEST_F(FeatureBlobTest, ImagesAreWrittenByAscendingId) {
  Held()[7] = {{7.0F, 0.0F}};
  Held()[-2] = {};
  Held()[300] = {};
  ASSERT_TRUE(Write());
  EXPECT_EQ(Blob(kFeatures), ByteString().I32(3, -2, 0, 7, 1).F32(7.0F, 0.0F).I32(300, 0).Bytes());
}

TEST_F(FeatureBlobTest, FeaturesOfUnknownImagesAreWritten) {
  Held()[1000] = {};
  ASSERT_TRUE(Write());
  EXPECT_EQ(Blob(kFeatures), ByteString().I32(1, 1000, 0).Bytes());
}

TEST_F(FeatureBlobTest, NoFeaturesAreNoBlobAtAll) {
  EXPECT_TRUE(Write());
  EXPECT_FALSE(HasBlob(kFeatures));
}

TEST_F(FeatureBlobTest, WritingAddsNoOtherBlobAndLeavesTheFeaturesAlone) {
  Held()[5] = {{1.0F, 2.0F}};
  ASSERT_TRUE(Write());
  EXPECT_FALSE(HasBlob(kTracks));
  EXPECT_FALSE(HasBlob(kMatches));
  EXPECT_EQ(Held(), (Features{{5, {{1.0F, 2.0F}}}}));
}

TEST_F(FeatureBlobTest, ReadsEveryRecord) {
  ASSERT_TRUE(Read(ByteString().I32(2, 7, 1).F32(1.5F, -2.5F).I32(5, 0)));
  EXPECT_EQ(Held(), (Features{{5, {}}, {7, {{1.5F, -2.5F}}}}));
}

TEST_F(FeatureBlobTest, ReadingReplacesTheFeatures) {
  Held()[2] = {{9.0F, 9.0F}};
  ASSERT_TRUE(Read(ByteString().I32(1, 7, 0)));
  EXPECT_EQ(Held(), (Features{{7, {}}}));
}

TEST_F(FeatureBlobTest, RecordsOfUnknownImagesAreLeftOut) {
  ASSERT_TRUE(Read(ByteString().I32(2, 3, 1).F32(1.0F, 2.0F).I32(7, 0)));
  EXPECT_EQ(Held(), (Features{{7, {}}}));
}

TEST_F(FeatureBlobTest, AnImagesPositionIsNotItsId) {
  ASSERT_TRUE(Read(ByteString().I32(2, 0, 0, 1, 0)));
  EXPECT_THAT(Held(), IsEmpty());
}

TEST_F(FeatureBlobTest, ALaterRecordOfAnImageReplacesTheEarlierOne) {
  ASSERT_TRUE(Read(ByteString().I32(2, 7, 2).F32(1.0F, 2.0F, 3.0F, 4.0F).I32(7, 1).F32(5.0F, 6.0F)));
  EXPECT_EQ(Held(), (Features{{7, {{5.0F, 6.0F}}}}));
}

TEST_F(FeatureBlobTest, AMissingBlobIsFalseAndLeavesNoFeatures) {
  Held()[7] = {{1.0F, 2.0F}};
  EXPECT_FALSE(project_.ReadFeatures(blobs_));
  EXPECT_THAT(Held(), IsEmpty());
}

TEST_F(FeatureBlobTest, NoImagesAreReadAsNoFeatures) {
  Held()[7] = {{1.0F, 2.0F}};
  EXPECT_TRUE(Read(ByteString().I32(0)));
  EXPECT_THAT(Held(), IsEmpty());
}

TEST_F(FeatureBlobTest, ANegativeNumberOfImagesIsReadAsNone) {
  EXPECT_TRUE(Read(ByteString().I32(-1, 7, 0)));
  EXPECT_THAT(Held(), IsEmpty());
}

TEST_F(FeatureBlobTest, BytesBehindTheLastRecordMeanNothing) {
  EXPECT_TRUE(Read(ByteString().I32(1, 7, 0, 5, 77)));
  EXPECT_EQ(Held(), (Features{{7, {}}}));
}

TEST_F(FeatureBlobTest, ANegativeCountKeepsItsRecordWithoutPointsAndEndsTheReading) {
  EXPECT_FALSE(Read(ByteString().I32(3, 2, 1).F32(1.0F, 2.0F).I32(5, -1, 7, 0)));
  EXPECT_EQ(Held(), (Features{{2, {{1.0F, 2.0F}}}, {5, {}}}));
}

TEST_F(FeatureBlobTest, RecordsOfUnknownImagesBeforeTheDamageAreKept) {
  EXPECT_FALSE(Read(ByteString().I32(2, 1000, 1).F32(1.0F, 2.0F).I32(5, -1)));
  EXPECT_EQ(Held(), (Features{{5, {}}, {1000, {{1.0F, 2.0F}}}}));
}

TEST_F(FeatureBlobTest, ACountPastTheEndKeepsTheWholeRecordsBeforeIt) {
  EXPECT_FALSE(Read(ByteString().I32(2, 2, 0, 5, 2).F32(1.0F, 2.0F, 3.0F)));
  EXPECT_EQ(Held(), (Features{{2, {}}}));
}

TEST_F(FeatureBlobTest, ADamagedRecordOfAnImageSeenBeforeLeavesTheWholeOne) {
  EXPECT_FALSE(Read(ByteString().I32(2, 5, 1).F32(1.0F, 2.0F).I32(5, 2).F32(3.0F)));
  EXPECT_EQ(Held(), (Features{{5, {{1.0F, 2.0F}}}}));
}

TEST_F(FeatureBlobTest, MoreRecordsCountedThanThereAreKeepsThoseThatAreThere) {
  EXPECT_FALSE(Read(ByteString().I32(2147483647, 2, 0, 5, 0)));
  EXPECT_EQ(Held(), (Features{{2, {}}, {5, {}}}));
}

TEST_F(FeatureBlobTest, CutAnywhereItKeepsTheWholeRecordsBeforeTheCut) {
  const ByteString whole =
      ByteString().I32(3, 2, 1).F32(1.0F, 2.0F).I32(5, 0, 7, 2).F32(3.0F, 4.0F, 5.0F, 6.0F);
  constexpr std::size_t kEndOfFirst = 4 + 8 + 8;
  constexpr std::size_t kEndOfSecond = kEndOfFirst + 8;
  for (std::size_t size = 0; size < whole.Bytes().size(); ++size) {
    Features expected;
    if (size >= kEndOfFirst) {
      expected[2] = {{1.0F, 2.0F}};
    }
    if (size >= kEndOfSecond) {
      expected[5] = {};
    }
    EXPECT_FALSE(Read(whole.Cut(size))) << size;
    EXPECT_EQ(Held(), expected) << size;
  }
  EXPECT_TRUE(Read(whole));
}

}  // namespace
