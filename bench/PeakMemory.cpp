#include "PeakMemory.h"

#include <malloc.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

// One thread measures; counting costs both sides of a figure the same.
std::size_t inUse = 0;
std::size_t peak = 0;

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  inUse += malloc_usable_size(memory);
  peak = std::max(peak, inUse);
  return memory;
}

void operator delete(void* memory) noexcept {
  if (memory != nullptr) {
    inUse -= malloc_usable_size(memory);
    std::free(memory);
  }
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  operator delete(memory);
}

namespace bench {

std::size_t MemoryInUse() {
  return inUse + static_cast<std::size_t>(sqlite3_memory_used());
}

std::size_t PeakMemory() {
  return peak + static_cast<std::size_t>(sqlite3_memory_highwater(0));
}

void ForgetPeak() {
  peak = inUse;
  sqlite3_memory_highwater(1);
}

}  // namespace bench
