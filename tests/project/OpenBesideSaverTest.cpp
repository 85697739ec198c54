// Opening a project while another program saves one at the same place: between the opening of its two files.

#include <gtest/gtest.h>

#include <cstdint>

#include "ProjectFilesTest.h"
#include "support/SystemCalls.h"

namespace {

using qvprj::QvProject;

class OpenBesideSaverTest : public ProjectFilesTest {
 protected:
  static QvProject Project(std::uint64_t seed) {
    support::ProjectShape shape;
    shape.seed = seed;
    return support::BuildProject(shape);
  }

  void SetUp() override {
    ProjectFilesTest::SetUp();
    ASSERT_TRUE(Project(1).SaveDurably(Path("p.db")));
  }

  /// Opens the project while another one comes in its place, each time before the track file is opened, `times`
  /// times: that of the seed 2 first, then 3 and so on. Gives how often the track file was opened.
  int Open(QvProject& opened, int times) {
    int openings = 0;
    const support::BeforeOpening saver(Path("p.gb"), [&] {
      if (openings++ < times) {
        EXPECT_TRUE(Project(static_cast<std::uint64_t>(1 + openings)).SaveDurably(Path("p.db")));
      }
    });
    EXPECT_TRUE(opened.OpenPrj(Path("p.db")));
    return openings;
  }

  void ExpectIs(QvProject& opened, std::uint64_t seed) {
    QvProject expected = Project(seed);
    expected.GetPrjInfo().file_path = opened.GetPrjInfo().file_path;
    EXPECT_EQ(support::FirstDifference(opened, expected), "");
  }
};

TEST_F(OpenBesideSaverTest, OpensTheFileOnceWhereNobodySaves) {
  QvProject opened;
  EXPECT_EQ(Open(opened, 0), 1);
  ExpectIs(opened, 1);
}

TEST_F(OpenBesideSaverTest, OpensBothFilesOfTheNewSave) {
  QvProject opened;
  EXPECT_EQ(Open(opened, 1), 2);
  ExpectIs(opened, 2);
}

TEST_F(OpenBesideSaverTest, OpensBothFilesOfTheNewestOfTwoSaves) {
  QvProject opened;
  EXPECT_EQ(Open(opened, 2), 3);
  ExpectIs(opened, 3);
}

TEST_F(OpenBesideSaverTest, EndsWhereTheSavesDoNotEnd) {
  QvProject opened;
  EXPECT_EQ(Open(opened, 1000), 3);
  // The database of the last but one save and the track file of the last one.
  QvProject database = Project(3);
  EXPECT_EQ(opened.GetImageInfoSet().GetImage(0)->GetEOP(), database.GetImageInfoSet().GetImage(0)->GetEOP());
  EXPECT_EQ(opened.GetTracks(), Project(4).GetTracks());
}

}  // namespace
