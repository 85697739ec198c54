// Saving so that the old pair or the new one is there, whatever happens.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "ProjectFilesTest.h"
#include "qvprj/project/PairReplacement.h"
#include "support/ContractsProcess.h"

namespace {

using qvprj::PairFiles;
using qvprj::QvProject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

class DurableSaveTest : public ProjectFilesTest {
 protected:
  static QvProject Project(std::uint64_t seed) {
    support::ProjectShape shape;
    shape.seed = seed;
    return support::BuildProject(shape);
  }

  [[nodiscard]] PairFiles Pair() const { return {Path("p.db"), Path("p.gb")}; }

  void ExpectOpensAs(QvProject& expected) {
    QvProject opened;
    ASSERT_TRUE(opened.OpenPrj(Path("p.db")));
    opened.GetPrjInfo().file_path = expected.GetPrjInfo().file_path;
    EXPECT_EQ(support::FirstDifference(opened, expected), "");
  }

  /// Leaves a replacement of the pair that was interrupted after it began to hold, before any file was put in
  /// place: the new files wait.
  void LeaveWaiting(QvProject& waiting) {
    // The one name that is needed: that of the commit, which begins as all names of a replacement do.
    const support::TempFolder other;
    fs::copy(folder_.Path(), other.Path(), fs::copy_options::recursive);
    std::string start;
    PairFiles made;
    ASSERT_FALSE(qvprj::ReplacePair(Pair(), [&](const PairFiles& files) {
      made = files;
      start = files.database.substr(0, files.database.size() - 3);
      return false;
    }));
    // A whole replacement, of which the last steps are taken back.
    ASSERT_TRUE(waiting.SaveDurably(Path("p.db")));
    fs::rename(Path("p.db"), made.database);
    fs::rename(Path("p.gb"), made.track_file);
    for (const char* const name : {"p.db", "p.gb"}) {
      if (fs::exists(other.File(name))) {
        fs::copy_file(other.File(name), Path(name));
      }
    }
    WriteCommit(start + ".commit", made);
  }

  /// The record of a replacement of what is at the pair's place by what is at `made`.
  void WriteCommit(const std::string& path, const PairFiles& made) {
    const auto look = [](const std::string& file, support::Bytes& record) {
      const bool there = fs::exists(file);
      support::Bytes start = there ? support::ReadBytes(file) : support::Bytes();
      const std::uint64_t size = start.size();
      start.resize(100);
      record.insert(record.end(), {static_cast<unsigned char>(there), 0, 0, 0});
      for (unsigned shift = 0; shift < 64; shift += 8) {
        record.push_back(static_cast<unsigned char>(size >> shift));
      }
      record.insert(record.end(), start.begin(), start.end());
    };
    support::Bytes record;
    for (const std::string& file : {Path("p.db"), Path("p.gb"), made.database, made.track_file}) {
      look(file, record);
    }
    qvfd::BinaryData blobs(2);
    blobs.AddBlob(0, record);
    ASSERT_TRUE(blobs.Write(path));
  }
};

TEST_F(DurableSaveTest, SavesWhatSaveSaves) {
  QvProject project = Project(1);
  ASSERT_TRUE(project.SaveDurably(Path("p.db")));
  EXPECT_EQ(project.GetPrjInfo().file_path, Path("p.db"));
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
  ExpectOpensAs(project);
  ASSERT_TRUE(project.Save(Path("q.db")));
  for (const char* const table : {"data_camera", "data_image", "data_project", "data_gcp", "data_cp"}) {
    const std::string all = std::string("SELECT * FROM ") + table;
    EXPECT_EQ(support::Query(Path("p.db"), all), support::Query(Path("q.db"), all)) << table;
  }
}

TEST_F(DurableSaveTest, ReplacesAnOldPair) {
  SaveSomeProject("p.db", 1);
  QvProject project = Project(2);
  ASSERT_TRUE(project.SaveDurably(Path("p.db")));
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
  ExpectOpensAs(project);
}

TEST_F(DurableSaveTest, WorksInTheCurrentFolderAndWithTheLongestName) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_.Path());
  const std::string longest = std::string(252, 'n') + ".db";
  QvProject project = Project(3);
  EXPECT_TRUE(project.SaveDurably("p.db"));
  EXPECT_TRUE(project.SaveDurably(longest));
  fs::current_path(before);
  EXPECT_THAT(folder_.Names(), ElementsAre(longest, std::string(252, 'n') + ".gb", "p.db", "p.gb"));
}

TEST_F(DurableSaveTest, KeepsThePermissionsOfTheOldFiles) {
  SaveSomeProject("p.db");
  ASSERT_EQ(chmod(Path("p.db").c_str(), 0640), 0);
  ASSERT_EQ(chmod(Path("p.gb").c_str(), 0604), 0);
  ASSERT_TRUE(Project(2).SaveDurably(Path("p.db")));
  EXPECT_EQ(fs::status(Path("p.db")).permissions(), fs::perms(0640));
  EXPECT_EQ(fs::status(Path("p.gb")).permissions(), fs::perms(0604));
}

TEST_F(DurableSaveTest, AJournalOfTheOldDatabaseDoesNotMeetTheNewOne) {
  SaveSomeProject("p.db");
  for (const char* const name : {"p.db-journal", "p.db-wal", "p.db-shm"}) {
    support::WriteText(Path(name), "of the old database");
  }
  QvProject project = Project(2);
  ASSERT_TRUE(project.SaveDurably(Path("p.db")));
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
  ExpectOpensAs(project);
}

// ---- Saves that fail ---------------------------------------------------------------------------------

TEST_F(DurableSaveTest, ARefusedPathTouchesNothing) {
  SaveSomeProject("p.db");
  fs::create_directory(Path("folder.db"));
  const auto before = support::Snapshot(folder_.Path());
  QvProject project = Project(2);
  project.GetPrjInfo().file_path = "before.db";
  for (const std::string& path :
       {std::string(), Path(""), Path("p.gb"), Path("missing/p.db"), Path("folder.db")}) {
    EXPECT_FALSE(project.SaveDurably(path)) << path;
    EXPECT_EQ(project.GetPrjInfo().file_path, "before.db");
  }
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(DurableSaveTest, AFolderInPlaceOfTheTrackFileLeavesTheDatabase) {
  SaveSomeProject("p.db");
  fs::remove(Path("p.gb"));
  fs::create_directory(Path("p.gb"));
  const auto before = support::Snapshot(folder_.Path());
  EXPECT_FALSE(Project(2).SaveDurably(Path("p.db")));
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(DurableSaveTest, AFullDiskLeavesTheOldPairAndNoLitter) {
  SaveSomeProject("p.db");
  const auto before = support::Snapshot(folder_.Path());
  for (const rlim_t room : {0, 100, 20'000, 60'000}) {
    const auto saved = support::OnFullDisk(room, [&] {
      support::ProjectShape large;
      large.images = 2000;
      large.seed = 2;
      return support::BuildProject(large).SaveDurably(Path("p.db"));
    });
    EXPECT_EQ(saved, false) << room;
    EXPECT_EQ(support::Snapshot(folder_.Path()), before) << room;
  }
}

TEST_F(DurableSaveTest, AFolderThatCannotBeWrittenLeavesTheOldPair) {
  SaveSomeProject("p.db");
  const auto before = support::Snapshot(folder_.Path());
  {
    const support::ReadOnlyFolder closed(folder_.Path());
    EXPECT_EQ(support::AsOrdinaryUser([&] { return Project(2).SaveDurably(Path("p.db")); }), false);
  }
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(DurableSaveTest, WaitsForAnotherProcessThatIsSaving) {
  QvProject first = Project(1);
  QvProject second = Project(2);
  ASSERT_TRUE(first.SaveDurably(Path("p.db")));
  ASSERT_TRUE(qvprj::ReplacePair(Pair(), [&](const PairFiles& made) {
    // Another process begins while this one is writing, and has to wait for it.
    const pid_t other = fork();
    if (other == 0) {
      _exit(second.SaveDurably(Path("p.db")) ? 0 : 1);
    }
    usleep(100'000);
    EXPECT_EQ(waitpid(other, nullptr, WNOHANG), 0);
    return first.Save(made.database) && fs::exists(made.track_file);
  }));
  int status = 1;
  ASSERT_GT(wait(&status), 0);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
  ExpectOpensAs(second);
}

// ---- Replacements that were interrupted --------------------------------------------------------------

TEST_F(DurableSaveTest, OpeningFinishesWhatWasInterrupted) {
  QvProject old = Project(1);
  QvProject waiting = Project(2);
  ASSERT_TRUE(old.Save(Path("p.db")));
  LeaveWaiting(waiting);
  EXPECT_EQ(folder_.Names().size(), 5U);
  ExpectOpensAs(waiting);
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
  ExpectOpensAs(waiting);
}

TEST_F(DurableSaveTest, QuickOpeningFinishesItToo) {
  QvProject waiting = Project(2);
  ASSERT_TRUE(Project(1).Save(Path("p.db")));
  LeaveWaiting(waiting);
  QvProject opened;
  ASSERT_TRUE(opened.QuickOpenPrj(Path("p.db")));
  EXPECT_STREQ(opened.GetPrjInfo().id, waiting.GetPrjInfo().id);
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
}

TEST_F(DurableSaveTest, WhereNothingCanBeWrittenTheWaitingFilesAreRead) {
  QvProject waiting = Project(2);
  ASSERT_TRUE(Project(1).Save(Path("p.db")));
  LeaveWaiting(waiting);
  const auto before = support::Snapshot(folder_.Path());
  {
    const support::ReadOnlyFolder closed(folder_.Path());
    EXPECT_EQ(support::AsOrdinaryUser([&] {
                QvProject opened;
                const bool open = opened.OpenPrj(Path("p.db"));
                const bool named = opened.GetPrjInfo().file_path == Path("p.db");
                opened.GetPrjInfo().file_path = waiting.GetPrjInfo().file_path;
                return open && named && support::FirstDifference(opened, waiting).empty();
              }),
              true);
  }
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(DurableSaveTest, CopyingCopiesThePairThatHolds) {
  QvProject waiting = Project(2);
  ASSERT_TRUE(Project(1).Save(Path("p.db")));
  LeaveWaiting(waiting);
  QvProject::CopyTo(Path("p.db"), Path("copy.db"));
  QvProject opened;
  ASSERT_TRUE(opened.OpenPrj(Path("copy.db")));
  opened.GetPrjInfo().file_path = waiting.GetPrjInfo().file_path;
  EXPECT_EQ(support::FirstDifference(opened, waiting), "");
}

TEST_F(DurableSaveTest, LaterSavesAndCopiesAreNotUndoneByWhatWaits) {
  QvProject waiting = Project(2);
  QvProject later = Project(3);
  ASSERT_TRUE(Project(1).Save(Path("p.db")));
  LeaveWaiting(waiting);
  ASSERT_TRUE(later.Save(Path("p.db")));
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
  ExpectOpensAs(later);

  ASSERT_TRUE(later.Save(Path("source.db")));
  LeaveWaiting(waiting);
  QvProject::CopyTo(Path("source.db"), Path("p.db"));
  ExpectOpensAs(later);
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb", "source.db", "source.gb"));
}

TEST_F(DurableSaveTest, WhatWaitsDoesNotReplaceFilesThatItWasNotMadeFor) {
  QvProject waiting = Project(2);
  QvProject restored = Project(3);
  ASSERT_TRUE(restored.Save(Path("backup.db")));
  ASSERT_TRUE(Project(1).Save(Path("p.db")));
  LeaveWaiting(waiting);
  fs::copy_file(Path("backup.db"), Path("p.db"), fs::copy_options::overwrite_existing);
  fs::copy_file(Path("backup.gb"), Path("p.gb"), fs::copy_options::overwrite_existing);
  ExpectOpensAs(restored);
  EXPECT_THAT(folder_.Names(), ElementsAre("backup.db", "backup.gb", "p.db", "p.gb"));
}

TEST_F(DurableSaveTest, ARecordThatIsNoneIsRemoved) {
  QvProject old = Project(1);
  QvProject waiting = Project(2);
  ASSERT_TRUE(old.Save(Path("p.db")));
  LeaveWaiting(waiting);
  std::string commit;
  for (const std::string& name : folder_.Names()) {
    commit = name.ends_with(".commit") ? name : commit;
  }
  support::WriteText(Path(commit), "no record");
  ExpectOpensAs(old);
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
}

TEST_F(DurableSaveTest, APairThatDoesNotBelongTogetherOpens) {
  SaveSomeProject("p.db", 1);
  SaveSomeProject("q.db", 2);
  fs::copy_file(Path("q.gb"), Path("p.gb"), fs::copy_options::overwrite_existing);
  QvProject opened;
  EXPECT_TRUE(opened.OpenPrj(Path("p.db")));
  EXPECT_FALSE(opened.GetTracks().empty());
}

// ---- Processes that are killed -----------------------------------------------------------------------

TEST_F(DurableSaveTest, AProcessKilledAtAnyInstantLeavesOneWholePair) {
  constexpr int kKills = 500;
  QvProject first = Project(1);
  QvProject second = Project(2);
  ASSERT_TRUE(first.SaveDurably(Path("p.db")));
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(second.SaveDurably(Path("p.db")) && first.SaveDurably(Path("p.db")));
  const auto two = std::chrono::steady_clock::now() - start;
  const auto longest = std::chrono::duration_cast<std::chrono::microseconds>(two).count();

  support::Random random(5);
  int found[2] = {0, 0};
  for (int kill = 0; kill < kKills; ++kill) {
    const pid_t saver = fork();
    if (saver == 0) {
      for (;;) {
        if (!second.SaveDurably(Path("p.db")) || !first.SaveDurably(Path("p.db"))) {
          _exit(1);
        }
      }
    }
    usleep(static_cast<useconds_t>(random.Below(static_cast<int>(3 * longest) + 1)));
    ::kill(saver, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(saver, &status, 0), saver);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the saver failed";
    QvProject opened;
    ASSERT_TRUE(opened.OpenPrj(Path("p.db"))) << kill;
    opened.GetPrjInfo().file_path = Path("p.db");
    const bool isFirst = support::FirstDifference(opened, first).empty();
    const bool isSecond = support::FirstDifference(opened, second).empty();
    ASSERT_TRUE(isFirst || isSecond) << kill << ": " << support::FirstDifference(opened, first);
    ++found[isFirst ? 0 : 1];
  }
  EXPECT_GT(found[0], 0);
  EXPECT_GT(found[1], 0);
  ASSERT_TRUE(first.SaveDurably(Path("p.db")));
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
}

}  // namespace
