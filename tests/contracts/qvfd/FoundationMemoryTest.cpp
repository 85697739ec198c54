#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "ContainerForge.h"
#include "qvfd/qvfd.h"
#include "support/ContractsFailingMemory.h"
#include "support/TestFiles.h"

namespace {

using support::Bytes;
using support::FailingMemory;

// Runs `attempt` with memory for no allocation, then for one, and so on, until it gets all it asks for.
// `attempt` is given the number of allocations that may succeed and answers whether one has failed.
template <class Attempt>
void UntilMemorySuffices(Attempt attempt) {
  bool everStruck = false;
  for (long allowed = 0; attempt(allowed); ++allowed) {
    everStruck = true;
    ASSERT_LT(allowed, 100000);
    ASSERT_FALSE(testing::Test::HasFatalFailure());
  }
  EXPECT_TRUE(everStruck) << "no allocation was ever made to fail";
}

const std::string kLongName(100, 'n');

void Add(qvfd::ImageInfoSet& set, int id) {
  set.AddImage(id, kLongName, kLongName, qvfd::EOP{}, 1, 2, true);
}

TEST(MemoryRunsOut, AddImageLeavesTheSetAsItWas) {
  UntilMemorySuffices([](long allowed) {
    qvfd::ImageInfoSet set;
    for (int id = 0; id < 16; ++id) {
      Add(set, id);
    }
    bool threw = false;
    bool struck = false;
    {
      const FailingMemory memory(allowed);
      try {
        Add(set, 500);
      } catch (const std::bad_alloc&) {
        threw = true;
      }
      struck = memory.Struck();
    }
    EXPECT_EQ(set.Size(), threw ? 16 : 17);
    EXPECT_EQ(set.FindImage(500) == nullptr, threw);
    EXPECT_EQ(set.GetImageExt(16) == nullptr, threw);
    Add(set, 501);
    EXPECT_EQ(set.FindImage(501), set.GetImage(set.Size() - 1));
    EXPECT_EQ(set.FindImageExt(501), set.GetImageExt(set.Size() - 1));
    return struck;
  });
}

TEST(MemoryRunsOut, SettingAnIdLeavesTheIndexAsItWas) {
  UntilMemorySuffices([](long allowed) {
    qvfd::IdIndex index;
    bool threw = false;
    bool struck = false;
    int set = 0;
    {
      const FailingMemory memory(allowed);
      try {
        for (; set < 1000; ++set) {
          index.Set(set, set);
        }
      } catch (const std::bad_alloc&) {
        threw = true;
      }
      struck = memory.Struck();
    }
    for (int id = 0; id < 1000; ++id) {
      EXPECT_EQ(index.Find(id), id < set ? id : qvfd::IdIndex::kMissing);
    }
    EXPECT_EQ(threw, set < 1000);
    return struck;
  });
}

TEST(MemoryRunsOut, GetBlobIsFalseAndTheOutputEmpty) {
  qvfd::BinaryData data(1);
  data.AddBlob(1, Bytes(1000, 'x'));
  UntilMemorySuffices([&data](long allowed) {
    Bytes blob(3, 'o');
    const FailingMemory memory(allowed);
    const bool got = data.GetBlob(1, blob);
    EXPECT_EQ(got, !memory.Struck());
    EXPECT_EQ(blob.size(), got ? 1000U : 0U);
    return memory.Struck();
  });
}

TEST(MemoryRunsOut, ReadIsFalseAndLeavesNoBlobs) {
  const support::TempFolder folder;
  forge::Container container;
  container.Add(1, Bytes(1000, 'x'));
  container.Add(2, Bytes(100, 'y'));
  support::WriteBytes(folder.File("a.gb"), container.File());
  UntilMemorySuffices([&folder](long allowed) {
    qvfd::BinaryData data(1);
    data.AddBlob(7, Bytes(10, 'o'));
    std::string path = folder.File("a.gb");
    bool read = false;
    bool struck = false;
    {
      const FailingMemory memory(allowed);
      read = data.Read(std::move(path));
      struck = memory.Struck();
    }
    Bytes blob;
    EXPECT_TRUE(read || struck);
    EXPECT_EQ(data.GetBlob(1, blob), read);
    EXPECT_EQ(data.GetBlob(2, blob), read);
    EXPECT_FALSE(data.GetBlob(7, blob));
    return struck;
  });
}

TEST(MemoryRunsOut, WriteIsFalseAndLeavesTheOldFile) {
  const support::TempFolder folder;
  qvfd::BinaryData data(1);
  data.AddBlob(1, Bytes(1000, 'x'));
  UntilMemorySuffices([&](long allowed) {
    support::WriteText(folder.File("a.gb"), "old");
    std::string path = folder.File("a.gb");
    bool wrote = false;
    bool struck = false;
    {
      const FailingMemory memory(allowed);
      wrote = data.Write(std::move(path));
      struck = memory.Struck();
    }
    EXPECT_TRUE(wrote || struck);
    EXPECT_EQ(support::ReadBytes(folder.File("a.gb")).size() == 3, !wrote);
    EXPECT_EQ(folder.Names(), (std::vector<std::string>{"a.gb"}));
    return struck;
  });
}

TEST(MemoryRunsOut, FileQuestionsAreAnsweredWithFalse) {
  const support::TempFolder folder;
  support::WriteText(folder.File("here"), "text");
  for (long allowed = 0; allowed < 20; ++allowed) {
    std::string here = folder.File("here");
    std::string none = folder.File("none");
    const FailingMemory memory(allowed);
    const bool found = qvfd::PathHelper::IsFileExisted(std::move(here));
    const bool foundNone = qvfd::PathHelper::IsFileExisted(std::move(none));
    EXPECT_TRUE(found || memory.Struck());
    EXPECT_FALSE(foundNone);
  }
}

TEST(MemoryRunsOut, CopyingLeavesAWholeTarget) {
  const support::TempFolder folder;
  support::WriteText(folder.File("from"), std::string(5000, 'n'));
  for (long allowed = 0; allowed < 60; ++allowed) {
    support::WriteText(folder.File("to"), "old");
    std::string from = folder.File("from");
    std::string to = folder.File("to");
    {
      const FailingMemory memory(allowed);
      qvfd::PathHelper::CopyFile2(std::move(from), std::move(to));
    }
    const auto size = support::ReadBytes(folder.File("to")).size();
    EXPECT_TRUE(size == 3 || size == 5000) << size;
    EXPECT_EQ(folder.Names().size(), 2U);
  }
}

TEST(MemoryRunsOut, ListingFilesAddsAllOrNothing) {
  const support::TempFolder folder;
  for (int i = 10; i < 20; ++i) {
    support::WriteText(folder.File("a-name-that-fits-into-no-short-string-" + std::to_string(i)), "");
  }
  UntilMemorySuffices([&folder](long allowed) {
    std::vector<std::string> names{"before"};
    std::string directory = folder.Path().string();
    bool struck = false;
    {
      const FailingMemory memory(allowed);
      qvfd::PathHelper::GetFileNames(std::move(directory), names);
      struck = memory.Struck();
    }
    EXPECT_TRUE(names.size() == 1 || names.size() == 11) << names.size();
    EXPECT_EQ(names.front(), "before");
    return struck;
  });
}

TEST(HostileContainer, CountsAreCheckedBeforeMemoryIsTaken) {
  const support::TempFolder folder;
  forge::Container container;
  container.Add(1, Bytes(10, 'x'));
  container.count = 0xFFFFFFFFU;
  support::WriteBytes(folder.File("a.gb"), container.File());
  const support::MemoryWatch watch;
  EXPECT_FALSE(qvfd::BinaryData(1).Read(folder.File("a.gb")));
  EXPECT_LT(watch.LargestPiece(), 1U << 20U);
}

TEST(HostileContainer, LengthsAreCheckedBeforeMemoryIsTaken) {
  const support::TempFolder folder;
  forge::Container container;
  container.Add(1, Bytes(10, 'x'));
  container.entries[0].length = std::uint64_t{1} << 33U;
  support::WriteBytes(folder.File("a.gb"), container.File());
  const support::MemoryWatch watch;
  EXPECT_FALSE(qvfd::BinaryData(1).Read(folder.File("a.gb")));
  EXPECT_LT(watch.LargestPiece(), 1U << 20U);
}

TEST(ByteReaderMemory, ARefusedArrayTakesNone) {
  const Bytes bytes(16, 1);
  qvfd::ByteReader reader(bytes);
  std::vector<double> values;
  const support::MemoryWatch watch;
  EXPECT_FALSE(reader.ReadArray(std::size_t{1} << 30U, values));
  EXPECT_EQ(watch.LargestPiece(), 0U);
}

}  // namespace
