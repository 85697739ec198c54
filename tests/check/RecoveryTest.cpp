// What comes out of damaged pairs of files.
#include "qvprj/check/Recovery.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>

#include "CheckTest.h"
#include "support/ProjectBytes.h"
#include "support/ProjectCompare.h"
#include "support/ProjectSql.h"
#include "tests/contracts/qvfd/ContainerForge.h"

using support::Bytes;
using support::ByteString;
using testing::IsEmpty;

namespace {

constexpr std::size_t kPageSize = 16384;

class Recovery : public check_test::CheckTest {
 protected:
  /// Recovers, and shows that the damaged files stay as they are.
  qvprj::RecoveryReport Recover() const {
    const Bytes database = support::ReadBytes(path_);
    const Bytes tracks = std::filesystem::exists(track_) ? support::ReadBytes(track_) : Bytes();
    qvprj::RecoveryReport report;
    EXPECT_TRUE(qvprj::RecoverProject(path_, out_, report));
    EXPECT_EQ(support::ReadBytes(path_), database);
    EXPECT_EQ(std::filesystem::exists(track_) ? support::ReadBytes(track_) : Bytes(), tracks);
    return report;
  }

  /// "data_image 440 60", with "?" behind where the end is unknown; "missing" for no such table.
  static std::vector<std::string> Tables(const qvprj::RecoveryReport& report) {
    std::vector<std::string> lines;
    for (const qvprj::TableRecovery& table : report.tables) {
      lines.push_back(
          table.table +
          (table.found ? ' ' + std::to_string(table.kept) + ' ' + std::to_string(table.lost) : " missing") +
          (table.end_unknown ? "?" : ""));
    }
    return lines;
  }

  /// "tracks 7 of 25", with "!" behind where that is verified.
  static std::vector<std::string> Blobs(const qvprj::RecoveryReport& report) {
    std::vector<std::string> lines;
    for (const qvprj::BlobRecovery& blob : report.blobs) {
      lines.push_back(blob.blob + ' ' + std::to_string(blob.kept) + " of " + std::to_string(blob.claimed) +
                      (blob.verified ? "!" : ""));
    }
    return lines;
  }

  static qvprj::TableRecovery Of(const qvprj::RecoveryReport& report, const std::string& table) {
    for (const qvprj::TableRecovery& recovery : report.tables) {
      if (recovery.table == table) {
        return recovery;
      }
    }
    return {};
  }

  [[nodiscard]] std::string RootPage(const std::string& table) const {
    return support::QueryOne(path_, "SELECT rootpage FROM sqlite_master WHERE name = '" + table + "'");
  }

  static void ZeroPage(Bytes& bytes, std::size_t page) {
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>((page - 1) * kPageSize), kPageSize,
                static_cast<unsigned char>(0));
  }

  /// The page whose cells hold the text.
  static std::size_t PageWith(const Bytes& bytes, const std::string& text) {
    const auto at = std::search(bytes.begin(), bytes.end(), text.begin(), text.end());
    EXPECT_NE(at, bytes.end()) << text;
    return static_cast<std::size_t>(at - bytes.begin()) / kPageSize + 1;
  }

  void ChangeFile(const std::string& path, const std::function<void(Bytes&)>& change) const {
    Bytes bytes = support::ReadBytes(path);
    change(bytes);
    support::WriteBytes(path, bytes);
  }

  /// Every row of the new table is in the damaged one as it was before the damage.
  void ExpectRowsOf(const std::string& sound, const std::string& table) const {
    const support::RawRows before = support::Query(sound, "SELECT * FROM " + table);
    for (const auto& row : support::Query(out_, "SELECT * FROM " + table)) {
      EXPECT_NE(std::find(before.begin(), before.end(), row), before.end()) << row[0].text;
    }
  }

  std::string out_ = folder_.File("new.db");
  std::string out_track_ = folder_.File("new.gb");
};

/// Counts the statements by row ids that run on connections opened while it lives.
class RowStatements {
 public:
  RowStatements() {
    count_ = 0;
    EXPECT_EQ(sqlite3_auto_extension(reinterpret_cast<void (*)()>(Watch)), SQLITE_OK);
  }
  ~RowStatements() { sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(Watch)); }
  RowStatements(const RowStatements&) = delete;
  RowStatements& operator=(const RowStatements&) = delete;

  [[nodiscard]] static std::size_t Count() { return count_; }

 private:
  static int Watch(sqlite3* engine, char** /*message*/, const void* /*routines*/) {
    return sqlite3_trace_v2(engine, SQLITE_TRACE_STMT, Add, nullptr);
  }
  static int Add(unsigned /*event*/, void* /*user*/, void* /*statement*/, void* text) {
    count_ += std::strstr(static_cast<const char*>(text), "WHERE rowid") != nullptr ? 1U : 0U;
    return 0;
  }

  inline static std::size_t count_ = 0;
};

const support::ProjectShape kMany{.images = 500, .pairs = 40, .tracks = 300};

}  // namespace

// ---- Sound projects -----------------------------------------------------------------------------------

TEST_F(Recovery, TakesEverythingOfASoundProject) {
  Save(support::BuildProject({.any_numbers = true}));
  const qvprj::RecoveryReport report = Recover();
  EXPECT_TRUE(report.IsComplete());
  EXPECT_EQ(report.database, out_);
  EXPECT_EQ(report.track_file, out_track_);
  EXPECT_THAT(Tables(report), testing::ElementsAre("data_project 1 0", "data_camera 2 0", "data_image 12 0",
                                                   "data_gcp 4 0", "data_cp 12 0"));
  EXPECT_THAT(Blobs(report),
              testing::ElementsAre("tracks 25 of 25!", "features 12 of 12!", "matches 15 of 15!"));
  qvprj::QvProject before;
  qvprj::QvProject after;
  ASSERT_TRUE(before.OpenPrj(path_) && after.OpenPrj(out_));
  after.GetPrjInfo().file_path = before.GetPrjInfo().file_path;
  EXPECT_EQ(support::ProjectComparer::FirstDifference(before, after), "");
  qvprj::ProjectReport check;
  ASSERT_TRUE(qvprj::CheckProject(out_, check));
  EXPECT_TRUE(check.IsSound()) << "both files have one stamp";
}

TEST_F(Recovery, KeepsRowsThatRepeatAnIdOrDangle) {
  SaveSound();
  Execute(
      "INSERT INTO data_image SELECT * FROM data_image WHERE id = 7; INSERT INTO data_cp VALUES(999, 888, 1, "
      "2);"
      "UPDATE data_image SET x = 'junk' WHERE rowid = 2");
  EXPECT_TRUE(Recover().IsComplete());
  for (const char* table : {"data_project", "data_camera", "data_image", "data_gcp", "data_cp"}) {
    const std::string all = std::string("SELECT * FROM ") + table;
    EXPECT_EQ(support::Query(out_, all), support::Query(path_, all)) << table;
  }
}

TEST_F(Recovery, KeepsTextsWithANulInside) {
  const std::pair<const char*, std::string> texts[] = {{"'A' || char(0) || 'B'", {"A\0B", 3}},
                                                       {"'plain'", "plain"},
                                                       {"char(0)", {"\0", 1}},
                                                       {"char(0, 0)", {"\0\0", 2}},
                                                       {"1.5", "1.5"},
                                                       {"char(26412, 0, 128640)", {"\u672C\0\U0001F680", 8}},
                                                       {"''", ""}};
  for (const char* encoding : {"UTF-8", "UTF-16le", "UTF-16be"}) {
    std::filesystem::remove(path_);
    std::string sql = "PRAGMA encoding = '" + std::string(encoding) + "';" + support::kImageTable;
    for (const auto& text : texts) {
      sql += "INSERT INTO data_image(name, path, x) VALUES(" + std::string(text.first) + ", 'p', 1.25);" +
             "INSERT INTO data_image(name, path, x) VALUES('n', " + text.first + ", 1.25);";
    }
    Execute(sql);
    qvprj::RecoveryReport report;
    ASSERT_TRUE(qvprj::RecoverProject(path_, out_, report));
    const support::RawRows rows = support::Query(out_, "SELECT name, path, x FROM data_image");
    ASSERT_EQ(rows.size(), 2 * std::size(texts));
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const auto& [sqlText, text] = texts[i / 2];
      EXPECT_EQ(rows[i][0].text, i % 2 == 0 ? text : "n") << encoding << ' ' << sqlText;
      EXPECT_EQ(rows[i][1].text, i % 2 == 0 ? "p" : text) << encoding << ' ' << sqlText;
      EXPECT_EQ(rows[i][2], (support::RawCell{"real", "1.25"})) << encoding << ' ' << sqlText;
    }
  }
}

TEST_F(Recovery, TakesTiePointsInTables) {
  SaveSound();
  Execute(support::kFeatureTable + support::kMatchTable + "INSERT INTO data_feature VALUES(1, 1, " +
          ByteString().F32(1.0F, 2.0F).Literal() + "), (2, 0, X''); INSERT INTO data_match VALUES(1, 2, 1, " +
          ByteString().I32(0, 1).Literal() + ")");
  const qvprj::RecoveryReport report = Recover();
  EXPECT_TRUE(report.IsComplete());
  for (const char* table : {"data_feature", "data_match"}) {
    const std::string all = std::string("SELECT * FROM ") + table;
    EXPECT_EQ(support::Query(out_, all), support::Query(path_, all)) << table;
  }
}

TEST_F(Recovery, GivesOlderProjectTablesTheirDefaults) {
  SaveSound();
  Execute("ALTER TABLE data_project DROP COLUMN uavtype; ALTER TABLE data_project DROP COLUMN nadir");
  EXPECT_TRUE(Recover().IsComplete());
  EXPECT_EQ(support::QueryOne(out_, "SELECT uavtype || ' ' || nadir FROM data_project"), "99 1");
}

// ---- Damaged databases --------------------------------------------------------------------------------

TEST_F(Recovery, LosesOnlyTheRowsOfADamagedPage) {
  Save(support::BuildProject(kMany));
  const std::string sound = folder_.File("sound.db");
  std::filesystem::copy_file(path_, sound);
  ChangeFile(path_, [](Bytes& bytes) { ZeroPage(bytes, PageWith(bytes, "DJI_10250.JPG")); });
  const qvprj::TableRecovery images = Of(Recover(), "data_image");
  EXPECT_EQ(images.kept + images.lost, 500U);
  EXPECT_GT(images.lost, 10U);
  EXPECT_LT(images.lost, 150U);
  EXPECT_FALSE(images.end_unknown);
  EXPECT_EQ(support::QueryOne(out_, "SELECT count(*) FROM data_image"), std::to_string(images.kept));
  ExpectRowsOf(sound, "data_image");
  // What refers to lost images is kept.
  EXPECT_EQ(support::Query(out_, "SELECT * FROM data_cp"), support::Query(sound, "SELECT * FROM data_cp"));
}

TEST_F(Recovery, FindsTheRowsBetweenTwoDamagedPages) {
  Save(support::BuildProject(kMany));
  const std::string sound = folder_.File("sound.db");
  std::filesystem::copy_file(path_, sound);
  ChangeFile(path_, [](Bytes& bytes) {
    ZeroPage(bytes, PageWith(bytes, "DJI_10120.JPG"));
    ZeroPage(bytes, PageWith(bytes, "DJI_10380.JPG"));
  });
  const qvprj::TableRecovery images = Of(Recover(), "data_image");
  EXPECT_EQ(images.kept + images.lost, 500U);
  EXPECT_EQ(support::QueryOne(out_, "SELECT count(*) FROM data_image WHERE name = 'DJI_10250.JPG'"), "1");
  EXPECT_EQ(support::QueryOne(out_, "SELECT name FROM data_image ORDER BY rowid DESC LIMIT 1"),
            "DJI_10499.JPG");
  ExpectRowsOf(sound, "data_image");
}

// Row ids far apart leave a range behind every damaged page in which no number of tries comes to an end.
TEST_F(Recovery, SearchesNoLongerThanTheFileIsLarge) {
  Save(support::BuildProject(kMany));
  Execute("UPDATE data_image SET rowid = rowid * 1000000000000");
  const std::string sound = folder_.File("sound.db");
  std::filesystem::copy_file(path_, sound);
  ChangeFile(path_, [](Bytes& bytes) {
    ZeroPage(bytes, PageWith(bytes, "DJI_10120.JPG"));
    ZeroPage(bytes, PageWith(bytes, "DJI_10380.JPG"));
  });
  const RowStatements statements;
  const qvprj::TableRecovery images = Of(Recover(), "data_image");
  EXPECT_GT(statements.Count(), 10U);
  EXPECT_LT(statements.Count(), 4'100U + std::filesystem::file_size(path_) / 8);
  EXPECT_GT(images.kept, 250U);
  EXPECT_GT(images.lost, 10U);
  EXPECT_EQ(support::QueryOne(out_, "SELECT count(*) FROM data_image WHERE name = 'DJI_10250.JPG'"), "1");
  EXPECT_EQ(support::QueryOne(out_, "SELECT name FROM data_image ORDER BY rowid DESC LIMIT 1"),
            "DJI_10499.JPG");
  ExpectRowsOf(sound, "data_image");
}

TEST_F(Recovery, TakesTheRowsBeforeALostEnd) {
  Save(support::BuildProject(kMany));
  const Bytes bytes = support::ReadBytes(path_);
  std::filesystem::resize_file(path_, (PageWith(bytes, "DJI_10250.JPG") - 1) * kPageSize);
  const qvprj::RecoveryReport report = Recover();
  const qvprj::TableRecovery images = Of(report, "data_image");
  EXPECT_GT(images.kept, 150U);
  EXPECT_LT(images.kept, 251U);
  EXPECT_TRUE(images.end_unknown);
  EXPECT_EQ(images.lost, 0U) << "nobody knows how many there were";
  EXPECT_FALSE(report.IsComplete());
  EXPECT_EQ(Of(report, "data_camera").kept, 2U);
  // The project's row stood behind the images; a project without one does not open.
  EXPECT_EQ(Of(report, "data_project").kept, 0U);
  qvprj::QvProject recovered;
  ASSERT_TRUE(recovered.OpenPrj(out_));
  EXPECT_EQ(static_cast<std::size_t>(recovered.GetImageInfoSet().Size()), images.kept);
}

TEST_F(Recovery, MakesNoRowsOfAPageThatIsCut) {
  Save(support::BuildProject(kMany));
  const std::string sound = folder_.File("sound.db");
  std::filesystem::copy_file(path_, sound);
  const Bytes bytes = support::ReadBytes(path_);
  const std::size_t page = PageWith(bytes, "DJI_10250.JPG");
  for (const std::size_t rest : {50U, 2000U, 9000U, 16383U}) {
    ChangeFile(path_, [&](Bytes& cut) {
      cut = bytes;
      cut.resize((page - 1) * kPageSize + rest);
    });
    const qvprj::RecoveryReport report = Recover();
    EXPECT_GT(Of(report, "data_image").kept, 150U) << rest;
    ExpectRowsOf(sound, "data_image");
  }
}

TEST_F(Recovery, GivesDefaultsForTablesThatCannotBeReadOrAreMissing) {
  Save(support::BuildProject(kMany));
  const auto root = std::stoul(RootPage("data_camera"));
  Execute("DROP TABLE data_gcp");
  ChangeFile(path_, [&](Bytes& bytes) { ZeroPage(bytes, root); });
  const qvprj::RecoveryReport report = Recover();
  EXPECT_FALSE(report.IsComplete());
  EXPECT_TRUE(Of(report, "data_camera").found);
  EXPECT_EQ(Of(report, "data_camera").kept, 0U);
  EXPECT_TRUE(Of(report, "data_camera").end_unknown);
  EXPECT_FALSE(Of(report, "data_gcp").found);
  EXPECT_EQ(Of(report, "data_image").kept, 500U);
  EXPECT_EQ(support::QueryOne(out_, "SELECT count(*) FROM data_camera"), "0");
  EXPECT_EQ(support::QueryOne(out_, "SELECT count(*) FROM data_gcp"), "0");
}

TEST_F(Recovery, TakesTheTrackFileWhenTheDatabaseIsGone) {
  SaveSound();
  support::WriteText(path_, "no database");
  const qvprj::RecoveryReport report = Recover();
  EXPECT_FALSE(report.IsComplete());
  EXPECT_THAT(Blobs(report),
              testing::ElementsAre("tracks 25 of 25!", "features 12 of 12!", "matches 15 of 15!"));
  EXPECT_EQ(support::QueryOne(out_, "SELECT count(*) FROM data_project"), "1");
}

TEST_F(Recovery, TellsTablesThatAreNotTakenOver) {
  SaveSound();
  Execute("CREATE TABLE notes(a)");
  const qvprj::RecoveryReport report = Recover();
  EXPECT_THAT(report.other_tables, testing::ElementsAre("notes"));
  EXPECT_FALSE(report.IsComplete());
}

// ---- Damaged track files ------------------------------------------------------------------------------

TEST_F(Recovery, TakesTheRecordsBeforeTheDamageInABlob) {
  SaveSound();
  const auto entries = forge::EntriesOf(support::ReadBytes(track_));
  // A record of features is 8 + 20 x 8 bytes long: the fifth one gets an impossible count.
  ChangeFile(track_, [&](Bytes& bytes) { bytes[entries[1].offset + 4 + 4 * 168 + 7] = 0x40; });
  const qvprj::RecoveryReport report = Recover();
  EXPECT_FALSE(report.IsComplete());
  EXPECT_THAT(Blobs(report),
              testing::ElementsAre("tracks 25 of 25!", "features 4 of 12", "matches 15 of 15!"));
  qvprj::QvProject after;
  ASSERT_TRUE(after.OpenPrj(out_));
  EXPECT_EQ(after.GetFeatures().size(), 4U);
  EXPECT_EQ(after.GetFeatures()[4].size(), 20U);
  EXPECT_EQ(after.GetTracks().size(), 25U);
}

TEST_F(Recovery, TakesAnUnknownImageInADamagedBlobForTheDamage) {
  SaveSound();
  const auto entries = forge::EntriesOf(support::ReadBytes(track_));
  ChangeFile(track_, [&](Bytes& bytes) { bytes[entries[2].offset + 4 + 7 * 76 + 1] = 0x7F; });
  EXPECT_THAT(Blobs(Recover()),
              testing::ElementsAre("tracks 25 of 25!", "features 12 of 12!", "matches 7 of 15"));
}

TEST_F(Recovery, FindsVerifiedBlobsBehindADamagedHeader) {
  SaveSound();
  ChangeFile(track_, [](Bytes& bytes) { std::fill_n(bytes.begin(), 64, static_cast<unsigned char>(0xAA)); });
  const qvprj::RecoveryReport report = Recover();
  EXPECT_EQ(report.tracks, qvprj::TrackFileState::kDamaged);
  EXPECT_THAT(Blobs(report),
              testing::ElementsAre("tracks 25 of 25!", "features 12 of 12!", "matches 15 of 15!"));
}

TEST_F(Recovery, FindsBlobsByTheLayoutWithoutADirectory) {
  SaveSound();
  const Bytes sound = support::ReadBytes(track_);
  ChangeFile(track_, [](Bytes& bytes) { bytes.back() ^= 1U; });
  const qvprj::RecoveryReport report = Recover();
  EXPECT_THAT(Blobs(report),
              testing::ElementsAre("tracks 25 of 25", "features 12 of 12", "matches 15 of 15"));
  // All that was there, under a new stamp.
  Bytes recovered = support::ReadBytes(out_track_);
  ASSERT_EQ(recovered.size(), sound.size());
  EXPECT_TRUE(std::equal(sound.begin() + 64, sound.end(), recovered.begin() + 64));
}

TEST_F(Recovery, FindsWhatATrackFileHasBeforeItsEndIsLost) {
  SaveSound();
  const auto entries = forge::EntriesOf(support::ReadBytes(track_));
  std::filesystem::resize_file(track_, entries[1].offset + 4 + 2 * 168 + 50);
  EXPECT_THAT(Blobs(Recover()), testing::ElementsAre("tracks 25 of 25", "features 2 of 12"));
}

TEST_F(Recovery, FindsBlobsByTheLayoutAlsoWhereTheFirstOnesAreNotThere) {
  Save(support::BuildProject({.features_per_image = 0, .tracks = 0}));
  ChangeFile(track_, [](Bytes& bytes) { bytes.back() ^= 1U; });
  EXPECT_THAT(Blobs(Recover()), testing::ElementsAre("matches 15 of 15"));
}

TEST_F(Recovery, FindsNothingInGarbage) {
  SaveSound();
  support::Random random(7);
  for (int round = 0; round < 20; ++round) {
    Bytes garbage(5000);
    for (unsigned char& byte : garbage) {
      byte = static_cast<unsigned char>(random.Next());
    }
    support::WriteBytes(track_, garbage);
    const qvprj::RecoveryReport report = Recover();
    EXPECT_EQ(report.tracks, qvprj::TrackFileState::kDamaged);
    EXPECT_THAT(report.blobs, IsEmpty());
  }
}

TEST_F(Recovery, TellsAMissingTrackFile) {
  SaveSound();
  std::filesystem::remove(track_);
  const qvprj::RecoveryReport report = Recover();
  EXPECT_EQ(report.tracks, qvprj::TrackFileState::kMissing);
  EXPECT_FALSE(report.IsComplete());
  EXPECT_TRUE(std::filesystem::exists(out_track_));
}

// ---- Where nothing is written -------------------------------------------------------------------------

TEST_F(Recovery, WritesNothingWhereNothingCanBeRead) {
  support::WriteText(path_, "no database");
  support::WriteText(track_, "no track file");
  const auto before = support::Snapshot(folder_.Path());
  qvprj::RecoveryReport report;
  EXPECT_FALSE(qvprj::RecoverProject(path_, out_, report));
  EXPECT_TRUE(report.IsEmpty());
  EXPECT_FALSE(report.IsComplete());
  EXPECT_FALSE(std::filesystem::exists(out_));
  EXPECT_FALSE(std::filesystem::exists(out_track_));
  EXPECT_FALSE(qvprj::RecoverProject(folder_.File("none.db"), out_, report));
}

TEST_F(Recovery, NeverWritesOverWhatItReads) {
  SaveSound();
  std::filesystem::create_symlink(path_, folder_.File("link.db"));
  const auto before = support::Snapshot(folder_.Path());
  qvprj::RecoveryReport report;
  for (const std::string& target : {path_, folder_.File("link.db"), folder_.File("survey.sqlite")}) {
    EXPECT_FALSE(qvprj::RecoverProject(path_, target, report)) << target;
  }
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}
