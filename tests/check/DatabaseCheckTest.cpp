// What a check says of the project database.
#include "CheckTest.h"

#include "support/ProjectBytes.h"
#include "support/ProjectSql.h"

using check_test::CheckTest;
using check_test::Lines;
using support::ByteString;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using DatabaseCheck = CheckTest;

// ---- Sound projects -----------------------------------------------------------------------------------

TEST_F(DatabaseCheck, FindsNothingInASoundProject) {
  SaveSound();
  EXPECT_EQ(Found(), Lines{});
}

TEST_F(DatabaseCheck, FindsNothingInAnEmptyProject) {
  Save(support::BuildProject(support::Nothing()));
  EXPECT_EQ(Found(), Lines{});
}

TEST_F(DatabaseCheck, FindsNothingInExtremeNumbers) {
  support::ProjectShape shape;
  shape.any_numbers = true;
  Save(support::BuildProject(shape));
  EXPECT_EQ(Found(), Lines{});
}

TEST_F(DatabaseCheck, FindsNothingInAnOlderProjectTable) {
  SaveSound();
  Execute("ALTER TABLE data_project DROP COLUMN uavtype; ALTER TABLE data_project DROP COLUMN nadir");
  EXPECT_EQ(Found(), Lines{});
}

TEST_F(DatabaseCheck, CountsWhatTheProjectHolds) {
  SaveSound();
  const qvprj::ProjectReport report = Report();
  EXPECT_TRUE(report.IsSound());
  EXPECT_EQ(report.database, path_);
  EXPECT_EQ(report.track_file, track_);
  EXPECT_EQ(report.counts.cameras, 2U);
  EXPECT_EQ(report.counts.images, 12U);
  EXPECT_EQ(report.counts.ground_points, 4U);
  EXPECT_EQ(report.counts.measurements, 12U);
  EXPECT_EQ(report.counts.feature_images, 12U);
  EXPECT_EQ(report.counts.features, 240U);
  EXPECT_EQ(report.counts.match_pairs, 15U);
  EXPECT_EQ(report.counts.matches, 120U);
  EXPECT_EQ(report.counts.tracks, 25U);
  EXPECT_EQ(report.counts.observations, 75U);
}

// ---- The file as a whole ------------------------------------------------------------------------------

TEST_F(DatabaseCheck, TellsADamagedPage) {
  Save(support::BuildProject({.images = 500, .pairs = 0, .tracks = 0}));
  support::Bytes bytes = support::ReadBytes(path_);
  ASSERT_GT(bytes.size(), 6U * 16384U);
  std::fill(bytes.begin() + 4 * 16384, bytes.begin() + 5 * 16384, static_cast<unsigned char>(0));
  support::WriteBytes(path_, bytes);
  const Lines found = Found();
  ASSERT_FALSE(found.empty());
  EXPECT_THAT(found.front(), StartsWith("error integrity : the database is damaged: "));
  EXPECT_THAT(found,
              testing::Contains("error unreadable-table data_image: cannot be read: damaged, or in use by "
                                "another program"));
  EXPECT_THAT(found, Each(Not(StartsWith("error integrity : cannot be read"))))
      << "said with reasons already";
  // Without all images nothing can be said of what refers to one.
  EXPECT_THAT(found, Each(Not(HasSubstr("unknown-image"))));
}

TEST_F(DatabaseCheck, TellsThatTheDatabaseIsCut) {
  Save(support::BuildProject({.images = 500}));
  support::Bytes bytes = support::ReadBytes(path_);
  bytes.resize(bytes.size() / 2 / 16384 * 16384);
  support::WriteBytes(path_, bytes);
  const Lines found = Found();
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(found.front(),
            "error integrity : the database cannot be opened as it is: cut short, damaged, or in use by "
            "another program");
  EXPECT_THAT(found, testing::Contains(StartsWith("error unreadable-table data_image: ")));
}

TEST_F(DatabaseCheck, TellsADamagedListOfTables) {
  SaveSound();
  support::Bytes bytes = support::ReadBytes(path_);
  std::fill(bytes.begin() + 100, bytes.begin() + 16384, static_cast<unsigned char>(0xFF));
  support::WriteBytes(path_, bytes);
  qvprj::ProjectReport report;
  ASSERT_TRUE(qvprj::CheckProject(path_, report));
  EXPECT_FALSE(report.IsSound());
  EXPECT_EQ(report.findings.front().kind, "integrity");
}

// ---- Tables and columns -------------------------------------------------------------------------------

TEST_F(DatabaseCheck, TellsAMissingTable) {
  for (const char* table : {"data_camera", "data_image", "data_gcp", "data_cp"}) {
    SaveSound();
    Execute(std::string("DROP TABLE ") + table);
    EXPECT_EQ(Found(), Lines{std::string("error missing-table ") + table + ": is missing"});
  }
}

TEST_F(DatabaseCheck, TellsATableThatIsNoneOfAProject) {
  SaveSound();
  Execute("CREATE TABLE notes(a)");
  EXPECT_EQ(Found(), Lines{"warning extra-table notes: is no table of a project"});
}

TEST_F(DatabaseCheck, TellsAMissingColumn) {
  SaveSound();
  Execute("ALTER TABLE data_gcp DROP COLUMN enable");
  EXPECT_EQ(Found(), Lines{"error missing-column data_gcp: column enable is missing"});
}

TEST_F(DatabaseCheck, TellsEveryColumnThatStandsElsewhere) {
  SaveSound();
  Execute(
      "ALTER TABLE data_cp DROP COLUMN x; ALTER TABLE data_cp ADD COLUMN x REAL; UPDATE data_cp SET x = 1");
  EXPECT_EQ(Found(), (Lines{"error misplaced-column data_cp: column x stands at place 4, not 3: readers take "
                            "another column for it",
                            "error misplaced-column data_cp: column y stands at place 3, not 4: readers take "
                            "another column for it"}));
}

TEST_F(DatabaseCheck, TellsAnExtraColumn) {
  SaveSound();
  Execute("ALTER TABLE data_gcp ADD COLUMN accuracy REAL");
  EXPECT_EQ(Found(), Lines{"warning extra-column data_gcp: column accuracy is none of a project"});
}

TEST_F(DatabaseCheck, TellsAColumnOfAnotherType) {
  SaveSound();
  Execute(
      "CREATE TABLE other(gcp_id VARCHAR(9), image_id INTEGER, x, y real);"
      "INSERT INTO other SELECT * FROM data_cp; DROP TABLE data_cp; ALTER TABLE other RENAME TO data_cp");
  EXPECT_EQ(Found(), (Lines{"warning column-type data_cp: column gcp_id is declared VARCHAR(9), not INTEGER",
                            "warning column-type data_cp: column x is declared without a type, not REAL"}));
}

TEST_F(DatabaseCheck, TakesNamesInAnyCase) {
  SaveSound();
  Execute(
      "ALTER TABLE data_gcp RENAME TO temporary; ALTER TABLE temporary RENAME TO DATA_GCP;"
      "ALTER TABLE DATA_GCP RENAME COLUMN gcp_id TO GCP_Id");
  EXPECT_EQ(Found(), Lines{});
}

// ---- Numbers ------------------------------------------------------------------------------------------

TEST_F(DatabaseCheck, TellsNumbersThatAreNone) {
  SaveSound();
  Execute(
      "UPDATE data_image SET x = '12.5 m' WHERE rowid = 3; UPDATE data_image SET z = NULL WHERE rowid = 4;"
      "UPDATE data_image SET kappa = '' WHERE rowid = 5; UPDATE data_image SET strip_id = 'two' WHERE rowid "
      "= 6;"
      "UPDATE data_project SET height = X'FF41'");
  EXPECT_EQ(Found(), (Lines{"error no-number data_project 1: height is '\xFF"
                            "A', no number",
                            "error no-number data_image 3: x is '12.5 m', no number",
                            "error no-number data_image 4: z is empty and reads as 0",
                            "error no-number data_image 5: kappa is empty and reads as 0",
                            "error no-number data_image 6: strip_id is 'two', no number"}));
}

TEST_F(DatabaseCheck, TellsNumbersThatAreNotFinite) {
  SaveSound();
  Execute("UPDATE data_gcp SET x = 9e999 WHERE rowid = 1; UPDATE data_gcp SET y = 'nan' WHERE rowid = 2");
  EXPECT_EQ(Found(),
            (Lines{"warning not-finite data_gcp 1: x is inf", "warning not-finite data_gcp 2: y is nan"}));
}

TEST_F(DatabaseCheck, TellsWhatIsNotWholeOrOutOfRange) {
  SaveSound();
  Execute(
      "UPDATE data_camera SET width = 4000.5 WHERE rowid = 1;"
      "UPDATE data_camera SET height = 5000000000 WHERE rowid = 2");
  EXPECT_EQ(Found(),
            (Lines{"error not-whole data_camera 1: width is 4000.5 and reads as 4000",
                   "error out-of-range data_camera 2: height is 5000000000 and reads as 2147483647"}));
}

TEST_F(DatabaseCheck, PassesOverColumnsThatNothingReads) {
  SaveSound();
  Execute("UPDATE data_camera SET n4 = 'x', delay_time = NULL; UPDATE data_project SET version = '1.2.3'");
  EXPECT_EQ(Found(), Lines{});
}

TEST_F(DatabaseCheck, CutsLongTextsInFindings) {
  SaveSound();
  Execute("UPDATE data_image SET x = '" + std::string(100, 'a') + "' WHERE rowid = 1");
  EXPECT_EQ(Found(),
            Lines{"error no-number data_image 1: x is '" + std::string(40, 'a') + "...', no number"});
}

// ---- Rows ---------------------------------------------------------------------------------------------

TEST_F(DatabaseCheck, TellsAProjectWithoutARowAndOneWithTwo) {
  SaveSound();
  Execute("INSERT INTO data_project SELECT * FROM data_project");
  EXPECT_EQ(Found(), Lines{"warning extra-row data_project 2: only the first row is read"});
  Execute("DELETE FROM data_project");
  EXPECT_EQ(Found(), Lines{"error no-row data_project: has no row: the project cannot be opened"});
}

TEST_F(DatabaseCheck, TellsRepeatedIds) {
  SaveSound();
  Execute(
      "INSERT INTO data_camera SELECT * FROM data_camera WHERE id = 1;"
      "INSERT INTO data_image SELECT * FROM data_image WHERE id = 7;"
      "INSERT INTO data_gcp SELECT * FROM data_gcp WHERE gcp_id = 103;"
      "INSERT INTO data_cp SELECT * FROM data_cp WHERE rowid = 5");
  const std::string point = support::QueryOne(path_, "SELECT gcp_id FROM data_cp WHERE rowid = 5");
  const std::string image = support::QueryOne(path_, "SELECT image_id FROM data_cp WHERE rowid = 5");
  EXPECT_EQ(Found(), (Lines{"error repeated-id data_camera 3: camera 1 is there already",
                            "error repeated-id data_image 13: image 7 is there already",
                            "error repeated-id data_gcp 5: ground point 103 is there already",
                            "error repeated-measurement data_cp 13: ground point " + point +
                                " is measured in image " + image + " already"}));
}

TEST_F(DatabaseCheck, TellsReferencesThatDangle) {
  SaveSound();
  Execute(
      "UPDATE data_image SET camera_id = 3 WHERE rowid = 7;"
      "INSERT INTO data_cp VALUES(104, 2, 0, 0), (100, 99, 0, 0)");
  EXPECT_EQ(Found(), (Lines{"error unknown-camera data_image 7: camera 3 is not among the cameras",
                            "error unknown-ground-point data_cp 13: ground point 104 is not among the ground "
                            "points",
                            "error unknown-image data_cp 14: image 99 is not among the images"}));
}

TEST_F(DatabaseCheck, TellsOnceThatThereIsNoCamera) {
  SaveSound();
  Execute("DELETE FROM data_camera");
  EXPECT_EQ(Found(), Lines{"warning no-camera data_camera: there are images and no camera"});
}

TEST_F(DatabaseCheck, LooksAtTablesWithoutRowIds) {
  SaveSound();
  Execute(
      "CREATE TABLE other(gcp_id INTEGER, image_id INTEGER, x REAL, y REAL, PRIMARY KEY(gcp_id, image_id))"
      " WITHOUT ROWID; INSERT INTO other VALUES(100, 1, 'a', 2); DROP TABLE data_cp;"
      "ALTER TABLE other RENAME TO data_cp");
  EXPECT_EQ(Found(), Lines{"error no-number data_cp: x is 'a', no number"});
}

// ---- Tie points in tables -----------------------------------------------------------------------------

class TieTableCheck : public CheckTest {
 protected:
  void SetUp() override {
    Save(support::BuildProject({.images = 3, .features_per_image = 0, .pairs = 0, .tracks = 0}));
    Execute(support::kFeatureTable + support::kMatchTable);
  }

  void AddFeatures(int image, int count, const std::string& blob) const {
    Execute("INSERT INTO data_feature VALUES(" + std::to_string(image) + "," + std::to_string(count) + "," +
            blob + ")");
  }

  void AddMatches(int left, int right, int count, const std::string& blob) const {
    Execute("INSERT INTO data_match VALUES(" + std::to_string(left) + "," + std::to_string(right) + "," +
            std::to_string(count) + "," + blob + ")");
  }

  const std::string two_points_ = ByteString().F32(1.0F, 2.0F, 3.0F, 4.0F).Literal();
};

TEST_F(TieTableCheck, FindsNothingInSoundTables) {
  AddFeatures(1, 2, two_points_);
  AddFeatures(2, 2, two_points_);
  AddFeatures(3, 0, "NULL");
  AddMatches(1, 2, 2, ByteString().I32(0, 1, 1, 0).Literal());
  AddMatches(2, 1, 2, ByteString().U16(0, 1, 1, 0).Literal());
  const qvprj::ProjectReport report = Report();
  EXPECT_EQ(report.counts.features, 4U);
  EXPECT_EQ(report.counts.feature_images, 3U);
  EXPECT_EQ(report.counts.match_pairs, 2U);
  EXPECT_EQ(report.counts.matches, 4U);
  EXPECT_EQ(Found(), Lines{});
}

TEST_F(TieTableCheck, TellsBlobsOfAnotherLength) {
  AddFeatures(1, 3, two_points_);
  AddFeatures(2, -1, "X''");
  AddMatches(1, 2, 2, "X'0102'");
  AddMatches(2, 1, -1, "X''");
  EXPECT_EQ(Found(), (Lines{"error blob-size data_feature 1: has 3 features in a blob of 16 bytes",
                            "error blob-size data_feature 2: has -1 features in a blob of 0 bytes",
                            "error blob-size data_match 1: has 2 matches in a blob of 2 bytes",
                            "error blob-size data_match 2: has -1 matches in a blob of 0 bytes"}));
}

TEST_F(TieTableCheck, TellsUnknownImagesAndRepeatedRows) {
  AddFeatures(9, 2, two_points_);
  AddFeatures(1, 2, two_points_);
  AddFeatures(1, 2, two_points_);
  AddMatches(1, 8, 0, "X''");
  AddMatches(7, 1, 0, "X''");
  AddMatches(7, 1, 0, "X''");
  EXPECT_EQ(
      Found(),
      (Lines{"error unknown-image data_feature 1: image 9 is not among the images",
             "warning repeated-image data_feature 3: image 1 is there already: the last one counts",
             "error unknown-image data_match 1: image 8 is not among the images",
             "error unknown-image data_match 2: image 7 is not among the images",
             "error unknown-image data_match 3: image 7 is not among the images",
             "warning repeated-pair data_match 3: image pair 7, 1 is there already: the last one counts"}));
}

TEST_F(TieTableCheck, TellsMatchesOfFeaturesThatAreNotThere) {
  AddFeatures(1, 2, two_points_);
  AddFeatures(2, 2, two_points_);
  AddMatches(1, 2, 3, ByteString().I32(0, 1, 2, 0, 0, -1).Literal());
  AddMatches(1, 3, 1, ByteString().U16(0, 0).Literal());
  EXPECT_EQ(Found(),
            (Lines{"error unknown-feature data_match 1: 2 of 3 matches name a feature that its image does "
                   "not have",
                   "error unknown-feature data_match 2: 1 of 1 matches name a feature that its image does "
                   "not have"}));
}

/// The features that a reader takes: those of the track file, as long as the table has none.
TEST_F(TieTableCheck, HoldsMatchesAgainstTheFeaturesOfTheTrackFile) {
  Save(support::BuildProject({.images = 3, .features_per_image = 5, .pairs = 0, .tracks = 0}));
  Execute(support::kFeatureTable + support::kMatchTable);
  AddMatches(1, 2, 1, ByteString().I32(4, 4).Literal());
  EXPECT_EQ(Found(), Lines{});
  AddFeatures(1, 2, two_points_);
  EXPECT_EQ(Found(),
            Lines{"error unknown-feature data_match 1: 1 of 1 matches name a feature that its image does "
                  "not have"});
}
