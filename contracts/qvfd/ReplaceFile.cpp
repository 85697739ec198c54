#include "qvfd/ReplaceFile.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "qvfd/PathHelper.h"
#include "qvfd/Text.h"

namespace fs = std::filesystem;

namespace qvfd {
namespace {

/// Takes the temporary file away again, whichever way the writing ends; after the rename nothing is left.
class Remover {
 public:
  explicit Remover(const std::string& path) : path_(path) {}
  ~Remover() { std::remove(path_.c_str()); }  // needs no memory, which may be what the writing failed for
  Remover(const Remover&) = delete;
  Remover& operator=(const Remover&) = delete;

 private:
  const std::string& path_;
};

/// A path in the folder of `target` that nobody else uses. Its name does not contain the target's, which may
/// be as long as names can be.
std::string TemporaryPath(const std::string& target) {
  std::array<char, 32> unique{};
  GenerateGUID(unique.data());
  return PathHelper::Merge(PathHelper::GetFileDirectory(target),
                           ".qv-" + std::string(unique.data(), unique.size()) + ".tmp");
}

}  // namespace

bool ReplaceFile(const std::string& target, const std::function<bool(const std::string& temporary)>& write) {
  if (target.empty() || target.find('\0') != std::string::npos) {
    return false;
  }
  std::error_code error;
  const fs::file_status status = fs::status(target, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    return false;
  }
  const std::string temporary = TemporaryPath(target);
  const Remover remover(temporary);
  if (!write(temporary)) {
    return false;
  }
  fs::rename(temporary, target, error);
  return !error;
}

}  // namespace qvfd
