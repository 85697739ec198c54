#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "DatabaseFixture.h"
#include "support/ContractsFailingMemory.h"

namespace qvsql_test {
namespace {

// Where memory runs out an operation is false, throws nothing and has done nothing.
class MemoryRunsOut : public DatabaseTest {
 protected:
  // Calls `prepare`, then `work` with memory for `allowed` allocations only, then `check` with the result of
  // `work`; from none on until `work` gets all it asks for.
  template <class Prepare, class Work, class Check>
  static void UntilMemorySuffices(Prepare prepare, Work work, Check check) {
    bool struck = true;
    long allowed = 0;
    for (; struck; ++allowed) {
      ASSERT_LT(allowed, 10000);
      auto arguments = prepare();
      bool done = false;
      {
        const support::FailingMemory memory(allowed);
        done = work(arguments);
        struck = memory.Struck();
      }
      EXPECT_TRUE(done || struck) << "failed with all the memory it asked for";
      check(arguments, done);
    }
    EXPECT_GT(allowed, 1) << "no allocation was ever made to fail";
  }

  const std::string long_text_ = std::string(100, 'x');
};

struct Rows {
  std::string table = "t";
  Cells cells;
  int rows = -1;
  int columns = -1;
  std::vector<std::vector<char>> blobs;
};

TEST_F(MemoryRunsOut, OpenIsFalseAndTheDatabaseClosed) {
  MakeSurvey();
  struct Opening {
    Database db;
    std::string path;
  };
  UntilMemorySuffices(
      [&] {
        return Opening{Database(), Path()};
      },
      [](Opening& opening) { return opening.db.Open(std::move(opening.path)); },
      [](Opening& opening, bool done) { EXPECT_EQ(opening.db.IsOpen(), done); });
}

TEST_F(MemoryRunsOut, CreateIsFalseAndTheDatabaseClosed) {
  struct Creation {
    Database db;
    std::string path;
  };
  UntilMemorySuffices(
      [&] {
        std::filesystem::remove(Path());
        return Creation{Database(), Path()};
      },
      [](Creation& creation) { return creation.db.Create(std::move(creation.path)); },
      [this](Creation& creation, bool done) {
        EXPECT_EQ(creation.db.IsOpen(), done);
        EXPECT_EQ(std::filesystem::exists(Path()), done);
      });
}

TEST_F(MemoryRunsOut, CreateTableIsFalseAndThereIsNoTable) {
  Database db = Created();
  struct Table {
    std::string name;
    std::vector<Field> fields;
  };
  UntilMemorySuffices(
      [&] {
        EXPECT_TRUE(Exec(db, "DROP TABLE IF EXISTS t"));
        return Table{"t", {Field("a", 1), Field(long_text_, 3)}};
      },
      [&db](Table& table) { return db.CreateTable(std::move(table.name), std::move(table.fields)); },
      [&](Table&, bool done) { EXPECT_EQ(support::Tables(Path()).size(), done ? 1U : 0U); });
}

TEST_F(MemoryRunsOut, AddRecordsIsFalseAndAddsNothing) {
  Database db = CreatedWithTable();
  UntilMemorySuffices(
      [&] {
        EXPECT_TRUE(Exec(db, "DELETE FROM t"));
        return Rows{.table = "t", .cells = {"1", "0.5", long_text_, "2", "1.5", long_text_}, .blobs = {}};
      },
      [&db](Rows& rows) { return db.AddRecords(std::move(rows.table), rows.cells, 3); },
      [&](Rows&, bool done) { EXPECT_EQ(RawCount(), done ? "2" : "0"); });
}

TEST_F(MemoryRunsOut, GetRecordsIsFalseAndLeavesTheOutputsAsTheyWere) {
  Database db = CreatedWithTable();
  ASSERT_TRUE(db.AddRecords("t", {"1", "0.5", long_text_, "2", "1.5", long_text_}, 3));
  UntilMemorySuffices([] { return Rows{.table = "t", .cells = {"before"}, .blobs = {}}; },
                      [&db](Rows& rows) {
                        return db.GetRecords(std::move(rows.table), &rows.rows, &rows.columns, rows.cells);
                      },
                      [](Rows& rows, bool done) {
                        EXPECT_EQ(rows.rows, done ? 2 : 0);
                        EXPECT_EQ(rows.columns, done ? 3 : 0);
                        EXPECT_EQ(rows.cells.size(), done ? 7U : 1U);
                        EXPECT_EQ(rows.cells.front(), "before");
                      });
}

TEST_F(MemoryRunsOut, ReadingBlobsIsFalseAndLeavesTheOutputsAsTheyWere) {
  Database db = CreatedWithTable();
  ASSERT_TRUE(db.AddRecords("t", {"1", "0.5", long_text_, "2", "1.5", long_text_}, 3));
  UntilMemorySuffices([] { return Rows{.table = "t", .cells = {"before"}, .blobs = {{'b'}}}; },
                      [&db](Rows& rows) {
                        return db.GetRecords(std::move(rows.table), 2, &rows.rows, &rows.columns, rows.cells,
                                             rows.blobs);
                      },
                      [](Rows& rows, bool done) {
                        EXPECT_EQ(rows.rows, done ? 2 : 0);
                        EXPECT_EQ(rows.cells.size(), done ? 7U : 1U);
                        EXPECT_EQ(rows.blobs.size(), done ? 3U : 1U);
                        EXPECT_EQ(rows.blobs.front(), std::vector<char>{'b'});
                      });
}

TEST_F(MemoryRunsOut, ExecSQLIsFalseAndWritesNothing) {
  Database db = CreatedWithTable();
  UntilMemorySuffices(
      [&] {
        EXPECT_TRUE(Exec(db, "DELETE FROM t"));
        return std::string("INSERT INTO t VALUES(1, 0.5, 'one') RETURNING i, r, s");
      },
      [&db](std::string& sql) {
        return db.ExecSQL(
            std::move(sql), [](void*, int, char**, char**) { return 0; }, nullptr);
      },
      [&](std::string&, bool done) { EXPECT_EQ(RawCount(), done ? "1" : "0"); });
}

TEST_F(MemoryRunsOut, TurningWritableIsFalseAndLeavesTheDatabaseReadable) {
  MakeSurvey();
  struct Writing {
    Database db;
    std::string table;
    Cells cells;
  };
  UntilMemorySuffices(
      [&] {
        support::Execute(Path(), "DELETE FROM t WHERE i = 3");
        return Writing{Opened(), "t", {"3", "2.5", long_text_}};
      },
      [](Writing& writing) { return writing.db.AddRecords(std::move(writing.table), writing.cells, 3); },
      [&](Writing& writing, bool done) {
        EXPECT_EQ(RawCount(), done ? "3" : "2");
        EXPECT_EQ(CellsOf(writing.db, "t").size(), done ? 9U : 6U);
      });
}

}  // namespace
}  // namespace qvsql_test
