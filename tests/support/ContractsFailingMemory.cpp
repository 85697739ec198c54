#include "support/ContractsFailingMemory.h"

#include <cstdlib>
#include <new>

namespace {

constexpr long kUnlimited = -1;
thread_local long allowed = kUnlimited;
thread_local bool struck = false;
thread_local bool watching = false;
thread_local std::size_t largest = 0;

}  // namespace

void* operator new(std::size_t size) {
  if (watching && size > largest) {
    largest = size;
  }
  if (allowed == 0) {
    struck = true;
    throw std::bad_alloc();
  }
  if (allowed > 0) {
    --allowed;
  }
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
  std::free(memory);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace support {

FailingMemory::FailingMemory(long count) {
  struck = false;
  allowed = count;
}

FailingMemory::~FailingMemory() {
  allowed = kUnlimited;
}

bool FailingMemory::Struck() const {
  return struck;
}

MemoryWatch::MemoryWatch() {
  largest = 0;
  watching = true;
}

MemoryWatch::~MemoryWatch() {
  watching = false;
}

std::size_t MemoryWatch::LargestPiece() const {
  return largest;
}

}  // namespace support
