// The two files of a project as files: which names are the same, and that nothing is lost on the way to a new
// pair.
#include "common/Failure.h"
#include "common/ProjectPair.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "Commands.h"

namespace fs = std::filesystem;
using qvapp::PairOf;
using qvapp::ProjectPair;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Pair : public testing::Test {
 protected:
  void Make(const std::string& database, const std::string& trackFile) {
    support::WriteText(folder_.File("a.db"), database);
    support::WriteText(folder_.File("a.gb"), trackFile);
  }

  support::TempFolder folder_;
  qvapp::ProjectPair pair_ = PairOf(folder_.File("a.db"));
};

}  // namespace

TEST_F(Pair, IsNamedAsTheLibraryNamesIt) {
  EXPECT_EQ(pair_.database, folder_.File("a.db"));
  EXPECT_EQ(pair_.track_file, folder_.File("a.gb"));
}

TEST_F(Pair, IsTheSameFileThroughLinksAndRoundabouts) {
  support::WriteText(folder_.File("a.db"), "x");
  support::WriteText(folder_.File("b.db"), "x");
  fs::create_symlink("a.db", folder_.File("link.db"));
  fs::create_hard_link(folder_.File("a.db"), folder_.File("hard.db"));
  fs::create_directory(folder_.File("sub"));
  EXPECT_TRUE(qvapp::IsSameFile(folder_.File("a.db"), folder_.File("link.db")));
  EXPECT_TRUE(qvapp::IsSameFile(folder_.File("a.db"), folder_.File("hard.db")));
  EXPECT_TRUE(qvapp::IsSameFile(folder_.File("a.db"), folder_.File("sub/../a.db")));
  EXPECT_FALSE(qvapp::IsSameFile(folder_.File("a.db"), folder_.File("b.db")));
  EXPECT_FALSE(qvapp::IsSameFile(folder_.File("a.db"), folder_.File("missing.db")));
}

TEST_F(Pair, IsTheSameFileBeforeItExists) {
  EXPECT_TRUE(qvapp::IsSameFile("no-such-file.db", "./no-such-file.db"));
  EXPECT_TRUE(qvapp::IsSameFile(folder_.File("x.db"), folder_.File("./x.db")));
  EXPECT_FALSE(qvapp::IsSameFile(folder_.File("x.db"), folder_.File("y.db")));
}

TEST_F(Pair, IsReplacedAsAWhole) {
  Make("old", "old track");
  qvapp::ReplaceProject(pair_, 100, [&](const ProjectPair& made) {
    support::WriteText(made.database, "new");
    support::WriteText(made.track_file, "new track");
    EXPECT_EQ(support::ReadBytes(pair_.database), (support::Bytes{'o', 'l', 'd'}))
        << "until the new one is whole";
  });
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db", "a.gb"));
  EXPECT_EQ(support::ReadBytes(pair_.database), (support::Bytes{'n', 'e', 'w'}));
}

TEST_F(Pair, LosesItsTrackFileToOneThatHasNone) {
  Make("old", "old track");
  qvapp::ReplaceProject(pair_, 100,
                        [&](const ProjectPair& made) { support::WriteText(made.database, "new"); });
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db"));
}

TEST_F(Pair, StaysWhenTheNewOneFails) {
  Make("old", "old track");
  const auto before = support::Snapshot(folder_.Path());
  EXPECT_THROW(qvapp::ReplaceProject(pair_, 100,
                                     [&](const ProjectPair& made) {
                                       support::WriteText(made.database, "half");
                                       throw qvapp::Failure("a", "b", "c");
                                     }),
               qvapp::Failure);
  EXPECT_THROW(qvapp::ReplaceProject(pair_, 100, [](const ProjectPair& /*made*/) {}), qvapp::Failure)
      << "nothing was made";
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  EXPECT_EQ(qvapp::WhatStays(pair_), "what was there before is untouched");
}

TEST_F(Pair, LeavesNothingWhenThereWasNothing) {
  EXPECT_THROW(qvapp::ReplaceProject(pair_, 100, [](const ProjectPair& /*made*/) {}), qvapp::Failure);
  EXPECT_THAT(folder_.Names(), IsEmpty());
  EXPECT_EQ(qvapp::WhatStays(pair_), "nothing was left behind");
}

TEST_F(Pair, TellsThatThereIsNoRoom) {
  const std::string reason = qvapp::WhyNotWritable(folder_.File("a.db"), std::uintmax_t{1} << 60U);
  EXPECT_THAT(reason, testing::HasSubstr("bytes are needed and"));
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(Pair, TellsTheReasonOfTheSystem) {
  EXPECT_THAT(qvapp::WhyNotWritable(folder_.File("missing/a.db"), 10),
              testing::HasSubstr("No such file or directory"));
}

TEST_F(Pair, AdmitsThatThereIsNoReason) {
  EXPECT_THAT(qvapp::WhyNotWritable(folder_.File("a.db"), 200000), testing::HasSubstr("no reason was found"));
  EXPECT_THAT(folder_.Names(), IsEmpty()) << "the attempt leaves nothing behind";
}
