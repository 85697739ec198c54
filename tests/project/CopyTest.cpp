#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

#include "qvprj/project/QvProject.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"

namespace {

using qvprj::QvProject;
using support::BuildProject;
using support::FirstDifference;
using support::TextOf;

static_assert(std::is_nothrow_move_constructible_v<QvProject>);
static_assert(std::is_nothrow_move_assignable_v<QvProject>);
static_assert(
    std::is_same_v<decltype(std::declval<QvProject&>() = std::declval<const QvProject&>()), QvProject&>);

QvProject OtherProject() {
  support::ProjectShape shape;
  shape.seed = 2;
  shape.images = 5;
  shape.tracks = 3;
  return BuildProject(shape);
}

/// Changes one thing in every member.
void ChangeEverything(QvProject& project) {
  project.GetCameraInfoSet().GetCamera(0)->width = 1;
  project.GetImageInfoSet().GetImage(0)->SetName("changed");
  support::SetText(project.GetPrjInfo().project_name, "changed");
  project.GetGroundControl().ground_points.AddPoint(100, {});
  project.GetFeatures().begin()->second.clear();
  project.GetMatches().begin()->second.clear();
  project.GetTracks().clear();
}

TEST(CopyTest, TheBuilderFillsEveryMember) {
  QvProject project = BuildProject();
  EXPECT_GT(project.GetCameraInfoSet().Size(), 0);
  EXPECT_GT(project.GetImageInfoSet().Size(), 0);
  EXPECT_NE(project.GetGroundControl(), qvgcp::GCPPrj());
  EXPECT_FALSE(project.GetFeatures().empty());
  EXPECT_FALSE(project.GetMatches().empty());
  EXPECT_FALSE(project.GetTracks().empty());
}

TEST(CopyTest, TheComparerSeesAChangeOfEveryMember) {
  QvProject project = BuildProject();
  QvProject other = OtherProject();
  EXPECT_NE(FirstDifference(project, other), "");
  QvProject changed = project;
  changed.GetTracks().back().observations.back().x += 1.0F;
  EXPECT_EQ(FirstDifference(project, changed).substr(0, 28), "observation x of track at 24");
}

TEST(CopyTest, ACopyHoldsAllThatTheSourceHolds) {
  QvProject source = BuildProject();
  QvProject copy(source);
  EXPECT_EQ(FirstDifference(copy, source), "");
}

TEST(CopyTest, ACopyKeepsTheSourcesId) {
  const QvProject source;
  const QvProject copy(source);
  EXPECT_EQ(TextOf(copy.GetPrjInfo().id), TextOf(source.GetPrjInfo().id));
}

TEST(CopyTest, AnAssignedProjectHasTheSourcesId) {
  const QvProject source;
  QvProject target;
  target = source;
  EXPECT_EQ(TextOf(target.GetPrjInfo().id), TextOf(source.GetPrjInfo().id));
}

TEST(CopyTest, AssignmentReplacesEveryMember) {
  QvProject source = BuildProject();
  QvProject target = OtherProject();
  target = source;
  EXPECT_EQ(FirstDifference(target, source), "");
}

TEST(CopyTest, AssignmentReturnsItsTarget) {
  const QvProject source;
  QvProject target;
  EXPECT_EQ(&(target = source), &target);
}

TEST(CopyTest, ACopyIsIndependentOfItsSource) {
  QvProject source = BuildProject();
  QvProject copy(source);
  QvProject expected = BuildProject();
  ChangeEverything(source);
  EXPECT_EQ(FirstDifference(copy, expected), "");
}

TEST(CopyTest, AnAssignedProjectIsIndependentOfItsSource) {
  QvProject source = BuildProject();
  QvProject target;
  target = source;
  QvProject expected = BuildProject();
  ChangeEverything(source);
  EXPECT_EQ(FirstDifference(target, expected), "");
}

TEST(CopyTest, CopyToMakesTheTargetACopy) {
  QvProject source = BuildProject();
  source.GetPrjInfo().file_path = "source.db";
  QvProject target = OtherProject();
  source.CopyTo(target);
  EXPECT_EQ(FirstDifference(target, source), "");
}

TEST(CopyTest, CopyToLeavesTheSourceAlone) {
  QvProject source = BuildProject();
  QvProject target = OtherProject();
  source.CopyTo(target);
  QvProject expected = BuildProject();
  EXPECT_EQ(FirstDifference(source, expected), "");
}

TEST(CopyTest, AssigningAProjectToItselfChangesNothing) {
  QvProject project = BuildProject();
  QvProject expected = BuildProject();
  const QvProject& same = project;
  project = same;
  EXPECT_EQ(FirstDifference(project, expected), "");
}

TEST(CopyTest, CopyToItselfChangesNothing) {
  QvProject project = BuildProject();
  QvProject expected = BuildProject();
  project.CopyTo(project);
  EXPECT_EQ(FirstDifference(project, expected), "");
}

TEST(CopyTest, AMovedProjectHoldsAllThatTheSourceHeld) {
  QvProject source = BuildProject();
  source.GetPrjInfo().file_path = "a/path/that/does/not/fit/into/the/string/itself.db";
  QvProject expected = source;
  QvProject moved(std::move(source));
  EXPECT_EQ(FirstDifference(moved, expected), "");
}

TEST(CopyTest, MoveAssignmentReplacesEveryMember) {
  QvProject source = BuildProject();
  QvProject expected = source;
  QvProject target = OtherProject();
  target = std::move(source);
  EXPECT_EQ(FirstDifference(target, expected), "");
}

TEST(CopyTest, MovingTakesTheTiePointsOverWithoutCopyingThem) {
  QvProject source = BuildProject();
  const auto* tracks = source.GetTracks().data();
  const auto* points = source.GetFeatures().begin()->second.data();
  QvProject moved(std::move(source));
  EXPECT_EQ(moved.GetTracks().data(), tracks);
  EXPECT_EQ(moved.GetFeatures().begin()->second.data(), points);
}

TEST(CopyTest, AMovedFromProjectMayBeAssignedTo) {
  QvProject source = BuildProject();
  const QvProject moved(std::move(source));
  QvProject expected = OtherProject();
  source = expected;
  EXPECT_EQ(FirstDifference(source, expected), "");
}

TEST(CopyTest, AMovedFromProjectMayBeCleared) {
  QvProject source = BuildProject();
  const QvProject moved(std::move(source));
  source.Clear();
  EXPECT_EQ(source.GetImageInfoSet().Size(), 0);
  EXPECT_EQ(source.GetCameraInfoSet().Size(), 0);
  EXPECT_EQ(TextOf(source.GetPrjInfo().id).size(), 32U);
}

}  // namespace
