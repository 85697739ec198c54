// What a check says of the track file.
#include "CheckTest.h"

#include <filesystem>
#include <functional>
#include <limits>

#include "support/ProjectBytes.h"
#include "tests/contracts/qvfd/ContainerForge.h"

using check_test::CheckTest;
using check_test::Lines;
using support::Bytes;
using support::ByteString;

namespace {

constexpr std::size_t kStampOffset = 32;
constexpr float kNotFinite = std::numeric_limits<float>::infinity();

class TrackFileCheck : public CheckTest {
 protected:
  /// A project of the images 1, 2 and 3 and one camera, without tie points and without a stamp.
  void SetUp() override {
    Save(
        support::BuildProject({.cameras = 1, .images = 3, .features_per_image = 0, .pairs = 0, .tracks = 0}));
    Execute("PRAGMA user_version = 0");
  }

  void Write(const forge::Container& container) const { support::WriteBytes(track_, container.File()); }

  /// What is found when the track file has this one blob.
  [[nodiscard]] Lines FoundIn(int id, const ByteString& blob) const {
    forge::Container container;
    container.Add(id, blob.Bytes());
    Write(container);
    return Found();
  }

  void Change(const std::function<void(Bytes&)>& change) const {
    Bytes bytes = support::ReadBytes(track_);
    change(bytes);
    support::WriteBytes(track_, bytes);
  }

  /// Blobs of 2 images with 2 points each, a pair with 1 match, and 1 track.
  static forge::Container Sound() {
    forge::Container container;
    container.Add(
        0,
        ByteString().I32(1).F64(1.0, 2.0, 3.0).I32(2).I32(1).F32(1.0F, 2.0F).I32(2).F32(3.0F, 4.0F).Bytes());
    container.Add(1, ByteString()
                         .I32(2)
                         .I32(1, 2)
                         .F32(1.0F, 2.0F, 3.0F, 4.0F)
                         .I32(2, 2)
                         .F32(1.0F, 2.0F, 3.0F, 4.0F)
                         .Bytes());
    container.Add(2, ByteString().I32(1).I32(1, 2, 1).I32(0, 1).Bytes());
    return container;
  }
};

}  // namespace

// ---- The container ------------------------------------------------------------------------------------

TEST_F(TrackFileCheck, FindsNothingInASoundFile) {
  Write(Sound());
  EXPECT_EQ(Found(), Lines{});
  EXPECT_EQ(Report().counts.observations, 2U);
}

TEST_F(TrackFileCheck, TellsAMissingFile) {
  std::filesystem::remove(track_);
  EXPECT_EQ(Found(), Lines{"warning no-track-file : no track file; there are no tie points"});
}

TEST_F(TrackFileCheck, TellsADamagedHeaderOrDirectory) {
  const Lines expected{
      "error no-container : no track file, or its header or directory is damaged; the project "
      "opens without tie points"};
  Write(Sound());
  const Bytes sound = support::ReadBytes(track_);
  Change([](Bytes& bytes) { bytes[12] ^= 1U; });
  EXPECT_EQ(Found(), expected);
  support::WriteBytes(track_, sound);
  Change([](Bytes& bytes) { bytes.back() ^= 1U; });
  EXPECT_EQ(Found(), expected);
  support::WriteText(track_, "");
  EXPECT_EQ(Found(), expected);
}

TEST_F(TrackFileCheck, TellsWhichBlobIsDamaged) {
  const forge::Container sound = Sound();
  const char* const names[] = {"tracks", "features", "matches"};
  for (std::size_t blob = 0; blob < 3; ++blob) {
    Write(sound);
    Change([&](Bytes& bytes) { bytes[sound.entries[blob].offset] ^= 4U; });
    EXPECT_EQ(Found(),
              Lines{std::string("error check-value ") + names[blob] +
                    ": damaged: its check value does not hold; the project opens without tie points"});
    EXPECT_EQ(Report().counts.tracks, blob == 0 ? 0U : 1U);
    EXPECT_EQ(Report().counts.features, blob == 1 ? 0U : 4U);
    EXPECT_EQ(Report().counts.matches, blob == 2 ? 0U : 1U);
  }
}

TEST_F(TrackFileCheck, TellsABlobThatIsNoneOfAProject) {
  forge::Container container = Sound();
  container.Add(7, {1, 2, 3});
  Write(container);
  EXPECT_EQ(Found(), Lines{"warning extra-blob : blob 7 is none of a project"});
  Change([&](Bytes& bytes) { bytes[container.entries[3].offset] ^= 4U; });
  EXPECT_EQ(Found(), Lines{"error check-value : blob 7 is damaged: its check value does not hold"});
}

// ---- Stamps -------------------------------------------------------------------------------------------

TEST_F(TrackFileCheck, TellsATrackFileOfAnotherSave) {
  SaveSound();
  EXPECT_EQ(Found(), Lines{});
  const Bytes older = support::ReadBytes(track_);
  qvprj::QvProject adjusted = support::BuildProject();
  adjusted.GetTracks().front().z += 1.0;
  Save(adjusted);
  support::WriteBytes(track_, older);
  EXPECT_EQ(Found(), Lines{"error other-stamp : the track file belongs to another project or another save"});
}

TEST_F(TrackFileCheck, TellsAStampInOnlyOneFile) {
  forge::Container container = Sound();
  Write(container);
  Execute("PRAGMA user_version = -5");
  EXPECT_EQ(Found(),
            Lines{"warning one-stamp : the database has the stamp of a save and the track file has none"});
  const Bytes stamp{0xFB, 0xFF, 0xFF, 0xFF};
  std::copy(stamp.begin(), stamp.end(), container.reserved.begin());
  Write(container);
  ASSERT_EQ(support::ReadBytes(track_)[kStampOffset], 0xFB);
  EXPECT_EQ(Found(), Lines{}) << "-5 and 0xFFFFFFFB are the same 32 bits";
  Execute("PRAGMA user_version = 0");
  EXPECT_EQ(Found(),
            Lines{"warning one-stamp : the track file has the stamp of a save and the database has none"});
}

// ---- Features -----------------------------------------------------------------------------------------

TEST_F(TrackFileCheck, TellsFeaturesOfUnknownImages) {
  EXPECT_EQ(FoundIn(1, ByteString().I32(2).I32(2, 0).I32(9, 1).F32(1.0F, 2.0F)),
            Lines{"error unknown-image features 2: image 9 is not among the images"});
}

TEST_F(TrackFileCheck, TellsFeaturesThatComeAgainOrOutOfOrder) {
  EXPECT_EQ(FoundIn(1, ByteString().I32(3).I32(2, 0).I32(1, 0).I32(2, 0)),
            (Lines{"warning order features 2: image 1 stands behind a higher one",
                   "warning repeated-record features 3: image 2 is there already: the last one counts"}));
}

TEST_F(TrackFileCheck, TellsFeaturesThatAreCutShort) {
  EXPECT_EQ(FoundIn(1, ByteString().I32(2).I32(1, 0)),
            Lines{"error cut-short features 2: the blob ends within it"});
  EXPECT_EQ(FoundIn(1, ByteString().I32(1).I32(1, 2).F32(1.0F, 2.0F)),
            Lines{"error cut-short features 1: the blob ends within it"});
  EXPECT_EQ(FoundIn(1, ByteString().I32(1).I32(1, -2)),
            Lines{"error negative-count features 1: has -2 elements"});
  EXPECT_EQ(FoundIn(1, ByteString().U16(1)),
            Lines{"error no-count features: does not say how many records it has"});
  EXPECT_EQ(FoundIn(1, ByteString().I32(-1)),
            Lines{"error no-count features: does not say how many records it has"});
}

TEST_F(TrackFileCheck, TellsFeaturesThatAreNotFiniteAndExtraBytes) {
  EXPECT_EQ(FoundIn(1, ByteString().I32(1).I32(1, 2).F32(1.0F, 2.0F, 3.0F, kNotFinite).I32(0)),
            (Lines{"warning not-finite features 1: 1 of 2 features have a position that is not finite",
                   "warning extra-bytes features: 4 bytes behind the last record are not read"}));
}

// ---- Matches ------------------------------------------------------------------------------------------

TEST_F(TrackFileCheck, TellsMatchesOfUnknownImages) {
  EXPECT_EQ(FoundIn(2, ByteString().I32(2).I32(1, 9, 0).I32(8, 2, 0)),
            (Lines{"error unknown-image matches 1: image 9 is not among the images",
                   "error unknown-image matches 2: image 8 is not among the images"}));
}

TEST_F(TrackFileCheck, TellsMatchesOfFeaturesThatAreNotThere) {
  forge::Container container;
  container.Add(1,
                ByteString().I32(2).I32(1, 2).F32(1.0F, 2.0F, 3.0F, 4.0F).I32(2, 1).F32(1.0F, 2.0F).Bytes());
  container.Add(2, ByteString().I32(2).I32(1, 2, 3).I32(0, 0, 1, 1, 2, 0).I32(1, 3, 1).I32(0, 0).Bytes());
  Write(container);
  EXPECT_EQ(
      Found(),
      (Lines{"error unknown-feature matches 1: 2 of 3 matches name a feature that its image does not have",
             "error unknown-feature matches 2: 1 of 1 matches name a feature that its image does not have"}));
}

TEST_F(TrackFileCheck, TellsMatchesThatComeAgainOrOutOfOrderOrAreCutShort) {
  EXPECT_EQ(
      FoundIn(2, ByteString().I32(3).I32(2, 1, 0).I32(1, 2, 0).I32(1, 2, 0)),
      (Lines{"warning order matches 2: image pair 1, 2 stands behind a higher one",
             "warning repeated-record matches 3: image pair 1, 2 is there already: the last one counts"}));
  EXPECT_EQ(FoundIn(2, ByteString().I32(1).I32(1, 2)),
            Lines{"error cut-short matches 1: the blob ends within it"});
  EXPECT_EQ(FoundIn(2, ByteString().I32(1).I32(1, 2, 1)),
            Lines{"error cut-short matches 1: the blob ends within it"});
}

/// With damaged features nothing can be said of what matches refer to.
TEST_F(TrackFileCheck, DoesNotHoldMatchesAgainstDamagedFeatures) {
  forge::Container container;
  container.Add(1, ByteString().I32(1).I32(1, 1).F32(1.0F, 2.0F).Bytes());
  container.Add(2, ByteString().I32(1).I32(1, 2, 1).I32(5, 6).Bytes());
  Write(container);
  Change([](Bytes& bytes) { bytes[64] ^= 1U; });
  EXPECT_EQ(Found(),
            Lines{"error check-value features: damaged: its check value does not hold; the project opens "
                  "without tie points"});
}

// ---- Tracks -------------------------------------------------------------------------------------------

TEST_F(TrackFileCheck, TellsObservationsInUnknownImages) {
  EXPECT_EQ(
      FoundIn(0,
              ByteString().I32(1).F64(1.0, 2.0, 3.0).I32(2).I32(1).F32(1.0F, 2.0F).I32(77).F32(1.0F, 2.0F)),
      Lines{"error unknown-image tracks 1: image 77 is not among the images"});
}

TEST_F(TrackFileCheck, TellsTracksWithoutObservations) {
  EXPECT_EQ(FoundIn(0, ByteString().I32(2).F64(1.0, 2.0, 3.0).I32(0).F64(1.0, 2.0, 3.0).I32(-4)),
            (Lines{"warning no-observation tracks 1: the track has no observation and is not read",
                   "warning no-observation tracks 2: the track has no observation and is not read"}));
}

TEST_F(TrackFileCheck, TellsTracksThatAreCutShortOrNotFinite) {
  EXPECT_EQ(FoundIn(0, ByteString().I32(2).F64(1.0, 2.0, kNotFinite).I32(1).I32(1).F32(1.0F, 2.0F).F64(1.0)),
            (Lines{"warning not-finite tracks 1: a position of the track is not finite",
                   "error cut-short tracks 2: the blob ends within it"}));
  EXPECT_EQ(FoundIn(0, ByteString().I32(1).F64(1.0, 2.0, 3.0).I32(2).I32(1).F32(1.0F, 2.0F)),
            Lines{"error cut-short tracks 1: the blob ends within it"});
}

TEST_F(TrackFileCheck, KnowsImagesWithIdsFarApart) {
  Execute(
      "DELETE FROM data_cp; UPDATE data_image SET id = 2000000000 WHERE rowid = 3; UPDATE data_image SET id "
      "= -7 WHERE rowid = 1");
  EXPECT_EQ(FoundIn(0, ByteString()
                           .I32(1)
                           .F64(1.0, 2.0, 3.0)
                           .I32(3)
                           .I32(2000000000)
                           .F32(1.0F, 2.0F)
                           .I32(-7)
                           .F32(1.0F, 2.0F)
                           .I32(5)
                           .F32(1.0F, 2.0F)),
            Lines{"error unknown-image tracks 1: image 5 is not among the images"});
}
