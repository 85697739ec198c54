#include "qvfd/BlobFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "ContainerForge.h"
#include "qvfd/BinaryData.h"
#include "support/TestFiles.h"

namespace {

using qvfd::BlobFileReader;
using qvfd::BlobFileWriter;
using support::Bytes;

constexpr std::size_t kMoreThanAnyBuffer = std::size_t{3} << 20U;

/// Bytes that differ from place to place.
Bytes Pattern(std::size_t size, unsigned char first = 1) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<unsigned char>(first + i * 7 + i / 251);
  }
  return bytes;
}

class BlobFileTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string Path() const { return folder_.File("a.gb"); }

  void WriteForged(const forge::Container& container) { support::WriteBytes(Path(), container.File()); }

  /// All of a blob, or nothing.
  static Bytes Blob(BlobFileReader& file, int id) {
    Bytes bytes;
    EXPECT_TRUE(file.Begin(id));
    EXPECT_TRUE(file.ReadArray(file.Remaining(), bytes));
    return bytes;
  }

  support::TempFolder folder_;
};

TEST_F(BlobFileTest, WritesTheBytesThatTheContainerWrites) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{64}, kMoreThanAnyBuffer}) {
    qvfd::BinaryData data(7);
    data.AddBlob(0, Pattern(size));
    data.AddBlob(2, Pattern(100, 9));
    ASSERT_TRUE(data.Write(folder_.File("whole.gb")));
    ASSERT_TRUE(qvfd::WriteBlobFile(Path(), {.tag = 7}, [size](BlobFileWriter& file) {
      file.Begin(0);
      for (const unsigned char byte : Pattern(size)) {
        file.Write(byte);  // in the smallest pieces
      }
      file.Begin(2);
      file.WriteArray(Pattern(100, 9));
      return true;
    }));
    EXPECT_EQ(support::ReadBytes(Path()), support::ReadBytes(folder_.File("whole.gb"))) << size;
  }
}

TEST_F(BlobFileTest, WritesWhatTheFormatSays) {
  ASSERT_TRUE(qvfd::WriteBlobFile(Path(), {.tag = 3}, [](BlobFileWriter& file) {
    file.Begin(1);
    file.Write(std::int32_t{5});
    file.WriteArray(std::vector<double>{1.5, 2.5});
    file.Begin(4);
    return true;
  }));
  forge::Container expected;
  expected.tag = 3;
  Bytes blob;
  forge::Put(blob, std::int32_t{5});
  forge::Put(blob, 1.5);
  forge::Put(blob, 2.5);
  expected.Add(1, blob);
  expected.Add(4, {});
  EXPECT_EQ(support::ReadBytes(Path()), expected.File());
}

TEST_F(BlobFileTest, IdsHaveToAscend) {
  support::WriteText(Path(), "old");
  for (const int second : {1, 0}) {
    EXPECT_FALSE(qvfd::WriteBlobFile(Path(), {.tag = 1}, [second](BlobFileWriter& file) {
      file.Begin(1);
      file.Begin(second);
      return true;
    }));
  }
  EXPECT_EQ(support::ReadBytes(Path()), (Bytes{'o', 'l', 'd'}));
}

TEST_F(BlobFileTest, AWriterThatGivesUpLeavesTheOldFile) {
  support::WriteText(Path(), "old");
  EXPECT_FALSE(qvfd::WriteBlobFile(Path(), {.tag = 1}, [](BlobFileWriter& file) {
    file.Begin(1);
    file.WriteArray(Pattern(kMoreThanAnyBuffer));
    return false;
  }));
  EXPECT_EQ(support::ReadBytes(Path()), (Bytes{'o', 'l', 'd'}));
  EXPECT_EQ(folder_.Names(), (std::vector<std::string>{"a.gb"}));
}

TEST_F(BlobFileTest, ReadsBlobsInAnyOrder) {
  forge::Container container;
  container.tag = -4;
  container.Add(0, Pattern(1000));
  container.Add(1, Pattern(kMoreThanAnyBuffer, 3));
  container.Add(9, {});
  WriteForged(container);
  BlobFileReader file;
  ASSERT_TRUE(file.Open(Path()));
  EXPECT_EQ(file.Tag(), -4);
  EXPECT_EQ(file.Ids(), (std::vector<int>{0, 1, 9}));
  EXPECT_EQ(Blob(file, 1), Pattern(kMoreThanAnyBuffer, 3));
  EXPECT_EQ(Blob(file, 0), Pattern(1000));
  EXPECT_EQ(Blob(file, 9), Bytes{});
  EXPECT_TRUE(file.IsSound());
}

TEST_F(BlobFileTest, ReadsPiecesOfEverySize) {
  const Bytes blob = Pattern(kMoreThanAnyBuffer);
  forge::Container container;
  container.Add(5, blob);
  WriteForged(container);
  BlobFileReader file;
  ASSERT_TRUE(file.Open(Path()));
  ASSERT_TRUE(file.Begin(5));
  Bytes read;
  for (std::size_t size = 1; file.Remaining() > 0; size = size * 3 + 1) {
    const std::size_t before = file.Remaining();
    Bytes piece;
    unsigned char byte = 0;
    ASSERT_TRUE(file.Read(byte));
    read.push_back(byte);
    ASSERT_TRUE(file.ReadArray(std::min(size, file.Remaining()), piece));
    read.insert(read.end(), piece.begin(), piece.end());
    EXPECT_EQ(before - file.Remaining(), 1 + piece.size());
  }
  EXPECT_EQ(read, blob);
  EXPECT_TRUE(file.IsSound());
}

TEST_F(BlobFileTest, ReadsValuesThatLieAcrossTheEndOfABuffer) {
  // 28-byte records, as tracks have them: no buffer ends where a record does.
  struct Record {
    double x;
    std::int32_t n;
  };
  constexpr int kCount = 200'000;
  ASSERT_TRUE(qvfd::WriteBlobFile(Path(), {.tag = 1}, [](BlobFileWriter& file) {
    file.Begin(0);
    for (int i = 0; i < kCount; ++i) {
      file.Write(i * 0.5);
      file.Write(static_cast<std::int32_t>(i));
    }
    return true;
  }));
  BlobFileReader file;
  ASSERT_TRUE(file.Open(Path()) && file.Begin(0));
  for (int i = 0; i < kCount; ++i) {
    Record record{};
    ASSERT_TRUE(file.Read(record.x, record.n));
    ASSERT_EQ(record.x, i * 0.5);
    ASSERT_EQ(record.n, i);
  }
  EXPECT_EQ(file.Remaining(), 0U);
  EXPECT_TRUE(file.IsSound());
}

TEST_F(BlobFileTest, NeverReadsPastTheEndOfABlob) {
  forge::Container container;
  container.Add(0, Pattern(10));
  container.Add(1, Pattern(10, 9));
  WriteForged(container);
  BlobFileReader file;
  ASSERT_TRUE(file.Open(Path()) && file.Begin(0));
  std::vector<double> values;
  EXPECT_FALSE(file.ReadArray(2, values));
  EXPECT_FALSE(file.ReadArray(std::size_t{1} << 61U, values));
  double value = 0.0;
  EXPECT_TRUE(file.Read(value));
  EXPECT_FALSE(file.Read(value));
  EXPECT_EQ(file.Remaining(), 2U);
  std::int16_t last = 0;
  EXPECT_TRUE(file.Read(last));
  EXPECT_FALSE(file.Read(last));
  EXPECT_TRUE(file.IsSound());
}

TEST_F(BlobFileTest, ABlobIsReadOnce) {
  forge::Container container;
  container.Add(0, Pattern(10));
  WriteForged(container);
  BlobFileReader file;
  ASSERT_TRUE(file.Open(Path()));
  EXPECT_FALSE(file.Begin(1));
  EXPECT_TRUE(file.Begin(0));
  EXPECT_FALSE(file.Begin(0));
}

TEST_F(BlobFileTest, IsSoundTellsOneBlobFromAnother) {
  forge::Container container;
  container.Add(1, Pattern(kMoreThanAnyBuffer));
  container.Add(2, Pattern(100));
  Bytes bytes = container.File();
  bytes[container.entries[1].offset + 99] ^= 1U;
  support::WriteBytes(Path(), bytes);
  BlobFileReader file;
  EXPECT_FALSE(file.IsSound(1)) << "nothing is open";
  ASSERT_TRUE(file.Open(Path()));
  EXPECT_EQ(Blob(file, 1), Pattern(kMoreThanAnyBuffer));
  EXPECT_TRUE(file.IsSound(1));
  EXPECT_FALSE(file.IsSound(2));
  EXPECT_TRUE(file.IsSound(1)) << "asked again";
  EXPECT_FALSE(file.IsSound(3)) << "no such blob";
  EXPECT_FALSE(file.IsSound());
}

TEST_F(BlobFileTest, OpensWithoutAHeaderByTheDirectory) {
  for (const int blobs : {0, 1, 3}) {
    forge::Container container;
    for (int id = 0; id < blobs; ++id) {
      container.Add(id, Pattern(100, static_cast<unsigned char>(id)));
    }
    Bytes bytes = container.File();
    std::fill_n(bytes.begin(), forge::kHeaderSize, static_cast<unsigned char>(0xAA));
    support::WriteBytes(Path(), bytes);
    BlobFileReader file;
    EXPECT_FALSE(file.Open(Path()));
    ASSERT_TRUE(file.OpenWithoutHeader(Path())) << blobs;
    EXPECT_EQ(file.Ids().size(), static_cast<std::size_t>(blobs));
    EXPECT_EQ(file.Tag(), 0);
    for (int id = 0; id < blobs; ++id) {
      EXPECT_EQ(Blob(file, id), Pattern(100, static_cast<unsigned char>(id)));
    }
    EXPECT_TRUE(file.IsSound());
  }
}

TEST_F(BlobFileTest, DoesNotOpenWithoutADirectory) {
  forge::Container container;
  container.Add(0, Pattern(100));
  const Bytes sound = container.File();
  for (const std::size_t size : {std::size_t{0}, std::size_t{63}, std::size_t{164}, sound.size() - 1}) {
    support::WriteBytes(Path(), Bytes(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(size)));
    BlobFileReader file;
    EXPECT_FALSE(file.OpenWithoutHeader(Path())) << size;
  }
  Bytes changed = sound;
  changed[changed.size() - 20] ^= 1U;
  support::WriteBytes(Path(), changed);
  BlobFileReader file;
  EXPECT_FALSE(file.OpenWithoutHeader(Path()));
}

TEST_F(BlobFileTest, IsSoundReadsWhatNobodyHasRead) {
  forge::Container container;
  container.Add(0, Pattern(10));
  container.Add(1, Pattern(kMoreThanAnyBuffer));
  container.entries[1].check += 1;
  WriteForged(container);
  BlobFileReader untouched;
  ASSERT_TRUE(untouched.Open(Path()));
  EXPECT_FALSE(untouched.IsSound());
  BlobFileReader begun;
  ASSERT_TRUE(begun.Open(Path()) && begun.Begin(1));
  unsigned char byte = 0;
  EXPECT_TRUE(begun.Read(byte));
  EXPECT_FALSE(begun.IsSound());
  BlobFileReader other;
  ASSERT_TRUE(other.Open(Path()));
  EXPECT_EQ(Blob(other, 0), Pattern(10));
  EXPECT_FALSE(other.IsSound()) << "damage anywhere counts";
}

TEST_F(BlobFileTest, AFileThatShrinksMeanwhileIsNotSound) {
  forge::Container container;
  container.Add(0, Pattern(kMoreThanAnyBuffer));
  WriteForged(container);
  BlobFileReader file;
  ASSERT_TRUE(file.Open(Path()) && file.Begin(0));
  std::filesystem::resize_file(Path(), 1000);
  Bytes bytes;
  EXPECT_FALSE(file.ReadArray(kMoreThanAnyBuffer, bytes));
  EXPECT_FALSE(file.IsSound());
}

TEST_F(BlobFileTest, OfAFileThatIsNoContainerThereIsNothing) {
  support::WriteText(Path(), "no container");
  BlobFileReader file;
  EXPECT_FALSE(file.Open(Path()));
  EXPECT_FALSE(file.Open(folder_.File("missing")));
  EXPECT_FALSE(file.Open(folder_.Path().string()));
  EXPECT_FALSE(file.Open(""));
  EXPECT_FALSE(file.Begin(0));
  EXPECT_TRUE(file.Ids().empty());
  EXPECT_EQ(file.Remaining(), 0U);
  EXPECT_FALSE(file.IsSound());
}

}  // namespace
