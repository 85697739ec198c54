#include <gtest/gtest.h>

#include <memory>

#include "qvprj/project/QvProject.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"

namespace {

using qvprj::QvProject;
using support::TextOf;

class ClearTest : public ::testing::Test {
 protected:
  void SetUp() override {
    project_.GetPrjInfo().file_path = "somewhere.db";
    project_.GetPrjInfo().coordinate_id = 4547;
    before_ = project_;
    project_.Clear();
  }

  QvProject project_ = support::BuildProject();
  QvProject before_;
};

TEST_F(ClearTest, EmptiesCamerasAndImages) {
  EXPECT_EQ(project_.GetCameraInfoSet().Size(), 0);
  EXPECT_EQ(project_.GetImageInfoSet().Size(), 0);
}

TEST_F(ClearTest, GivesTheInformationItsDefaults) {
  const auto& info = project_.GetPrjInfo();
  EXPECT_EQ(info.coordinate_id, -1);
  EXPECT_EQ(info.nadir, 1);
  EXPECT_EQ(info.uavtype, 99);
  EXPECT_EQ(info.height, 0.0);
  EXPECT_EQ(TextOf(info.project_name) + TextOf(info.operator_name) + TextOf(info.date), "");
  EXPECT_EQ(TextOf(info.description), "");
  EXPECT_EQ(info.file_path, "");
}

TEST_F(ClearTest, GivesTheProjectANewId) {
  EXPECT_EQ(TextOf(project_.GetPrjInfo().id).size(), 32U);
  EXPECT_NE(TextOf(project_.GetPrjInfo().id), TextOf(before_.GetPrjInfo().id));
}

TEST_F(ClearTest, LeavesGroundControlAlone) {
  EXPECT_EQ(project_.GetGroundControl(), before_.GetGroundControl());
}

TEST_F(ClearTest, LeavesTiePointsAlone) {
  EXPECT_EQ(project_.GetFeatures(), before_.GetFeatures());
  EXPECT_EQ(project_.GetMatches(), before_.GetMatches());
  EXPECT_EQ(project_.GetTracks(), before_.GetTracks());
}

TEST(VirtualClearTest, ADerivedProjectsClearIsCalledThroughTheBase) {
  class Derived : public QvProject {
   public:
    void Clear() override { ++cleared; }
    int cleared = 0;
  };
  Derived derived;
  QvProject& base = derived;
  base.Clear();
  EXPECT_EQ(derived.cleared, 1);
}

TEST(VirtualClearTest, ADerivedProjectIsDestroyedThroughTheBase) {
  struct Derived : QvProject {
    explicit Derived(int& count) : destroyed(count) {}
    ~Derived() override { ++destroyed; }
    int& destroyed;
  };
  int destroyed = 0;
  std::unique_ptr<QvProject>(new Derived(destroyed)).reset();
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
