// What every fuzz target is: one function of any bytes, which ends the program when something does not hold.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The name is libFuzzer's. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

namespace fuzz {

using Bytes = std::vector<unsigned char>;

/// Ends the program, and says why, unless `holds`: that is what libFuzzer and CTest take for a finding.
inline void Require(bool holds, std::string_view what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
  }
}

/// Takes the bytes of an input as choices, one after the other. When they are used up every choice is 0.
class Input {
 public:
  Input(const unsigned char* data, std::size_t size) : bytes_(data, size) {}

  [[nodiscard]] bool IsEmpty() const { return bytes_.empty(); }

  std::uint8_t Byte() {
    if (bytes_.empty()) {
      return 0;
    }
    const std::uint8_t byte = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return byte;
  }

  bool Flag() { return (Byte() & 1U) != 0; }

  /// 0 to `count` - 1; `count` is at most 256.
  std::size_t Below(std::size_t count) { return Byte() % count; }

  template <class T>
  T Value() {
    T value{};
    const Bytes bytes = Take(sizeof(T));
    if (!bytes.empty()) {
      std::memcpy(&value, bytes.data(), bytes.size());
    }
    return value;
  }

  /// One of the elements.
  template <class Range>
  const auto& Choose(const Range& range) {
    return range[Below(std::size(range))];
  }

  /// The next `count` bytes, or what is left of them.
  Bytes Take(std::size_t count) {
    const std::size_t taken = std::min(count, bytes_.size());
    const Bytes bytes(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(taken));
    bytes_ = bytes_.subspan(taken);
    return bytes;
  }

  Bytes Rest() { return Take(bytes_.size()); }

  /// A text of at most 255 bytes, its length in front.
  std::string Text() {
    const std::size_t size = Byte();
    const Bytes bytes = Take(size);
    return {bytes.begin(), bytes.end()};
  }

 private:
  std::span<const unsigned char> bytes_;
};

}  // namespace fuzz
