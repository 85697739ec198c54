// Counts that claim gigabytes in blobs of a few bytes.

#include "BlobTest.h"
#include "support/ContractsFailingMemory.h"

namespace {

using support::ByteString;

constexpr int kHuge = 2147483647;
constexpr std::size_t kNothingMuch = 64 * 1024;

class HostileCountTest : public BlobTest {
 protected:
  /// The largest piece of memory that reading takes from a blob that must be refused.
  template <class Reader>
  std::size_t TakenByRefusing(int id, const ByteString& blob, Reader reader) {
    blobs_.AddBlob(id, blob.Bytes());
    const support::MemoryWatch watch;
    EXPECT_FALSE((project_.*reader)(blobs_));
    return watch.LargestPiece();
  }

  std::size_t TakenByFeatures(const ByteString& blob) {
    bool (qvprj::QvProject::*read)(qvfd::BinaryData&) = &qvprj::QvProject::ReadFeatures;
    return TakenByRefusing(kFeatures, blob, read);
  }
  std::size_t TakenByMatches(const ByteString& blob) {
    bool (qvprj::QvProject::*read)(qvfd::BinaryData&) = &qvprj::QvProject::ReadMatches;
    return TakenByRefusing(kMatches, blob, read);
  }
  std::size_t TakenByTracks(const ByteString& blob) {
    return TakenByRefusing(kTracks, blob, &qvprj::QvProject::ReadTracks);
  }
};

TEST_F(HostileCountTest, TheWatchSeesAllocationsOfTheLibrary) {
  project_.GetTracks().resize(10'000);
  const support::MemoryWatch watch;
  EXPECT_TRUE(project_.WriteTracks(blobs_));
  EXPECT_GE(watch.LargestPiece(), 280'000U);
}

TEST_F(HostileCountTest, AHugeNumberOfRecordsTakesNoMemory) {
  EXPECT_LT(TakenByFeatures(ByteString().I32(kHuge)), kNothingMuch);
  EXPECT_LT(TakenByMatches(ByteString().I32(kHuge)), kNothingMuch);
  EXPECT_LT(TakenByTracks(ByteString().I32(kHuge)), kNothingMuch);
}

TEST_F(HostileCountTest, AHugeCountInARecordTakesNoMemory) {
  EXPECT_LT(TakenByFeatures(ByteString().I32(1, 7, kHuge).F32(1.0F)), kNothingMuch);
  EXPECT_LT(TakenByMatches(ByteString().I32(1, 7, 5, kHuge, 1)), kNothingMuch);
  EXPECT_LT(TakenByTracks(ByteString().I32(1).F64(1.0, 2.0, 3.0).I32(kHuge, 7)), kNothingMuch);
}

TEST_F(HostileCountTest, ACountWhoseBytesWrapAroundIn32BitsTakesNoMemory) {
  // 8 n and 12 n are small numbers when they are cut to 32 bits.
  EXPECT_LT(TakenByFeatures(ByteString().I32(1, 7, 0x20000001).F32(1.0F, 2.0F)), kNothingMuch);
  EXPECT_LT(TakenByMatches(ByteString().I32(1, 7, 5, 0x20000001, 1, 2)), kNothingMuch);
  EXPECT_LT(TakenByTracks(ByteString().I32(1).F64(1.0, 2.0, 3.0).I32(0x40000001, 7).F32(1.0F, 2.0F)),
            kNothingMuch);
}

}  // namespace
