// What stands in for libFuzzer in every other build: runs the target once on each file that is named, and on
// each file of each folder that is named. Fails when there was none, since that would test nothing.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Target.h"

namespace fs = std::filesystem;

int main(int argc, char** argv) {
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) {
    if (!fs::is_directory(argv[i])) {
      files.emplace_back(argv[i]);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(argv[i])) {
      files.push_back(entry.path().string());
    }
  }
  std::sort(files.begin(), files.end());
  for (const std::string& file : files) {
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);  // the last line names the input that ended the program
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
      std::fprintf(stderr, "cannot read %s\n", file.c_str());
      return 1;
    }
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
