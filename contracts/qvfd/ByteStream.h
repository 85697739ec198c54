// Little-endian values out of bytes and into them. ByteReader is the one place through which stored bytes are
// read: it never looks past the end, whatever counts the bytes claim.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace qvfd {

// Values move between memory and file as they stand; a big-endian port has to swap them here.
static_assert(std::endian::native == std::endian::little, "stored bytes are little-endian");

/// Sets the values from the bytes that they are stored in, one behind the other.
template <class... T>
void CopyValues(const unsigned char* bytes, T&... values) {
  static_assert((std::is_arithmetic_v<T> && ...));
  ((std::memcpy(&values, bytes, sizeof(T)), bytes += sizeof(T)), ...);
}

/// Replaces the elements of `values` by `count` elements that stand at `bytes`, where there are so many.
template <class T>
void AssignElements(const unsigned char* bytes, std::size_t count, std::vector<T>& values) {
  static_assert(std::is_trivially_copyable_v<T>);
  if (count == 0) {
    values.clear();
    return;
  }
  if (reinterpret_cast<std::uintptr_t>(bytes) % alignof(T) == 0) {
    const auto* const first = reinterpret_cast<const T*>(bytes);
    values.assign(first, first + count);  // without setting the elements to zero first
    return;
  }
  values.resize(count);
  std::memcpy(values.data(), bytes, count * sizeof(T));
}

/// Reads values one after the other from bytes that it does not own. Every operation returns false, and moves
/// nowhere, when fewer bytes are left than it needs.
class ByteReader {
 public:
  explicit ByteReader(std::span<const unsigned char> bytes) : bytes_(bytes) {}

  [[nodiscard]] std::size_t Remaining() const { return bytes_.size(); }

  /// Reads values, each an integer, a float or a double: all of them or none.
  template <class... T>
  [[nodiscard]] bool Read(T&... values) {
    constexpr std::size_t kSize = (sizeof(T) + ...);
    if (bytes_.size() < kSize) {
      return false;
    }
    CopyValues(bytes_.data(), values...);
    bytes_ = bytes_.subspan(kSize);
    return true;
  }

  /// Reads `count` elements into `values`, in place of what it held. `T` is stored as it stands in memory.
  /// Takes memory only when the bytes are there.
  template <class T>
  [[nodiscard]] bool ReadArray(std::size_t count, std::vector<T>& values) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (count > bytes_.size() / sizeof(T)) {
      return false;
    }
    AssignElements(bytes_.data(), count, values);
    bytes_ = bytes_.subspan(count * sizeof(T));
    return true;
  }

 private:
  std::span<const unsigned char> bytes_;
};

/// Appends values to a byte vector that it owns. May throw std::bad_alloc or std::length_error.
class ByteWriter {
 public:
  /// Makes room for `size` bytes in one piece.
  void Reserve(std::size_t size) { bytes_.reserve(size); }

  template <class T>
  void Write(T value) {
    static_assert(std::is_arithmetic_v<T>);
    WriteBytes(&value, sizeof(T));
  }

  /// Appends the elements as they stand in memory.
  template <class T>
  void WriteArray(const std::vector<T>& values) {
    static_assert(std::is_trivially_copyable_v<T>);
    WriteBytes(values.data(), values.size() * sizeof(T));
  }

  [[nodiscard]] const std::vector<unsigned char>& Bytes() const { return bytes_; }

  /// Gives the bytes away; the writer is empty afterwards.
  [[nodiscard]] std::vector<unsigned char> Take() { return std::move(bytes_); }

 private:
  void WriteBytes(const void* data, std::size_t size) {
    const auto* first = static_cast<const unsigned char*>(data);
    bytes_.insert(bytes_.end(), first, first + size);
  }

  std::vector<unsigned char> bytes_;
};

}  // namespace qvfd
