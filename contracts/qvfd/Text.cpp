// Numbers as text, and GUIDs.

#include "qvfd/Text.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <random>

#include "detail/NumberText.h"

namespace qvfd {
namespace {

/// 128 random bits. Where the system gives none, the clock and an address have to do: an id must come anyway.
std::array<std::uint32_t, 4> RandomBits() noexcept {
  std::array<std::uint32_t, 4> bits{};
  try {
    std::random_device random;
    for (auto& word : bits) {
      word = random();
    }
  } catch (const std::exception&) {
    const auto now = static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
    std::mt19937_64 generator(now ^ reinterpret_cast<std::uintptr_t>(&bits));
    for (auto& word : bits) {
      word = static_cast<std::uint32_t>(generator());
    }
  }
  return bits;
}

}  // namespace

template <>
std::string ToString<double>(double value) {
  return qvdetail::FormatReal(value);
}

template <>
std::string ToString<std::string>(std::string value) {
  return value;
}

void GenerateGUID(char* buffer) noexcept {
  constexpr char kDigits[] = "0123456789abcdef";
  constexpr std::size_t kLength = 32;
  constexpr std::size_t kVersionDigit = 12;
  constexpr std::size_t kVariantDigit = 16;
  const auto bits = RandomBits();
  for (std::size_t i = 0; i < kLength; ++i) {
    const std::uint32_t word = bits[i / 8];
    buffer[i] = kDigits[(word >> (4 * (i % 8))) & 0xFU];
  }
  buffer[kVersionDigit] = '4';
  buffer[kVariantDigit] = kDigits[8U + (bits[2] & 0x3U)];
}

}  // namespace qvfd
