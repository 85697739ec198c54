#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "qvfd/PathHelper.h"
#include "support/ContractsProcess.h"
#include "support/TestFiles.h"

namespace {

namespace fs = std::filesystem;
using qvfd::PathHelper;
using support::ReadBytes;
using testing::ElementsAre;

class FileOperations : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.File(name); }

  std::string File(const std::string& name, const std::string& text = "text") const {
    support::WriteText(Path(name), text);
    return Path(name);
  }

  std::string Directory(const std::string& name) const {
    fs::create_directory(Path(name));
    return Path(name);
  }

  std::string Fifo(const std::string& name) const {
    EXPECT_EQ(mkfifo(Path(name).c_str(), 0666), 0);
    return Path(name);
  }

  std::string Link(const std::string& name, const std::string& target) const {
    fs::create_symlink(target, Path(name));
    return Path(name);
  }

  std::string Text(const std::string& path) const {
    const auto bytes = ReadBytes(path);
    return {bytes.begin(), bytes.end()};
  }

  bool Exists(const std::string& path) const {
    return fs::symlink_status(path).type() != fs::file_type::not_found;
  }

  support::TempFolder folder_;
};

// A device of our own: nobody is harmed when the code under test replaces or removes it.
bool MakeDevice(const std::string& path) {
  return mknod(path.c_str(), S_IFCHR | 0666, makedev(1, 7)) == 0;
}

using IsFileExisted = FileOperations;

TEST_F(IsFileExisted, IsTrueForAFile) {
  EXPECT_TRUE(PathHelper::IsFileExisted(File("a")));
  EXPECT_TRUE(PathHelper::IsFileExisted(File("empty", "")));
}

TEST_F(IsFileExisted, IsTrueForALinkToAFile) {
  EXPECT_TRUE(PathHelper::IsFileExisted(Link("link", File("a"))));
}

TEST_F(IsFileExisted, IsFalseWhereNothingIs) {
  EXPECT_FALSE(PathHelper::IsFileExisted(Path("none")));
  EXPECT_FALSE(PathHelper::IsFileExisted(Path("none/none")));
  EXPECT_FALSE(PathHelper::IsFileExisted(""));
}

TEST_F(IsFileExisted, IsFalseForADirectory) {
  EXPECT_FALSE(PathHelper::IsFileExisted(Directory("d")));
  EXPECT_FALSE(PathHelper::IsFileExisted(Link("link", Path("d"))));
}

TEST_F(IsFileExisted, IsFalseForAFifoOrADevice) {
  EXPECT_FALSE(PathHelper::IsFileExisted(Fifo("fifo")));
  EXPECT_FALSE(PathHelper::IsFileExisted("/dev/null"));
}

TEST_F(IsFileExisted, IsFalseForADanglingLink) {
  EXPECT_FALSE(PathHelper::IsFileExisted(Link("link", Path("none"))));
}

TEST_F(IsFileExisted, IsFalseForALinkToItself) {
  EXPECT_FALSE(PathHelper::IsFileExisted(Link("loop", Path("loop"))));
}

TEST_F(IsFileExisted, IsFalseBelowAFile) {
  EXPECT_FALSE(PathHelper::IsFileExisted(File("a") + "/b"));
}

TEST_F(IsFileExisted, IsFalseForAPathTooLongForTheSystem) {
  EXPECT_FALSE(PathHelper::IsFileExisted(Path(std::string(100000, 'x'))));
}

using RemoveFile = FileOperations;

TEST_F(RemoveFile, DeletesAFile) {
  EXPECT_TRUE(PathHelper::RemoveFile(File("a")));
  EXPECT_THAT(folder_.Names(), ElementsAre());
}

TEST_F(RemoveFile, DeletesALinkAndLeavesItsTarget) {
  File("a");
  EXPECT_TRUE(PathHelper::RemoveFile(Link("link", Path("a"))));
  EXPECT_THAT(folder_.Names(), ElementsAre("a"));
}

TEST_F(RemoveFile, DeletesADanglingLink) {
  EXPECT_TRUE(PathHelper::RemoveFile(Link("link", Path("none"))));
  EXPECT_THAT(folder_.Names(), ElementsAre());
}

TEST_F(RemoveFile, IsFalseWhereNothingIs) {
  EXPECT_FALSE(PathHelper::RemoveFile(Path("none")));
  EXPECT_FALSE(PathHelper::RemoveFile(""));
  EXPECT_FALSE(PathHelper::RemoveFile(File("a") + "/b"));
}

TEST_F(RemoveFile, LeavesADirectoryAlone) {
  EXPECT_FALSE(PathHelper::RemoveFile(Directory("empty")));
  EXPECT_TRUE(fs::is_directory(Path("empty")));
}

TEST_F(RemoveFile, LeavesAFifoAlone) {
  EXPECT_FALSE(PathHelper::RemoveFile(Fifo("fifo")));
  EXPECT_TRUE(fs::is_fifo(Path("fifo")));
}

TEST_F(RemoveFile, LeavesADeviceAlone) {
  if (!MakeDevice(Path("device"))) {
    GTEST_SKIP() << "only the superuser can make a device";
  }
  EXPECT_FALSE(PathHelper::RemoveFile(Path("device")));
  EXPECT_TRUE(Exists(Path("device")));
}

TEST_F(RemoveFile, IsFalseWhereTheSystemRefuses) {
  File("a");
  const support::ReadOnlyFolder readOnly(folder_.Path());
  EXPECT_EQ(support::AsOrdinaryUser([&] { return PathHelper::RemoveFile(Path("a")); }), false);
  EXPECT_TRUE(Exists(Path("a")));
}

using CopyFile2 = FileOperations;

TEST_F(CopyFile2, MakesAFileOfTheSameBytes) {
  const std::string text = std::string("a\0b\r\n", 5) + std::string(3000000, '\xFF');
  PathHelper::CopyFile2(File("from", text), Path("to"));
  EXPECT_EQ(Text(Path("to")), text);
  EXPECT_EQ(Text(Path("from")), text);
  EXPECT_THAT(folder_.Names(), ElementsAre("from", "to"));
}

TEST_F(CopyFile2, CopiesAnEmptyFile) {
  PathHelper::CopyFile2(File("from", ""), Path("to"));
  ASSERT_TRUE(Exists(Path("to")));
  EXPECT_EQ(Text(Path("to")), "");
}

TEST_F(CopyFile2, ReplacesALongerFile) {
  PathHelper::CopyFile2(File("from", "new"), File("to", "old and longer"));
  EXPECT_EQ(Text(Path("to")), "new");
  EXPECT_THAT(folder_.Names(), ElementsAre("from", "to"));
}

TEST_F(CopyFile2, NamesMayBeAsLongAsTheSystemAllows) {
  const std::string name(255, 'n');
  PathHelper::CopyFile2(File("from"), Path(name));
  EXPECT_THAT(folder_.Names(), ElementsAre("from", name));
}

TEST_F(CopyFile2, OfALinkCopiesWhatItLeadsTo) {
  File("a", "behind the link");
  PathHelper::CopyFile2(Link("link", Path("a")), Path("to"));
  EXPECT_EQ(Text(Path("to")), "behind the link");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(Path("to"))));
}

TEST_F(CopyFile2, DoesNothingForAMissingSource) {
  PathHelper::CopyFile2(Path("none"), File("to", "old"));
  PathHelper::CopyFile2(Path("none"), Path("other"));
  PathHelper::CopyFile2("", Path("other"));
  EXPECT_EQ(Text(Path("to")), "old");
  EXPECT_THAT(folder_.Names(), ElementsAre("to"));
}

TEST_F(CopyFile2, DoesNothingForASourceThatIsADirectory) {
  PathHelper::CopyFile2(Directory("d"), Path("to"));
  EXPECT_THAT(folder_.Names(), ElementsAre("d"));
}

TEST_F(CopyFile2, DoesNotWaitAtAFifo) {
  Fifo("fifo");
  EXPECT_EQ(support::InChild([&] {
              PathHelper::CopyFile2(Path("fifo"), Path("to"));
              return !Exists(Path("to"));
            }),
            true);
}

TEST_F(CopyFile2, LeavesAFileCopiedOntoItselfAlone) {
  File("a", "itself");
  PathHelper::CopyFile2(Path("a"), Path("a"));
  PathHelper::CopyFile2(Path("a"), folder_.Path().string() + "/./a");
  EXPECT_EQ(Text(Path("a")), "itself");
  EXPECT_THAT(folder_.Names(), ElementsAre("a"));
}

TEST_F(CopyFile2, LeavesAFileCopiedOntoALinkToItselfAlone) {
  File("a", "itself");
  PathHelper::CopyFile2(Path("a"), Link("link", Path("a")));
  EXPECT_EQ(Text(Path("a")), "itself");
  EXPECT_TRUE(fs::is_symlink(Path("link")));
}

TEST_F(CopyFile2, LeavesTheTargetOfALinkCopiedOntoItAlone) {
  File("a", "itself");
  PathHelper::CopyFile2(Link("link", Path("a")), Path("a"));
  EXPECT_EQ(Text(Path("a")), "itself");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(Path("a"))));
}

TEST_F(CopyFile2, LeavesAFileCopiedOntoItsOtherNameAlone) {
  File("a", "itself");
  fs::create_hard_link(Path("a"), Path("b"));
  PathHelper::CopyFile2(Path("a"), Path("b"));
  EXPECT_EQ(Text(Path("a")), "itself");
  EXPECT_EQ(fs::hard_link_count(Path("a")), 2U);
}

TEST_F(CopyFile2, DoesNothingWhenTheTargetIsADirectory) {
  PathHelper::CopyFile2(File("a"), Directory("d"));
  EXPECT_TRUE(fs::is_empty(Path("d")));
  EXPECT_THAT(folder_.Names(), ElementsAre("a", "d"));
}

TEST_F(CopyFile2, DoesNothingWhenTheTargetIsAFifo) {
  File("a");
  Fifo("fifo");
  EXPECT_EQ(support::InChild([&] {
              PathHelper::CopyFile2(Path("a"), Path("fifo"));
              return fs::is_fifo(Path("fifo"));
            }),
            true);
  EXPECT_THAT(folder_.Names(), ElementsAre("a", "fifo"));
}

TEST_F(CopyFile2, DoesNothingWhenTheTargetsFolderIsMissing) {
  PathHelper::CopyFile2(File("a"), Path("none/a"));
  EXPECT_THAT(folder_.Names(), ElementsAre("a"));
}

TEST_F(CopyFile2, LeavesTheTargetWhereTheFolderIsReadOnly) {
  const support::TempFolder source;
  support::WriteText(source.File("from"), "new");
  File("to", "old");
  const support::ReadOnlyFolder readOnly(folder_.Path());
  EXPECT_EQ(support::AsOrdinaryUser([&] {
              PathHelper::CopyFile2(source.File("from"), Path("to"));
              return true;
            }),
            true);
  EXPECT_EQ(Text(Path("to")), "old");
  EXPECT_THAT(folder_.Names(), ElementsAre("to"));
}

TEST_F(CopyFile2, LeavesTheTargetWhereTheDiskIsFull) {
  File("from", std::string(100000, 'n'));
  File("to", "old");
  EXPECT_EQ(support::OnFullDisk(50000,
                                [&] {
                                  PathHelper::CopyFile2(Path("from"), Path("to"));
                                  return true;
                                }),
            true);
  EXPECT_EQ(Text(Path("to")), "old");
  EXPECT_THAT(folder_.Names(), ElementsAre("from", "to"));
}

class GetFileNames : public FileOperations {
 protected:
  std::vector<std::string> NamesIn(const std::string& directory) const {
    std::vector<std::string> names;
    PathHelper::GetFileNames(directory, names);
    return names;
  }
};

TEST_F(GetFileNames, ListsFullPathsSortedByBytes) {
  for (const char* name : {"b", "\xB1\xBE", "a10", "a9", "B", ".hidden", "_", "a"}) {
    File(name);
  }
  EXPECT_THAT(NamesIn(folder_.Path()), ElementsAre(Path(".hidden"), Path("B"), Path("_"), Path("a"),
                                                   Path("a10"), Path("a9"), Path("b"), Path("\xB1\xBE")));
}

TEST_F(GetFileNames, ListsRegularFilesOnly) {
  File("a");
  File("d.db");
  Directory("sub");
  support::WriteText(Path("sub/inner"), "not of this folder");
  Fifo("fifo");
  EXPECT_THAT(NamesIn(folder_.Path()), ElementsAre(Path("a"), Path("d.db")));
}

TEST_F(GetFileNames, ListsLinksToFilesOnly) {
  File("a");
  Directory("sub");
  Link("to-file", Path("a"));
  Link("to-folder", Path("sub"));
  Link("to-nothing", Path("none"));
  EXPECT_THAT(NamesIn(folder_.Path()), ElementsAre(Path("a"), Path("to-file")));
}

TEST_F(GetFileNames, AddsToWhatIsThere) {
  File("a");
  std::vector<std::string> names{"zzz"};
  PathHelper::GetFileNames(folder_.Path(), names);
  EXPECT_THAT(names, ElementsAre("zzz", Path("a")));
}

TEST_F(GetFileNames, OfAnEmptyDirectoryAddsNothing) {
  EXPECT_THAT(NamesIn(folder_.Path()), ElementsAre());
}

TEST_F(GetFileNames, OfAMissingDirectoryAddsNothing) {
  EXPECT_THAT(NamesIn(Path("none")), ElementsAre());
}

TEST_F(GetFileNames, OfAFileAddsNothing) {
  EXPECT_THAT(NamesIn(File("a")), ElementsAre());
}

TEST_F(GetFileNames, TakesATrailingSeparator) {
  File("a");
  EXPECT_THAT(NamesIn(folder_.Path().string() + "/"), ElementsAre(Path("a")));
}

TEST_F(GetFileNames, OfNoDirectoryAreThoseOfTheCurrentOne) {
  File("a");
  File("b");
  EXPECT_EQ(support::InChild([&] {
              fs::current_path(folder_.Path());
              return NamesIn("") == std::vector<std::string>{"a", "b"};
            }),
            true);
}

TEST_F(GetFileNames, OfADirectoryWithoutPermissionAddsNothing) {
  File("a");
  chmod(folder_.Path().c_str(), 0);
  const auto silent = support::AsOrdinaryUser([&] { return NamesIn(folder_.Path()).empty(); });
  chmod(folder_.Path().c_str(), 0755);
  EXPECT_EQ(silent, true);
}

TEST_F(GetFileNames, AreTheNamesOfManyFilesInOrder) {
  std::vector<std::string> expected;
  for (int i = 1000; i < 2500; ++i) {
    expected.push_back(File("photo" + std::to_string(i)));
  }
  EXPECT_EQ(NamesIn(folder_.Path()), expected);
}

}  // namespace
