// A folder for the files of one figure.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>

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

}  // namespace bench
