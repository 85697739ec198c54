// Files and folders of a test.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace support {

using Bytes = std::vector<unsigned char>;

/// A folder of its own, gone with all that is in it when the object goes.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

  /// The path of `name` inside the folder; nothing is made.
  [[nodiscard]] std::string File(const std::string& name) const { return (path_ / name).string(); }

  /// The names of all that the folder holds, sorted.
  [[nodiscard]] std::vector<std::string> Names() const;

 private:
  std::filesystem::path path_;
};

[[nodiscard]] Bytes ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const Bytes& bytes);
void WriteText(const std::string& path, const std::string& text);

/// The bytes of every file below `folder`, by path: to show that nothing was changed, added or removed.
[[nodiscard]] std::vector<std::pair<std::string, Bytes>> Snapshot(const std::filesystem::path& folder);

/// The folder of real flights that QVPRJ_TEST_DATA names; none where the variable is not set.
[[nodiscard]] std::optional<std::string> TestData();

/// Skips the test, and says so, where there is no test data.
#define QVPRJ_NEEDS_TEST_DATA()                                                            \
  if (!support::TestData()) {                                                              \
    GTEST_SKIP() << "QVPRJ_TEST_DATA is not set: skipped what compares with real flights"; \
  }                                                                                        \
  static_assert(true)

}  // namespace support
