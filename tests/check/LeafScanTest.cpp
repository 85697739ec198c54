// Rows to which the engine finds no way: below a damaged header, list of tables, root or inner page. What has to
// come back is told by the engine's own account of the sound file: which rows are on which pages.
#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "CheckTest.h"
#include "qvprj/check/Recovery.h"
#include "support/ProjectBytes.h"
#include "support/ProjectSql.h"

using support::Bytes;
using testing::IsEmpty;

namespace {

const std::vector<std::string> kTables = {"data_project", "data_camera",  "data_image", "data_gcp",
                                          "data_cp",      "data_feature", "data_match"};

using PageSet = std::set<std::uint32_t>;

/// Where a row is: its leaf, and the pages with what does not fit there.
struct Place {
  std::int64_t id = 0;
  PageSet pages;
};

/// The pages and rows of a sound database.
struct Layout {
  std::map<std::string, std::vector<Place>> rows;
  std::map<std::string, support::RawRows> cells;  // of the rows, one for one
  std::map<std::string, std::uint32_t> roots;
  std::map<std::string, PageSet> inner;  // a root among them, where it is one
  std::map<std::string, PageSet> leaves;
  std::uint32_t pages = 0;
};

Layout LayoutOf(const std::string& path) {
  Layout layout;
  layout.pages = static_cast<std::uint32_t>(std::stoul(support::QueryOne(path, "PRAGMA page_count")));
  for (const std::string& table : kTables) {
    std::map<std::string, std::pair<std::uint32_t, std::size_t>> leaves;  // by path: page and number of cells
    std::map<std::string, std::map<std::size_t, PageSet>> overflow;       // by path of the leaf, and cell
    for (const auto& row : support::Query(
             path, "SELECT pageno, pagetype, path, ncell FROM dbstat WHERE name = '" + table + "'")) {
      const auto page = static_cast<std::uint32_t>(std::stoul(row[0].text));
      const std::string& where = row[2].text;
      if (where == "/") {
        layout.roots[table] = page;
      }
      if (row[1].text == "leaf") {
        leaves[where] = {page, std::stoul(row[3].text)};
        layout.leaves[table].insert(page);
      } else if (row[1].text == "internal") {
        layout.inner[table].insert(page);
      } else {  // "/00a/003+000000": of the cell 3 of the leaf "/00a/"
        const std::size_t slash = where.rfind('/');
        const std::string cell = where.substr(slash + 1, where.find('+') - slash - 1);
        overflow[where.substr(0, slash + 1)][std::stoul(cell, nullptr, 16)].insert(page);
      }
    }
    std::vector<Place>& places = layout.rows[table];
    for (const auto& [where, leaf] : leaves) {
      for (std::size_t cell = 0; cell < leaf.second; ++cell) {
        Place& place = places.emplace_back();
        place.pages = overflow[where][cell];
        place.pages.insert(leaf.first);
      }
    }
    const support::RawRows ids = support::Query(path, "SELECT rowid FROM " + table + " ORDER BY rowid");
    EXPECT_EQ(ids.size(), places.size()) << table;
    for (std::size_t i = 0; i < std::min(ids.size(), places.size()); ++i) {
      places[i].id = std::stoll(ids[i][0].text);
    }
    layout.cells[table] = support::Query(path, "SELECT * FROM " + table + " ORDER BY rowid");
  }
  return layout;
}

class Scan : public check_test::CheckTest {
 protected:
  /// A database of pages of this size in this encoding: rows of all tables in turn, some of them longer than a
  /// page, so that the pages of tables are mixed.
  void Make(std::size_t pageSize, const std::string& encoding = "UTF-8", int images = 2000,
            const std::string& before = "") {
    page_size_ = pageSize;
    support::Random random(pageSize);
    std::string sql = "PRAGMA page_size = " + std::to_string(pageSize) + "; PRAGMA encoding = '" + encoding +
                      "'; " + before + "BEGIN;" + support::kCameraTable + support::kImageTable +
                      support::kProjectTable + support::kGcpTable + support::kCpTable +
                      support::kFeatureTable + support::kMatchTable;
    const auto real = [&] {
      char text[40];
      std::snprintf(text, sizeof text, "%.17g", random.Between(-1e6, 1e6));
      return std::string(text);
    };
    const auto number = [](int value) { return std::to_string(value); };
    sql +=
        "INSERT INTO data_project VALUES('p', 'Survey \xE6\xB5\x8B\xF0\x9F\x9A\x81', 'A. Surveyor', '2024', "
        "-1, 0,"
        " '', '', '" +
        std::string(200, 'd') + "', 12.5, '', '', '', '', 7, 1);";
    for (int camera = 0; camera < 3; ++camera) {
      sql += "INSERT INTO data_camera VALUES(" + number(camera) + ", 'p', 'Camera', 4000, 3000";
      for (int i = 0; i < 19; ++i) {
        sql += i == 5 ? ", 1" : ", " + real();
      }
      sql += ");";
    }
    for (int i = 1; i <= images; ++i) {
      // Some are longer than a page.
      const std::size_t length = i % 97 == 0 ? pageSize + static_cast<std::size_t>(random.Below(5000))
                                             : static_cast<std::size_t>(20 + random.Below(150));
      const int pixels = i % 301 == 0 ? static_cast<int>(pageSize / 4) : 2;
      sql += "INSERT INTO data_image VALUES(" + number(i) + ", 'p', 'DJI_" + number(i) + ".JPG', '\xC3\xA9/" +
             std::string(length, static_cast<char>('a' + i % 26)) + "'";
      for (int k = 0; k < 12; ++k) {
        sql += ", " + (k == i % 12 ? number(i) : k == 11 && i % 50 == 0 ? "'nan'" : real());
      }
      sql += ", " + number(i / 50) + ", " + number(i % 3) + ", " + number(i % 2) + ");";
      sql += "INSERT INTO data_feature VALUES(" + number(i) + ", " + number(pixels) + ", randomblob(" +
             number(8 * pixels) + "));";
      sql += "INSERT INTO data_match VALUES(" + number(i) + ", " + number(i + 1) + ", 1, randomblob(8));";
      sql += "INSERT INTO data_cp VALUES(" + number(i % 30) + ", " + number(i) + ", " + real() + ", " +
             real() + ");";
      if (i % 20 == 0) {
        sql +=
            "INSERT INTO data_gcp VALUES(" + number(i) + ", 'GCP', " + real() + ", " + real() + ", 0, 1, 1);";
      }
    }
    Execute(sql + "COMMIT;");
    sound_ = LayoutOf(path_);
    bytes_ = support::ReadBytes(path_);
    ASSERT_EQ(bytes_.size(), sound_.pages * pageSize);
  }

  void Zero(const PageSet& pages) {
    for (const std::uint32_t page : pages) {
      std::fill_n(bytes_.begin() + static_cast<std::ptrdiff_t>((page - 1) * page_size_), page_size_,
                  static_cast<unsigned char>(0));
      damaged_.insert(page);
    }
  }

  void ZeroHeader() { std::fill_n(bytes_.begin(), 100, static_cast<unsigned char>(0)); }

  void Truncate(std::size_t size) {
    bytes_.resize(size);
    for (auto page = static_cast<std::uint32_t>(size / page_size_ + 1); page <= sound_.pages; ++page) {
      damaged_.insert(page);
    }
  }

  void Garbage(std::uint32_t page) {
    support::Random random(page);
    for (std::size_t i = 0; i < page_size_; ++i) {
      bytes_[(page - 1) * page_size_ + i] = static_cast<unsigned char>(random.Below(256));
    }
    damaged_.insert(page);
  }

  qvprj::RecoveryReport Recover() {
    support::WriteBytes(path_, bytes_);
    qvprj::RecoveryReport report;
    EXPECT_TRUE(qvprj::RecoverProject(path_, out_, report));
    EXPECT_TRUE(support::ReadBytes(path_) == bytes_) << "the damaged file was changed";
    return report;
  }

  static qvprj::TableRecovery Of(const qvprj::RecoveryReport& report, const std::string& table) {
    for (const qvprj::TableRecovery& recovery : report.tables) {
      if (recovery.table == table) {
        return recovery;
      }
    }
    return {};
  }

  /// Every row of which all pages are sound is there, bit for bit, and no other one. Gives how many these are, by
  /// table.
  std::map<std::string, std::size_t> ExpectSoundRows(const qvprj::RecoveryReport& report) {
    std::map<std::string, std::size_t> counts;
    for (const std::string& table : kTables) {
      support::RawRows expected;
      for (std::size_t i = 0; i < sound_.rows[table].size(); ++i) {
        const Place& place = sound_.rows[table][i];
        if (std::none_of(place.pages.begin(), place.pages.end(),
                         [&](std::uint32_t page) { return damaged_.contains(page); })) {
          expected.push_back(sound_.cells[table][i]);
        }
      }
      counts[table] = expected.size();
      if (expected.empty()) {
        EXPECT_EQ(Of(report, table).kept, 0U) << table;
        continue;
      }
      const support::RawRows found = support::Query(out_, "SELECT * FROM " + table + " ORDER BY rowid");
      EXPECT_EQ(found.size(), expected.size()) << table;
      EXPECT_TRUE(found == expected) << table << ": other rows";
      EXPECT_EQ(Of(report, table).kept, expected.size()) << table;
    }
    EXPECT_EQ(report.ambiguous_pages, 0U);
    return counts;
  }

  std::size_t page_size_ = 0;
  Layout sound_;
  Bytes bytes_;
  PageSet damaged_;
  std::string out_ = folder_.File("new.db");
};

struct Form {
  std::size_t page_size;
  const char* encoding;
};

class ScanOfAnyForm : public Scan, public testing::WithParamInterface<Form> {
 protected:
  void SetUp() override { Make(GetParam().page_size, GetParam().encoding, 2000); }
};

class ScanOfSmallPages : public ScanOfAnyForm {};  // so small that there are inner pages below roots

std::string NameOf(const testing::TestParamInfo<Form>& test) {
  std::string name = std::to_string(test.param.page_size) + test.param.encoding;
  std::erase(name, '-');
  return name;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Forms, ScanOfAnyForm,
                         testing::Values(Form{512, "UTF-8"}, Form{1024, "UTF-16le"}, Form{4096, "UTF-16be"},
                                         Form{65536, "UTF-8"}),
                         NameOf);

TEST_P(ScanOfAnyForm, FindsEverythingBehindADamagedHeader) {
  ZeroHeader();
  const qvprj::RecoveryReport report = Recover();
  ExpectSoundRows(report);
  for (const std::string& table : kTables) {
    const qvprj::TableRecovery recovery = Of(report, table);
    EXPECT_TRUE(recovery.IsWhole()) << table << ": the list of tables and all its pages are there";
    EXPECT_EQ(recovery.found_by_scan, recovery.kept) << table;
  }
}

TEST_P(ScanOfAnyForm, FindsEverythingWithoutTheFirstPage) {
  Zero({1});
  const qvprj::RecoveryReport report = Recover();
  ExpectSoundRows(report);
  for (const std::string& table : kTables) {
    const qvprj::TableRecovery recovery = Of(report, table);
    EXPECT_FALSE(recovery.found) << table;
    EXPECT_TRUE(recovery.end_unknown) << table;
    EXPECT_EQ(recovery.lost, 0U) << table;
    EXPECT_EQ(recovery.found_by_scan, recovery.kept) << table;
  }
  EXPECT_FALSE(report.IsComplete());
}

TEST_P(ScanOfAnyForm, FindsTheRowsBelowDamagedRoots) {
  for (const std::string& table : kTables) {
    Zero({sound_.roots[table]});
  }
  const qvprj::RecoveryReport report = Recover();
  const auto counts = ExpectSoundRows(report);
  EXPECT_EQ(counts.at("data_project"), 0U) << "its root is its leaf";
  EXPECT_EQ(counts.at("data_image"), sound_.rows["data_image"].size());
  EXPECT_TRUE(Of(report, "data_image").end_unknown);
  EXPECT_EQ(Of(report, "data_image").lost, 0U);
}

TEST_P(ScanOfAnyForm, FindsTheRowsBelowDamagedInnerPages) {
  for (const std::string& table : kTables) {
    Zero(sound_.inner[table]);
  }
  ExpectSoundRows(Recover());
}

INSTANTIATE_TEST_SUITE_P(Forms, ScanOfSmallPages, testing::Values(Form{512, "UTF-8"}, Form{1024, "UTF-16be"}),
                         NameOf);

TEST_P(ScanOfSmallPages, FindsTheRowsBelowOneDamagedInnerPage) {
  PageSet inner = sound_.inner["data_image"];
  inner.erase(sound_.roots["data_image"]);
  ASSERT_FALSE(inner.empty());
  Zero({*inner.begin()});
  const qvprj::RecoveryReport report = Recover();
  ExpectSoundRows(report);
  const qvprj::TableRecovery images = Of(report, "data_image");
  EXPECT_GT(images.found_by_scan, 0U);
  EXPECT_LT(images.found_by_scan, images.kept);
  EXPECT_EQ(images.lost, 0U);
}

TEST_P(ScanOfAnyForm, FindsWhatIsBeforeALostEnd) {
  Truncate(bytes_.size() / 2 + page_size_ / 3);
  const auto counts = ExpectSoundRows(Recover());
  EXPECT_GT(counts.at("data_image"), 500U);
}

TEST_P(ScanOfAnyForm, FindsWhatIsBesideGarbage) {
  Zero({1});
  for (const std::string& table : kTables) {
    const PageSet& leaves = sound_.leaves[table];
    Garbage(*std::next(leaves.begin(), static_cast<std::ptrdiff_t>(leaves.size() / 2)));
  }
  const qvprj::RecoveryReport report = Recover();
  const auto counts = ExpectSoundRows(report);
  EXPECT_GT(counts.at("data_image"), 900U);
}

// ---- What is lost -------------------------------------------------------------------------------------

TEST_F(Scan, CountsTheRowIdsBetweenPagesAsLost) {
  Make(1024);
  const std::uint32_t leaf = *sound_.rows["data_cp"][1000].pages.begin();
  const auto onLeaf =
      static_cast<std::size_t>(std::count_if(sound_.rows["data_cp"].begin(), sound_.rows["data_cp"].end(),
                                             [&](const Place& place) { return place.pages.contains(leaf); }));
  Zero({1, leaf});
  const qvprj::RecoveryReport report = Recover();
  ExpectSoundRows(report);
  EXPECT_GT(onLeaf, 10U);
  EXPECT_EQ(Of(report, "data_cp").lost, onLeaf);
}

TEST_F(Scan, CountsARowThatCannotBeReadToItsEndAsLost) {
  Make(1024);
  ZeroHeader();
  // The chain of the row ends in a page that is not there.
  const std::uint32_t leaf =
      *std::find_if(sound_.rows["data_image"][96].pages.begin(), sound_.rows["data_image"][96].pages.end(),
                    [&](std::uint32_t page) { return sound_.leaves["data_image"].contains(page); });
  std::size_t chains = 0;
  for (std::size_t at = (leaf - 1) * page_size_; at + 4 <= leaf * page_size_; ++at) {
    const std::uint32_t number = std::uint32_t{bytes_[at]} << 24U | std::uint32_t{bytes_[at + 1]} << 16U |
                                 std::uint32_t{bytes_[at + 2]} << 8U | bytes_[at + 3];
    const auto& pages = sound_.rows["data_image"][96].pages;
    if (number != leaf && pages.contains(number)) {
      std::fill_n(bytes_.begin() + static_cast<std::ptrdiff_t>(at), 4, static_cast<unsigned char>(0xFF));
      ++chains;
      damaged_.insert(number);
    }
  }
  ASSERT_EQ(chains, 1U);
  const qvprj::RecoveryReport report = Recover();
  ExpectSoundRows(report);
  EXPECT_EQ(Of(report, "data_image").lost, 1U);
  EXPECT_FALSE(Of(report, "data_image").end_unknown);
}

// ---- What is not taken --------------------------------------------------------------------------------

TEST_F(Scan, PassesOverFreePagesAsLongAsTheirListCanBeRead) {
  Make(1024);
  Execute("DELETE FROM data_cp WHERE rowid > 300");
  const Layout after = LayoutOf(path_);
  ASSERT_NE(support::QueryOne(path_, "PRAGMA freelist_count"), "0");
  sound_ = after;
  bytes_ = support::ReadBytes(path_);
  Zero({sound_.roots["data_cp"]});
  ExpectSoundRows(Recover());
}

TEST_F(Scan, LeavesRowsOfOtherTablesAlone) {
  Make(1024);
  Execute(
      "CREATE TABLE notes(a INTEGER, b INTEGER, c REAL, d REAL); INSERT INTO notes SELECT * FROM data_cp");
  sound_ = LayoutOf(path_);
  bytes_ = support::ReadBytes(path_);
  ZeroHeader();
  Zero({sound_.roots["data_cp"]});
  const qvprj::RecoveryReport report = Recover();
  ExpectSoundRows(report);
  EXPECT_THAT(report.other_tables, testing::ElementsAre("notes"));
}

TEST_F(Scan, DoesNotTakeWhatMayBelongToSeveralTables) {
  Make(1024);
  Execute(
      "CREATE TABLE notes(a INTEGER, b INTEGER, c REAL, d REAL); INSERT INTO notes SELECT * FROM data_cp");
  const auto notes =
      std::stoul(support::QueryOne(path_, "SELECT rootpage FROM sqlite_master WHERE name = 'notes'"));
  bytes_ = support::ReadBytes(path_);
  Zero({sound_.roots["data_cp"], static_cast<std::uint32_t>(notes)});
  const qvprj::RecoveryReport report = Recover();
  EXPECT_EQ(Of(report, "data_cp").kept, 0U);
  EXPECT_GT(report.ambiguous_pages, 2 * 20U);
  EXPECT_FALSE(report.IsComplete());
}

TEST_F(Scan, DoesNotTakeRowsThatFitTwoTablesOfTheFormat) {
  Make(1024, "UTF-8", 40);
  Execute("DELETE FROM data_cp; DELETE FROM data_match; INSERT INTO data_cp VALUES(1, 1, NULL, NULL)");
  bytes_ = support::ReadBytes(path_);
  Zero({1});
  const qvprj::RecoveryReport report = Recover();
  EXPECT_EQ(Of(report, "data_cp").kept, 0U);
  EXPECT_EQ(Of(report, "data_match").kept, 0U);
  EXPECT_EQ(report.ambiguous_pages, 1U);
}

TEST_F(Scan, LeavesASoundDatabaseAlone) {
  Make(4096);
  const qvprj::RecoveryReport report = Recover();
  ExpectSoundRows(report);
  for (const qvprj::TableRecovery& table : report.tables) {
    EXPECT_TRUE(table.IsWhole()) << table.table;
    EXPECT_EQ(table.found_by_scan, 0U) << table.table;
  }
}

// ---- Forms of databases -------------------------------------------------------------------------------

TEST_F(Scan, KnowsAPageSizeThatTheHeaderTellsWrong) {
  Make(4096);
  bytes_[16] = 0x02;  // 512
  bytes_[17] = 0x00;
  ExpectSoundRows(Recover());
}

TEST_F(Scan, ReadsPagesWithReservedBytes) {
  Execute("PRAGMA page_size = 1024; PRAGMA user_version = 1");
  Bytes empty = support::ReadBytes(path_);
  ASSERT_EQ(empty.size(), 1024U);
  empty[20] = 32;
  empty[105] = (1024 - 32) / 256;  // where the cells of the first page begin
  empty[106] = (1024 - 32) % 256;
  support::WriteBytes(path_, empty);
  Make(1024);
  ASSERT_EQ(bytes_[20], 32);
  for (const std::string& table : kTables) {
    Zero({sound_.roots[table]});
  }
  const auto counts = ExpectSoundRows(Recover());
  EXPECT_EQ(counts.at("data_image"), 2000U);
}

TEST_F(Scan, ReadsDatabasesThatKeepTheirSizeSmall) {
  Make(1024, "UTF-8", 2000, "PRAGMA auto_vacuum = FULL; ");
  for (const std::string& table : kTables) {
    Zero({sound_.roots[table]});
  }
  ExpectSoundRows(Recover());
}

TEST_F(Scan, TakesProjectsOfOlderFilesWithTheirDefaults) {
  Make(1024, "UTF-8", 40);
  Execute("ALTER TABLE data_project DROP COLUMN uavtype; ALTER TABLE data_project DROP COLUMN nadir");
  bytes_ = support::ReadBytes(path_);
  Zero({1});
  const qvprj::RecoveryReport report = Recover();
  EXPECT_EQ(Of(report, "data_project").found_by_scan, 1U);
  EXPECT_EQ(support::QueryOne(out_, "SELECT operator || uavtype || ' ' || nadir FROM data_project"),
            "A. Surveyor99 1");
}

TEST_F(Scan, GivesCellsAsTheEngineDoes) {
  // What no save leaves: any kind of value in any column.
  const std::string rows =
      "INSERT INTO data_cp VALUES(9223372036854775807, -129, 1e300, -1e-300), (1.5, 'x', X'C3A9', NULL),"
      " (-8388609, 140737488355327, 140737488355328.0, 5), (0, 1, 9007199254740993, 'nan');"
      "INSERT INTO data_match VALUES(1, 1, 1, 'text'), (1, 1, 1, 12), (1, 1, 1, NULL), (1, 1, 1, X'');"
      "INSERT INTO data_gcp VALUES(1, 'a' || char(0) || 'b', 1, 2, 3, 4, 5), (2, X'4142', 1, 2, 3, 4, 5);";
  for (const char* const encoding : {"UTF-8", "UTF-16le", "UTF-16be"}) {
    std::filesystem::remove(path_);
    Make(1024, encoding, 40);
    Execute("DELETE FROM data_match; DELETE FROM data_gcp; DELETE FROM data_cp; " + rows);
    const std::vector<std::string> tables = {"data_cp", "data_match", "data_gcp"};
    qvprj::RecoveryReport report;
    ASSERT_TRUE(qvprj::RecoverProject(path_, out_, report));
    std::vector<support::RawRows> byEngine;
    for (const std::string& table : tables) {
      byEngine.push_back(support::Query(out_, "SELECT * FROM " + table));
    }
    bytes_ = support::ReadBytes(path_);
    ZeroHeader();
    report = Recover();
    for (std::size_t i = 0; i < tables.size(); ++i) {
      EXPECT_EQ(Of(report, tables[i]).found_by_scan, 4U - (i == 2 ? 2U : 0U)) << encoding;
      EXPECT_TRUE(support::Query(out_, "SELECT * FROM " + tables[i]) == byEngine[i]) << encoding << tables[i];
    }
  }
}

TEST_F(Scan, TakesTheRowIdForAColumnThatIsIt) {
  std::string table = support::kGcpTable;
  table.replace(table.find("INTEGER"), 7, "INTEGER PRIMARY KEY");
  std::string sql = "PRAGMA page_size = 512; " + support::kProjectTable + table;
  for (int i = 0; i < 200; ++i) {
    sql += "INSERT INTO data_gcp VALUES(" + std::to_string(7 * i) + ", 'point', 1, 2, 3, 4, 1);";
  }
  Execute(sql);
  const support::RawRows before = support::Query(path_, "SELECT * FROM data_gcp");
  page_size_ = 512;
  bytes_ = support::ReadBytes(path_);
  Zero({static_cast<std::uint32_t>(
      std::stoul(support::QueryOne(path_, "SELECT rootpage FROM sqlite_master WHERE name = 'data_gcp'")))});
  EXPECT_EQ(Of(Recover(), "data_gcp").found_by_scan, 200U);
  EXPECT_TRUE(support::Query(out_, "SELECT * FROM data_gcp") == before);
}

// ---- Hostile files ------------------------------------------------------------------------------------

namespace {

/// Pages by hand, of a file whose first page is lost.
class Pages {
 public:
  static constexpr std::size_t kSize = 512;

  Pages() : bytes_(kSize, 0) {}

  static Bytes Varint(std::uint64_t value) {
    if (value >> 56U != 0) {
      Bytes nine(9);
      nine[8] = static_cast<unsigned char>(value);
      value >>= 8U;
      for (std::size_t i = 8; i-- > 0; value >>= 7U) {
        nine[i] = static_cast<unsigned char>((value & 0x7FU) | 0x80U);
      }
      return nine;
    }
    Bytes bytes = {static_cast<unsigned char>(value & 0x7FU)};
    for (value >>= 7U; value != 0; value >>= 7U) {
      bytes.insert(bytes.begin(), static_cast<unsigned char>((value & 0x7FU) | 0x80U));
    }
    return bytes;
  }

  /// A measurement: four columns, of which the last two are reals.
  static Bytes Measurement() {
    Bytes record = {5, 1, 1, 7, 7, 9, 9};
    record.insert(record.end(), 16, 0x40);
    return record;
  }

  /// A cell with a record that is whole on its page.
  static Bytes Cell(std::uint64_t id, const Bytes& record) {
    Bytes cell = Varint(record.size());
    for (const Bytes& part : {Varint(id), record}) {
      cell.insert(cell.end(), part.begin(), part.end());
    }
    return cell;
  }

  /// A cell of a record of features whose blob has `length` bytes, and goes on on the page `next`.
  static Bytes LongCell(std::uint64_t id, std::uint64_t length, std::uint32_t next) {
    Bytes record = {0, 1, 1};
    const Bytes blob = Varint(2 * length + 12);
    record.insert(record.end(), blob.begin(), blob.end());
    record[0] = static_cast<unsigned char>(record.size());
    record.insert(record.end(), 2, 7);
    const std::uint64_t all = record.size() + length;
    const std::uint64_t least = (kSize - 12) * 32 / 255 - 23;
    const std::uint64_t fitting = least + (all - least) % (kSize - 4);
    record.resize(static_cast<std::size_t>(fitting <= kSize - 35 ? fitting : least), 0xBB);
    Bytes cell = Varint(all);
    const Bytes number = {static_cast<unsigned char>(next >> 24U), static_cast<unsigned char>(next >> 16U),
                          static_cast<unsigned char>(next >> 8U), static_cast<unsigned char>(next)};
    for (const Bytes& part : {Varint(id), record, number}) {
      cell.insert(cell.end(), part.begin(), part.end());
    }
    return cell;
  }

  /// A leaf with these cells; the number of its page.
  std::uint32_t Leaf(const std::vector<Bytes>& cells) {
    Bytes page(kSize, 0);
    std::size_t place = kSize;
    page[0] = 13;
    page[4] = static_cast<unsigned char>(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i) {
      place -= cells[i].size();
      std::copy(cells[i].begin(), cells[i].end(), page.begin() + static_cast<std::ptrdiff_t>(place));
      page[8 + 2 * i] = static_cast<unsigned char>(place / 256);
      page[9 + 2 * i] = static_cast<unsigned char>(place % 256);
    }
    page[5] = static_cast<unsigned char>(place / 256);
    page[6] = static_cast<unsigned char>(place % 256);
    return Add(page);
  }

  std::uint32_t Overflow(std::uint32_t next) {
    Bytes page(kSize, 0xBB);
    for (std::size_t i = 0; i < 4; ++i) {
      page[i] = static_cast<unsigned char>(next >> (8 * (3 - i)));
    }
    return Add(page);
  }

  std::uint32_t Add(const Bytes& page) {
    bytes_.insert(bytes_.end(), page.begin(), page.end());
    return static_cast<std::uint32_t>(bytes_.size() / kSize);
  }

  Bytes& All() { return bytes_; }

 private:
  Bytes bytes_;
};

}  // namespace

TEST_F(Scan, ReadsPagesMadeByHand) {
  Pages pages;
  pages.Leaf({Pages::Cell(1, Pages::Measurement()), Pages::Cell(5, Pages::Measurement())});
  pages.Leaf({Pages::LongCell(1, 1400, 4)});
  pages.Overflow(5);
  pages.Overflow(6);
  pages.Overflow(0);
  bytes_ = pages.All();
  const qvprj::RecoveryReport report = Recover();
  EXPECT_EQ(Of(report, "data_cp").kept, 2U);
  EXPECT_EQ(Of(report, "data_cp").lost, 0U) << "the page that has both ids tells that there is none between";
  EXPECT_EQ(Of(report, "data_feature").kept, 1U);
  EXPECT_EQ(support::QueryOne(out_, "SELECT length(feature_data) FROM data_feature"), "1400");
}

TEST_F(Scan, TakesNoPageOfARecordTwice) {
  Pages pages;
  pages.Leaf({Pages::Cell(1, Pages::Measurement())});
  pages.Leaf({Pages::LongCell(1, 1400, 4)});
  pages.Overflow(4);  // itself
  pages.Overflow(0);
  pages.Leaf({Pages::LongCell(2, 1400, 6)});  // to the leaf itself, and that to what is no page
  bytes_ = pages.All();
  const qvprj::RecoveryReport report = Recover();
  EXPECT_EQ(Of(report, "data_cp").kept, 1U);
  EXPECT_EQ(Of(report, "data_feature").kept, 0U);
}

TEST_F(Scan, GivesAPageThatManyRecordsShareToTheFirst) {
  Pages pages;
  constexpr std::uint32_t kChain = 200;
  constexpr std::uint32_t kFirst = 500;
  const std::uint64_t length = (Pages::kSize - 4) * kChain;
  for (std::uint64_t id = 1; id < kFirst - 1; ++id) {
    pages.Leaf({Pages::LongCell(2 * id, length, kFirst), Pages::LongCell(2 * id + 1, length, kFirst)});
  }
  for (std::uint32_t i = 1; i <= kChain + 1; ++i) {
    pages.Overflow(i <= kChain ? kFirst + i : 0);
  }
  ASSERT_EQ(pages.All().size(), (kFirst + kChain) * Pages::kSize);
  bytes_ = pages.All();
  EXPECT_EQ(Of(Recover(), "data_feature").kept, 1U);
}

TEST_F(Scan, PassesOverPagesOfWhichACellIsWrong) {
  const Bytes measurement = Pages::Measurement();
  const auto withCell = [&](const Bytes& cell) {
    Pages pages;
    pages.Leaf({Pages::Cell(1, measurement)});
    pages.Leaf({Pages::Cell(7, measurement), cell});
    return pages;
  };
  const auto kept = [&](Pages pages) {
    bytes_ = pages.All();
    return Of(Recover(), "data_cp").kept;
  };
  EXPECT_EQ(kept(withCell(Pages::Cell(8, measurement))), 3U);
  EXPECT_EQ(kept(withCell(Pages::Cell(7, measurement))), 1U) << "a row id twice";
  EXPECT_EQ(kept(withCell(Pages::Cell(6, measurement))), 1U) << "row ids that descend";
  EXPECT_EQ(kept(withCell({0xFF, 0xFF, 0xFF})), 1U) << "a length without end";
  Bytes huge = Pages::Varint(std::uint64_t{1} << 63U);
  huge.insert(huge.end(), 480, 1);
  huge.resize(200);
  EXPECT_EQ(kept(withCell(huge)), 1U) << "a record of 2^63 bytes";
  EXPECT_EQ(kept(withCell(Pages::Cell(8, {5, 1, 1, 7, 10, 9, 9}))), 1U) << "a code that is none";
  EXPECT_EQ(kept(withCell(Pages::Cell(8, {200, 1, 1, 7, 7, 9, 9}))), 1U) << "a head longer than the record";
  EXPECT_EQ(kept(withCell(Pages::Cell(8, {0}))), 1U) << "a head shorter than itself";
  Bytes longer = measurement;
  longer.push_back(0);
  EXPECT_EQ(kept(withCell(Pages::Cell(8, longer))), 1U) << "bytes behind the last value";
  const auto changed = [&](std::size_t at, unsigned char value) {
    Pages pages = withCell(Pages::Cell(8, measurement));
    pages.All()[2 * Pages::kSize + at] = value;
    return pages;
  };
  EXPECT_EQ(kept(changed(8, 2)), 1U) << "a cell behind the page";
  EXPECT_EQ(kept(changed(8, 0)), 1U) << "a cell before the cells";
  EXPECT_EQ(kept(changed(3, 255)), 1U) << "more cells than a page can have";
  EXPECT_EQ(kept(changed(11, static_cast<unsigned char>(Pages::kSize - 26))), 1U) << "cells that overlap";
}

TEST_F(Scan, EndsOnAnyDamage) {
  Make(512, "UTF-8", 60);
  const Bytes sound = bytes_;
  support::Random random(11);
  for (int round = 0; round < 60; ++round) {
    bytes_ = sound;
    ZeroHeader();
    for (int i = 0; i < 40; ++i) {
      bytes_[static_cast<std::size_t>(random.Below(static_cast<int>(bytes_.size())))] =
          static_cast<unsigned char>(random.Below(256));
    }
    const qvprj::RecoveryReport report = Recover();
    EXPECT_FALSE(report.IsEmpty());
    for (const qvprj::TableRecovery& table : report.tables) {
      EXPECT_LE(table.kept, sound_.rows[table.table].size()) << table.table;
    }
  }
}
