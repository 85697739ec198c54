#include <gtest/gtest.h>

#include <map>
#include <type_traits>
#include <utility>
#include <vector>

#include "qvprj/project/QvProject.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"

namespace {

using qvprj::PrjInfo;
using qvprj::QvProject;
using support::BuildProject;
using support::TextOf;

static_assert(std::has_virtual_destructor_v<QvProject>);
static_assert(std::is_same_v<QvProject::Features, std::map<int, std::vector<qvfd::Point2_T<float>>>>);
static_assert(
    std::is_same_v<QvProject::Matches, std::map<qvfd::Point2_T<int>, std::vector<qvfd::Point2_T<int>>>>);
static_assert(std::is_same_v<QvProject::Tracks, std::vector<qvfd::Track>>);

// The three members that every reader of a project needs have getters for const projects.
template <class T>
using CamerasOf = decltype(std::declval<T&>().GetCameraInfoSet());
template <class T>
using ImagesOf = decltype(std::declval<T&>().GetImageInfoSet());
template <class T>
using InfoOf = decltype(std::declval<T&>().GetPrjInfo());
static_assert(std::is_same_v<CamerasOf<QvProject>, qvfd::CameraInfoSet&>);
static_assert(std::is_same_v<CamerasOf<const QvProject>, const qvfd::CameraInfoSet&>);
static_assert(std::is_same_v<ImagesOf<QvProject>, qvfd::ImageInfoSet&>);
static_assert(std::is_same_v<ImagesOf<const QvProject>, const qvfd::ImageInfoSet&>);
static_assert(std::is_same_v<InfoOf<QvProject>, PrjInfo&>);
static_assert(std::is_same_v<InfoOf<const QvProject>, const PrjInfo&>);

template <class T>
concept HasGroundControl = requires(T& project) {
  project.GetGroundControl();
};
template <class T>
concept HasFeatures = requires(T& project) {
  project.GetFeatures();
};
template <class T>
concept HasMatches = requires(T& project) {
  project.GetMatches();
};
template <class T>
concept HasTracks = requires(T& project) {
  project.GetTracks();
};
static_assert(HasGroundControl<QvProject> && !HasGroundControl<const QvProject>);
static_assert(HasFeatures<QvProject> && !HasFeatures<const QvProject>);
static_assert(HasMatches<QvProject> && !HasMatches<const QvProject>);
static_assert(HasTracks<QvProject> && !HasTracks<const QvProject>);

TEST(ProjectTest, ANewProjectHasTheDefaultInformation) {
  const QvProject project;
  const PrjInfo& info = project.GetPrjInfo();
  EXPECT_EQ(info.coordinate_id, -1);
  EXPECT_EQ(info.nadir, 1);
  EXPECT_EQ(info.uavtype, 99);
  EXPECT_EQ(info.height, 0.0);
  EXPECT_EQ(TextOf(info.project_name) + TextOf(info.operator_name) + TextOf(info.date), "");
  EXPECT_EQ(TextOf(info.description), "");
  EXPECT_EQ(info.file_path, "");
}

TEST(ProjectTest, ANewProjectHoldsNothing) {
  QvProject project;
  EXPECT_EQ(project.GetCameraInfoSet().Size(), 0);
  EXPECT_EQ(project.GetImageInfoSet().Size(), 0);
  EXPECT_EQ(project.GetGroundControl(), qvgcp::GCPPrj());
  EXPECT_TRUE(project.GetFeatures().empty());
  EXPECT_TRUE(project.GetMatches().empty());
  EXPECT_TRUE(project.GetTracks().empty());
}

TEST(ProjectTest, NoTwoNewProjectsShareAnId) {
  const QvProject first;
  const QvProject second;
  EXPECT_NE(TextOf(first.GetPrjInfo().id), TextOf(second.GetPrjInfo().id));
}

TEST(ProjectTest, GettersReachTheMembersThemselves) {
  QvProject project;
  project.GetCameraInfoSet().AddCamera({});
  project.GetImageInfoSet().AddImage(5, "a", "b", {}, 0, 0, true);
  project.GetPrjInfo().nadir = 7;
  project.GetGroundControl().ground_points.AddPoint(1, {});
  project.GetFeatures()[5].resize(2);
  project.GetMatches()[{1, 2}].resize(3);
  project.GetTracks().resize(4);
  const QvProject& reader = project;
  EXPECT_EQ(reader.GetCameraInfoSet().Size(), 1);
  EXPECT_EQ(reader.GetImageInfoSet().Size(), 1);
  EXPECT_EQ(reader.GetPrjInfo().nadir, 7);
  EXPECT_NE(project.GetGroundControl(), qvgcp::GCPPrj());
  EXPECT_EQ(project.GetFeatures().at(5).size(), 2U);
  EXPECT_EQ(project.GetMatches().at({1, 2}).size(), 3U);
  EXPECT_EQ(project.GetTracks().size(), 4U);
}

TEST(ProjectTest, SetCameraInfoSetTakesACopy) {
  qvfd::CameraInfoSet cameras = BuildProject().GetCameraInfoSet();
  QvProject project;
  project.SetCameraInfoSet(cameras);
  cameras.GetCamera(0)->width = 1;
  EXPECT_EQ(project.GetCameraInfoSet().Size(), 2);
  EXPECT_EQ(project.GetCameraInfoSet().GetCamera(0)->width, 4000);
}

TEST(ProjectTest, SetImageInfoSetTakesACopy) {
  qvfd::ImageInfoSet images;
  images.AddImage(5, "before", "", {}, 0, 0, true);
  QvProject project = BuildProject();
  project.SetImageInfoSet(images);
  images.GetImage(0)->SetName("after");
  EXPECT_EQ(project.GetImageInfoSet().Size(), 1);
  EXPECT_EQ(project.GetImageInfoSet().GetImage(0)->Name(), "before");
}

TEST(ProjectTest, SetPrjInfoTakesThePathTooAndTheId) {
  PrjInfo info;
  info.file_path = "somewhere.db";
  QvProject project;
  project.GetPrjInfo().file_path = "elsewhere.db";
  project.SetPrjInfo(info);
  EXPECT_EQ(project.GetPrjInfo().file_path, "somewhere.db");
  EXPECT_EQ(TextOf(project.GetPrjInfo().id), TextOf(info.id));
}

TEST(ProjectTest, SettingAProjectsOwnMembersChangesNothing) {
  QvProject project = BuildProject();
  project.GetPrjInfo().file_path = "a/path/that/does/not/fit/into/the/string/itself.db";
  QvProject before = project;
  project.SetCameraInfoSet(project.GetCameraInfoSet());
  project.SetImageInfoSet(project.GetImageInfoSet());
  project.SetPrjInfo(project.GetPrjInfo());
  EXPECT_EQ(support::FirstDifference(project, before), "");
}

}  // namespace
