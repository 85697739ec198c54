// How much memory an operation takes: watched where the address sanitizer counts allocations.
#pragma once

#include <cstddef>

namespace fuzz {

/// Requires, when it goes, that what was allocated at one time since it was made stayed within what the
/// library promises for files of `fileSize` bytes: 64 MiB and 64 bytes for each byte of them.
class MemoryWatch {
 public:
  explicit MemoryWatch(std::size_t fileSize);
  ~MemoryWatch();
  MemoryWatch(const MemoryWatch&) = delete;
  MemoryWatch& operator=(const MemoryWatch&) = delete;

 private:
  std::size_t allowed_;
};

}  // namespace fuzz
