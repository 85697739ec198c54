// Memory that runs out in the middle: an operation that returns bool ends as false and throws nothing.

#include <gtest/gtest.h>

#include <utility>

#include "qvprj/flight/FlyProjectHelper.h"
#include "support/ContractsFailingMemory.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

namespace {

using qvprj::FlyProjectHelper;
using qvprj::QvProject;
using support::FailingMemory;

class MemoryRunsOutTest : public ::testing::Test {
 protected:
  /// How one try went: what the operation returned, and whether memory ran out in it.
  struct Try {
    bool result;
    bool struck;
  };

  /// Runs the operation on a path with ever more memory, until there is enough, and shows each try.
  template <class Operation, class Check>
  void UntilMemorySuffices(const std::string& path, Operation operation, Check check) {
    constexpr long kMany = 100'000;
    for (long allowed = 0; allowed < kMany; ++allowed) {
      std::string argument = path;
      Try attempt{};
      {
        const FailingMemory memory(allowed);
        attempt.result = operation(std::move(argument));
        attempt.struck = memory.Struck();
      }
      ASSERT_TRUE(attempt.result || attempt.struck) << allowed;
      check(attempt);
      if (!attempt.struck) {
        return;
      }
    }
    FAIL() << "memory never sufficed";
  }

  static QvProject SmallProject() {
    support::ProjectShape shape;
    shape.cameras = 1;
    shape.images = 2;
    shape.ground_points = 1;
    shape.pairs = 2;
    shape.tracks = 2;
    return support::BuildProject(shape);
  }

  [[nodiscard]] std::string Path() const { return folder_.File("a name that is no short string.db"); }

  support::TempFolder folder_;
};

TEST_F(MemoryRunsOutTest, SaveIsFalseOrHasSavedEverything) {
  QvProject project = SmallProject();
  UntilMemorySuffices(
      Path(), [&](std::string path) { return project.Save(std::move(path)); },
      [&](const Try& attempt) {
        if (attempt.result) {
          QvProject opened;
          ASSERT_TRUE(opened.OpenPrj(Path()));
          EXPECT_EQ(support::FirstDifference(opened, project), "");
        }
      });
}

TEST_F(MemoryRunsOutTest, OpenPrjThrowsNothingAndTheProjectCanBeOpenedAgain) {
  QvProject project = SmallProject();
  ASSERT_TRUE(project.Save(Path()));
  QvProject opened;
  UntilMemorySuffices(
      Path(), [&](std::string path) { return opened.OpenPrj(std::move(path)); }, [](const Try&) {});
  EXPECT_EQ(support::FirstDifference(opened, project), "");
}

TEST_F(MemoryRunsOutTest, QuickOpenPrjIsFalseAndTouchesNothing) {
  ASSERT_TRUE(SmallProject().Save(Path()));
  QvProject project;
  UntilMemorySuffices(
      Path(), [&](std::string path) { return project.QuickOpenPrj(std::move(path)); },
      [&](const Try& attempt) {
        EXPECT_EQ(attempt.result, !attempt.struck);
        EXPECT_EQ(project.GetPrjInfo().file_path, attempt.result ? Path() : "");
      });
}

TEST_F(MemoryRunsOutTest, QuickReadIsFalseAndAppendsNothing) {
  support::Execute(Path(),
                   "CREATE TABLE flight_mission(id, flight_task_name, created_at, project_id);"
                   "CREATE TABLE pos_data(flight_mission_id); INSERT INTO pos_data VALUES('m');"
                   "INSERT INTO flight_mission VALUES('m', 'a name that is no short string', '2024', 'P');");
  std::vector<FlyProjectHelper::FlyPrjInfo> missions;
  UntilMemorySuffices(
      Path(), [&](std::string path) { return FlyProjectHelper().QuickRead(std::move(path), missions); },
      [&](const Try& attempt) {
        EXPECT_EQ(missions.size(), attempt.result ? 1U : 0U);
        missions.clear();
      });
}

}  // namespace
