// qvprj copy.
#include <gtest/gtest.h>

#include <filesystem>

#include "Commands.h"

namespace fs = std::filesystem;
using namespace apps_test;
using nlohmann::json;
using qvapp::CopyOptions;
using qvapp::kFailed;
using qvapp::kWrongUsage;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class CopyCommand : public testing::Test {
 protected:
  void SetUp() override { MakeProject(a_, "Source"); }

  void ExpectSamePair() const {
    EXPECT_EQ(support::ReadBytes(folder_.File("b.db")), support::ReadBytes(a_));
    EXPECT_EQ(support::ReadBytes(folder_.File("b.gb")), support::ReadBytes(folder_.File("a.gb")));
  }

  void ExpectRefused(const CopyOptions& options, int code, const std::string& file,
                     const std::string& problem) {
    const auto before = support::Snapshot(folder_.Path());
    EXPECT_THAT(Copy(options), FailsWith(code, file, problem));
    EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  }

  support::TempFolder folder_;
  std::string a_ = folder_.File("a.db");
  std::string b_ = folder_.File("b.db");
};

}  // namespace

TEST_F(CopyCommand, CopiesBothFiles) {
  const Outcome outcome = Copy({a_, b_});
  EXPECT_THAT(outcome, Succeeds());
  ExpectSamePair();
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db", "a.gb", "b.db", "b.gb"));
  EXPECT_EQ(outcome.out, "Copied " + a_ + ":\n  " + b_ + "  " + std::to_string(fs::file_size(b_)) +
                             " bytes\n  " + folder_.File("b.gb") + "  " +
                             std::to_string(fs::file_size(folder_.File("b.gb"))) + " bytes\n");
}

TEST_F(CopyCommand, PrintsJson) {
  const Outcome outcome = Copy({a_, b_, false, true});
  EXPECT_THAT(outcome, Succeeds());
  const json expected = {
      {"source", a_},
      {"files",
       {{"database", {{"path", b_}, {"bytes", fs::file_size(a_)}}},
        {"track_file", {{"path", folder_.File("b.gb")}, {"bytes", fs::file_size(folder_.File("a.gb"))}}}}}};
  EXPECT_EQ(json::parse(outcome.out), expected);
}

TEST_F(CopyCommand, CopiesAProjectWithoutTrackFile) {
  fs::remove(folder_.File("a.gb"));
  const Outcome outcome = Copy({a_, b_});
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_THAT(outcome.out, HasSubstr("none: the source has no track file\n"));
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db", "b.db"));
  EXPECT_EQ(json::parse(Copy({a_, b_, true, true}).out)["files"]["track_file"]["bytes"], nullptr);
}

TEST_F(CopyCommand, FinishesInTheCopyWhatAKilledProgramBegan) {
  fs::create_directory(folder_.File("crash"));
  const std::string crashed = folder_.File("crash/a.db");
  // The rows that follow push the changed page out of the engine's memory and into the file.
  support::ExecuteAndStopInTheMiddle(
      a_,
      "UPDATE data_image SET name = 'half'; CREATE TABLE t(b);"
      "INSERT INTO t WITH RECURSIVE c(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM c LIMIT 50) "
      "SELECT zeroblob(9000) FROM c",
      crashed);
  fs::copy_file(folder_.File("a.gb"), folder_.File("crash/a.gb"));
  const auto before = support::Snapshot(folder_.File("crash"));
  EXPECT_THAT(Copy({crashed, b_}), Succeeds());
  EXPECT_EQ(support::Snapshot(folder_.File("crash")), before);
  EXPECT_EQ(support::Query(b_, "SELECT * FROM data_image"), support::Query(a_, "SELECT * FROM data_image"));
  EXPECT_EQ(support::QueryOne(b_, "PRAGMA integrity_check"), "ok");
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db", "a.gb", "b.db", "b.gb", "crash"));
}

TEST_F(CopyCommand, CopiesADatabaseWithAJournalThatIsDone) {
  support::Execute(a_, "PRAGMA journal_mode = PERSIST; UPDATE data_image SET name = 'kept'");
  ASSERT_GT(fs::file_size(a_ + "-journal"), 0U);
  EXPECT_THAT(Copy({a_, b_}), Succeeds());
  ExpectSamePair();
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db", "a.db-journal", "a.gb", "b.db", "b.gb"));
}

TEST_F(CopyCommand, TakesAlongWhatIsInAWriteAheadLog) {
  fs::create_directory(folder_.File("open"));
  fs::copy_file(folder_.File("a.gb"), folder_.File("open/a.gb"));
  support::ExecuteAheadAndStop(a_, "UPDATE data_image SET name = 'logged'", folder_.File("open/a.db"));
  const std::string open = folder_.File("open/a.db");
  const auto before = support::Snapshot(folder_.File("open"));
  ASSERT_TRUE(fs::exists(open + "-wal"));
  EXPECT_THAT(Copy({open, b_}), Succeeds());
  EXPECT_EQ(support::Snapshot(folder_.File("open")), before);
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db", "a.gb", "b.db", "b.gb", "open"));
  EXPECT_EQ(support::QueryOne(b_, "SELECT count(*) FROM data_image WHERE name = 'logged'"),
            support::QueryOne(b_, "SELECT count(*) FROM data_image"));
}

TEST_F(CopyCommand, DoesNotReplaceUnasked) {
  MakeProject(b_, "Earlier");
  ExpectRefused({a_, b_}, kFailed, b_, "exists already; use --force to replace it\n");
  fs::remove(b_);
  ExpectRefused({a_, b_}, kFailed, folder_.File("b.gb"), "exists already; use --force to replace it\n");
}

TEST_F(CopyCommand, ReplacesByForce) {
  MakeProject(b_, "Earlier", 7);
  EXPECT_THAT(Copy({a_, b_, true}), Succeeds());
  ExpectSamePair();
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db", "a.gb", "b.db", "b.gb"));
}

TEST_F(CopyCommand, LeavesNoTrackFileOfTheEarlierProject) {
  MakeProject(b_, "Earlier");
  fs::remove(folder_.File("a.gb"));
  EXPECT_THAT(Copy({a_, b_, true}), Succeeds());
  EXPECT_THAT(folder_.Names(), ElementsAre("a.db", "b.db"));
}

TEST_F(CopyCommand, NeverReplacesTheSource) {
  fs::create_symlink("a.db", folder_.File("link.db"));
  for (const std::string& target : {a_, folder_.File("./a.db"), folder_.File("link.db")}) {
    ExpectRefused({a_, target, true}, kWrongUsage, target,
                  "is the file that is read from: it is never replaced");
  }
}

TEST_F(CopyCommand, NeverReplacesTheTrackFileOfTheSource) {
  ExpectRefused({a_, folder_.File("a.sqlite"), true}, kWrongUsage, folder_.File("a.gb"),
                "is the file that is read from");
  fs::remove(folder_.File("a.gb"));
  ExpectRefused({a_, folder_.File("a.sqlite"), true}, kWrongUsage, folder_.File("a.gb"),
                "is the file that is read from");
}

TEST_F(CopyCommand, NeverReplacesWhatIsNoProject) {
  support::WriteText(b_, "a photo, for all we know");
  ExpectRefused({a_, b_, true}, kFailed, b_, "is no database; it is not replaced");
  fs::remove(b_);
  MakeFlight(b_, {{"m1", "Early"}});
  ExpectRefused({a_, b_, true}, kFailed, b_, "is a database but no project; it is not replaced");
}

TEST_F(CopyCommand, NeedsNamesOfProjects) {
  ExpectRefused({a_, folder_.File("b.gb")}, kWrongUsage, folder_.File("b.gb"),
                "the extension .gb belongs to");
  ExpectRefused({folder_.File("a.gb"), b_}, kWrongUsage, folder_.File("a.gb"),
                "the extension .gb belongs to");
  ExpectRefused({a_, ""}, kWrongUsage, "''", "is no file name");
  ExpectRefused({a_, folder_.Path().string() + "/"}, kWrongUsage, folder_.Path().string() + "/",
                "names a folder, not a file");
}

TEST_F(CopyCommand, NeedsTheFolder) {
  ExpectRefused({a_, folder_.File("missing/b.db")}, kFailed, folder_.File("missing/b.db"),
                "the folder '" + folder_.File("missing") + "' does not exist; make it first\n");
}

TEST_F(CopyCommand, PutsTheEarlierProjectBackWhenItCannotCopy) {
  MakeProject(a_, "Source", 3000);
  MakeProject(b_, "Earlier");
  const auto before = support::Snapshot(folder_.Path());
  const Outcome forced = Shell(folder_, "ulimit -f 64; qvprj copy a.db b.db --force");
  EXPECT_THAT(forced, FailsWith(kFailed, "b.db", "cannot be copied from a.db: File too large; "));
  EXPECT_THAT(forced.err, HasSubstr("; what was there before is untouched\n"));
  const Outcome fresh = Shell(folder_, "ulimit -f 64; qvprj copy a.db c.db");
  EXPECT_THAT(fresh, FailsWith(kFailed, "c.db", "cannot be copied from a.db: File too large; "));
  EXPECT_THAT(fresh.err, HasSubstr("; nothing was left behind\n"));
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}
