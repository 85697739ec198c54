#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "qvmath/GeoPrj.h"
#include "qvprj/project/QvProject.h"

namespace {

using qvfd::CoordinateInfo;
using qvfd::CoordinateInfoSet;
using qvfd::EOP;
using qvfd::ImageInfoSet;
using qvfd::Point2_T;
using qvmath::GeoPrj;
using qvprj::QvProject;

using Point = Point2_T<double>;

constexpr int kNone = -1;
constexpr int kZone = 4549;  // CGCS2000, central meridian 120 E
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool SameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

QvProject ProjectIn(int coordinateId) {
  QvProject project;
  project.GetPrjInfo().coordinate_id = coordinateId;
  return project;
}

/// A system of a site as a host registers it: longitude and latitude in radians, shifted.
constexpr int kSite = 900'000'200;
void RegisterSite() {
  qvfd::QvConfiguration::Instance().AddCoordinate(
      {.type = 4,
       .id = kSite,
       .name = "site",
       .description = "",
       .definition =
           "+proj=pipeline +step +proj=utm +zone=51 +ellps=WGS84 +step +proj=affine +xoff=-200000"});
}

// ---- Points ------------------------------------------------------------------------------------------

TEST(ToLocal, WithoutASystemGivesThePointBitForBit) {
  QvProject project = ProjectIn(kNone);
  for (const Point p : {Point{120.1, 30.2}, Point{-0.0, 0.0}, Point{kNaN, 1e300}, Point{500.0, -500.0}}) {
    const Point to = project.ToLocal(p);
    const Point from = project.FromLocal(p);
    EXPECT_TRUE(SameBits(to.x, p.x) && SameBits(to.y, p.y));
    EXPECT_TRUE(SameBits(from.x, p.x) && SameBits(from.y, p.y));
  }
}

TEST(ToLocal, TakesDegreesAndGivesMetres) {
  QvProject project = ProjectIn(kZone);
  const Point local = project.ToLocal({120.0, 30.0});
  EXPECT_NEAR(local.x, 500000.0, 1e-6);
  EXPECT_NEAR(local.y, 3320113.397845, 1e-5);
}

TEST(FromLocal, TakesMetresAndGivesDegrees) {
  QvProject project = ProjectIn(kZone);
  const Point degrees = project.FromLocal({500000.0, 3320113.397845});
  EXPECT_NEAR(degrees.x, 120.0, 1e-9);
  EXPECT_NEAR(degrees.y, 30.0, 1e-9);
}

TEST(ToLocal, DividesBy180AndThenMultipliesByPi) {
  QvProject project = ProjectIn(kZone);
  GeoPrj converter(CoordinateInfoSet::GetWGS84(), project.GetCoordinate());
  bool differs = false;
  for (int i = 0; i < 200; ++i) {
    const Point p{119.0 + i * 0.0137, 29.0 + i * 0.0071};
    double in[2] = {p.x / 180.0 * 3.141592653589793, p.y / 180.0 * 3.141592653589793};
    differs = differs || in[0] != p.x / 57.29577951308232;
    double out[2];
    ASSERT_TRUE(converter.Transform(in, out));
    const Point local = project.ToLocal(p);
    EXPECT_TRUE(SameBits(local.x, out[0]) && SameBits(local.y, out[1]));
  }
  EXPECT_TRUE(differs) << "the two ways to radians would have given the same";
}

TEST(FromLocal, MultipliesBy57Point29) {
  QvProject project = ProjectIn(kZone);
  GeoPrj converter(project.GetCoordinate(), CoordinateInfoSet::GetWGS84());
  bool differs = false;
  for (int i = 0; i < 200; ++i) {
    double in[2] = {480000.0 + i * 137.3, 3300000.0 + i * 71.1};
    double out[2];
    ASSERT_TRUE(converter.Transform(in, out));
    differs = differs || out[0] * 57.29577951308232 != out[0] / 3.141592653589793 * 180.0;
    const Point degrees = project.FromLocal({in[0], in[1]});
    EXPECT_TRUE(SameBits(degrees.x, out[0] * 57.29577951308232));
    EXPECT_TRUE(SameBits(degrees.y, out[1] * 57.29577951308232));
  }
  EXPECT_TRUE(differs) << "the two ways to degrees would have given the same";
}

TEST(FromLocal, LeadsBackUpToTheDifferenceBetweenTheTwoWays) {
  for (const int id : {kZone, 32651, 4490, 2358, 25832, kSite}) {
    RegisterSite();
    QvProject project = ProjectIn(id);
    const Point p{121.4737, 31.2304};
    const Point again = project.FromLocal(project.ToLocal(p));
    EXPECT_NEAR(again.x, p.x, 1e-9) << id;
    EXPECT_NEAR(again.y, p.y, 1e-9) << id;
  }
}

TEST(ToLocal, OfAGeographicSystemIsInRadians) {
  QvProject project = ProjectIn(4490);
  const Point local = project.ToLocal({120.0, 30.0});
  EXPECT_NEAR(local.x, 2.0943951023931953, 1e-12);
  EXPECT_NEAR(local.y, 0.5235987755982988, 1e-12);
}

TEST(ToLocal, WorksInASystemOfTheHost) {
  RegisterSite();
  const Point local = ProjectIn(kSite).ToLocal({123.0, 0.0});
  EXPECT_NEAR(local.x, 300000.0, 1e-6);
  EXPECT_NEAR(local.y, 0.0, 1e-6);
}

TEST(ToLocal, GivesBackWhatCannotBeConverted) {
  QvProject project = ProjectIn(kZone);
  for (const Point p : {Point{120.0, 91.0}, Point{kNaN, 30.0}, Point{30.0, 0.0}}) {
    const Point same = project.ToLocal(p);
    EXPECT_TRUE(SameBits(same.x, p.x) && SameBits(same.y, p.y));
  }
  const Point far{1e12, 5.0};
  const Point same = project.FromLocal(far);
  EXPECT_TRUE(SameBits(same.x, far.x) && SameBits(same.y, far.y));
}

TEST(ToLocal, GivesBackEverythingInASystemThatNobodyKnows) {
  for (const int id : {987'654'321, -2, 0, 5703}) {
    QvProject project = ProjectIn(id);
    const Point p{120.1, 30.2};
    EXPECT_EQ(project.ToLocal(p), p) << id;
    EXPECT_EQ(project.FromLocal(p), p) << id;
  }
}

// ---- Image sets --------------------------------------------------------------------------------------

EOP Place(double x, double y, double z = 100.0) {
  return {x, y, z, 0.1, 0.2, 0.3};
}

/// Ids that are sparse, descending and repeated: positions are what counts.
QvProject ProjectWithImages(int coordinateId) {
  QvProject project = ProjectIn(coordinateId);
  ImageInfoSet& images = project.GetImageInfoSet();
  int i = 0;
  for (const int id : {7, 3, 2, 3, 1000}) {
    images.AddImage(id, "name " + std::to_string(i), "path", Place(120.0 + 0.01 * i, 30.0 + 0.01 * i), 5, i,
                    i % 2 == 0);
    images.GetImage(i)->Update(Place(120.001 + 0.01 * i, 30.001 + 0.01 * i, 200.0));
    ++i;
  }
  return project;
}

bool SameImages(const ImageInfoSet& a, const ImageInfoSet& b) {
  bool same = a.Size() == b.Size();
  for (int i = 0; same && i < a.Size(); ++i) {
    same = *a.GetImage(i) == *b.GetImage(i) && *a.GetImageExt(i) == *b.GetImageExt(i);
  }
  return same;
}

TEST(GetImageInfoSetLocal, WithoutASystemIsTheStoredSet) {
  const QvProject project = ProjectWithImages(kNone);
  EXPECT_TRUE(SameImages(project.GetImageInfoSetLocal(), project.GetImageInfoSet()));
}

TEST(GetImageInfoSetLocal, ConvertsXAndYOfBothOrientationsAndNothingElse) {
  QvProject project = ProjectWithImages(kZone);
  const QvProject before = project;
  const ImageInfoSet local = project.GetImageInfoSetLocal();
  ASSERT_EQ(local.Size(), 5);
  for (int i = 0; i < local.Size(); ++i) {
    const qvfd::ImageInfo& own = *before.GetImageInfoSet().GetImage(i);
    const qvfd::ImageInfo& converted = *local.GetImage(i);
    const Point initial = project.ToLocal({own.GetEOP().x, own.GetEOP().y});
    const Point updated = project.ToLocal({own.GetUpdatedEOP().x, own.GetUpdatedEOP().y});
    EXPECT_EQ(converted.GetEOP(), (EOP{initial.x, initial.y, 100.0, 0.1, 0.2, 0.3}));
    EXPECT_EQ(converted.GetUpdatedEOP(), (EOP{updated.x, updated.y, 200.0, 0.1, 0.2, 0.3}));
    EXPECT_EQ(converted.Id(), own.Id());
    EXPECT_EQ(converted.Name(), own.Name());
    EXPECT_EQ(converted.Path(), own.Path());
    EXPECT_EQ(*local.GetImageExt(i), *before.GetImageInfoSet().GetImageExt(i));
  }
  EXPECT_TRUE(SameImages(project.GetImageInfoSet(), before.GetImageInfoSet()))
      << "the project stays as it is";
}

TEST(GetImageInfoSetLocal, LeavesAloneWhatCannotBeConvertedAndGoesOn) {
  QvProject project = ProjectWithImages(kZone);
  project.GetImageInfoSet().GetImage(1)->SetEOP(Place(120.0, 95.0));
  project.GetImageInfoSet().GetImage(2)->Update(Place(kNaN, 30.0));
  const ImageInfoSet local = project.GetImageInfoSetLocal();
  EXPECT_EQ(local.GetImage(1)->GetEOP(), Place(120.0, 95.0));
  EXPECT_GT(local.GetImage(1)->GetUpdatedEOP().x, 1000.0);
  EXPECT_GT(local.GetImage(2)->GetEOP().x, 1000.0);
  EXPECT_TRUE(std::isnan(local.GetImage(2)->GetUpdatedEOP().x));
  EXPECT_EQ(local.GetImage(2)->GetUpdatedEOP().y, 30.0);
  EXPECT_GT(local.GetImage(4)->GetEOP().x, 1000.0);
}

TEST(GetImageInfoSetLocal, OfAnEmptySetIsEmpty) {
  EXPECT_EQ(ProjectIn(kZone).GetImageInfoSetLocal().Size(), 0);
}

TEST(GetImageInfoSetLocal, InASystemThatNobodyKnowsIsTheStoredSet) {
  const QvProject project = ProjectWithImages(987'654'321);
  EXPECT_TRUE(SameImages(project.GetImageInfoSetLocal(), project.GetImageInfoSet()));
}

TEST(SetImageInfoSetLocal, TakesTheUpdatedOrientationBack) {
  QvProject project = ProjectWithImages(kZone);
  ImageInfoSet local = project.GetImageInfoSetLocal();
  const EOP adjusted{500100.0, 3320200.0, 321.0, 0.4, 0.5, 0.6};
  local.GetImage(2)->Update(adjusted);
  project.SetImageInfoSetLocal(local);
  const Point degrees = project.FromLocal({adjusted.x, adjusted.y});
  EXPECT_EQ(project.GetImageInfoSet().GetImage(2)->GetUpdatedEOP(),
            (EOP{degrees.x, degrees.y, 321.0, 0.4, 0.5, 0.6}));
}

TEST(SetImageInfoSetLocal, TakesNothingElse) {
  QvProject project = ProjectWithImages(kZone);
  const QvProject before = project;
  ImageInfoSet local = project.GetImageInfoSetLocal();
  for (int i = 0; i < local.Size(); ++i) {
    local.GetImage(i)->SetEOP(Place(1.0, 2.0));
    local.GetImage(i)->SetName("other");
    local.GetImage(i)->SetPath("elsewhere");
    *local.GetImageExt(i) = {.strip_id = 77, .camera_id = 78, .enabled = i % 2 != 0};
  }
  project.SetImageInfoSetLocal(local);
  for (int i = 0; i < local.Size(); ++i) {
    const qvfd::ImageInfo& own = *project.GetImageInfoSet().GetImage(i);
    const qvfd::ImageInfo& old = *before.GetImageInfoSet().GetImage(i);
    EXPECT_EQ(own.GetEOP(), old.GetEOP());
    EXPECT_EQ(own.Name(), old.Name());
    EXPECT_EQ(own.Path(), old.Path());
    EXPECT_EQ(*project.GetImageInfoSet().GetImageExt(i), *before.GetImageInfoSet().GetImageExt(i));
    EXPECT_NEAR(own.GetUpdatedEOP().x, old.GetUpdatedEOP().x, 1e-9);
  }
}

TEST(SetImageInfoSetLocal, LeavesAloneWhatCannotBeConvertedAndGoesOn) {
  QvProject project = ProjectWithImages(kZone);
  const EOP old = project.GetImageInfoSet().GetImage(1)->GetUpdatedEOP();
  ImageInfoSet local = project.GetImageInfoSetLocal();
  local.GetImage(1)->Update(Place(1e12, 0.0, 5.0));
  local.GetImage(2)->Update(Place(500000.0, 3320113.397845, 5.0));
  project.SetImageInfoSetLocal(local);
  EXPECT_EQ(project.GetImageInfoSet().GetImage(1)->GetUpdatedEOP(), old);
  EXPECT_NEAR(project.GetImageInfoSet().GetImage(2)->GetUpdatedEOP().x, 120.0, 1e-9);
  EXPECT_EQ(project.GetImageInfoSet().GetImage(2)->GetUpdatedEOP().z, 5.0);
}

TEST(SetImageInfoSetLocal, WithFewerImagesUpdatesTheFirstOnes) {
  QvProject project = ProjectWithImages(kZone);
  const QvProject before = project;
  ImageInfoSet local;
  local.AddImage(99, "", "", Place(500000.0, 3320113.397845), 0, 0, true);
  project.SetImageInfoSetLocal(local);
  EXPECT_EQ(project.GetImageInfoSet().Size(), 5);
  EXPECT_NEAR(project.GetImageInfoSet().GetImage(0)->GetUpdatedEOP().x, 120.0, 1e-9);
  for (int i = 1; i < 5; ++i) {
    EXPECT_EQ(*project.GetImageInfoSet().GetImage(i), *before.GetImageInfoSet().GetImage(i));
  }
}

TEST(SetImageInfoSetLocal, NeverGoesPastTheProjectsOwnPositions) {
  QvProject project = ProjectIn(kZone);
  project.GetImageInfoSet().AddImage(1, "", "", Place(120.0, 30.0), 0, 0, true);
  ImageInfoSet local;
  for (int id = 0; id < 10; ++id) {
    // The ids meet the project's own one, at other positions.
    local.AddImage(id, "", "", Place(500000.0 + 1000.0 * id, 3320113.397845), 0, 0, true);
  }
  project.SetImageInfoSetLocal(local);
  EXPECT_EQ(project.GetImageInfoSet().Size(), 1);
  EXPECT_NEAR(project.GetImageInfoSet().GetImage(0)->GetUpdatedEOP().x, 120.0, 1e-9);
}

TEST(SetImageInfoSetLocal, WithoutASystemReplacesTheImagesAsAWhole) {
  QvProject project = ProjectWithImages(kNone);
  ImageInfoSet local;
  local.AddImage(42, "new", "there", Place(1.0, 2.0), 3, 4, false);
  project.SetImageInfoSetLocal(local);
  EXPECT_TRUE(SameImages(project.GetImageInfoSet(), local));
}

TEST(SetImageInfoSetLocal, InASystemThatNobodyKnowsTakesNothing) {
  QvProject project = ProjectWithImages(987'654'321);
  const QvProject before = project;
  ImageInfoSet local = project.GetImageInfoSetLocal();
  local.GetImage(0)->Update(Place(1.0, 2.0));
  project.SetImageInfoSetLocal(local);
  EXPECT_TRUE(SameImages(project.GetImageInfoSet(), before.GetImageInfoSet()));
}

}  // namespace
