#include "qvfd/IdIndex.h"

#include <bit>
#include <chrono>

namespace qvfd {
namespace {

constexpr std::size_t kFewestSlots = 16;

/// Ids come from files, and ids chosen to fall on one slot would make a project take hours to open. A
/// multiplier that nobody knows beforehand spreads any set of ids; nothing that a caller can see depends on
/// it.
std::uint64_t DrawMultiplier(const void* address) {
  const auto now = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  std::uint64_t seed = now ^ reinterpret_cast<std::uintptr_t>(address);
  seed = (seed ^ (seed >> 30U)) * 0xBF58476D1CE4E5B9U;  // the finalizer of the generator splitmix64
  seed = (seed ^ (seed >> 27U)) * 0x94D049BB133111EBU;
  return (seed ^ (seed >> 31U)) | 1U;
}

}  // namespace

void IdIndex::Clear() {
  slots_.clear();
  used_ = 0;
}

std::size_t IdIndex::FirstSlot(std::int32_t id, std::size_t slotCount) const {
  std::uint64_t hash = static_cast<std::uint32_t>(id) * multiplier_;
  hash = (hash ^ (hash >> 32U)) * 0x9E3779B97F4A7C15U;
  return static_cast<std::size_t>(hash >> 32U) & (slotCount - 1);
}

void IdIndex::Place(std::vector<Slot>& slots, Slot slot) const {
  std::size_t i = FirstSlot(slot.id, slots.size());
  while (slots[i].position != kMissing && slots[i].id != slot.id) {
    i = (i + 1) & (slots.size() - 1);
  }
  slots[i] = slot;
}

void IdIndex::Reserve(std::size_t count) {
  const std::size_t needed = std::bit_ceil(count * 2 < kFewestSlots ? kFewestSlots : count * 2);
  if (needed <= slots_.size()) {
    return;
  }
  if (multiplier_ == 0) {
    multiplier_ = DrawMultiplier(this);
  }
  std::vector<Slot> larger(needed);
  for (const Slot& slot : slots_) {
    if (slot.position != kMissing) {
      Place(larger, slot);
    }
  }
  slots_.swap(larger);
}

void IdIndex::Set(std::int32_t id, std::int32_t position) {
  const bool isNew = Find(id) == kMissing;
  if (isNew) {
    Reserve(used_ + 1);
    ++used_;
  }
  Place(slots_, {id, position});
}

std::int32_t IdIndex::Find(std::int32_t id) const {
  if (slots_.empty()) {
    return kMissing;
  }
  std::size_t i = FirstSlot(id, slots_.size());
  while (slots_[i].position != kMissing && slots_[i].id != id) {
    i = (i + 1) & (slots_.size() - 1);
  }
  return slots_[i].position;
}

}  // namespace qvfd
