// Container files put together and taken apart by hand, past the code under test.
//
// A file is a header of 64 bytes (magic, u32 version, i32 tag, u32 count, u32 zero, u64 directory offset, 24
// reserved bytes, u64 XXH3-64 of the 56 bytes before it), the payloads from offset 64 on, each at a multiple
// of 64, the directory at a multiple of 64 (for each blob i32 id, u32 zero, u64 offset, u64 length, u64
// XXH3-64 of its bytes), and the u64 XXH3-64 of the directory. Everything is little-endian.
#pragma once

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "support/TestFiles.h"

namespace forge {

using support::Bytes;

inline constexpr std::size_t kHeaderSize = 64;
inline constexpr std::size_t kEntrySize = 32;
inline const Bytes kMagic{0x89, 0x51, 0x56, 0x42, 0x0D, 0x0A, 0x1A, 0x0A};

inline std::uint64_t Check(const unsigned char* data, std::size_t size) {
  return XXH3_64bits(data, size);
}

inline std::uint64_t Check(const Bytes& bytes) {
  return Check(bytes.data(), bytes.size());
}

template <class T>
void Put(Bytes& bytes, T value) {
  unsigned char raw[sizeof(T)];
  std::memcpy(raw, &value, sizeof(T));
  bytes.insert(bytes.end(), raw, raw + sizeof(T));
}

template <class T>
T Get(const Bytes& bytes, std::size_t offset) {
  T value{};
  if (offset + sizeof(T) <= bytes.size()) {
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
  }
  return value;
}

inline void PadToBlock(Bytes& bytes) {
  bytes.resize((bytes.size() + 63) / 64 * 64);
}

struct Entry {
  std::int32_t id = 0;
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
  std::uint64_t check = 0;
};

/// All that a file says. Check values of header and directory are always right; everything else can be a lie.
struct Container {
  Bytes magic = kMagic;
  std::uint32_t version = 1;
  std::int32_t tag = 1;
  std::optional<std::uint32_t> count;  ///< where it is not the number of entries
  std::optional<std::uint64_t> directory_offset;
  Bytes reserved = Bytes(24, 0);
  Bytes payloads;  ///< what stands from offset 64 on
  std::vector<Entry> entries;

  /// Adds a blob where the layout wants it.
  void Add(std::int32_t id, const Bytes& blob) {
    PadToBlock(payloads);
    entries.push_back({id, kHeaderSize + payloads.size(), blob.size(), Check(blob)});
    payloads.insert(payloads.end(), blob.begin(), blob.end());
  }

  [[nodiscard]] Bytes File() const {
    Bytes body = payloads;
    PadToBlock(body);
    Bytes file = magic;
    Put(file, version);
    Put(file, tag);
    Put(file, count.value_or(static_cast<std::uint32_t>(entries.size())));
    Put(file, std::uint32_t{0});
    Put(file, directory_offset.value_or(kHeaderSize + body.size()));
    file.insert(file.end(), reserved.begin(), reserved.end());
    Put(file, Check(file));
    file.insert(file.end(), body.begin(), body.end());
    const Bytes directory = Directory();
    file.insert(file.end(), directory.begin(), directory.end());
    return file;
  }

  [[nodiscard]] Bytes Directory() const {
    Bytes directory;
    for (const Entry& entry : entries) {
      Put(directory, entry.id);
      Put(directory, std::uint32_t{0});
      Put(directory, entry.offset);
      Put(directory, entry.length);
      Put(directory, entry.check);
    }
    Put(directory, Check(directory));
    return directory;
  }
};

/// The entries of the directory of `file`, as they stand.
inline std::vector<Entry> EntriesOf(const Bytes& file) {
  const auto count = Get<std::uint32_t>(file, 16);
  auto at = static_cast<std::size_t>(Get<std::uint64_t>(file, 24));
  std::vector<Entry> entries;
  for (std::uint32_t i = 0; i < count && at + kEntrySize <= file.size(); ++i, at += kEntrySize) {
    entries.push_back({Get<std::int32_t>(file, at), Get<std::uint64_t>(file, at + 8),
                       Get<std::uint64_t>(file, at + 16), Get<std::uint64_t>(file, at + 24)});
  }
  return entries;
}

}  // namespace forge
