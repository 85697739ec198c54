#include "ProjectFilesTest.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>

namespace {

using qvprj::QvProject;
using ::testing::ElementsAre;
namespace fs = std::filesystem;

class SaveTest : public ProjectFilesTest {
 protected:
  /// Runs in the test's folder, so that relative paths lead into it.
  class InFolder {
   public:
    explicit InFolder(const fs::path& folder) : before_(fs::current_path()) { fs::current_path(folder); }
    ~InFolder() { fs::current_path(before_); }
    InFolder(const InFolder&) = delete;
    InFolder& operator=(const InFolder&) = delete;

   private:
    fs::path before_;
  };

  QvProject project_ = support::BuildProject();
};

TEST_F(SaveTest, MakesTheDatabaseAndTheTrackFileBesideIt) {
  fs::create_directories(Path("a/b"));
  ASSERT_TRUE(project_.Save(Path("a/b/p.db")));
  EXPECT_THAT(Names({fs::exists(Path("a/b/p.db")) ? "db" : "", fs::exists(Path("a/b/p.gb")) ? "gb" : ""}),
              ElementsAre("db", "gb"));
}

TEST_F(SaveTest, TheTrackFileIsWhatTheThreeBlobsMake) {
  ASSERT_TRUE(project_.Save(Path("p.db")));
  qvfd::BinaryData blobs(1);
  ASSERT_TRUE(project_.WriteFeatures(blobs) && project_.WriteMatches(blobs) && project_.WriteTracks(blobs));
  ASSERT_TRUE(blobs.Write(Path("blobs.gb")));
  support::Bytes saved = support::ReadBytes(Path("p.gb"));
  support::Bytes made = support::ReadBytes(Path("blobs.gb"));
  for (support::Bytes* const file : {&saved, &made}) {
    ASSERT_GT(file->size(), 64U);
    std::fill_n(file->begin() + 32, 4, 0);  // the stamp, which the blobs alone do not have
    std::fill_n(file->begin() + 56, 8, 0);  // and the check value of the header
  }
  EXPECT_EQ(saved, made);
}

TEST_F(SaveTest, PutsTheSameStampInBothFiles) {
  const auto stamps = [&](const std::string& name) {
    const support::Bytes database = support::ReadBytes(Path(name + ".db"));
    const support::Bytes tracks = support::ReadBytes(Path(name + ".gb"));
    const auto inDatabase = std::uint32_t{database.at(60)} << 24U | std::uint32_t{database.at(61)} << 16U |
                            std::uint32_t{database.at(62)} << 8U | database.at(63);
    const auto inTracks = std::uint32_t{tracks.at(35)} << 24U | std::uint32_t{tracks.at(34)} << 16U |
                          std::uint32_t{tracks.at(33)} << 8U | tracks.at(32);
    EXPECT_EQ(inDatabase, inTracks);
    return inDatabase;
  };
  ASSERT_TRUE(project_.Save(Path("p.db")));
  EXPECT_NE(stamps("p"), 0U);
  QvProject other = project_;
  other.GetTracks().front().z += 1.0;
  ASSERT_TRUE(other.Save(Path("adjusted.db")));
  EXPECT_NE(stamps("adjusted"), stamps("p"));
  other = project_;
  other.GetPrjInfo().id[0] = other.GetPrjInfo().id[0] == 'x' ? 'y' : 'x';
  ASSERT_TRUE(other.Save(Path("other.db")));
  EXPECT_NE(stamps("other"), stamps("p"));
}

TEST_F(SaveTest, GivesTheSameBytesForTheSameProject) {
  ASSERT_TRUE(project_.Save(Path("p.db")) && project_.Save(Path("q.db")));
  EXPECT_EQ(support::ReadBytes(Path("p.db")), support::ReadBytes(Path("q.db")));
  EXPECT_EQ(support::ReadBytes(Path("p.gb")), support::ReadBytes(Path("q.gb")));
}

TEST_F(SaveTest, LeavesNothingElseInTheFolder) {
  ASSERT_TRUE(project_.Save(Path("p.db")));
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
}

TEST_F(SaveTest, MakesTheFiveTablesInOrderAndNoneOfTiePoints) {
  ASSERT_TRUE(project_.Save(Path("p.db")));
  Names tables;
  for (const auto& row :
       support::Query(Path("p.db"), "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY rowid")) {
    tables.push_back(row[0].text);
  }
  EXPECT_THAT(tables, ElementsAre("data_camera", "data_image", "data_project", "data_gcp", "data_cp"));
}

TEST_F(SaveTest, WritesARowForEverything) {
  ASSERT_TRUE(project_.Save(Path("p.db")));
  const auto count = [&](const std::string& table) {
    return support::QueryOne(Path("p.db"), "SELECT count(*) FROM " + table);
  };
  EXPECT_EQ(count("data_project"), "1");
  EXPECT_EQ(count("data_camera"), "2");
  EXPECT_EQ(count("data_image"), "12");
  EXPECT_EQ(count("data_gcp"), "4");
  EXPECT_EQ(count("data_cp"), "12");
}

TEST_F(SaveTest, StoresThePathInTheProject) {
  ASSERT_TRUE(project_.Save(Path("p.db")));
  EXPECT_EQ(project_.GetPrjInfo().file_path, Path("p.db"));
}

TEST_F(SaveTest, ChangesNothingElseInTheProject) {
  QvProject before = project_;
  ASSERT_TRUE(project_.Save(Path("p.db")));
  before.GetPrjInfo().file_path = Path("p.db");
  EXPECT_EQ(support::FirstDifference(project_, before), "");
}

TEST_F(SaveTest, MaySaveToThePathThatTheProjectHolds) {
  project_.GetPrjInfo().file_path = Path("p.db");
  ASSERT_TRUE(project_.Save(project_.GetPrjInfo().file_path));
  EXPECT_EQ(project_.GetPrjInfo().file_path, Path("p.db"));
  EXPECT_TRUE(IsThere("p.db"));
}

TEST_F(SaveTest, WritesATrackFileWithTheThreeBlobs) {
  ASSERT_TRUE(project_.Save(Path("p.db")));
  qvfd::BinaryData blobs(1);
  ASSERT_TRUE(blobs.Read(Path("p.gb")));
  std::vector<unsigned char> bytes;
  for (const int id : {0, 1, 2}) {
    EXPECT_TRUE(blobs.GetBlob(id, bytes)) << id;
  }
}

TEST_F(SaveTest, WritesATrackFileWithoutBlobsForAProjectWithoutTiePoints) {
  ASSERT_TRUE(QvProject().Save(Path("p.db")));
  qvfd::BinaryData blobs(1);
  ASSERT_TRUE(blobs.Read(Path("p.gb")));
  std::vector<unsigned char> bytes;
  for (const int id : {0, 1, 2}) {
    EXPECT_FALSE(blobs.GetBlob(id, bytes)) << id;
  }
}

TEST_F(SaveTest, SavesAnEmptyProjectWithEmptyTables) {
  ASSERT_TRUE(QvProject().Save(Path("p.db")));
  for (const char* table : {"data_camera", "data_image", "data_gcp", "data_cp"}) {
    EXPECT_EQ(support::QueryOne(Path("p.db"), std::string("SELECT count(*) FROM ") + table), "0") << table;
  }
}

TEST_F(SaveTest, LeavesNothingOfAnEarlierSave) {
  ASSERT_TRUE(project_.Save(Path("p.db")));
  support::Execute(Path("p.db"), "CREATE TABLE left_over(x INTEGER);");
  project_.GetImageInfoSet().Clear();
  project_.GetFeatures().clear();
  ASSERT_TRUE(project_.Save(Path("p.db")));
  EXPECT_EQ(support::Tables(Path("p.db")).size(), 5U);
  EXPECT_EQ(support::QueryOne(Path("p.db"), "SELECT count(*) FROM data_image"), "0");
  qvfd::BinaryData blobs(1);
  blobs.Read(Path("p.gb"));
  std::vector<unsigned char> bytes;
  EXPECT_FALSE(blobs.GetBlob(1, bytes));
  EXPECT_TRUE(blobs.GetBlob(0, bytes));
}

TEST_F(SaveTest, ReplacesFilesThatAreNoProject) {
  support::WriteText(Path("p.db"), "a shopping list");
  support::WriteText(Path("p.gb"), "another one");
  ASSERT_TRUE(project_.Save(Path("p.db")));
  QvProject opened;
  ASSERT_TRUE(opened.OpenPrj(Path("p.db")));
  EXPECT_EQ(support::FirstDifference(opened, project_), "");
}

TEST_F(SaveTest, RemovesTheStaleSideFilesOfAnEarlierDatabase) {
  for (const char* name : {"p.db-journal", "p.db-wal", "p.db-shm"}) {
    support::WriteText(Path(name), "left over from a crash");
  }
  ASSERT_TRUE(project_.Save(Path("p.db")));
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
}

TEST_F(SaveTest, LeavesNeighboursAlone) {
  SaveSomeProject("other.db");
  support::WriteText(Path("p.txt"), "notes");
  const auto other = support::ReadBytes(Path("other.db"));
  ASSERT_TRUE(project_.Save(Path("p.db")));
  EXPECT_EQ(support::ReadBytes(Path("other.db")), other);
  EXPECT_THAT(folder_.Names(), ElementsAre("other.db", "other.gb", "p.db", "p.gb", "p.txt"));
}

TEST_F(SaveTest, TakesARelativePathWithoutDirectory) {
  const InFolder here(folder_.Path());
  ASSERT_TRUE(project_.Save("p.db"));
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
  EXPECT_EQ(project_.GetPrjInfo().file_path, "p.db");
}

TEST_F(SaveTest, ReplacesOnlyTheLastExtensionForTheTrackFile) {
  ASSERT_TRUE(project_.Save(Path("p.v2.db")));
  EXPECT_THAT(folder_.Names(), ElementsAre("p.v2.db", "p.v2.gb"));
}

TEST_F(SaveTest, GivesAPathWithoutExtensionOneForTheTrackFile) {
  ASSERT_TRUE(project_.Save(Path("p")));
  EXPECT_THAT(folder_.Names(), ElementsAre("p", "p.gb"));
}

TEST_F(SaveTest, TakesALeadingDotAsPartOfTheTitle) {
  ASSERT_TRUE(project_.Save(Path(".db")));
  EXPECT_THAT(folder_.Names(), ElementsAre(".db", ".db.gb"));
}

TEST_F(SaveTest, ADotGbFileIsATitleAndCanBeSaved) {
  ASSERT_TRUE(project_.Save(Path(".gb")));
  EXPECT_THAT(folder_.Names(), ElementsAre(".gb", ".gb.gb"));
}

TEST_F(SaveTest, KeepsPathsByteForByte) {
  const std::string gbk = "\xB2\xE2\xC1\xBF";
  const std::string utf8 = "\xE6\xB5\x8B \xC3\xA9 '%s'";
  for (const std::string& title : {gbk, utf8}) {
    ASSERT_TRUE(project_.Save(Path(title + ".db")));
    QvProject opened;
    ASSERT_TRUE(opened.OpenPrj(Path(title + ".db")));
    EXPECT_EQ(support::FirstDifference(opened, project_), "");
    EXPECT_TRUE(IsThere(title + ".gb"));
  }
  EXPECT_EQ(folder_.Names().size(), 4U);
}

}  // namespace
