#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "DatabaseFixture.h"
#include "RawConnection.h"
#include "support/ContractsProcess.h"

namespace qvsql_test {
namespace {

namespace fs = std::filesystem;

// Reading leaves the database and its folder as they were: same bytes, no new files, not even for a moment
// that the test can see.
class UntouchedFolder : public DatabaseTest {
 protected:
  UntouchedFolder() { setenv("TMPDIR", scratch_.Path().c_str(), 1); }
  ~UntouchedFolder() override { unsetenv("TMPDIR"); }

  struct State {
    std::vector<std::pair<std::string, support::Bytes>> files;
    std::vector<std::string> names;
    friend bool operator==(const State&, const State&) = default;
  };

  State Now() const { return {support::Snapshot(folder_.Path()), folder_.Names()}; }

  // Reads by both ways there are; gives the first column of "t".
  static Cells FirstColumn(Database& db) {
    int rows = -1;
    int columns = 1;
    Cells cells;
    EXPECT_TRUE(db.GetRecords("t", &rows, &columns, cells));
    Cells first;
    for (std::size_t i = 0; i < cells.size(); i += static_cast<std::size_t>(columns)) {
      first.push_back(cells[i]);
    }
    Cells selected;
    for (const auto& row : RowsOf(db, "SELECT * FROM t").rows) {
      selected.push_back(row[0].value_or("NULL"));
    }
    EXPECT_EQ(first, selected);
    return first;
  }

  // The first column of "t", read while the folder stays untouched.
  Cells ReadUntouched(const std::string& name) const {
    const State before = Now();
    Cells first;
    {
      Database db = Opened(name);
      EXPECT_TRUE(Now() == before) << "opening changed the folder";
      first = FirstColumn(db);
      EXPECT_TRUE(Now() == before) << "reading changed the folder";
    }
    EXPECT_TRUE(Now() == before) << "closing changed the folder";
    EXPECT_THAT(scratch_.Names(), IsEmpty()) << "a temporary copy was left";
    return first;
  }

  // The same as someone who may not write to the folder.
  std::optional<bool> ReadableWithoutRights(const std::string& name, const Cells& expected) const {
    chmod(scratch_.Path().c_str(), 0777);
    const support::ReadOnlyFolder readOnly(folder_.Path());
    return support::AsOrdinaryUser([&] {
      Database db;
      return db.Open(Path(name)) && FirstColumn(db) == expected;
    });
  }

  static Cells Ids(int count) {
    Cells ids;
    for (int id = 1; id <= count; ++id) {
      ids.push_back(std::to_string(id));
    }
    return ids;
  }

  support::TempFolder elsewhere_;
  support::TempFolder scratch_;
};

TEST_F(UntouchedFolder, ByReadingADatabase) {
  MakeSurvey();
  EXPECT_EQ(ReadUntouched("survey.db"), Ids(2));
}

TEST_F(UntouchedFolder, ByFailedReading) {
  MakeSurvey();
  const State before = Now();
  Database db = Opened();
  EXPECT_FALSE(CanRead(db, "none"));
  EXPECT_FALSE(Exec(db, "SELECT nonsense"));
  EXPECT_TRUE(Now() == before);
}

TEST_F(UntouchedFolder, ByReadingADatabaseInWriteAheadModeThatWasClosedWell) {
  support::Execute(Path("flight.db"),
                   "PRAGMA journal_mode = WAL; CREATE TABLE t(id INTEGER); INSERT INTO t VALUES(1);");
  ASSERT_THAT(folder_.Names(), ElementsAre("flight.db"));
  EXPECT_EQ(ReadUntouched("flight.db"), Ids(1));
}

TEST_F(UntouchedFolder, ByReadingAWriteAheadLog) {
  LeaveWriteAheadLog(folder_.Path());
  EXPECT_EQ(ReadUntouched("flight.db"), Ids(2));
}

TEST_F(UntouchedFolder, ByReadingAWriteAheadLogThroughALink) {
  LeaveWriteAheadLog(elsewhere_.Path());
  const auto before = support::Snapshot(elsewhere_.Path());
  fs::create_symlink(elsewhere_.File("flight.db"), Path("link.db"));
  EXPECT_EQ(ReadUntouched("link.db"), Ids(2));
  EXPECT_EQ(support::Snapshot(elsewhere_.Path()), before);
}

TEST_F(UntouchedFolder, ByReadingAnEmptyWriteAheadLog) {
  LeaveWriteAheadLog(folder_.Path());
  support::WriteText(Path("flight.db-wal"), "");
  EXPECT_EQ(ReadUntouched("flight.db"), Ids(1));
}

TEST_F(UntouchedFolder, ByReadingATornWriteAheadLog) {
  LeaveWriteAheadLog(folder_.Path());
  fs::resize_file(Path("flight.db-wal"), fs::file_size(Path("flight.db-wal")) - 100);
  EXPECT_EQ(ReadUntouched("flight.db"), Ids(1));
}

// The engine takes a log for the database's whatever mode its header says.
TEST_F(UntouchedFolder, ByReadingAWriteAheadLogThatTheHeaderDoesNotSay) {
  LeaveWriteAheadLog(folder_.Path());
  support::Bytes bytes = support::ReadBytes(Path("flight.db"));
  bytes[18] = bytes[19] = 1;
  support::WriteBytes(Path("flight.db"), bytes);
  for (const char* const file : {"flight.db", "flight.db-wal"}) {
    fs::copy_file(Path(file), elsewhere_.File(file));
  }
  ASSERT_EQ(support::QueryOne(elsewhere_.File("flight.db"), "SELECT count(*) FROM t"), "2");
  EXPECT_EQ(ReadUntouched("flight.db"), Ids(2));
}

TEST_F(UntouchedFolder, ByReadingBesideALogOfAnotherKind) {
  MakeSurvey();
  for (const char* const text : {"", "the diary of the surveyor"}) {
    support::WriteText(Path("survey.db-wal"), text);
    EXPECT_EQ(ReadUntouched("survey.db"), Ids(2)) << text;
  }
  fs::remove(Path("survey.db-wal"));
  fs::create_directory(Path("survey.db-wal"));
  EXPECT_EQ(ReadUntouched("survey.db"), Ids(2));
}

TEST_F(UntouchedFolder, ByReadingAHotJournal) {
  LeaveHotJournal(folder_.Path());
  EXPECT_EQ(ReadUntouched("flight.db"), Ids(200));
}

TEST_F(UntouchedFolder, ByReadingAHotJournalThroughALink) {
  LeaveHotJournal(elsewhere_.Path());
  const auto before = support::Snapshot(elsewhere_.Path());
  fs::create_symlink(elsewhere_.File("flight.db"), Path("link.db"));
  EXPECT_EQ(ReadUntouched("link.db"), Ids(200));
  EXPECT_EQ(support::Snapshot(elsewhere_.Path()), before);
}

TEST_F(UntouchedFolder, ByReadingBesideAnEmptyJournal) {
  MakeSurvey();
  support::WriteText(Path("survey.db-journal"), "");
  EXPECT_EQ(ReadUntouched("survey.db"), Ids(2));
}

TEST_F(UntouchedFolder, ByReadingBesideAJournalThatIsDone) {
  support::Execute(Path(),
                   "PRAGMA journal_mode = PERSIST; CREATE TABLE t(id INTEGER); INSERT INTO t VALUES(1);");
  ASSERT_THAT(folder_.Names(), ElementsAre("survey.db", "survey.db-journal"));
  EXPECT_EQ(ReadUntouched("survey.db"), Ids(1));
}

TEST_F(UntouchedFolder, ByReadingBesideAJournalOfAnotherKind) {
  MakeSurvey();
  support::WriteText(Path("survey.db-journal"), "the diary of the surveyor");
  EXPECT_EQ(ReadUntouched("survey.db"), Ids(2));
}

TEST_F(UntouchedFolder, ByReadingWhileAProgramWritesAhead) {
  const OtherProgram writer(
      Path(), "PRAGMA journal_mode = WAL; CREATE TABLE t(id INTEGER); INSERT INTO t VALUES(1), (2);");
  ASSERT_THAT(folder_.Names(), ElementsAre("survey.db", "survey.db-shm", "survey.db-wal"));
  EXPECT_EQ(ReadUntouched("survey.db"), Ids(2));
}

TEST_F(UntouchedFolder, WhereTheFolderIsReadOnly) {
  MakeSurvey();
  EXPECT_EQ(ReadableWithoutRights("survey.db", Ids(2)), true);
  EXPECT_THAT(folder_.Names(), ElementsAre("survey.db"));
}

TEST_F(UntouchedFolder, WhereTheFolderOfAWellClosedDatabaseInWriteAheadModeIsReadOnly) {
  support::Execute(Path("flight.db"),
                   "PRAGMA journal_mode = WAL; CREATE TABLE t(id INTEGER); INSERT INTO t VALUES(1);");
  EXPECT_EQ(ReadableWithoutRights("flight.db", Ids(1)), true);
  EXPECT_THAT(folder_.Names(), ElementsAre("flight.db"));
}

TEST_F(UntouchedFolder, WhereTheFolderOfAWriteAheadLogIsReadOnly) {
  LeaveWriteAheadLog(folder_.Path());
  const State before = Now();
  EXPECT_EQ(ReadableWithoutRights("flight.db", Ids(2)), true);
  EXPECT_TRUE(Now() == before);
}

TEST_F(UntouchedFolder, WhereTheFolderOfAHotJournalIsReadOnly) {
  LeaveHotJournal(folder_.Path());
  const State before = Now();
  EXPECT_EQ(ReadableWithoutRights("flight.db", Ids(200)), true);
  EXPECT_TRUE(Now() == before);
}

TEST_F(UntouchedFolder, WhereOnlyTheFileIsReadOnly) {
  MakeSurvey();
  chmod(folder_.Path().c_str(), 0777);
  chmod(Path().c_str(), 0444);
  const State before = Now();
  EXPECT_EQ(support::AsOrdinaryUser([&] {
              Database db;
              return db.Open(Path()) && FirstColumn(db) == Ids(2);
            }),
            true);
  EXPECT_TRUE(Now() == before);
}

TEST_F(UntouchedFolder, ByWritingThatIsNotAllowed) {
  MakeSurvey();
  const State before = Now();
  {
    const support::ReadOnlyFolder readOnly(folder_.Path());
    EXPECT_EQ(support::AsOrdinaryUser([&] {
                Database db;
                return db.Open(Path()) && db.AddRecords("t", {"3", "2.5", "three"}, 3);
              }),
              false);
  }
  EXPECT_TRUE(Now() == before);
}

TEST_F(UntouchedFolder, ReadingWorksOnAfterWritingThatIsNotAllowed) {
  MakeSurvey();
  const support::ReadOnlyFolder readOnly(folder_.Path());
  EXPECT_EQ(
      support::AsOrdinaryUser([&] {
        Database db;
        return db.Open(Path()) && !db.AddRecords("t", {"3", "2.5", "three"}, 3) && FirstColumn(db) == Ids(2);
      }),
      true);
}

}  // namespace
}  // namespace qvsql_test
