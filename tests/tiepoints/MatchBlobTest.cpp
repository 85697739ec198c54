#include <gmock/gmock.h>

#include "BlobTest.h"

namespace {

using qvprj::QvProject;
using support::ByteString;
using ::testing::IsEmpty;
using Matches = QvProject::Matches;

class MatchBlobTest : public BlobTest {
 protected:
  Matches& Held() { return project_.GetMatches(); }

  bool Write() { return project_.WriteMatches(blobs_); }

  bool Read(const Bytes& blob) {
    blobs_.AddBlob(kMatches, blob);
    return project_.ReadMatches(blobs_);
  }
  bool Read(const ByteString& blob) { return Read(blob.Bytes()); }
};

TEST_F(MatchBlobTest, OnePairWithTwoMatchesIs32BytesInThisOrder) {
  Held()[{2, 5}] = {{1, -2}, {70000, 4}};
  ASSERT_TRUE(Write());
  EXPECT_EQ(Blob(kMatches).size(), 4U + 12U + 16U);
  EXPECT_EQ(Blob(kMatches), ByteString().I32(1, 2, 5, 2, 1, -2, 70000, 4).Bytes());
}

TEST_F(MatchBlobTest, PairsAreWrittenByFirstThenSecondImage) {
  Held()[{5, 2}] = {};
  Held()[{2, 7}] = {};
  Held()[{2, 5}] = {};
  Held()[{-1, 9}] = {};
  ASSERT_TRUE(Write());
  ByteString expected = ByteString().I32(4);
  for (const auto& [left, right] : {std::pair(-1, 9), std::pair(2, 5), std::pair(2, 7), std::pair(5, 2)}) {
    expected.I32(left, right, 0);
  }
  EXPECT_EQ(Blob(kMatches), expected.Bytes());
}

TEST_F(MatchBlobTest, NoMatchesAreNoBlobAtAll) {
  EXPECT_TRUE(Write());
  EXPECT_FALSE(HasBlob(kMatches));
}

TEST_F(MatchBlobTest, WritingAddsNoOtherBlobAndLeavesTheMatchesAlone) {
  Held()[{2, 5}] = {{1, 2}};
  ASSERT_TRUE(Write());
  EXPECT_FALSE(HasBlob(kTracks));
  EXPECT_FALSE(HasBlob(kFeatures));
  EXPECT_EQ(Held(), (Matches{{{2, 5}, {{1, 2}}}}));
}

TEST_F(MatchBlobTest, ReadsEveryRecord) {
  ASSERT_TRUE(Read(ByteString().I32(2, 7, 5, 1, 3, -4, 2, 5, 0)));
  EXPECT_EQ(Held(), (Matches{{{2, 5}, {}}, {{7, 5}, {{3, -4}}}}));
}

TEST_F(MatchBlobTest, APairAndItsReverseAreTwoPairs) {
  ASSERT_TRUE(Read(ByteString().I32(2, 2, 5, 1, 1, 2, 5, 2, 1, 3, 4)));
  EXPECT_EQ(Held(), (Matches{{{2, 5}, {{1, 2}}}, {{5, 2}, {{3, 4}}}}));
}

TEST_F(MatchBlobTest, ReadingReplacesTheMatches) {
  Held()[{2, 5}] = {{9, 9}};
  ASSERT_TRUE(Read(ByteString().I32(1, 5, 7, 0)));
  EXPECT_EQ(Held(), (Matches{{{5, 7}, {}}}));
}

TEST_F(MatchBlobTest, PairsWithAnUnknownImageOnEitherSideAreLeftOut) {
  ASSERT_TRUE(Read(ByteString().I32(3, 2, 6, 0, 6, 2, 0, 2, 7, 1, 1, 2)));
  EXPECT_EQ(Held(), (Matches{{{2, 7}, {{1, 2}}}}));
}

TEST_F(MatchBlobTest, AnImagesPositionIsNotItsId) {
  ASSERT_TRUE(Read(ByteString().I32(1, 0, 1, 0)));
  EXPECT_THAT(Held(), IsEmpty());
}

TEST_F(MatchBlobTest, ALaterRecordOfAPairReplacesTheEarlierOne) {
  ASSERT_TRUE(Read(ByteString().I32(2, 2, 5, 2, 1, 2, 3, 4, 2, 5, 1, 5, 6)));
  EXPECT_EQ(Held(), (Matches{{{2, 5}, {{5, 6}}}}));
}

TEST_F(MatchBlobTest, AMissingBlobIsFalseAndLeavesNoMatches) {
  Held()[{2, 5}] = {{1, 2}};
  EXPECT_FALSE(project_.ReadMatches(blobs_));
  EXPECT_THAT(Held(), IsEmpty());
}

TEST_F(MatchBlobTest, NoPairsAreReadAsNoMatches) {
  Held()[{2, 5}] = {{1, 2}};
  EXPECT_TRUE(Read(ByteString().I32(0)));
  EXPECT_THAT(Held(), IsEmpty());
}

TEST_F(MatchBlobTest, ANegativeNumberOfPairsIsReadAsNone) {
  EXPECT_TRUE(Read(ByteString().I32(-2147483647, 2, 5, 0)));
  EXPECT_THAT(Held(), IsEmpty());
}

TEST_F(MatchBlobTest, ANegativeCountKeepsItsRecordWithoutMatchesAndEndsTheReading) {
  EXPECT_FALSE(Read(ByteString().I32(3, 2, 5, 1, 1, 2, 2, 7, -5, 5, 7, 0)));
  EXPECT_EQ(Held(), (Matches{{{2, 5}, {{1, 2}}}, {{2, 7}, {}}}));
}

TEST_F(MatchBlobTest, RecordsOfUnknownImagesBeforeTheDamageAreKept) {
  EXPECT_FALSE(Read(ByteString().I32(2, 2, 1000, 0, 2, 7, -1)));
  EXPECT_EQ(Held(), (Matches{{{2, 7}, {}}, {{2, 1000}, {}}}));
}

TEST_F(MatchBlobTest, ACountPastTheEndKeepsTheWholeRecordsBeforeIt) {
  EXPECT_FALSE(Read(ByteString().I32(2, 2, 5, 0, 2, 7, 2, 1, 2, 3)));
  EXPECT_EQ(Held(), (Matches{{{2, 5}, {}}}));
}

TEST_F(MatchBlobTest, ADamagedRecordOfAPairSeenBeforeLeavesTheWholeOne) {
  EXPECT_FALSE(Read(ByteString().I32(2, 2, 5, 1, 1, 2, 2, 5, 9, 3)));
  EXPECT_EQ(Held(), (Matches{{{2, 5}, {{1, 2}}}}));
}

TEST_F(MatchBlobTest, CutAnywhereItKeepsTheWholeRecordsBeforeTheCut) {
  const ByteString whole = ByteString().I32(3, 2, 5, 1, 1, 2, 2, 7, 0, 5, 7, 1, 3, 4);
  constexpr std::size_t kEndOfFirst = 4 + 12 + 8;
  constexpr std::size_t kEndOfSecond = kEndOfFirst + 12;
  for (std::size_t size = 0; size < whole.Bytes().size(); ++size) {
    Matches expected;
    if (size >= kEndOfFirst) {
      expected[{2, 5}] = {{1, 2}};
    }
    if (size >= kEndOfSecond) {
      expected[{2, 7}] = {};
    }
    EXPECT_FALSE(Read(whole.Cut(size))) << size;
    EXPECT_EQ(Held(), expected) << size;
  }
  EXPECT_TRUE(Read(whole));
}

}  // namespace
