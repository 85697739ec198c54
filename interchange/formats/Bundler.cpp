// Bundler's output, version 0.3.
#include "interchange/formats/Bundler.h"

#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

void AddLine(std::string& text, std::initializer_list<double> numbers) {
  bool first = true;
  for (const double number : numbers) {
    text += (first ? "" : " ") + TextOf(number);
    first = false;
  }
  text += '\n';
}

}  // namespace

std::vector<std::string> WriteBundle(const std::string& folder, const Bundle& bundle) {
  std::string text = "# Bundle file v0.3\n" + std::to_string(bundle.cameras.size()) + " " +
                     std::to_string(bundle.points.size()) + "\n";
  std::string list;
  for (const BundlerCamera& camera : bundle.cameras) {
    AddLine(text, {camera.focal, camera.k1, camera.k2});
    for (int row = 0; row < 3; ++row) {
      AddLine(text, {camera.rotation(row, 0), camera.rotation(row, 1), camera.rotation(row, 2)});
    }
    AddLine(text, {camera.translation.x, camera.translation.y, camera.translation.z});
    list += camera.image + "\n";
  }
  for (const BundlerPoint& point : bundle.points) {
    AddLine(text, {point.position.x, point.position.y, point.position.z});
    text += "255 255 255\n" + std::to_string(point.views.size());
    for (const BundlerPoint::View& view : point.views) {
      text += " " + std::to_string(view.camera) + " " + std::to_string(view.key) + " " + TextOf(view.x) +
              " " + TextOf(view.y);
    }
    text += '\n';
  }
  MakeFolder(folder);
  std::vector<std::string> paths = {PathIn(folder, "bundle.out"), PathIn(folder, "list.txt")};
  WriteWholeFile(paths[0], text);
  WriteWholeFile(paths[1], list);
  return paths;
}

}  // namespace interchange
