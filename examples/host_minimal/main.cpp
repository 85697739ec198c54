#include <iostream>

#include "qvprj/qvprj.h"

int main(int argc, char** argv) {
  qvprj::QvProject project;
  if (argc != 2 || !project.OpenPrj(argv[1])) {
    std::cerr << "usage: host_minimal PROJECT.db (an existing project)\n";
    return 1;
  }
  const qvfd::ImageInfoSet& images = project.GetImageInfoSet();
  std::cout << project.GetPrjInfo().project_name << ": " << images.Size() << " images\n";
  for (const qvfd::ImageInfo& image : images) {
    const qvfd::EOP& eop = image.GetUpdatedEOP();
    std::cout << image.Id() << ' ' << eop.x << ' ' << eop.y << ' ' << eop.z << '\n';
  }
}
