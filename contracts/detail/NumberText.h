// Numbers to text and back, for every cell that the libraries write or read. Private: not installed.
//
// Writing gives the shortest text that reads back to the same value. Reading follows atoi and atof (leading
// blanks, a sign, hexadecimal, inf and nan; trailing junk is ignored) with two differences: no locale has a
// say, and what is out of range saturates instead of being undefined.
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace qvdetail {

/// Room for the text of any number that the functions below write.
inline constexpr std::size_t kNumberTextCapacity = 32;

/// Writes `value` into `buffer` and returns the end of the text.
inline char* FormatInteger(std::int64_t value, char (&buffer)[kNumberTextCapacity]) {
  return std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
}

inline std::string FormatInteger(std::int64_t value) {
  char buffer[kNumberTextCapacity];
  return {buffer, FormatInteger(value, buffer)};
}

/// Writes `value` into `buffer` and returns the end of the text. Whole numbers below 1e15 go without an
/// exponent ("100000", not "1e+05"), so that a reader which expects an integer understands them; every NaN is
/// "nan".
inline char* FormatReal(double value, char (&buffer)[kNumberTextCapacity]) {
  constexpr double kPlainLimit = 1e15;
  char* const end = buffer + kNumberTextCapacity;
  if (std::isnan(value)) {
    value = std::numeric_limits<double>::quiet_NaN();
  }
  if (std::fabs(value) < kPlainLimit && std::trunc(value) == value) {
    return std::to_chars(buffer, end, value, std::chars_format::fixed).ptr;
  }
  return std::to_chars(buffer, end, value).ptr;
}

inline std::string FormatReal(double value) {
  char buffer[kNumberTextCapacity];
  return {buffer, FormatReal(value, buffer)};
}

/// The blanks that atoi and atof skip, whatever the locale.
inline bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

inline bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

inline std::string_view SkipBlanks(std::string_view text) {
  std::size_t start = 0;
  while (start < text.size() && IsBlank(text[start])) {
    ++start;
  }
  return text.substr(start);
}

/// Removes a leading sign; true when it was a minus.
inline bool TakeSign(std::string_view& text) {
  if (text.empty() || (text.front() != '-' && text.front() != '+')) {
    return false;
  }
  const bool negative = text.front() == '-';
  text.remove_prefix(1);
  return negative;
}

/// The integer at the start of `text`; 0 when there is none; the nearest int when it does not fit.
inline int ParseInteger(std::string_view text) {
  text = SkipBlanks(text);
  const bool negative = TakeSign(text);
  constexpr std::int64_t kLimit = std::int64_t{std::numeric_limits<int>::max()} + 1;
  std::int64_t magnitude = 0;
  for (std::size_t i = 0; i < text.size() && IsDigit(text[i]) && magnitude < kLimit; ++i) {
    magnitude = magnitude * 10 + (text[i] - '0');
  }
  if (negative) {
    return static_cast<int>(-(magnitude < kLimit ? magnitude : kLimit));
  }
  return static_cast<int>(magnitude < kLimit ? magnitude : kLimit - 1);
}

/// Whether a decimal or hexadecimal number that fits no double is too large rather than too small. Only where
/// the first digit that is not zero stands, and the exponent, matter for that.
inline bool IsTooLarge(std::string_view digits, bool hexadecimal) {
  const char exponentMark = hexadecimal ? 'p' : 'e';
  std::int64_t scale = 0;  // digits from the first that is not zero to the point; negative behind the point
  bool pointSeen = false;
  bool counting = false;
  std::size_t i = 0;
  for (; i < digits.size(); ++i) {
    const char c = digits[i];
    const char lower = static_cast<char>(c | 0x20);
    if (c == '.' && !pointSeen) {
      pointSeen = true;
      continue;
    }
    if (lower == exponentMark || !(IsDigit(c) || (hexadecimal && lower >= 'a' && lower <= 'f'))) {
      break;
    }
    counting = counting || c != '0';
    if (counting && !pointSeen) {
      ++scale;
    } else if (!counting && pointSeen) {
      --scale;
    }
  }
  std::int64_t exponent = 0;
  if (i < digits.size() && static_cast<char>(digits[i] | 0x20) == exponentMark) {
    exponent = ParseInteger(digits.substr(i + 1));
  }
  return counting && scale * (hexadecimal ? 4 : 1) + exponent > 0;
}

/// The real number at the start of `text`; 0 when there is none; plus or minus infinity, or zero, when it is
/// out of range.
inline double ParseReal(std::string_view text) {
  text = SkipBlanks(text);
  const bool negative = TakeSign(text);
  const auto signedValue = [negative](double magnitude) { return negative ? -magnitude : magnitude; };
  if (text.empty() || text.front() == '-' || text.front() == '+') {
    return 0.0;
  }

  const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  if (hexadecimal) {
    text.remove_prefix(2);
  }
  double magnitude = 0.0;
  const auto format = hexadecimal ? std::chars_format::hex : std::chars_format::general;
  if (hexadecimal && (text.front() == '-' || (text.front() | 0x20) > 'f')) {
    return signedValue(0.0);  // "0xinf", "0xnan" and "0x-5" are a zero followed by junk
  }
  const auto result = std::from_chars(text.data(), text.data() + text.size(), magnitude, format);
  if (result.ec == std::errc::result_out_of_range) {
    magnitude = IsTooLarge(text, hexadecimal) ? std::numeric_limits<double>::infinity() : 0.0;
  } else if (result.ec != std::errc{} && !hexadecimal) {
    return 0.0;  // no number at all; a bare "0x" is a zero with its sign
  }
  return signedValue(magnitude);
}

/// The value of `text` when the whole of it is a decimal integer, nothing before or after.
inline std::optional<std::int64_t> WholeInteger(std::string_view text) {
  std::int64_t value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

/// The value of `text` when the whole of it is a finite decimal number, nothing before or after.
inline std::optional<double> WholeReal(std::string_view text) {
  double value = 0.0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc{} || result.ptr != text.data() + text.size() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

}  // namespace qvdetail
