#include "support/Memory.h"

#include "Target.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QVPRJ_COUNTS_ALLOCATIONS
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define QVPRJ_COUNTS_ALLOCATIONS
#endif

#if defined(QVPRJ_COUNTS_ALLOCATIONS)
// Both compilers' sanitizers have them, but not both a header.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void*, std::size_t),
                                                         void (*freed)(const volatile void*));
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void* block);
#endif

namespace fuzz {
namespace {

#if defined(QVPRJ_COUNTS_ALLOCATIONS)

bool watching = false;
std::ptrdiff_t now = 0;
std::ptrdiff_t peak = 0;

void Allocated(const volatile void* /*block*/, std::size_t size) {
  if (watching) {
    now += static_cast<std::ptrdiff_t>(size);
    peak = std::max(peak, now);
  }
}

void Freed(const volatile void* block) {
  if (watching && block != nullptr) {
    now -= static_cast<std::ptrdiff_t>(__sanitizer_get_allocated_size(block));
  }
}

void Begin() {
  static const int installed = __sanitizer_install_malloc_and_free_hooks(Allocated, Freed);
  Require(installed > 0, "allocations can be watched");
  now = peak = 0;
  watching = true;
}

std::size_t End() {
  watching = false;
  return static_cast<std::size_t>(peak);
}

#else

void Begin() {}
std::size_t End() {
  return 0;
}

#endif

}  // namespace

MemoryWatch::MemoryWatch(std::size_t fileSize) : allowed_((std::size_t{64} << 20U) + 64 * fileSize) {
  Begin();
}

MemoryWatch::~MemoryWatch() {
  Require(End() <= allowed_, "memory stays below 64 MiB and 64 times the size of the files");
}

}  // namespace fuzz
