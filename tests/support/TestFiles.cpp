#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <random>

namespace fs = std::filesystem;

namespace support {

TempFolder::TempFolder() {
  static std::atomic<unsigned> counter{0};
  std::random_device random;
  path_ = fs::temp_directory_path() /
          ("qvprj-test-" + std::to_string(random()) + "-" + std::to_string(counter.fetch_add(1)));
  fs::create_directories(path_);
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  fs::permissions(path_, fs::perms::owner_all, ignored);
  fs::remove_all(path_, ignored);
}

std::vector<std::string> TempFolder::Names() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(path_)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

Bytes ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << "cannot read " << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteBytes(const std::string& path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  ASSERT_TRUE(file.flush()) << "cannot write " << path;
}

void WriteText(const std::string& path, const std::string& text) {
  WriteBytes(path, Bytes(text.begin(), text.end()));
}

std::vector<std::pair<std::string, Bytes>> Snapshot(const fs::path& folder) {
  std::vector<std::pair<std::string, Bytes>> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      files.emplace_back(entry.path().string(), ReadBytes(entry.path().string()));
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::optional<std::string> TestData() {
  const char* folder = std::getenv("QVPRJ_TEST_DATA");
  if (folder == nullptr || *folder == '\0') {
    return std::nullopt;
  }
  return folder;
}

}  // namespace support
