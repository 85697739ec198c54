#include "ProjectFilesTest.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace {

using qvprj::QvProject;
using support::ReadBytes;
using ::testing::ElementsAre;

class CopyFilesTest : public ProjectFilesTest {
 protected:
  void Copy(const std::string& from, const std::string& to) { QvProject::CopyTo(Path(from), Path(to)); }
};

TEST_F(CopyFilesTest, CopiesTheDatabaseAndTheTrackFile) {
  SaveSomeProject("x.db");
  Copy("x.db", "y.db");
  EXPECT_EQ(ReadBytes(Path("y.db")), ReadBytes(Path("x.db")));
  EXPECT_EQ(ReadBytes(Path("y.gb")), ReadBytes(Path("x.gb")));
  EXPECT_THAT(folder_.Names(), ElementsAre("x.db", "x.gb", "y.db", "y.gb"));
}

TEST_F(CopyFilesTest, TheCopyOpensAsTheSameProject) {
  QvProject project = support::BuildProject();
  ASSERT_TRUE(project.Save(Path("x.db")));
  Copy("x.db", "y.db");
  QvProject copy;
  ASSERT_TRUE(copy.OpenPrj(Path("y.db")));
  project.GetPrjInfo().file_path = Path("y.db");
  EXPECT_EQ(support::FirstDifference(copy, project), "");
}

TEST_F(CopyFilesTest, ReplacesWhatIsThere) {
  SaveSomeProject("x.db", 1);
  SaveSomeProject("y.db", 2);
  Copy("x.db", "y.db");
  EXPECT_EQ(ReadBytes(Path("y.db")), ReadBytes(Path("x.db")));
  EXPECT_EQ(ReadBytes(Path("y.gb")), ReadBytes(Path("x.gb")));
}

TEST_F(CopyFilesTest, LeavesTheSourceAlone) {
  SaveSomeProject("x.db");
  const auto database = ReadBytes(Path("x.db"));
  const auto tracks = ReadBytes(Path("x.gb"));
  Copy("x.db", "y.db");
  EXPECT_EQ(ReadBytes(Path("x.db")), database);
  EXPECT_EQ(ReadBytes(Path("x.gb")), tracks);
}

// Changed pages, and the journal to undo them, which the copy needs as much.
TEST_F(CopyFilesTest, TakesAlongWhatAKilledProgramLeftBesideTheDatabase) {
  SaveSomeProject("sound.db");
  support::ExecuteAndStopInTheMiddle(Path("sound.db"),
                                     "UPDATE data_image SET name = 'half ' || zeroblob(20000)", Path("x.db"));
  Copy("x.db", "y.db");
  EXPECT_EQ(ReadBytes(Path("y.db")), ReadBytes(Path("x.db")));
  EXPECT_EQ(ReadBytes(Path("y.db-journal")), ReadBytes(Path("x.db-journal")));
  QvProject copy;
  ASSERT_TRUE(copy.OpenPrj(Path("y.db")));
  QvProject sound;
  ASSERT_TRUE(sound.OpenPrj(Path("sound.db")));
  ASSERT_EQ(copy.GetImageInfoSet().Size(), sound.GetImageInfoSet().Size());
  EXPECT_EQ(copy.GetImageInfoSet().GetImage(0)->Name(), sound.GetImageInfoSet().GetImage(0)->Name());
}

TEST_F(CopyFilesTest, LeavesNothingOfTheOldTargetBesideTheNewOne) {
  SaveSomeProject("x.db", 1);
  SaveSomeProject("other.db", 2);
  support::ExecuteAndStopInTheMiddle(Path("other.db"),
                                     "UPDATE data_image SET name = 'half ' || zeroblob(20000)", Path("y.db"));
  support::WriteText(Path("y.db-wal"), "a log");
  support::WriteText(Path("y.db-shm"), "its index");
  Copy("x.db", "y.db");
  EXPECT_EQ(ReadBytes(Path("y.db")), ReadBytes(Path("x.db")));
  for (const char* const file : {"y.db-journal", "y.db-wal", "y.db-shm"}) {
    EXPECT_FALSE(IsThere(file)) << file;
  }
}

TEST_F(CopyFilesTest, LeavesAllAloneWhereTheSourceIsTheTarget) {
  SaveSomeProject("sound.db");
  support::ExecuteAndStopInTheMiddle(Path("sound.db"),
                                     "UPDATE data_image SET name = 'half ' || zeroblob(20000)", Path("x.db"));
  std::filesystem::create_symlink(Path("x.db"), Path("link.db"));
  const auto before = support::Snapshot(folder_.Path());
  Copy("x.db", "x.db");
  Copy("x.db", "link.db");
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(CopyFilesTest, DoesNothingForAMissingSource) {
  SaveSomeProject("y.db");
  const auto before = support::Snapshot(folder_.Path());
  Copy("missing.db", "y.db");
  Copy("missing.db", "z.db");
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(CopyFilesTest, CopiesTheDatabaseAloneWhereThereIsNoTrackFile) {
  SaveSomeProject("x.db");
  std::filesystem::remove(Path("x.gb"));
  Copy("x.db", "y.db");
  EXPECT_THAT(folder_.Names(), ElementsAre("x.db", "y.db"));
}

TEST_F(CopyFilesTest, CopiesTheTrackFileAloneWhereThereIsNoDatabase) {
  SaveSomeProject("x.db");
  std::filesystem::remove(Path("x.db"));
  Copy("x.db", "y.db");
  EXPECT_THAT(folder_.Names(), ElementsAre("x.gb", "y.gb"));
}

TEST_F(CopyFilesTest, LeavesAPairCopiedOntoItselfAlone) {
  SaveSomeProject("x.db");
  const auto before = support::Snapshot(folder_.Path());
  Copy("x.db", "x.db");
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(CopyFilesTest, ATargetThatCannotBeWrittenIsPassedOverInSilence) {
  SaveSomeProject("x.db");
  const auto before = support::Snapshot(folder_.Path());
  Copy("x.db", "missing/y.db");
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

}  // namespace
