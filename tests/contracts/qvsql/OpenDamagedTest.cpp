// Reading what is left of a damaged database.
#include <filesystem>

#include "DatabaseFixture.h"
#include "RawConnection.h"

namespace qvsql_test {
namespace {

constexpr std::size_t kPageSize = 4096;

class OpenDamagedTest : public DatabaseTest {
 protected:
  /// A table "t" of 1000 rows on many pages, row i with a text of i and 100 more characters.
  void MakeLarge() const {
    support::Execute(Path(),
                     "PRAGMA page_size = 4096; CREATE TABLE t(i INTEGER, s TEXT);"
                     "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000)"
                     "INSERT INTO t SELECT i, printf('%d %0100d', i, 0) FROM n;");
  }

  void CutInHalf() const {
    const auto size = std::filesystem::file_size(Path());
    std::filesystem::resize_file(Path(), size / 2 / kPageSize * kPageSize);
  }

  /// How many rows come before the statement fails; none when it does not.
  static std::optional<std::size_t> RowsBeforeFailure(Database& db, const std::string& statement) {
    RowCollector rows;
    if (db.ExecSQL(statement, RowCollector::Take, &rows)) {
      return std::nullopt;
    }
    return rows.rows.size();
  }
};

TEST_F(OpenDamagedTest, ReadsASoundDatabaseAsOpenDoes) {
  MakeSurvey();
  Database db;
  ASSERT_TRUE(db.OpenDamaged(Path()));
  EXPECT_THAT(CellsOf(db, "t"), ElementsAre("1", "0.5", "one", "2", "1.5", "two"));
}

TEST_F(OpenDamagedTest, ReadsTheRowsBeforeTheDamage) {
  MakeLarge();
  CutInHalf();
  Database db;
  EXPECT_FALSE(db.Open(Path()));
  ASSERT_TRUE(db.OpenDamaged(Path()));
  const auto rows = RowsBeforeFailure(db, "SELECT rowid FROM t");
  ASSERT_TRUE(rows.has_value());
  EXPECT_GT(*rows, 300U);
  EXPECT_LT(*rows, 700U);
}

TEST_F(OpenDamagedTest, MakesNoRowsOfAPageThatIsCut) {
  MakeLarge();
  const auto size = std::filesystem::file_size(Path()) / 2 / kPageSize * kPageSize;
  for (const std::size_t rest : {4000U, 1000U, 9U, 1U}) {
    std::filesystem::resize_file(Path(), size + rest);
    const auto before = support::Snapshot(folder_.Path());
    Database db;
    ASSERT_TRUE(db.OpenDamaged(Path()));
    RowCollector rows;
    EXPECT_FALSE(db.ExecSQL("SELECT CASE WHEN s LIKE i || ' 0%' THEN 'row' ELSE 'none' END FROM t",
                            RowCollector::Take, &rows));
    EXPECT_GT(rows.rows.size(), 300U);
    for (const auto& row : rows.rows) {
      EXPECT_EQ(row[0], "row") << rest;
    }
    EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  }
}

TEST_F(OpenDamagedTest, WritesNothing) {
  MakeSurvey();
  const auto before = support::Snapshot(folder_.Path());
  {
    Database db;
    ASSERT_TRUE(db.OpenDamaged(Path()));
    EXPECT_FALSE(db.AddRecords("t", {"3", "2.5", "three"}, 3));
    EXPECT_FALSE(db.CreateTable("u", {Field("i", 1)}));
    EXPECT_FALSE(db.ExecSQL("DELETE FROM t", nullptr, nullptr));
    EXPECT_FALSE(db.ExecSQL("DELETE FROM sqlite_master", nullptr, nullptr));
    EXPECT_THAT(CellsOf(db, "t"), ElementsAre("1", "0.5", "one", "2", "1.5", "two"));
  }
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(OpenDamagedTest, RefusesWhatIsNoDatabase) {
  Database db;
  EXPECT_FALSE(db.OpenDamaged(Path("none.db")));
  support::WriteText(Path(), std::string(5000, 'x'));
  EXPECT_FALSE(db.OpenDamaged(Path()));
  EXPECT_FALSE(db.OpenDamaged(folder_.Path().string()));
  EXPECT_FALSE(db.IsOpen());
}

}  // namespace
}  // namespace qvsql_test
