#include "qvfd/ReplaceFile.h"

#include <array>
#include <filesystem>
#include <system_error>

#include "qvfd/Text.h"

namespace fs = std::filesystem;

namespace qvfd {
namespace {

/// Takes the temporary file away again, whichever way the writing ends; after the rename there is nothing to
/// take.
class Remover {
 public:
  explicit Remover(const std::string& path) : path_(path) {}
  ~Remover() {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }
  Remover(const Remover&) = delete;
  Remover& operator=(const Remover&) = delete;

 private:
  const std::string& path_;
};

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
  std::array<char, 32> unique{};
  GenerateGUID(unique.data());
  const std::string temporary = target + ".tmp-" + std::string(unique.data(), unique.size());
  const Remover remover(temporary);
  if (!write(temporary)) {
    return false;
  }
  fs::rename(temporary, target, error);
  return !error;
}

}  // namespace qvfd
