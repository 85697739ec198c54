// The folder in which a target makes its files, in memory where the system has a place for that.
#pragma once

#include <string>
#include <vector>

#include "Target.h"

namespace fuzz {

/// A new folder below $TMPDIR, or, without that, below /dev/shm or where temporary files go. Gone with all
/// that is in it when the object goes.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] const std::string& Path() const { return path_; }
  [[nodiscard]] std::string File(const std::string& name) const { return path_ + "/" + name; }

  /// Removes all that is in it.
  void Clear() const;

  /// All that is below it: names of folders with a '/' behind them, names of files with their bytes behind a
  /// NUL. Sorted.
  [[nodiscard]] std::vector<std::string> Contents() const;

 private:
  std::string path_;
};

/// The folder of a target, made when first asked for; empty.
const Folder& EmptyFolder();

void WriteFile(const std::string& path, const Bytes& bytes);
[[nodiscard]] Bytes ReadFile(const std::string& path);

}  // namespace fuzz
