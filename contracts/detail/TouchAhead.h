// Memory for a large block, taken from the system at once.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace qvdetail {

/// Has the system back a block of memory that is about to be filled from end to end. Changes nothing but the
/// cost: backed page by page, at the first touch of each, memory costs twice as much, and more than filling it.
inline void TouchAhead([[maybe_unused]] void* block, [[maybe_unused]] std::size_t size) {
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
  constexpr std::size_t kLargeBlock = std::size_t{1} << 20U;
  if (size < kLargeBlock) {
    return;
  }
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t toPage = (page - reinterpret_cast<std::uintptr_t>(block) % page) % page;
  const std::size_t pages = (size - toPage) / page;
  // An older system does not know this one; nothing is lost then.
  static_cast<void>(madvise(static_cast<unsigned char*>(block) + toPage, pages * page, MADV_POPULATE_WRITE));
#endif
}

}  // namespace qvdetail
