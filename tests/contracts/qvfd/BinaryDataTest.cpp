#include "qvfd/BinaryData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ContainerForge.h"
#include "support/ContractsProcess.h"
#include "support/TestFiles.h"

namespace {

using qvfd::BinaryData;
using support::Bytes;
using testing::ElementsAre;

Bytes Text(const std::string& text) {
  return {text.begin(), text.end()};
}

Bytes RandomBytes(std::size_t size, unsigned seed) {
  std::mt19937 random{seed};
  Bytes bytes(size);
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<unsigned char>(random()); });
  return bytes;
}

using Blobs = std::map<int, Bytes>;

class BinaryDataTest : public testing::Test {
 protected:
  std::string Path(const std::string& name = "survey.gb") const { return folder_.File(name); }

  static BinaryData Holding(const Blobs& blobs) {
    BinaryData data(1);
    for (const auto& [id, blob] : blobs) {
      data.AddBlob(id, blob);
    }
    return data;
  }

  void Save(const Blobs& blobs) const { ASSERT_TRUE(Holding(blobs).Write(Path())); }

  static Bytes BlobOf(const BinaryData& data, int id) {
    Bytes blob;
    EXPECT_TRUE(data.GetBlob(id, blob)) << "no blob " << id;
    return blob;
  }

  static bool Has(const BinaryData& data, int id) {
    Bytes blob;
    return data.GetBlob(id, blob);
  }

  void ExpectSavedAndRead(const Blobs& blobs) const {
    Save(blobs);
    BinaryData data(1);
    ASSERT_TRUE(data.Read(Path()));
    for (const auto& [id, blob] : blobs) {
      EXPECT_EQ(BlobOf(data, id), blob) << id;
    }
  }

  support::TempFolder folder_;
};

TEST_F(BinaryDataTest, StartsEmpty) {
  const BinaryData data(1);
  EXPECT_FALSE(Has(data, 0) || Has(data, 1) || Has(data, 2));
}

TEST_F(BinaryDataTest, GivesABlobUnderItsId) {
  const BinaryData data = Holding({{1, Text("features")}, {2, Text("matches")}});
  EXPECT_EQ(BlobOf(data, 1), Text("features"));
  EXPECT_EQ(BlobOf(data, 2), Text("matches"));
}

TEST_F(BinaryDataTest, KeepsACopyOfWhatItIsGiven) {
  Bytes blob = Text("before");
  BinaryData data(1);
  data.AddBlob(1, blob);
  std::fill(blob.begin(), blob.end(), '#');
  EXPECT_EQ(BlobOf(data, 1), Text("before"));
}

TEST_F(BinaryDataTest, TakesOverBytesThatAreGivenAway) {
  Bytes blob = RandomBytes(1000, 1);
  const Bytes expected = blob;
  const unsigned char* where = blob.data();
  BinaryData data(1);
  data.AddBlob(1, std::move(blob));
  std::span<const unsigned char> view;
  ASSERT_TRUE(data.ViewBlob(1, view));
  EXPECT_EQ(view.data(), where);
  EXPECT_EQ(BlobOf(data, 1), expected);
}

TEST_F(BinaryDataTest, ALaterBlobReplacesAnEarlierOne) {
  BinaryData data(1);
  data.AddBlob(1, Text("early and long"));
  data.AddBlob(1, Text("late"));
  EXPECT_EQ(BlobOf(data, 1), Text("late"));
}

TEST_F(BinaryDataTest, AMissingBlobLeavesTheOutputEmpty) {
  const BinaryData data = Holding({{1, Text("features")}});
  Bytes blob = Text("left over");
  EXPECT_FALSE(data.GetBlob(7, blob));
  EXPECT_TRUE(blob.empty());
}

TEST_F(BinaryDataTest, GetBlobReplacesTheOutput) {
  const BinaryData data = Holding({{1, Text("new")}});
  Bytes blob = Text("left over and longer");
  ASSERT_TRUE(data.GetBlob(1, blob));
  EXPECT_EQ(blob, Text("new"));
}

TEST_F(BinaryDataTest, AnEmptyBlobIsPresent) {
  const BinaryData data = Holding({{1, {}}});
  EXPECT_EQ(BlobOf(data, 1), Bytes{});
}

TEST_F(BinaryDataTest, AViewShowsTheBytes) {
  const BinaryData data = Holding({{1, Text("features")}});
  std::span<const unsigned char> view;
  ASSERT_TRUE(data.ViewBlob(1, view));
  EXPECT_EQ(Bytes(view.begin(), view.end()), Text("features"));
}

TEST_F(BinaryDataTest, AViewOfNothingStaysAsItWas) {
  const BinaryData data(1);
  const Bytes before = Text("before");
  std::span<const unsigned char> view(before);
  EXPECT_FALSE(data.ViewBlob(1, view));
  EXPECT_EQ(view.data(), before.data());
  EXPECT_EQ(view.size(), before.size());
}

TEST_F(BinaryDataTest, BlobsComeBackByteForByte) {
  BinaryData data(1);
  data.AddBlob(1, RandomBytes(100000, 1));
  data.AddBlob(2, RandomBytes(333, 2));
  data.AddBlob(0, RandomBytes(64, 3));
  ASSERT_TRUE(data.Write(Path()));
  BinaryData read(1);
  ASSERT_TRUE(read.Read(Path()));
  EXPECT_EQ(BlobOf(read, 1), RandomBytes(100000, 1));
  EXPECT_EQ(BlobOf(read, 2), RandomBytes(333, 2));
  EXPECT_EQ(BlobOf(read, 0), RandomBytes(64, 3));
}

TEST_F(BinaryDataTest, BlobsOfEverySizeAroundABlockComeBack) {
  Blobs blobs;
  for (int size = 0; size <= 130; ++size) {
    blobs[size] = RandomBytes(static_cast<std::size_t>(size), static_cast<unsigned>(size));
  }
  ExpectSavedAndRead(blobs);
}

TEST_F(BinaryDataTest, EmptyBlobsComeBack) {
  ExpectSavedAndRead({{0, {}}, {1, Text("between")}, {2, {}}});
}

TEST_F(BinaryDataTest, ExtremeIdsComeBack) {
  ExpectSavedAndRead({{std::numeric_limits<int>::min(), Text("a")},
                      {-1, Text("b")},
                      {0, Text("c")},
                      {std::numeric_limits<int>::max(), Text("d")}});
}

TEST_F(BinaryDataTest, LargeBlobsComeBack) {
  ExpectSavedAndRead({{0, RandomBytes(20'000'003, 5)}, {1, RandomBytes(1, 6)}});
}

TEST_F(BinaryDataTest, WritingLeavesTheContainerAsItWas) {
  const BinaryData data = Holding({{1, Text("features")}});
  ASSERT_TRUE(data.Write(Path("a")));
  ASSERT_TRUE(data.Write(Path("b")));
  EXPECT_EQ(BlobOf(data, 1), Text("features"));
  EXPECT_EQ(support::ReadBytes(Path("a")), support::ReadBytes(Path("b")));
}

TEST_F(BinaryDataTest, AnEmptyContainerIsAValidFile) {
  Save({});
  BinaryData data = Holding({{1, Text("left over")}});
  EXPECT_TRUE(data.Read(Path()));
  EXPECT_FALSE(Has(data, 0) || Has(data, 1) || Has(data, 2));
}

TEST_F(BinaryDataTest, ReadReplacesAllBlobs) {
  Save({{1, Text("from the file")}});
  BinaryData data = Holding({{1, Text("old")}, {7, Text("old")}});
  ASSERT_TRUE(data.Read(Path()));
  EXPECT_EQ(BlobOf(data, 1), Text("from the file"));
  EXPECT_FALSE(Has(data, 7));
}

TEST_F(BinaryDataTest, ReadOfAMissingFileLeavesNoBlobs) {
  BinaryData data = Holding({{0, Text("old")}, {1, Text("old")}, {2, Text("old")}});
  EXPECT_FALSE(data.Read(Path("none")));
  EXPECT_FALSE(Has(data, 0) || Has(data, 1) || Has(data, 2));
}

TEST_F(BinaryDataTest, ReadRefusesWhatIsNoFile) {
  std::filesystem::create_directory(Path("directory"));
  EXPECT_FALSE(BinaryData(1).Read(Path("directory")));
  EXPECT_FALSE(BinaryData(1).Read("/dev/null"));
  EXPECT_FALSE(BinaryData(1).Read("/dev/zero"));
  EXPECT_FALSE(BinaryData(1).Read(""));
}

TEST_F(BinaryDataTest, ReadDoesNotWaitAtAFifo) {
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0666), 0);
  EXPECT_EQ(support::InChild([&] { return BinaryData(1).Read(Path("fifo")); }), false);
}

TEST_F(BinaryDataTest, ReadFollowsALink) {
  Save({{1, Text("features")}});
  std::filesystem::create_symlink(Path(), Path("link"));
  BinaryData data(1);
  EXPECT_TRUE(data.Read(Path("link")));
  EXPECT_EQ(BlobOf(data, 1), Text("features"));
}

TEST_F(BinaryDataTest, TheTagIsNotCompared) {
  BinaryData written(12345);
  written.AddBlob(1, Text("features"));
  ASSERT_TRUE(written.Write(Path()));
  BinaryData data(-7);
  EXPECT_TRUE(data.Read(Path()));
  EXPECT_EQ(BlobOf(data, 1), Text("features"));
}

TEST_F(BinaryDataTest, WriteReplacesAFile) {
  Save({{1, RandomBytes(5000, 1)}, {2, Text("matches")}});
  Save({{1, Text("new")}});
  BinaryData data(1);
  ASSERT_TRUE(data.Read(Path()));
  EXPECT_EQ(BlobOf(data, 1), Text("new"));
  EXPECT_FALSE(Has(data, 2));
}

TEST_F(BinaryDataTest, WriteReplacesAFileOfAnotherKind) {
  support::WriteText(Path(), "no container at all");
  Save({{1, Text("new")}});
  EXPECT_TRUE(BinaryData(1).Read(Path()));
}

TEST_F(BinaryDataTest, WriteLeavesNothingBesideTheFile) {
  Save({{1, Text("old")}});
  Save({{1, Text("new")}});
  EXPECT_THAT(folder_.Names(), ElementsAre("survey.gb"));
}

TEST_F(BinaryDataTest, WriteRefusesAMissingFolder) {
  EXPECT_FALSE(Holding({{1, Text("a")}}).Write(Path("none/survey.gb")));
  EXPECT_FALSE(Holding({{1, Text("a")}}).Write(""));
  EXPECT_THAT(folder_.Names(), ElementsAre());
}

TEST_F(BinaryDataTest, WriteRefusesADirectory) {
  std::filesystem::create_directory(Path("empty"));
  EXPECT_FALSE(Holding({{1, Text("a")}}).Write(Path("empty")));
  EXPECT_TRUE(std::filesystem::is_directory(Path("empty")));
  EXPECT_THAT(folder_.Names(), ElementsAre("empty"));
}

TEST_F(BinaryDataTest, WriteRefusesAFifo) {
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0666), 0);
  EXPECT_EQ(support::InChild([&] { return Holding({{1, Text("a")}}).Write(Path("fifo")); }), false);
  EXPECT_TRUE(std::filesystem::is_fifo(Path("fifo")));
  EXPECT_THAT(folder_.Names(), ElementsAre("fifo"));
}

TEST_F(BinaryDataTest, WriteRefusesADevice) {
  if (mknod(Path("full").c_str(), S_IFCHR | 0666, makedev(1, 7)) != 0) {
    GTEST_SKIP() << "only the superuser can make a device";
  }
  EXPECT_FALSE(Holding({{1, Text("a")}}).Write(Path("full")));
  EXPECT_TRUE(std::filesystem::is_character_file(Path("full")));
  EXPECT_THAT(folder_.Names(), ElementsAre("full"));
}

TEST_F(BinaryDataTest, AFullDiskLeavesTheOldFileAndNothingElse) {
  Save({{1, Text("old")}});
  const Bytes before = support::ReadBytes(Path());
  const BinaryData large = Holding({{1, RandomBytes(100000, 1)}});
  EXPECT_EQ(support::OnFullDisk(50000, [&] { return large.Write(Path()); }), false);
  EXPECT_EQ(support::ReadBytes(Path()), before);
  EXPECT_THAT(folder_.Names(), ElementsAre("survey.gb"));
}

TEST_F(BinaryDataTest, ADiskThatIsFullAtTheVeryEndIsNoticed) {
  Save({{1, RandomBytes(1000, 1)}});
  const auto size = std::filesystem::file_size(Path());
  const BinaryData same = Holding({{1, RandomBytes(1000, 1)}});
  EXPECT_EQ(support::OnFullDisk(size - 1, [&] { return same.Write(Path("other")); }), false);
  EXPECT_EQ(support::OnFullDisk(size, [&] { return same.Write(Path("other")); }), true);
}

TEST_F(BinaryDataTest, AReadOnlyFolderKeepsTheOldFile) {
  Save({{1, Text("old")}});
  const Bytes before = support::ReadBytes(Path());
  const support::ReadOnlyFolder readOnly(folder_.Path());
  const BinaryData data = Holding({{1, Text("new")}});
  EXPECT_EQ(support::AsOrdinaryUser([&] { return data.Write(Path()); }), false);
  EXPECT_EQ(support::ReadBytes(Path()), before);
  EXPECT_THAT(folder_.Names(), ElementsAre("survey.gb"));
}

TEST_F(BinaryDataTest, PathsAreBytes) {
  const std::string name = "\xB1\xBE \xFF#?%41.gb";
  ASSERT_TRUE(Holding({{1, Text("a")}}).Write(Path(name)));
  EXPECT_THAT(folder_.Names(), ElementsAre(name));
  EXPECT_TRUE(BinaryData(1).Read(Path(name)));
}

TEST_F(BinaryDataTest, NamesMayBeAsLongAsTheSystemAllows) {
  const std::string name = std::string(252, 'n') + ".gb";
  EXPECT_TRUE(Holding({{1, Text("a")}}).Write(Path(name)));
  EXPECT_THAT(folder_.Names(), ElementsAre(name));
}

class ContainerLayout : public BinaryDataTest {
 protected:
  Bytes FileOf(const Blobs& blobs, int tag = 1) const {
    BinaryData data(tag);
    for (const auto& [id, blob] : blobs) {
      data.AddBlob(id, blob);
    }
    EXPECT_TRUE(data.Write(Path()));
    return support::ReadBytes(Path());
  }
};

TEST_F(ContainerLayout, HeaderSaysWhatTheFileIs) {
  const Bytes file = FileOf({{1, Text("a")}, {2, Text("b")}}, -5);
  ASSERT_GE(file.size(), forge::kHeaderSize);
  EXPECT_TRUE(std::equal(forge::kMagic.begin(), forge::kMagic.end(), file.begin()));
  EXPECT_EQ(forge::Get<std::uint32_t>(file, 8), 1U) << "version";
  EXPECT_EQ(forge::Get<std::int32_t>(file, 12), -5) << "tag";
  EXPECT_EQ(forge::Get<std::uint32_t>(file, 16), 2U) << "count";
  EXPECT_EQ(forge::Get<std::uint32_t>(file, 20), 0U);
  EXPECT_EQ(Bytes(file.begin() + 32, file.begin() + 56), Bytes(24, 0)) << "reserved";
}

TEST_F(ContainerLayout, HeaderHasACheckValue) {
  const Bytes file = FileOf({{1, Text("a")}});
  EXPECT_EQ(forge::Get<std::uint64_t>(file, 56), forge::Check(file.data(), 56));
}

TEST_F(ContainerLayout, DirectoryListsBlobsInAscendingOrder) {
  const auto entries = forge::EntriesOf(FileOf({{7, Text("c")}, {-2, Text("a")}, {0, Text("b")}}));
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].id, -2);
  EXPECT_EQ(entries[1].id, 0);
  EXPECT_EQ(entries[2].id, 7);
}

TEST_F(ContainerLayout, DirectorySaysWhereTheBytesAre) {
  const Blobs blobs{{0, RandomBytes(64, 1)}, {1, RandomBytes(65, 2)}, {2, {}}, {3, RandomBytes(1, 3)}};
  const Bytes file = FileOf(blobs);
  const auto entries = forge::EntriesOf(file);
  ASSERT_EQ(entries.size(), blobs.size());
  for (const forge::Entry& entry : entries) {
    const Bytes& blob = blobs.at(entry.id);
    ASSERT_EQ(entry.length, blob.size());
    EXPECT_TRUE(
        std::equal(blob.begin(), blob.end(), file.begin() + static_cast<std::ptrdiff_t>(entry.offset)));
    EXPECT_EQ(entry.check, forge::Check(blob));
  }
}

TEST_F(ContainerLayout, PayloadsStandAtTheNextMultipleOfABlock) {
  const auto entries =
      forge::EntriesOf(FileOf({{0, RandomBytes(64, 1)}, {1, RandomBytes(65, 2)}, {2, RandomBytes(1, 3)}}));
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].offset, 64U);
  EXPECT_EQ(entries[1].offset, 128U);
  EXPECT_EQ(entries[2].offset, 256U);
}

TEST_F(ContainerLayout, DirectoryStandsAtTheNextMultipleOfABlock) {
  EXPECT_EQ(forge::Get<std::uint64_t>(FileOf({}), 24), 64U);
  EXPECT_EQ(forge::Get<std::uint64_t>(FileOf({{1, RandomBytes(1, 1)}}), 24), 128U);
  EXPECT_EQ(forge::Get<std::uint64_t>(FileOf({{1, RandomBytes(64, 1)}}), 24), 128U);
  EXPECT_EQ(forge::Get<std::uint64_t>(FileOf({{1, RandomBytes(65, 1)}}), 24), 192U);
}

TEST_F(ContainerLayout, TheDirectorysCheckValueEndsTheFile) {
  const Bytes file = FileOf({{1, Text("a")}, {2, Text("b")}});
  const std::size_t directory = 64 + 2 * 64;
  ASSERT_EQ(file.size(), directory + 2 * forge::kEntrySize + 8);
  EXPECT_EQ(forge::Get<std::uint64_t>(file, directory + 2 * forge::kEntrySize),
            forge::Check(file.data() + directory, 2 * forge::kEntrySize));
}

TEST_F(ContainerLayout, IsByteForByteWhatIsDocumented) {
  forge::Container expected;
  expected.tag = 3;
  expected.Add(-1, Text("first"));
  expected.Add(4, {});
  expected.Add(5, RandomBytes(200, 1));
  EXPECT_EQ(FileOf({{5, RandomBytes(200, 1)}, {4, {}}, {-1, Text("first")}}, 3), expected.File());
}

TEST_F(ContainerLayout, AnEmptyContainerIsHeaderAndCheckValue) {
  EXPECT_EQ(FileOf({}), forge::Container().File());
  EXPECT_EQ(FileOf({}).size(), 72U);
}

}  // namespace
