#include "ProjectFilesTest.h"

#include <cmath>
#include <limits>

#include "support/ContractsLocale.h"

namespace {

using qvprj::QvProject;
using support::FirstDifference;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

class RoundTripTest : public ProjectFilesTest {
 protected:
  /// Saves and opens the project, and tells what came back otherwise.
  std::string DifferenceAfterSaveAndOpen(QvProject& project) {
    if (!project.Save(Path("p.db"))) {
      return "not saved";
    }
    opened_ = QvProject();
    if (!opened_.OpenPrj(Path("p.db"))) {
      return "not opened";
    }
    return FirstDifference(opened_, project);
  }

  QvProject opened_;
};

TEST_F(RoundTripTest, AnEmptyProjectComesBack) {
  QvProject project;
  EXPECT_EQ(DifferenceAfterSaveAndOpen(project), "");
}

TEST_F(RoundTripTest, ASurveyComesBack) {
  QvProject project = support::BuildProject();
  EXPECT_EQ(DifferenceAfterSaveAndOpen(project), "");
}

TEST_F(RoundTripTest, SavingWhatWasOpenedGivesTheSameProjectAgain) {
  QvProject project = support::BuildProject();
  ASSERT_EQ(DifferenceAfterSaveAndOpen(project), "");
  QvProject second = opened_;
  EXPECT_EQ(DifferenceAfterSaveAndOpen(second), "");
  EXPECT_EQ(FirstDifference(second, project), "");
}

class AnyNumbersTest : public RoundTripTest, public ::testing::WithParamInterface<int> {};

TEST_P(AnyNumbersTest, EveryFiniteNumberComesBackBitForBit) {
  support::ProjectShape shape;
  shape.any_numbers = true;
  shape.seed = static_cast<std::uint64_t>(GetParam());
  shape.images = 200;
  shape.cameras = 50;
  shape.ground_points = 60;
  QvProject project = support::BuildProject(shape);
  EXPECT_EQ(DifferenceAfterSaveAndOpen(project), "") << "seed " << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Seeds, AnyNumbersTest, ::testing::Range(1, 9));

TEST_F(RoundTripTest, NumbersAtTheEdgesComeBack) {
  using Limits = std::numeric_limits<double>;
  QvProject project;
  int id = 0;
  for (const double value : {Limits::max(), Limits::lowest(), Limits::min(), Limits::denorm_min(), 0.1, 1e15,
                             999999999999999.0, 1e15 - 0.5, 9007199254740993.0, 9223372036854775807.0, 1e22,
                             1e23, 100000.0, 0.30000000000000004, kInfinity, -kInfinity}) {
    project.GetImageInfoSet().AddImage(id++, "", "", {value, -value, value, value, value, value}, 0, 0, true);
  }
  EXPECT_EQ(DifferenceAfterSaveAndOpen(project), "");
}

TEST_F(RoundTripTest, NanComesBackAsNan) {
  QvProject project;
  project.GetImageInfoSet().AddImage(1, "", "", {kNan, 1.0, kNan, 2.0, -kNan, 3.0}, 0, 0, true);
  ASSERT_EQ(DifferenceAfterSaveAndOpen(project), "");
  EXPECT_TRUE(std::isnan(opened_.GetImageInfoSet().GetImage(0)->GetEOP().x));
}

TEST_F(RoundTripTest, ZeroOfEitherSignComesBackAsZeroFromTables) {
  QvProject project;
  project.GetImageInfoSet().AddImage(1, "", "", {-0.0, 0.0, -0.0, 0.0, 0.0, 0.0}, 0, 0, true);
  project.GetPrjInfo().height = -0.0;
  EXPECT_EQ(DifferenceAfterSaveAndOpen(project), "");
}

TEST_F(RoundTripTest, ZeroKeepsItsSignInBlobs) {
  QvProject project;
  project.GetImageInfoSet().AddImage(1, "", "", {}, 0, 0, true);
  project.GetFeatures()[1] = {{-0.0F, 0.0F}};
  project.GetTracks() = {{-0.0, 0.0, -0.0, {{1, -0.0F, 0.0F}}}};
  ASSERT_EQ(DifferenceAfterSaveAndOpen(project), "");
  EXPECT_TRUE(std::signbit(opened_.GetTracks().at(0).x));
  EXPECT_TRUE(std::signbit(opened_.GetFeatures().at(1).at(0).x));
}

TEST_F(RoundTripTest, NumbersThatAreNotFiniteComeBackFromBlobsBitForBit) {
  QvProject project;
  project.GetImageInfoSet().AddImage(1, "", "", {}, 0, 0, true);
  const float nan = std::bit_cast<float>(0xFFC12345U);
  project.GetFeatures()[1] = {{nan, std::numeric_limits<float>::infinity()}};
  project.GetTracks() = {{std::bit_cast<double>(0x7FF8000000000123U), -kInfinity, 0.0, {{1, nan, nan}}}};
  EXPECT_EQ(DifferenceAfterSaveAndOpen(project), "");
}

TEST_F(RoundTripTest, IntegersAtTheEdgesComeBack) {
  constexpr int kLowest = std::numeric_limits<int>::min();
  constexpr int kHighest = std::numeric_limits<int>::max();
  QvProject project;
  project.GetImageInfoSet().AddImage(kLowest, "", "", {}, kHighest, kLowest, true);
  project.GetImageInfoSet().AddImage(kHighest, "", "", {}, kLowest, kHighest, false);
  project.GetPrjInfo().coordinate_id = kHighest;
  project.GetPrjInfo().uavtype = kLowest;
  project.GetPrjInfo().nadir = -7;
  project.GetMatches()[{kLowest, kHighest}] = {{kLowest, kHighest}};
  EXPECT_EQ(DifferenceAfterSaveAndOpen(project), "");
}

/// Ids in every order that a host may have given them.
class ImageIdsTest : public RoundTripTest, public ::testing::WithParamInterface<std::vector<int>> {};

TEST_P(ImageIdsTest, ImagesComeBackWithTheirOwnOrientationsInTheirOrder) {
  support::Random random(3);
  QvProject project;
  for (const int id : GetParam()) {
    qvfd::EOP eop{random.AnyFinite(), random.AnyFinite(), 1.0, 2.0, 3.0, 4.0};
    const int position = project.GetImageInfoSet().Size();
    project.GetImageInfoSet().AddImage(id, std::to_string(position), "", eop, position, id, true);
    eop.x = random.AnyFinite();
    project.GetImageInfoSet().FindImage(id)->Update(eop);
  }
  EXPECT_EQ(DifferenceAfterSaveAndOpen(project), "");
}

INSTANTIATE_TEST_SUITE_P(Orders, ImageIdsTest,
                         ::testing::Values(std::vector<int>{0, 1, 2, 3},          // positions
                                           std::vector<int>{1, 2, 3},             // from one
                                           std::vector<int>{9, 5, 2, 1, 0},       // descending
                                           std::vector<int>{100, 7, 100000, 3},   // sparse
                                           std::vector<int>{2, 2, 2},             // repeated
                                           std::vector<int>{5, 1, 5, 0, 1},       // repeated out of order
                                           std::vector<int>{-1, -2, 0, 1, -3}));  // negative

TEST_F(RoundTripTest, TextsComeBackByteForByte) {
  QvProject project;
  int id = 0;
  for (const std::string text :
       {"\xB2\xE2\xBB\xE6", "\xE6\xB5\x8B\xE7\xBB\x98", "it's \"quoted\"; DROP TABLE data_image; --", "",
        " blanks ", "line\nbreak\ttab\r", "%s %n 100%", "123", "1e5", "nan", "\xFF\xFE\x80",
        "C:\\photos\\1.jpg"}) {
    project.GetImageInfoSet().AddImage(id, text, text + "/path", {}, 0, 0, true);
    project.GetCameraInfoSet().AddCamera({.id = id, .name = text, .width = 1, .height = 1});
    project.GetGroundControl().ground_points.AddPoint(id, {.name = text, .measurements = {}});
    support::SetText(project.GetPrjInfo().description, text);
    ++id;
    ASSERT_EQ(DifferenceAfterSaveAndOpen(project), "") << text;
  }
}

TEST_F(RoundTripTest, ANulInsideATextComesBack) {
  QvProject project;
  project.GetImageInfoSet().AddImage(1, std::string("a\0b", 3), std::string("\0", 1), {}, 0, 0, true);
  EXPECT_EQ(DifferenceAfterSaveAndOpen(project), "");
}

TEST_F(RoundTripTest, TiePointsOfImagesThatAreGoneAreDropped) {
  QvProject project;
  project.GetImageInfoSet().AddImage(7, "", "", {}, 0, 0, true);
  project.GetFeatures()[3] = {{1.0F, 2.0F}};
  project.GetFeatures()[7] = {{3.0F, 4.0F}};
  ASSERT_TRUE(project.Save(Path("p.db")));
  ASSERT_TRUE(opened_.OpenPrj(Path("p.db")));
  EXPECT_EQ(opened_.GetFeatures(), (QvProject::Features{{7, {{3.0F, 4.0F}}}}));
}

/// A host may have set whatever locale it likes.
class HostileLocaleTest : public RoundTripTest {
 protected:
  void ExpectFilesOfAnyLocale() {
    support::ProjectShape shape;
    shape.images = 1500;  // ids and counts of more than three digits
    QvProject project = support::BuildProject(shape);
    EXPECT_EQ(DifferenceAfterSaveAndOpen(project), "");
  }

  /// The files that were just written, against those that the plain locale gives.
  void ExpectTheFilesOfThePlainLocale() {
    QvProject opened;
    ASSERT_TRUE(opened.OpenPrj(Path("p.db")));
    EXPECT_EQ(FirstDifference(opened, opened_), "");
    EXPECT_EQ(support::QueryOne(Path("p.db"),
                                "SELECT count(*) FROM data_image WHERE typeof(x) = 'real' AND"
                                " typeof(id) = 'integer' AND typeof(new_kappa) = 'real'"),
              "1500");
    EXPECT_EQ(support::QueryOne(Path("p.db"), "SELECT typeof(height) || typeof(nadir) FROM data_project"),
              "realinteger");
  }
};

TEST_F(HostileLocaleTest, AGlobalCppLocaleChangesNothing) {
  {
    const support::CommaStreams streams;
    ExpectFilesOfAnyLocale();
  }
  ExpectTheFilesOfThePlainLocale();
}

TEST_F(HostileLocaleTest, ACLocaleWithADecimalCommaChangesNothing) {
  {
    const support::GeneratedLocale german("de_DE", "UTF-8");
    if (!german.InForce()) {
      GTEST_SKIP() << "no C locale with a decimal comma can be had here";
    }
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    ExpectFilesOfAnyLocale();
  }
  ExpectTheFilesOfThePlainLocale();
}

}  // namespace
