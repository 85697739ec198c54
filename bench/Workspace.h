// A folder for the files of one figure.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "Figure.h"

namespace bench {

/// Gone with all that is in it when the object goes.
class Workspace {
 public:
  Workspace() {
    std::random_device random;
    static std::atomic<unsigned> counter{0};
    path_ = std::filesystem::temp_directory_path() /
            ("qvprj-bench-" + std::to_string(random()) + "-" + std::to_string(counter.fetch_add(1)));
    std::filesystem::create_directories(path_);
  }
  ~Workspace() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  [[nodiscard]] std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

/// Reads a file once, so that the system has it in memory when a round begins: what a disk costs is not what is
/// measured.
inline void WarmUp(const std::string& path) {
  std::vector<char> buffer(std::size_t{1} << 20U);
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  while (read(file, buffer.data(), buffer.size()) > 0) {
  }
  close(file);
}

/// A new file, written as fast as the system takes bytes.
class RawFile {
 public:
  explicit RawFile(const std::string& path)
      : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)) {}
  ~RawFile() { close(file_); }
  RawFile(const RawFile&) = delete;
  RawFile& operator=(const RawFile&) = delete;

  void Write(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
      const ssize_t written = write(file_, bytes, size);
      Require(written > 0, "writing by hand");
      bytes += written;
      size -= static_cast<std::size_t>(written);
    }
  }

 private:
  int file_;
};

}  // namespace bench
