#include <filesystem>
#include <string>

#include "DatabaseFixture.h"
#include "support/ContractsProcess.h"

namespace qvsql_test {
namespace {

namespace fs = std::filesystem;

class CreateTest : public DatabaseTest {
 protected:
  void ExpectRefused(const std::string& path) const {
    const auto before = support::Snapshot(folder_.Path());
    const auto names = folder_.Names();
    Database db;
    EXPECT_FALSE(db.Create(path)) << path;
    EXPECT_FALSE(db.IsOpen()) << path;
    EXPECT_EQ(support::Snapshot(folder_.Path()), before);
    EXPECT_EQ(folder_.Names(), names);
  }
};

TEST_F(CreateTest, LeavesTheDatabaseOpen) {
  Database db;
  EXPECT_TRUE(db.Create(Path()));
  EXPECT_TRUE(db.IsOpen());
}

TEST_F(CreateTest, MakesAValidDatabaseAtOnce) {
  const Database db = Created();
  EXPECT_THAT(support::Tables(Path()), IsEmpty());
  EXPECT_EQ(support::QueryOne(Path(), "PRAGMA integrity_check"), "ok");
  EXPECT_GE(fs::file_size(Path()), 512U);
}

TEST_F(CreateTest, WhatIsNeverFilledIsADatabaseStill) {
  { const Database db = Created(); }
  Database db;
  EXPECT_TRUE(db.Open(Path()));
}

TEST_F(CreateTest, UsesLargePages) {
  { Database db = CreatedWithTable(); }
  EXPECT_EQ(support::QueryOne(Path(), "PRAGMA page_size"), "16384");
}

TEST_F(CreateTest, StoresTextAsUtf8) {
  { Database db = CreatedWithTable(); }
  EXPECT_EQ(support::QueryOne(Path(), "PRAGMA encoding"), "UTF-8");
}

TEST_F(CreateTest, LeavesOneFile) {
  {
    Database db = CreatedWithTable();
    ASSERT_TRUE(db.AddRecords("t", {"1", "2", "3"}, 3));
  }
  EXPECT_THAT(folder_.Names(), ElementsAre("survey.db"));
}

TEST_F(CreateTest, OtherProgramsSeeWhatWasAddedAtOnce) {
  Database db = CreatedWithTable();
  ASSERT_TRUE(db.AddRecords("t", {"1", "2", "3"}, 3));
  EXPECT_EQ(RawCount(), "1");
}

TEST_F(CreateTest, RefusesAPathWithADatabase) {
  MakeSurvey();
  ExpectRefused(Path());
}

TEST_F(CreateTest, RefusesAPathWithAFile) {
  support::WriteText(Path("notes"), "text");
  ExpectRefused(Path("notes"));
}

TEST_F(CreateTest, RefusesAPathWithAnEmptyFile) {
  support::WriteText(Path("empty"), "");
  ExpectRefused(Path("empty"));
}

TEST_F(CreateTest, RefusesAPathWithADirectory) {
  fs::create_directory(Path("directory"));
  ExpectRefused(Path("directory"));
}

TEST_F(CreateTest, RefusesAPathWithALink) {
  MakeSurvey();
  fs::create_symlink(Path(), Path("link.db"));
  ExpectRefused(Path("link.db"));
}

TEST_F(CreateTest, RefusesAPathWithADanglingLink) {
  fs::create_symlink(Path("none.db"), Path("link.db"));
  ExpectRefused(Path("link.db"));
  EXPECT_TRUE(fs::is_symlink(Path("link.db")));
}

TEST_F(CreateTest, RefusesAMissingFolder) {
  ExpectRefused(Path("none/survey.db"));
}

TEST_F(CreateTest, RefusesAnEmptyPath) {
  ExpectRefused("");
}

TEST_F(CreateTest, RefusesAReadOnlyFolder) {
  const support::ReadOnlyFolder readOnly(folder_.Path());
  EXPECT_EQ(support::AsOrdinaryUser([&] { return Database().Create(Path()); }), false);
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(CreateTest, RefusedItLeavesSideFilesAlone) {
  MakeSurvey();
  support::WriteText(Path("survey.db-journal"), "");
  ExpectRefused(Path());
}

TEST_F(CreateTest, RemovesStaleSideFiles) {
  for (const char* ending : {"-journal", "-wal", "-shm"}) {
    support::WriteText(Path("survey.db") + ending, "stale");
  }
  Database db = Created();
  EXPECT_THAT(folder_.Names(), ElementsAre("survey.db"));
}

TEST_F(CreateTest, AStaleHotJournalDoesNotReachTheNewDatabase) {
  MakeSurvey();
  support::Bytes journal{0xD9, 0xD5, 0x05, 0xF9, 0x20, 0xA1, 0x63, 0xD7};
  journal.resize(4096, 0xFF);
  fs::remove(Path());
  support::WriteBytes(Path("survey.db-journal"), journal);
  {
    Database db = CreatedWithTable();
    ASSERT_TRUE(db.AddRecords("t", {"1", "2", "3"}, 3));
  }
  EXPECT_EQ(RawCount(), "1");
}

TEST_F(CreateTest, MakesAFileAtAnyName) {
  for (const std::string name : {"a?mode=memory", "file:a.db", "a#%41", "\xB1\xBE\xFF", "a'b\";"}) {
    const Database db = Created(name);
    EXPECT_TRUE(fs::is_regular_file(Path(name))) << name;
  }
}

TEST_F(CreateTest, NamesThatMeanADatabaseInMemoryMakeFiles) {
  EXPECT_EQ(support::InChild([&] {
              fs::current_path(folder_.Path());
              return Database().Create(":memory:") && Database().Create("file:x?mode=memory");
            }),
            true);
  EXPECT_THAT(folder_.Names(), ElementsAre(":memory:", "file:x?mode=memory"));
}

TEST_F(CreateTest, TakesThePlaceOfAnOpenDatabase) {
  MakeSurvey("old.db");
  Database db = Opened("old.db");
  ASSERT_TRUE(db.Create(Path()));
  EXPECT_FALSE(CanRead(db, "t"));
  ASSERT_TRUE(db.CreateTable("u", {Field("a", 1)}));
  EXPECT_THAT(support::Tables(Path()), ElementsAre("u"));
  EXPECT_THAT(support::Tables(Path("old.db")), ElementsAre("t"));
}

TEST_F(CreateTest, FailsWhereTheDiskIsFull) {
  EXPECT_EQ(support::OnFullDisk(100, [&] { return Database().Create(Path()); }), false);
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(CreateTest, ADiskThatFillsUpLaterLeavesAValidDatabase) {
  EXPECT_EQ(support::OnFullDisk(300'000,
                                [&] {
                                  Database db = CreatedWithTable();
                                  const bool first = db.AddRecords("t", {"1", "2", "kept"}, 3);
                                  const Cells large(9000, std::string(200, 'x'));
                                  return first && db.AddRecords("t", large, 3);
                                }),
            false);
  EXPECT_EQ(support::QueryOne(Path(), "SELECT group_concat(s) FROM t"), "kept");
  EXPECT_EQ(support::QueryOne(Path(), "PRAGMA integrity_check"), "ok");
}

}  // namespace
}  // namespace qvsql_test
