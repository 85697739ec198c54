// Memory that runs out on command. A program that links ContractsFailingMemory.cpp has its operator new
// replaced, in the libraries under test as well.
#pragma once

#include <cstddef>

namespace support {

/// While the object lives, `allowed` allocations succeed and every later one throws std::bad_alloc.
class FailingMemory {
 public:
  explicit FailingMemory(long allowed);
  ~FailingMemory();
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;

  /// Whether an allocation has failed.
  [[nodiscard]] bool Struck() const;
};

/// Notes the largest single piece of memory that is asked for while the object lives.
class MemoryWatch {
 public:
  MemoryWatch();
  ~MemoryWatch();
  MemoryWatch(const MemoryWatch&) = delete;
  MemoryWatch& operator=(const MemoryWatch&) = delete;

  [[nodiscard]] std::size_t LargestPiece() const;
};

}  // namespace support
