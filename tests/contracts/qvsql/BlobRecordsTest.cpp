#include <string>
#include <vector>

#include "DatabaseFixture.h"

namespace qvsql_test {
namespace {

using Blobs = std::vector<std::vector<char>>;

class BlobRecordsTest : public DatabaseTest {
 protected:
  BlobRecordsTest() {
    EXPECT_TRUE(db_.CreateTable("t", {Field("id", 1), Field("name", 3), Field("data", 4)}));
  }

  // Adds a row for each of `blobs`, with ids from 1.
  bool Add(std::vector<std::string> blobs) {
    Cells cells;
    std::vector<void*> pointers;
    std::vector<int> sizes;
    for (std::string& blob : blobs) {
      cells.insert(cells.end(), {std::to_string(pointers.size() + 1), "name", "ignored"});
      pointers.push_back(blob.data());
      sizes.push_back(static_cast<int>(blob.size()));
    }
    return db_.AddRecords("t", cells, 3, 2, pointers, sizes);
  }

  support::RawRows StoredBlobs() const { return support::Query(Path(), "SELECT data FROM t ORDER BY rowid"); }

  Blobs ReadBlobs(int column = 2) {
    int rows = -1;
    int columns = -1;
    Cells cells;
    Blobs blobs;
    EXPECT_TRUE(db_.GetRecords("t", column, &rows, &columns, cells, blobs));
    return blobs;
  }

  Database db_ = Created();
  char byte_ = 'b';
};

std::vector<char> Chars(const std::string& text) {
  return {text.begin(), text.end()};
}

TEST_F(BlobRecordsTest, BytesAreStoredAsABlob) {
  const std::string bytes("a\0\xFF'b", 5);
  ASSERT_TRUE(Add({bytes}));
  EXPECT_EQ(StoredBlobs(), (support::RawRows{{{"blob", bytes}}}));
}

TEST_F(BlobRecordsTest, OtherCellsAreStoredAsEver) {
  ASSERT_TRUE(Add({"x"}));
  EXPECT_EQ(support::Query(Path(), "SELECT id, name FROM t"),
            (support::RawRows{{{"integer", "1"}, {"text", "name"}}}));
}

TEST_F(BlobRecordsTest, EveryRowHasItsOwnBlob) {
  ASSERT_TRUE(Add({"first", "second", "third"}));
  EXPECT_EQ(ReadBlobs(), (Blobs{Chars("first"), Chars("second"), Chars("third")}));
}

TEST_F(BlobRecordsTest, NoRowsIsASuccess) {
  EXPECT_TRUE(Add({}));
  EXPECT_FALSE(db_.AddRecords("none", {}, 3, 2, {}, {}));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(BlobRecordsTest, ANullPointerOfNoBytesIsAnEmptyBlob) {
  ASSERT_TRUE(db_.AddRecords("t", {"1", "", ""}, 3, 2, {nullptr}, {0}));
  EXPECT_EQ(StoredBlobs(), (support::RawRows{{{"blob", ""}}}));
}

TEST_F(BlobRecordsTest, APointerOfNoBytesIsAnEmptyBlob) {
  ASSERT_TRUE(db_.AddRecords("t", {"1", "", ""}, 3, 2, {&byte_}, {0}));
  EXPECT_EQ(StoredBlobs(), (support::RawRows{{{"blob", ""}}}));
}

TEST_F(BlobRecordsTest, RefusesANullPointerOfSomeBytes) {
  EXPECT_FALSE(db_.AddRecords("t", {"1", "", ""}, 3, 2, {nullptr}, {1}));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(BlobRecordsTest, RefusesANegativeSize) {
  EXPECT_FALSE(db_.AddRecords("t", {"1", "", ""}, 3, 2, {&byte_}, {-1}));
  EXPECT_FALSE(db_.AddRecords("t", {"1", "", ""}, 3, 2, {nullptr}, {-2147483647 - 1}));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(BlobRecordsTest, ABadBlobInALaterRowAddsNothing) {
  EXPECT_FALSE(db_.AddRecords("t", {"1", "", "", "2", "", ""}, 3, 2, {&byte_, nullptr}, {1, 1}));
  EXPECT_FALSE(db_.AddRecords("t", {"1", "", "", "2", "", ""}, 3, 2, {&byte_, &byte_}, {1, -1}));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(BlobRecordsTest, RefusesVectorsThatAreNotOneElementARow) {
  const Cells twoRows{"1", "", "", "2", "", ""};
  EXPECT_FALSE(db_.AddRecords("t", twoRows, 3, 2, {&byte_}, {1, 1}));
  EXPECT_FALSE(db_.AddRecords("t", twoRows, 3, 2, {&byte_, &byte_}, {1}));
  EXPECT_FALSE(db_.AddRecords("t", twoRows, 3, 2, {&byte_}, {1}));
  EXPECT_FALSE(db_.AddRecords("t", twoRows, 3, 2, {&byte_, &byte_, &byte_}, {1, 1, 1}));
  EXPECT_FALSE(db_.AddRecords("t", twoRows, 3, 2, {}, {}));
  EXPECT_FALSE(db_.AddRecords("t", {}, 3, 2, {&byte_}, {1}));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(BlobRecordsTest, RefusesABlobColumnThatIsNone) {
  for (const int column : {-1, 3, 100, 2147483647, -2147483647 - 1}) {
    EXPECT_FALSE(db_.AddRecords("t", {"1", "", ""}, 3, column, {&byte_}, {1})) << column;
  }
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(BlobRecordsTest, RefusesRowsThatDoNotFit) {
  EXPECT_FALSE(db_.AddRecords("t", {"1", ""}, 3, 2, {&byte_}, {1}));
  EXPECT_FALSE(db_.AddRecords("t", {"1", ""}, 2, 1, {&byte_}, {1}));
  EXPECT_FALSE(db_.AddRecords("t", {"1", "", ""}, 0, 2, {&byte_}, {1}));
  EXPECT_FALSE(db_.AddRecords("none", {"1", "", ""}, 3, 2, {&byte_}, {1}));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(BlobRecordsTest, TheBlobMayStandInAnyColumn) {
  ASSERT_TRUE(db_.AddRecords("t", {"ignored", "n", "text"}, 3, 0, {&byte_}, {1}));
  EXPECT_EQ(support::Query(Path(), "SELECT * FROM t"),
            (support::RawRows{{{"blob", "b"}, {"text", "n"}, {"text", "text"}}}));
}

TEST_F(BlobRecordsTest, LargeBlobsAreWhole) {
  std::string bytes(10'000'019, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<char>(i * 7 + i / 251);
  }
  ASSERT_TRUE(Add({bytes, "small"}));
  EXPECT_EQ(ReadBlobs(), (Blobs{Chars(bytes), Chars("small")}));
}

TEST_F(BlobRecordsTest, ReadingLeavesTheTextCellEmpty) {
  ASSERT_TRUE(Add({"bytes"}));
  int rows = -1;
  int columns = -1;
  Cells cells;
  Blobs blobs;
  ASSERT_TRUE(db_.GetRecords("t", 2, &rows, &columns, cells, blobs));
  EXPECT_EQ(rows, 1);
  EXPECT_EQ(columns, 3);
  EXPECT_THAT(cells, ElementsAre("1", "name", ""));
}

TEST_F(BlobRecordsTest, ReadingAppends) {
  ASSERT_TRUE(Add({"bytes"}));
  int rows = -1;
  int columns = -1;
  Cells cells{"before"};
  Blobs blobs{Chars("earlier")};
  ASSERT_TRUE(db_.GetRecords("t", 2, &rows, &columns, cells, blobs));
  EXPECT_THAT(cells, ElementsAre("before", "1", "name", ""));
  EXPECT_EQ(blobs, (Blobs{Chars("earlier"), Chars("bytes")}));
}

TEST_F(BlobRecordsTest, EmptyAndNullBlobsAreEmptyVectors) {
  support::Execute(Path(), "INSERT INTO t VALUES(1, '', x''), (2, '', NULL), (3, '', x'41')");
  EXPECT_EQ(ReadBlobs(), (Blobs{{}, {}, Chars("A")}));
}

TEST_F(BlobRecordsTest, ReadingAnEmptyTableGivesNone) {
  int rows = -1;
  int columns = -1;
  Cells cells;
  Blobs blobs;
  ASSERT_TRUE(db_.GetRecords("t", 2, &rows, &columns, cells, blobs));
  EXPECT_EQ(rows, 0);
  EXPECT_EQ(columns, 3);
  EXPECT_THAT(blobs, IsEmpty());
}

TEST_F(BlobRecordsTest, ReadingRefusesABlobColumnThatIsNone) {
  ASSERT_TRUE(Add({"bytes"}));
  for (const int column : {-1, 3, 2147483647}) {
    int rows = -1;
    int columns = -1;
    Cells cells{"before"};
    Blobs blobs{Chars("earlier")};
    EXPECT_FALSE(db_.GetRecords("t", column, &rows, &columns, cells, blobs)) << column;
    EXPECT_EQ(rows, 0);
    EXPECT_EQ(columns, 0);
    EXPECT_THAT(cells, ElementsAre("before"));
    EXPECT_EQ(blobs, Blobs{Chars("earlier")});
  }
}

TEST_F(BlobRecordsTest, ReadingAMissingTableLeavesTheOutputsAsTheyWere) {
  int rows = -1;
  int columns = -1;
  Cells cells{"before"};
  Blobs blobs{Chars("earlier")};
  EXPECT_FALSE(db_.GetRecords("none", 0, &rows, &columns, cells, blobs));
  EXPECT_EQ(rows, 0);
  EXPECT_EQ(columns, 0);
  EXPECT_THAT(cells, ElementsAre("before"));
  EXPECT_EQ(blobs, Blobs{Chars("earlier")});
}

TEST_F(BlobRecordsTest, ReadingFromAnotherColumnGivesItsBytes) {
  ASSERT_TRUE(db_.AddRecords("t", {"", "n", "text"}, 3, 0, {&byte_}, {1}));
  EXPECT_EQ(ReadBlobs(0), Blobs{Chars("b")});
}

}  // namespace
}  // namespace qvsql_test
