// A host that runs for weeks: after ten thousand times, as much memory and as many files are in use as before.

#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <filesystem>

#include "qvprj/qvprj.h"
#include "support/ProjectBuilder.h"
#include "support/TestFiles.h"

namespace {

using qvprj::QvProject;

std::size_t MemoryInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

std::ptrdiff_t OpenFiles() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

TEST(Soak, TenThousandTimesOpenedAndSaved) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  constexpr int kCycles = 300;  // the sanitizers have their own eye on memory
#else
  constexpr int kCycles = 10'000;
#endif
  constexpr int kWarmUp = 100;
  const support::TempFolder folder;
  const std::string path = folder.File("p.db");
  support::ProjectShape shape;
  shape.images = 3;
  shape.pairs = 2;
  shape.tracks = 3;
  QvProject project = support::BuildProject(shape);
  project.GetPrjInfo().coordinate_id = 32650;
  ASSERT_TRUE(project.Save(path));
  std::size_t memory = 0;
  std::ptrdiff_t files = 0;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    if (cycle == kWarmUp) {
      memory = MemoryInUse();
      files = OpenFiles();
    }
    QvProject opened;
    ASSERT_TRUE(opened.OpenPrj(path)) << cycle;
    ASSERT_TRUE(cycle % 50 == 0 ? opened.SaveDurably(path) : opened.Save(path)) << cycle;
    if (cycle % 20 == 0) {
      ASSERT_GT(opened.ToLocal({117.0, 31.0}).x, 400'000.0);
    }
  }
  constexpr std::size_t kSlack = std::size_t{64} << 10U;
  EXPECT_LT(MemoryInUse(), memory + kSlack);
  EXPECT_EQ(OpenFiles(), files);
  EXPECT_EQ(folder.Names().size(), 2U);
}

}  // namespace
