// Numbers with a fixed count of decimals, whatever the locale of the process.
#pragma once

#include <array>
#include <charconv>
#include <string>

namespace examples {

/// `value` with `decimals` (up to 20) digits behind the point; "?" for what needs more than 100 characters.
inline std::string Fixed(double value, int decimals) {
  std::array<char, 100> text{};
  const auto result =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals);
  return result.ec == std::errc{} ? std::string(text.data(), result.ptr) : "?";
}

}  // namespace examples
