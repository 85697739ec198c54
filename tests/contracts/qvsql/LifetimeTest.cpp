#include <filesystem>
#include <string>
#include <type_traits>
#include <utility>

#include "DatabaseFixture.h"

namespace qvsql_test {
namespace {

class LifetimeTest : public DatabaseTest {
 protected:
  // How many files this process has open.
  static std::size_t OpenFiles() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      ++count;
    }
    return count;
  }
};

TEST_F(LifetimeTest, DestructionClosesTheFile) {
  MakeSurvey();
  const std::size_t before = OpenFiles();
  {
    Database db = Opened();
    EXPECT_TRUE(CanRead(db, "t"));
    ASSERT_TRUE(db.AddRecords("t", {"3", "2.5", "three"}, 3));
    EXPECT_GT(OpenFiles(), before);
  }
  EXPECT_EQ(OpenFiles(), before);
}

TEST_F(LifetimeTest, AFailedOpenLeavesNoFileOpen) {
  support::WriteText(Path("notes"), std::string(5000, 'x'));
  const std::size_t before = OpenFiles();
  Database db;
  EXPECT_FALSE(db.Open(Path("notes")));
  EXPECT_FALSE(db.Create(Path("notes")));
  EXPECT_EQ(OpenFiles(), before);
}

TEST_F(LifetimeTest, AClosedFileCanBeRemovedAndMadeAgain) {
  { Database db = CreatedWithTable(); }
  ASSERT_TRUE(std::filesystem::remove(Path()));
  Database db = Created();
  EXPECT_THAT(support::Tables(Path()), IsEmpty());
}

TEST_F(LifetimeTest, WhatWasWrittenIsThereAfterwards) {
  {
    Database db = CreatedWithTable();
    ASSERT_TRUE(db.AddRecords("t", {"1", "0.5", "one"}, 3));
  }
  Database db = Opened();
  EXPECT_THAT(CellsOf(db, "t"), ElementsAre("1", "0.5", "one"));
  EXPECT_EQ(support::QueryOne(Path(), "PRAGMA integrity_check"), "ok");
}

TEST_F(LifetimeTest, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<Database>);
  EXPECT_FALSE(std::is_copy_assignable_v<Database>);
}

TEST_F(LifetimeTest, MovingTakesTheOpenFileAlong) {
  Database source = CreatedWithTable();
  Database target(std::move(source));
  EXPECT_TRUE(target.IsOpen());
  EXPECT_TRUE(target.AddRecords("t", {"1", "0.5", "one"}, 3));
}

TEST_F(LifetimeTest, WhatWasMovedFromIsClosedAndUsable) {
  MakeSurvey("other.db");
  Database source = CreatedWithTable();
  const Database target(std::move(source));
  EXPECT_FALSE(source.IsOpen());
  EXPECT_FALSE(CanRead(source, "t"));
  EXPECT_TRUE(source.Open(Path("other.db")));
  EXPECT_TRUE(CanRead(source, "t"));
}

TEST_F(LifetimeTest, MoveAssignmentClosesTheEarlierFile) {
  MakeSurvey();
  MakeSurvey("other.db");
  const std::size_t before = OpenFiles();
  {
    Database db = Opened();
    EXPECT_TRUE(CanRead(db, "t"));
    const std::size_t withOne = OpenFiles();
    db = Opened("other.db");
    EXPECT_TRUE(CanRead(db, "t"));
    EXPECT_EQ(OpenFiles(), withOne);
  }
  EXPECT_EQ(OpenFiles(), before);
}

TEST_F(LifetimeTest, AssigningAClosedDatabaseCloses) {
  MakeSurvey();
  Database db = Opened();
  db = Database();
  EXPECT_FALSE(db.IsOpen());
}

}  // namespace
}  // namespace qvsql_test
