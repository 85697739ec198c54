#include "Growth.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "Figure.h"
#include "PeakMemory.h"
#include "Workspace.h"
#include "support/ProjectBuilder.h"

namespace bench {
namespace {

constexpr double kMegabyte = 1024.0 * 1024.0;
constexpr int kRounds = 3;

/// 21 kB of tie points an image.
support::ProjectShape Survey(int images) {
  support::ProjectShape shape = support::Nothing();
  shape.cameras = 2;
  shape.images = images;
  shape.features_per_image = 1'000;
  shape.pairs = 5 * images;
  shape.matches_per_pair = 100;
  shape.tracks = 100 * images;
  shape.observations_per_track = 5;
  shape.ground_points = std::max(1, images / 100);
  shape.measurements_per_point = 10;
  return shape;
}

template <class Work>
double Fastest(Work work) {
  double fastest = Milliseconds(work);
  for (int round = 1; round < kRounds; ++round) {
    ForgetFreeMemory();
    fastest = std::min(fastest, Milliseconds(work));
  }
  return fastest;
}

}  // namespace

void PrintGrowth(bool tiny) {
  std::printf(
      "Per image: 1,000 features, 5 pairs of 100 matches, 100 tracks of 5 observations. Fastest of %d.\n\n",
      kRounds);
  std::printf("%10s %12s %12s %12s %12s %12s %14s %14s\n", "images", "files", "memory", "save", "open",
              "quick open", "save an image", "open an image");
  for (int images = 10; images <= (tiny ? 100 : 100'000); images *= 10) {
    const Workspace folder;
    const std::string path = folder.File("survey.db");
    const std::size_t before = MemoryInUse();
    qvprj::QvProject project = support::BuildProject(Survey(images));
    const double memory = static_cast<double>(MemoryInUse() - before) / kMegabyte;
    const double save = Fastest([&] { Require(project.Save(path), "saving"); });
    project = qvprj::QvProject();
    ForgetFreeMemory();
    const double open = Fastest([&] {
      qvprj::QvProject opened;
      Require(opened.OpenPrj(path) && opened.GetImageInfoSet().Size() == images, "opening");
    });
    const double quick = Fastest([&] { Require(qvprj::QvProject().QuickOpenPrj(path), "opening quickly"); });
    const double files = static_cast<double>(std::filesystem::file_size(path) +
                                             std::filesystem::file_size(folder.File("survey.gb"))) /
                         kMegabyte;
    std::printf("%10d %8.1f MiB %8.1f MiB %9.2f ms %9.2f ms %9.3f ms %11.2f us %11.2f us\n", images, files,
                memory, save, open, quick, 1000.0 * save / images, 1000.0 * open / images);
    std::fflush(stdout);
  }
}

}  // namespace bench
