#include "support/Folder.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>

namespace fs = std::filesystem;

namespace fuzz {
namespace {

fs::path Root() {
  const fs::path memory = "/dev/shm";
  std::error_code error;
  return std::getenv("TMPDIR") == nullptr && fs::is_directory(memory, error) ? memory
                                                                             : fs::temp_directory_path();
}

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

Folder::Folder() {
  std::random_device random;
  const fs::path path = Root() / ("qvprj-fuzz-" + std::to_string(random()) + "-" + std::to_string(random()));
  fs::create_directories(path);
  path_ = path.string();
}

Folder::~Folder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void Folder::Clear() const {
  for (const auto& entry : fs::directory_iterator(path_)) {
    fs::remove_all(entry.path());
  }
}

std::vector<std::string> Folder::Contents() const {
  std::vector<std::string> contents;
  for (const auto& entry : fs::recursive_directory_iterator(path_)) {
    std::string name = entry.path().string().substr(path_.size() + 1);
    if (entry.is_directory()) {
      contents.push_back(name + '/');
    } else {
      const Bytes bytes = entry.is_regular_file() ? ReadFile(entry.path().string()) : Bytes();
      contents.push_back(name + '\0' + std::string(bytes.begin(), bytes.end()));
    }
  }
  std::sort(contents.begin(), contents.end());
  return contents;
}

const Folder& EmptyFolder() {
  static const Folder folder;
  folder.Clear();
  return folder;
}

void WriteFile(const std::string& path, const Bytes& bytes) {
  const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
  Require(file && (bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size()),
          "a file of the target's own can be written");
}

Bytes ReadFile(const std::string& path) {
  const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
  Require(file != nullptr, "a file of the target's own can be read");
  Bytes bytes(static_cast<std::size_t>(fs::file_size(path)));
  if (!bytes.empty()) {
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
  }
  return bytes;
}

}  // namespace fuzz
