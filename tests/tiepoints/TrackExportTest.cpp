#include <gmock/gmock.h>

#include <filesystem>

#include "BlobTest.h"
#include "support/TestFiles.h"

namespace {

using qvprj::QvProject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TrackExportTest : public BlobTest {
 protected:
  [[nodiscard]] std::string Path(const std::string& name) const { return folder_.File(name); }
  bool Export(const std::string& name) { return project_.WriteTracks(Path(name)); }

  void AddTracks() { project_.GetTracks() = {{1.0, 2.0, 3.0, {{7, 4.0F, 5.0F}}}, {6.0, 7.0, 8.0, {}}}; }

  support::TempFolder folder_;
};

TEST_F(TrackExportTest, WithoutTracksThereIsNoFile) {
  EXPECT_TRUE(Export("t.gb"));
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(TrackExportTest, WithoutTracksAFileThatIsThereStays) {
  support::WriteText(Path("t.gb"), "as it was");
  EXPECT_TRUE(Export("t.gb"));
  EXPECT_EQ(support::ReadBytes(Path("t.gb")).size(), 9U);
}

TEST_F(TrackExportTest, WritesTheBlobThatAProjectsTrackFileHas) {
  AddTracks();
  ASSERT_TRUE(Export("t.gb"));
  ASSERT_TRUE(project_.WriteTracks(blobs_));
  qvfd::BinaryData exported(1);
  ASSERT_TRUE(exported.Read(Path("t.gb")));
  Bytes bytes;
  ASSERT_TRUE(exported.GetBlob(kTracks, bytes));
  EXPECT_EQ(bytes, Blob(kTracks));
}

TEST_F(TrackExportTest, WritesTracksAlone) {
  AddTracks();
  project_.GetFeatures()[7].resize(3);
  project_.GetMatches()[{7, 5}].resize(3);
  ASSERT_TRUE(Export("t.gb"));
  EXPECT_THAT(folder_.Names(), ElementsAre("t.gb"));
  qvfd::BinaryData exported(1);
  ASSERT_TRUE(exported.Read(Path("t.gb")));
  Bytes bytes;
  EXPECT_FALSE(exported.GetBlob(kFeatures, bytes));
  EXPECT_FALSE(exported.GetBlob(kMatches, bytes));
}

TEST_F(TrackExportTest, TakesAnyPathAsItStands) {
  AddTracks();
  ASSERT_TRUE(Export("tracks.of \xE6\xB5\x8B.bin"));
  EXPECT_THAT(folder_.Names(), ElementsAre("tracks.of \xE6\xB5\x8B.bin"));
}

TEST_F(TrackExportTest, ReplacesAFileThatIsThere) {
  project_.GetFeatures()[7].resize(3);
  ASSERT_TRUE(project_.WriteFeatures(blobs_));
  ASSERT_TRUE(blobs_.Write(Path("t.gb")));
  AddTracks();
  ASSERT_TRUE(Export("t.gb"));
  qvfd::BinaryData exported(1);
  ASSERT_TRUE(exported.Read(Path("t.gb")));
  Bytes bytes;
  EXPECT_FALSE(exported.GetBlob(kFeatures, bytes));
  EXPECT_TRUE(exported.GetBlob(kTracks, bytes));
}

TEST_F(TrackExportTest, APathThatCannotBeWrittenIsFalseAndLeavesNoTrace) {
  AddTracks();
  std::filesystem::create_directory(Path("t.gb"));
  EXPECT_FALSE(Export("t.gb"));
  EXPECT_FALSE(Export("missing/t.gb"));
  EXPECT_FALSE(project_.WriteTracks(std::string()));
  EXPECT_THAT(folder_.Names(), ElementsAre("t.gb"));
  EXPECT_TRUE(std::filesystem::is_empty(Path("t.gb")));
}

TEST_F(TrackExportTest, DoesNotTouchTheProject) {
  AddTracks();
  project_.GetPrjInfo().file_path = "before.db";
  ASSERT_TRUE(Export("t.gb"));
  EXPECT_EQ(project_.GetPrjInfo().file_path, "before.db");
  EXPECT_EQ(project_.GetTracks().size(), 2U);
}

}  // namespace
