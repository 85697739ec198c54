#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "ContainerForge.h"
#include "qvfd/BinaryData.h"
#include "support/TestFiles.h"

namespace {

using qvfd::BinaryData;
using support::Bytes;
using Blobs = std::map<int, Bytes>;

const Bytes kFirst(70, 'f');
const Bytes kSecond{'s', 'e', 'c', 'o', 'n', 'd'};

class DamagedContainer : public testing::Test {
 protected:
  static forge::Container Healthy() {
    forge::Container container;
    container.Add(1, kFirst);
    container.Add(2, kSecond);
    return container;
  }

  // What is read from a file of these bytes; nothing when it reads as no container.
  std::optional<Blobs> ReadFrom(const Bytes& file) const {
    support::WriteBytes(path_, file);
    BinaryData data(1);
    data.AddBlob(1, kSecond);
    const bool read = data.Read(path_);
    Blobs blobs;
    for (const int id : {0, 1, 2, 3}) {
      Bytes blob;
      if (data.GetBlob(id, blob)) {
        blobs[id] = blob;
      }
    }
    EXPECT_TRUE(read || blobs.empty()) << "a file that was refused left blobs";
    return read ? std::optional(blobs) : std::nullopt;
  }

  void ExpectRefused(const forge::Container& container) const {
    EXPECT_EQ(ReadFrom(container.File()), std::nullopt);
  }

  const Blobs healthy_blobs_{{1, kFirst}, {2, kSecond}};

 private:
  support::TempFolder folder_;
  std::string path_ = folder_.File("survey.gb");
};

// Shows that what the other tests spoil would be read if it were whole.
TEST_F(DamagedContainer, AHealthyOneIsRead) {
  EXPECT_EQ(ReadFrom(Healthy().File()), healthy_blobs_);
}

TEST_F(DamagedContainer, EveryFlippedByteIsNoticedOrHarmless) {
  const Bytes healthy = Healthy().File();
  for (std::size_t position = 0; position < healthy.size(); ++position) {
    for (const unsigned flip : {0x01U, 0x80U, 0xFFU}) {
      Bytes damaged = healthy;
      damaged[position] = static_cast<unsigned char>(damaged[position] ^ flip);
      const auto blobs = ReadFrom(damaged);
      ASSERT_TRUE(!blobs || *blobs == healthy_blobs_) << "byte " << position;
    }
  }
}

TEST_F(DamagedContainer, EveryFlippedByteOfHeaderPayloadAndDirectoryIsNoticed) {
  const Bytes healthy = Healthy().File();
  for (std::size_t position = 0; position < healthy.size(); ++position) {
    const bool padding = (position >= 134 && position < 192) || (position >= 198 && position < 256);
    Bytes damaged = healthy;
    damaged[position] = static_cast<unsigned char>(damaged[position] ^ 0x10);
    if (!padding) {
      ASSERT_EQ(ReadFrom(damaged), std::nullopt) << "byte " << position;
    }
  }
}

TEST_F(DamagedContainer, EveryTruncationIsNoticed) {
  const Bytes healthy = Healthy().File();
  for (std::size_t size = 0; size < healthy.size(); ++size) {
    const Bytes damaged(healthy.begin(), healthy.begin() + static_cast<std::ptrdiff_t>(size));
    ASSERT_EQ(ReadFrom(damaged), std::nullopt) << size << " bytes";
  }
}

TEST_F(DamagedContainer, EveryTruncationOfAnEmptyOneIsNoticed) {
  const Bytes healthy = forge::Container().File();
  for (std::size_t size = 0; size < healthy.size(); ++size) {
    const Bytes damaged(healthy.begin(), healthy.begin() + static_cast<std::ptrdiff_t>(size));
    ASSERT_EQ(ReadFrom(damaged), std::nullopt) << size << " bytes";
  }
}

TEST_F(DamagedContainer, BytesBehindTheEndAreNoticed) {
  for (const std::size_t extra : {1U, 8U, 32U, 64U, 1000U}) {
    Bytes damaged = Healthy().File();
    damaged.resize(damaged.size() + extra);
    EXPECT_EQ(ReadFrom(damaged), std::nullopt) << extra << " bytes more";
  }
}

TEST_F(DamagedContainer, TwoFilesOneBehindTheOtherAreNoContainer) {
  Bytes twice = Healthy().File();
  const Bytes once = twice;
  twice.insert(twice.end(), once.begin(), once.end());
  EXPECT_EQ(ReadFrom(twice), std::nullopt);
}

TEST_F(DamagedContainer, ReservedBytesMeanNothingYet) {
  forge::Container container = Healthy();
  container.reserved.assign(24, 0xAB);
  EXPECT_EQ(ReadFrom(container.File()), healthy_blobs_);
}

TEST_F(DamagedContainer, AnotherTagMeansNothing) {
  forge::Container container = Healthy();
  container.tag = -123456;
  EXPECT_EQ(ReadFrom(container.File()), healthy_blobs_);
}

TEST_F(DamagedContainer, AnotherMagicIsNoContainer) {
  forge::Container container = Healthy();
  container.magic[0] = 0x88;
  ExpectRefused(container);
}

TEST_F(DamagedContainer, AnUnknownVersionIsRefused) {
  for (const std::uint32_t version : {0U, 2U, 0x01000000U, 0xFFFFFFFFU}) {
    forge::Container container = Healthy();
    container.version = version;
    ExpectRefused(container);
  }
}

TEST_F(DamagedContainer, ARepeatedIdIsRefused) {
  forge::Container container;
  container.Add(1, kFirst);
  container.Add(1, kSecond);
  ExpectRefused(container);
}

TEST_F(DamagedContainer, AnIdRepeatedAtADistanceIsRefused) {
  forge::Container container;
  container.Add(1, kFirst);
  container.Add(2, kSecond);
  container.Add(1, kFirst);
  ExpectRefused(container);
}

TEST_F(DamagedContainer, TwoBlobsOfTheSameBytesAreRefused) {
  forge::Container container;
  container.Add(1, kFirst);
  container.entries.push_back(container.entries.front());
  container.entries.back().id = 2;
  ExpectRefused(container);
}

TEST_F(DamagedContainer, BlobsThatOverlapInPartAreRefused) {
  forge::Container container;
  container.Add(1, Bytes(128, 'x'));
  container.entries.push_back({2, 128, 64, forge::Check(Bytes(64, 'x'))});
  ExpectRefused(container);
}

TEST_F(DamagedContainer, ABlobInsideTheHeaderIsRefused) {
  forge::Container container = Healthy();
  container.entries[0] = {1, 0, 8, forge::Check(forge::kMagic)};
  ExpectRefused(container);
}

TEST_F(DamagedContainer, ABlobThatReachesIntoTheDirectoryIsRefused) {
  forge::Container container;
  container.Add(1, Bytes(64, 'x'));
  const Bytes directory = container.Directory();
  Bytes reaching(64, 'x');
  reaching.insert(reaching.end(), directory.begin(), directory.begin() + 4);
  container.entries[0] = {1, 64, reaching.size(), forge::Check(reaching)};
  ExpectRefused(container);
}

TEST_F(DamagedContainer, ABlobPastTheEndIsRefused) {
  for (const std::uint64_t offset :
       {std::uint64_t{512}, std::uint64_t{1} << 40U, std::uint64_t{1} << 63U, ~std::uint64_t{63}}) {
    forge::Container container = Healthy();
    container.entries[1].offset = offset;
    ExpectRefused(container);
  }
}

TEST_F(DamagedContainer, AnEmptyBlobPastTheEndIsRefused) {
  forge::Container container = Healthy();
  container.entries[1] = {2, 1 << 20, 0, forge::Check(Bytes{})};
  ExpectRefused(container);
}

TEST_F(DamagedContainer, ALengthPastTheEndIsRefused) {
  for (const std::uint64_t length :
       {std::uint64_t{10000}, std::uint64_t{1} << 32U, std::uint64_t{1} << 62U, ~std::uint64_t{0}}) {
    forge::Container container = Healthy();
    container.entries[1].length = length;
    ExpectRefused(container);
  }
}

TEST_F(DamagedContainer, OffsetAndLengthThatWrapAroundAreRefused) {
  forge::Container container = Healthy();
  container.entries[1] = {2, ~std::uint64_t{63}, 64 + 64 + 70, container.entries[1].check};
  ExpectRefused(container);
  container.entries[1] = {2, 192, ~std::uint64_t{0} - 100, container.entries[1].check};
  ExpectRefused(container);
}

TEST_F(DamagedContainer, MoreBlobsThanEntriesAreRefused) {
  for (const std::uint32_t count : {3U, 1000U, 0x08000000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    forge::Container container = Healthy();
    container.count = count;
    ExpectRefused(container);
  }
}

TEST_F(DamagedContainer, FewerBlobsThanEntriesAreRefused) {
  for (const std::uint32_t count : {0U, 1U}) {
    forge::Container container = Healthy();
    container.count = count;
    ExpectRefused(container);
  }
}

TEST_F(DamagedContainer, ADirectoryElsewhereIsRefused) {
  for (const std::uint64_t offset :
       {std::uint64_t{0}, std::uint64_t{64}, std::uint64_t{255}, std::uint64_t{257}, std::uint64_t{1} << 40U,
        ~std::uint64_t{0}, ~std::uint64_t{63}, ~std::uint64_t{71}}) {
    forge::Container container = Healthy();
    container.directory_offset = offset;
    ExpectRefused(container);
  }
}

TEST_F(DamagedContainer, AWrongCheckValueOfABlobIsNoticed) {
  forge::Container container = Healthy();
  container.entries[0].check ^= 1U;
  ExpectRefused(container);
}

TEST_F(DamagedContainer, AWrongCheckValueOfAnEmptyBlobIsNoticed) {
  forge::Container container;
  container.Add(1, {});
  container.entries[0].check ^= 1U;
  ExpectRefused(container);
}

TEST_F(DamagedContainer, OneDamagedBlobSpoilsAllOfThem) {
  forge::Container container = Healthy();
  container.payloads.back() ^= 1U;
  ExpectRefused(container);
}

TEST_F(DamagedContainer, OtherFilesAreNoContainers) {
  EXPECT_EQ(ReadFrom({}), std::nullopt);
  EXPECT_EQ(ReadFrom(Bytes(72, 0)), std::nullopt);
  EXPECT_EQ(ReadFrom(Bytes(100000, 0xFF)), std::nullopt);
  EXPECT_EQ(ReadFrom(forge::kMagic), std::nullopt);
}

}  // namespace
