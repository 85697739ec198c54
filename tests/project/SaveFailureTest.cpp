#include "ProjectFilesTest.h"

#include <gmock/gmock.h>

#include <filesystem>

#if defined(__unix__)
#include <sys/resource.h>

#include <csignal>
#endif

namespace {

using qvprj::QvProject;
using ::testing::ElementsAre;
namespace fs = std::filesystem;

class SaveFailureTest : public ProjectFilesTest {
 protected:
  QvProject project_ = support::BuildProject();
};

/// Paths that cannot name a database and a track file.
class RefusedPathTest : public SaveFailureTest, public ::testing::WithParamInterface<const char*> {
 protected:
  [[nodiscard]] std::string Refused() const {
    const std::string name = GetParam();
    return name.empty() ? name : Path(name);
  }
};

TEST_P(RefusedPathTest, SaveReturnsFalseAndTouchesNoFile) {
  SaveSomeProject("p.db");
  fs::create_directory(Path("dir"));
  support::WriteText(Path("dir/x.gb"), "tie points of another project");
  const auto before = support::Snapshot(folder_.Path());
  EXPECT_FALSE(project_.Save(Refused()));
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  EXPECT_THAT(folder_.Names(), ElementsAre("dir", "p.db", "p.gb"));
}

TEST_P(RefusedPathTest, SaveLeavesTheProjectAsItWas) {
  project_.GetPrjInfo().file_path = "before.db";
  QvProject before = project_;
  EXPECT_FALSE(project_.Save(Refused()));
  EXPECT_EQ(support::FirstDifference(project_, before), "");
}

INSTANTIATE_TEST_SUITE_P(Paths, RefusedPathTest,
                         ::testing::Values("", "dir/", "dir/x.gb", "p.gb", "new.gb", "p.v2.gb", "/"));

TEST_F(SaveFailureTest, AFolderThatIsNotThereMakesItFalse) {
  EXPECT_FALSE(project_.Save(Path("missing/p.db")));
  EXPECT_TRUE(folder_.Names().empty());
}

TEST_F(SaveFailureTest, ThePathIsStoredAlsoWhenSavingFails) {
  project_.GetPrjInfo().file_path = "before.db";
  EXPECT_FALSE(project_.Save(Path("missing/p.db")));
  EXPECT_EQ(project_.GetPrjInfo().file_path, Path("missing/p.db"));
}

TEST_F(SaveFailureTest, AFolderInPlaceOfTheDatabaseMakesItFalse) {
  fs::create_directory(Path("p.db"));
  EXPECT_FALSE(project_.Save(Path("p.db")));
  EXPECT_TRUE(fs::is_directory(Path("p.db")));
}

TEST_F(SaveFailureTest, TheOldTrackFileIsGoneWhenTheDatabaseCannotBeMade) {
  fs::create_directory(Path("p.db"));
  MakeTrackFileWithFeature("p.gb", 1, 1.0F);
  EXPECT_FALSE(project_.Save(Path("p.db")));
  EXPECT_FALSE(IsThere("p.gb"));
}

TEST_F(SaveFailureTest, ATrackFileThatCannotBeWrittenMakesItFalse) {
  fs::create_directory(Path("p.gb"));
  EXPECT_FALSE(project_.Save(Path("p.db")));
  EXPECT_EQ(project_.GetPrjInfo().file_path, Path("p.db"));
}

TEST_F(SaveFailureTest, TheDatabaseIsWholeWhenOnlyTheTrackFileCannotBeWritten) {
  fs::create_directory(Path("p.gb"));
  EXPECT_FALSE(project_.Save(Path("p.db")));
  EXPECT_EQ(support::Tables(Path("p.db")).size(), 5U);
  EXPECT_EQ(support::QueryOne(Path("p.db"), "SELECT count(*) FROM data_cp"), "12");
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db", "p.gb"));
}

TEST_F(SaveFailureTest, TheOldDatabaseIsGoneWhenTheTrackFileCannotBeWritten) {
  support::Execute(Path("p.db"), "CREATE TABLE old(x INTEGER);");
  fs::create_directory(Path("p.gb"));
  EXPECT_FALSE(project_.Save(Path("p.db")));
  EXPECT_EQ(support::Tables(Path("p.db")).size(), 5U);
}

#if defined(__unix__)
/// A disk on which a file cannot grow past a size.
class FullDisk {
 public:
  explicit FullDisk(rlim_t largestFile) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{largestFile, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int);
};

TEST_F(SaveFailureTest, ATableThatCannotBeWrittenMakesItFalseAndThereIsNoTrackFile) {
  support::ProjectShape shape;
  shape.images = 5000;
  QvProject large = support::BuildProject(shape);
  SaveSomeProject("p.db");
  {
    const FullDisk disk(100'000);
    EXPECT_FALSE(large.Save(Path("p.db")));
  }
  EXPECT_FALSE(IsThere("p.gb"));
  EXPECT_EQ(large.GetPrjInfo().file_path, Path("p.db"));
}

TEST_F(SaveFailureTest, ATrackFileThatDoesNotFitIsNotLeftInPart) {
  support::ProjectShape shape;
  shape.features_per_image = 20'000;
  QvProject large = support::BuildProject(shape);
  {
    const FullDisk disk(1'000'000);
    EXPECT_FALSE(large.Save(Path("p.db")));
  }
  EXPECT_THAT(folder_.Names(), ElementsAre("p.db"));
  EXPECT_EQ(support::QueryOne(Path("p.db"), "SELECT count(*) FROM data_image"), "12");
}
#endif

}  // namespace
