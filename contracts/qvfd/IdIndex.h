// A flat hash table from ids to positions: what makes ImageInfoSet::FindImage take constant time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qvfd/Export.h"

namespace qvfd {

/// Maps int ids to positions. Its storage is one block, so copying it costs as much as copying the bytes (a
/// node container would cost an allocation for every id).
class QVFD_API IdIndex {
 public:
  /// What `Find` returns for an id that is not there.
  static constexpr std::int32_t kMissing = -1;

  void Clear();

  /// Makes room for `count` ids. May throw std::bad_alloc; the index is then as it was.
  void Reserve(std::size_t count);

  /// Sets the position of `id`, in place of an earlier one. Positions are not negative. May throw
  /// std::bad_alloc; the index is then as it was.
  void Set(std::int32_t id, std::int32_t position);

  /// The position of `id`, or `kMissing`.
  [[nodiscard]] std::int32_t Find(std::int32_t id) const;

 private:
  struct Slot {
    std::int32_t id = 0;
    std::int32_t position = kMissing;
  };
  [[nodiscard]] std::size_t FirstSlot(std::int32_t id, std::size_t slotCount) const;
  void Place(std::vector<Slot>& slots, Slot slot) const;

  std::vector<Slot> slots_;  // a power of two, at most half of them in use
  std::size_t used_ = 0;
  std::uint64_t multiplier_ = 0;  // odd, drawn when the first id comes
};

}  // namespace qvfd
