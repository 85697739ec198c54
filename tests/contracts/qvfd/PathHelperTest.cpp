#include "qvfd/PathHelper.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using qvfd::PathHelper;

// The track file's name is made of a database's name like this.
std::string WithExtension(const std::string& path, const std::string& extension) {
  return PathHelper::Merge(PathHelper::GetFileDirectory(path), PathHelper::GetFileTitle2(path)) + extension;
}

TEST(GetFileDirectory, IsWhatStandsBeforeTheLastSeparator) {
  EXPECT_EQ(PathHelper::GetFileDirectory("a/b/p.db"), "a/b");
  EXPECT_EQ(PathHelper::GetFileDirectory("/srv/a b/p.db"), "/srv/a b");
  EXPECT_EQ(PathHelper::GetFileDirectory("./p.db"), ".");
  EXPECT_EQ(PathHelper::GetFileDirectory("../p.db"), "..");
}

TEST(GetFileDirectory, IsEmptyWithoutASeparator) {
  EXPECT_EQ(PathHelper::GetFileDirectory("p.db"), "");
  EXPECT_EQ(PathHelper::GetFileDirectory(".db"), "");
  EXPECT_EQ(PathHelper::GetFileDirectory(""), "");
}

TEST(GetFileDirectory, OfAFileAtTheRootIsTheRoot) {
  EXPECT_EQ(PathHelper::GetFileDirectory("/p.db"), "/");
  EXPECT_EQ(PathHelper::GetFileDirectory("/"), "/");
}

TEST(GetFileDirectory, OfAPathThatEndsInASeparatorIsThePathBeforeIt) {
  EXPECT_EQ(PathHelper::GetFileDirectory("a/b/"), "a/b");
}

TEST(GetFileDirectory, KeepsDotsOfDirectories) {
  EXPECT_EQ(PathHelper::GetFileDirectory("v1.2/p"), "v1.2");
}

TEST(GetFileTitle2, DropsDirectoryAndExtension) {
  EXPECT_EQ(PathHelper::GetFileTitle2("a/b/p.db"), "p");
  EXPECT_EQ(PathHelper::GetFileTitle2("/p.db"), "p");
  EXPECT_EQ(PathHelper::GetFileTitle2("p.db"), "p");
}

TEST(GetFileTitle2, DropsTheLastExtensionOnly) {
  EXPECT_EQ(PathHelper::GetFileTitle2("a/p.v2.db"), "p.v2");
  EXPECT_EQ(PathHelper::GetFileTitle2("2024.06.07.db"), "2024.06.07");
}

TEST(GetFileTitle2, KeepsALeadingDot) {
  EXPECT_EQ(PathHelper::GetFileTitle2(".db"), ".db");
  EXPECT_EQ(PathHelper::GetFileTitle2("a/.db"), ".db");
  EXPECT_EQ(PathHelper::GetFileTitle2("/.db"), ".db");
  EXPECT_EQ(PathHelper::GetFileTitle2("a/.survey.db"), ".survey");
}

TEST(GetFileTitle2, OfANameWithoutExtensionIsTheName) {
  EXPECT_EQ(PathHelper::GetFileTitle2("a/p"), "p");
  EXPECT_EQ(PathHelper::GetFileTitle2("v1.2/p"), "p");
}

TEST(GetFileTitle2, IsEmptyWhereNoFileIsNamed) {
  EXPECT_EQ(PathHelper::GetFileTitle2(""), "");
  EXPECT_EQ(PathHelper::GetFileTitle2("/"), "");
  EXPECT_EQ(PathHelper::GetFileTitle2("a/b/"), "");
  EXPECT_EQ(PathHelper::GetFileTitle2("a.b/"), "");
}

TEST(GetFileExtension, IsTheLastOneWithItsDot) {
  EXPECT_EQ(PathHelper::GetFileExtension("a/p.db"), ".db");
  EXPECT_EQ(PathHelper::GetFileExtension("a/p.v2.db"), ".db");
  EXPECT_EQ(PathHelper::GetFileExtension("p.GB"), ".GB");
  EXPECT_EQ(PathHelper::GetFileExtension("a/.survey.gb"), ".gb");
}

TEST(GetFileExtension, IsEmptyWhereThereIsNone) {
  EXPECT_EQ(PathHelper::GetFileExtension("a/p"), "");
  EXPECT_EQ(PathHelper::GetFileExtension("v1.2/p"), "");
  EXPECT_EQ(PathHelper::GetFileExtension(".db"), "");
  EXPECT_EQ(PathHelper::GetFileExtension("a/.db"), "");
  EXPECT_EQ(PathHelper::GetFileExtension("a.b/"), "");
  EXPECT_EQ(PathHelper::GetFileExtension(""), "");
}

TEST(PathText, TitleAndExtensionMakeUpTheName) {
  for (const std::string name :
       {"p.db", "p", ".db", ".a.b", "a.b.c", "p.", "..db", "a..b", " .x", "\xB1\xBE.\xB5\xD8"}) {
    EXPECT_EQ(PathHelper::GetFileTitle2("d.e/" + name) + PathHelper::GetFileExtension("d.e/" + name), name);
  }
}

TEST(Merge, PutsOneSeparatorBetweenDirectoryAndName) {
  EXPECT_EQ(PathHelper::Merge("a/b", "p.db"), "a/b/p.db");
  EXPECT_EQ(PathHelper::Merge("a/b/", "p.db"), "a/b/p.db");
  EXPECT_EQ(PathHelper::Merge("/", "p.db"), "/p.db");
  EXPECT_EQ(PathHelper::Merge(".", "p.db"), "./p.db");
}

TEST(Merge, OfAnEmptyDirectoryIsTheName) {
  EXPECT_EQ(PathHelper::Merge("", "p.db"), "p.db");
}

TEST(Merge, PutsTogetherWhatTheGettersTookApart) {
  for (const std::string path : {"a/b/p.db", "/p.db", "p.db", "./p.v2.db", "a/.db", ".db", "/srv/.x.y"}) {
    EXPECT_EQ(WithExtension(path, PathHelper::GetFileExtension(path)), path);
  }
}

TEST(PathText, ReplacingTheExtensionTouchesNothingElse) {
  EXPECT_EQ(WithExtension("a/b/p.db", ".gb"), "a/b/p.gb");
  EXPECT_EQ(WithExtension("/p.db", ".gb"), "/p.gb");
  EXPECT_EQ(WithExtension("p.v2.db", ".gb"), "p.v2.gb");
  EXPECT_EQ(WithExtension("v1.2/p", ".gb"), "v1.2/p.gb");
  EXPECT_EQ(WithExtension(".db", ".gb"), ".db.gb");
  EXPECT_EQ(WithExtension("a/.db", ".gb"), "a/.db.gb");
}

TEST(PathText, ReplacingTheExtensionTwiceIsReplacingItOnce) {
  for (const std::string path : {"a/b/p.db", "/p.db", "p.db", "p.v2.db", "v1.2/p", "a/.db", ".db", "p"}) {
    const std::string once = WithExtension(path, ".gb");
    EXPECT_EQ(WithExtension(once, ".gb"), once);
  }
}

#ifndef _WIN32
TEST(PathText, ABackslashIsNoSeparatorHere) {
  EXPECT_EQ(PathHelper::GetFileDirectory("a\\p.db"), "");
  EXPECT_EQ(PathHelper::GetFileTitle2("a\\p.db"), "a\\p");
  EXPECT_EQ(PathHelper::Merge("a\\", "p.db"), "a\\/p.db");
}

// The second byte of this GBK character has the value of a backslash.
TEST(PathText, MultibyteCharactersStayWhole) {
  EXPECT_EQ(PathHelper::GetFileTitle2("d/\x95\x5C.db"), "\x95\x5C");
  EXPECT_EQ(PathHelper::GetFileDirectory("\x95\x5C/p.db"), "\x95\x5C");
}
#endif

}  // namespace
