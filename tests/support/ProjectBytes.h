// Blobs written byte by byte, past the code under test.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

namespace support {

/// Little-endian values one after the other.
class ByteString {
 public:
  /// Each takes any number of values.
  template <class... T>
  ByteString& U16(T... values) {
    return (Append(static_cast<std::uint16_t>(values), 2), ..., *this);
  }
  template <class... T>
  ByteString& I32(T... values) {
    return (Append(static_cast<std::uint32_t>(std::int32_t{values}), 4), ..., *this);
  }
  template <class... T>
  ByteString& F32(T... values) {
    return (Append(std::bit_cast<std::uint32_t>(float{values}), 4), ..., *this);
  }
  template <class... T>
  ByteString& F64(T... values) {
    return (Append(std::bit_cast<std::uint64_t>(double{values}), 8), ..., *this);
  }

  [[nodiscard]] const std::vector<unsigned char>& Bytes() const { return bytes_; }

  /// The first `count` bytes.
  [[nodiscard]] std::vector<unsigned char> Cut(std::size_t count) const {
    return {bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(count)};
  }

  /// The bytes as a text, as raw queries give them.
  [[nodiscard]] std::string Text() const { return {bytes_.begin(), bytes_.end()}; }

  /// The bytes as an SQL blob: X'0102'.
  [[nodiscard]] std::string Literal() const {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string literal = "X'";
    for (const unsigned char byte : bytes_) {
      literal += kDigits[byte >> 4U];
      literal += kDigits[byte & 15U];
    }
    return literal + "'";
  }

 private:
  void Append(std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i) {
      bytes_.push_back(static_cast<unsigned char>(value >> (8 * i)));
    }
  }

  std::vector<unsigned char> bytes_;
};

}  // namespace support
