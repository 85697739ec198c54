// The two files of a project as files: which names are the same, and that nothing is lost on the way to a new
// pair.
#include "common/ProjectPair.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "Commands.h"

namespace fs = std::filesystem;
using qvapp::NewPair;
using qvapp::PairOf;
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

TEST_F(Pair, IsReplacedWhenTheNewOneIsKept) {
  Make("old", "old track");
  NewPair files(pair_);
  EXPECT_FALSE(fs::exists(pair_.database));
  EXPECT_FALSE(fs::exists(pair_.track_file));
  Make("new", "new track");
  files.Keep();
  EXPECT_EQ(files.Undo(), "") << "there is nothing to undo any more";
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db", "a.gb"));
  EXPECT_EQ(support::ReadBytes(pair_.database), (support::Bytes{'n', 'e', 'w'}));
}

TEST_F(Pair, ComesBackWhenTheNewOneIsGivenUp) {
  Make("old", "old track");
  const auto before = support::Snapshot(folder_.Path());
  {
    NewPair files(pair_);
    Make("new", "new track");
    EXPECT_EQ(files.Undo(), "what was there before is back in place");
  }
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  {
    const NewPair files(pair_);
    support::WriteText(pair_.database, "half");
  }
  EXPECT_EQ(support::Snapshot(folder_.Path()), before) << "also when nobody says so";
}

TEST_F(Pair, LeavesNothingWhenThereWasNothing) {
  NewPair files(pair_);
  Make("new", "new track");
  EXPECT_EQ(files.Undo(), "nothing was left behind");
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(Pair, DoesNotTakeTheNameOfAnotherFileMeanwhile) {
  Make("old", "old track");
  support::WriteText(folder_.File("a.db.old"), "mine");
  NewPair files(pair_);
  Make("new", "new track");
  files.Keep();
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db", "a.db.old", "a.gb"));
  EXPECT_EQ(support::ReadBytes(folder_.File("a.db.old")), (support::Bytes{'m', 'i', 'n', 'e'}));
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
