#include <gmock/gmock.h>

#include "BlobTest.h"

namespace {

using qvprj::QvProject;
using support::ByteString;
using ::testing::IsEmpty;
using Tracks = QvProject::Tracks;

class TrackBlobTest : public BlobTest {
 protected:
  Tracks& Held() { return project_.GetTracks(); }

  bool Write() { return project_.WriteTracks(blobs_); }

  bool Read(const Bytes& blob) {
    blobs_.AddBlob(kTracks, blob);
    return project_.ReadTracks(blobs_);
  }
  bool Read(const ByteString& blob) { return Read(blob.Bytes()); }

  /// A track record at (x, 2, 3) with `count` observations counted and one for each of `images`.
  static void AppendTrack(ByteString& bytes, double x, int count, std::initializer_list<int> images) {
    bytes.F64(x, 2.0, 3.0).I32(count);
    for (const int image : images) {
      bytes.I32(image).F32(0.5F, 1.5F);
    }
  }

  static qvfd::Track TrackIn(double x, std::initializer_list<int> images) {
    qvfd::Track track{x, 2.0, 3.0, {}};
    for (const int image : images) {
      track.observations.push_back({image, 0.5F, 1.5F});
    }
    return track;
  }
};

TEST_F(TrackBlobTest, OneTrackWithTwoObservationsIs56BytesInThisOrder) {
  Held() = {{1.5, -2.5, 1e300, {{2, 3.5F, 4.5F}, {7, -5.5F, 0.1F}}}};
  ASSERT_TRUE(Write());
  EXPECT_EQ(Blob(kTracks).size(), 56U);
  EXPECT_EQ(
      Blob(kTracks),
      ByteString().I32(1).F64(1.5, -2.5, 1e300).I32(2, 2).F32(3.5F, 4.5F).I32(7).F32(-5.5F, 0.1F).Bytes());
}

TEST_F(TrackBlobTest, TracksAreWrittenInTheirOrderWithOrWithoutObservations) {
  Held() = {TrackIn(9.0, {7, 2}), TrackIn(1.0, {}), TrackIn(5.0, {1000})};
  ASSERT_TRUE(Write());
  ByteString expected = ByteString().I32(3);
  AppendTrack(expected, 9.0, 2, {7, 2});
  AppendTrack(expected, 1.0, 0, {});
  AppendTrack(expected, 5.0, 1, {1000});
  EXPECT_EQ(Blob(kTracks), expected.Bytes());
}

TEST_F(TrackBlobTest, NoTracksAreNoBlobAtAll) {
  EXPECT_TRUE(Write());
  EXPECT_FALSE(HasBlob(kTracks));
}

TEST_F(TrackBlobTest, WritingAddsNoOtherBlobAndLeavesTheTracksAlone) {
  Held() = {TrackIn(1.0, {2})};
  ASSERT_TRUE(Write());
  EXPECT_FALSE(HasBlob(kFeatures));
  EXPECT_FALSE(HasBlob(kMatches));
  EXPECT_EQ(Held(), (Tracks{TrackIn(1.0, {2})}));
}

TEST_F(TrackBlobTest, ReadsEveryRecord) {
  ASSERT_TRUE(Read(ByteString().I32(1).F64(1.5, -2.5, 1e300).I32(1, 7).F32(-5.5F, 0.1F)));
  EXPECT_EQ(Held(), (Tracks{{1.5, -2.5, 1e300, {{7, -5.5F, 0.1F}}}}));
}

TEST_F(TrackBlobTest, ReadingReplacesTheTracks) {
  Held() = {TrackIn(9.0, {7})};
  ByteString bytes = ByteString().I32(1);
  AppendTrack(bytes, 1.0, 1, {2});
  ASSERT_TRUE(Read(bytes));
  EXPECT_EQ(Held(), (Tracks{TrackIn(1.0, {2})}));
}

TEST_F(TrackBlobTest, ObservationsInUnknownImagesAreDroppedAndTheOthersKeepTheirOrder) {
  ByteString bytes = ByteString().I32(1);
  AppendTrack(bytes, 1.0, 5, {7, 9, 2, 1000, 5});
  ASSERT_TRUE(Read(bytes));
  EXPECT_EQ(Held(), (Tracks{TrackIn(1.0, {7, 2, 5})}));
}

TEST_F(TrackBlobTest, TracksWithoutAKnownImageAreDropped) {
  ByteString bytes = ByteString().I32(3);
  AppendTrack(bytes, 1.0, 2, {9, 10});
  AppendTrack(bytes, 2.0, 1, {7});
  AppendTrack(bytes, 3.0, 0, {});
  ASSERT_TRUE(Read(bytes));
  EXPECT_EQ(Held(), (Tracks{TrackIn(2.0, {7})}));
}

TEST_F(TrackBlobTest, AnImagesPositionIsNotItsId) {
  ByteString bytes = ByteString().I32(1);
  AppendTrack(bytes, 1.0, 2, {0, 1});
  ASSERT_TRUE(Read(bytes));
  EXPECT_THAT(Held(), IsEmpty());
}

TEST_F(TrackBlobTest, TwoObservationsInOneImageAreBothKept) {
  ByteString bytes = ByteString().I32(1);
  AppendTrack(bytes, 1.0, 2, {7, 7});
  ASSERT_TRUE(Read(bytes));
  EXPECT_EQ(Held(), (Tracks{TrackIn(1.0, {7, 7})}));
}

TEST_F(TrackBlobTest, AMissingBlobIsFalseAndLeavesNoTracks) {
  Held() = {TrackIn(1.0, {2})};
  EXPECT_FALSE(project_.ReadTracks(blobs_));
  EXPECT_THAT(Held(), IsEmpty());
}

TEST_F(TrackBlobTest, NoTracksOrANegativeNumberOfThemIsReadAsNone) {
  for (const int count : {0, -1, -2147483647}) {
    Held() = {TrackIn(1.0, {2})};
    ByteString bytes = ByteString().I32(count);
    AppendTrack(bytes, 1.0, 1, {2});
    EXPECT_TRUE(Read(bytes)) << count;
    EXPECT_THAT(Held(), IsEmpty()) << count;
  }
}

TEST_F(TrackBlobTest, ATrackWithANegativeCountIsDroppedAndReadingGoesOn) {
  ByteString bytes = ByteString().I32(2);
  AppendTrack(bytes, 1.0, -1, {});
  AppendTrack(bytes, 2.0, 1, {7});
  EXPECT_TRUE(Read(bytes));
  EXPECT_EQ(Held(), (Tracks{TrackIn(2.0, {7})}));
}

TEST_F(TrackBlobTest, ACountPastTheEndKeepsTheWholeTracksBeforeIt) {
  ByteString bytes = ByteString().I32(2);
  AppendTrack(bytes, 1.0, 1, {7});
  AppendTrack(bytes, 2.0, 3, {7, 2});
  EXPECT_FALSE(Read(bytes));
  EXPECT_EQ(Held(), (Tracks{TrackIn(1.0, {7})}));
}

TEST_F(TrackBlobTest, CutAnywhereItKeepsTheWholeTracksBeforeTheCut) {
  ByteString whole = ByteString().I32(2);
  AppendTrack(whole, 1.0, 2, {7, 2});
  AppendTrack(whole, 2.0, 1, {5});
  constexpr std::size_t kEndOfFirst = 4 + 28 + 24;
  for (std::size_t size = 0; size < whole.Bytes().size(); ++size) {
    const Tracks expected = size < kEndOfFirst ? Tracks() : Tracks{TrackIn(1.0, {7, 2})};
    EXPECT_FALSE(Read(whole.Cut(size))) << size;
    EXPECT_EQ(Held(), expected) << size;
  }
  EXPECT_TRUE(Read(whole));
  EXPECT_EQ(Held().size(), 2U);
}

}  // namespace
