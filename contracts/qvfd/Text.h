// Text: conversion between UTF-8 and the platform's narrow encoding, numbers as text, GUIDs.
#pragma once

#include <string>

#include "qvfd/Export.h"

namespace qvfd {

/// Conversion between UTF-8 and the local multibyte encoding: on Windows the ANSI code page, elsewhere the
/// codeset of the process's LC_CTYPE, where "C", "POSIX" and UTF-8 mean that texts pass through unchanged,
/// byte for byte.
class QVFD_API StringConverter {
 public:
  /// UTF-8 to the local encoding. What it cannot represent, and every byte that is no valid UTF-8, becomes
  /// '?'.
  [[nodiscard]] static std::string FromUTF8(std::string text);

  /// The local encoding to UTF-8. Every byte that is not valid in the local encoding becomes '?'.
  [[nodiscard]] static std::string ToUTF8(std::string text);
};

/// The text of a value as tables store it. Defined for:
/// - double: the shortest decimal text that reads back to the same value; whole numbers below 1e15 without an
///   exponent; "inf", "-inf" and "nan". No locale has a say.
/// - std::string: the text itself.
template <class T>
[[nodiscard]] std::string ToString(T value);

template <>
QVFD_API std::string ToString<double>(double value);

template <>
QVFD_API std::string ToString<std::string>(std::string value);

/// Writes a new random GUID into `buffer`: exactly 32 lower-case hexadecimal digits, no separators and no NUL
/// (an RFC 4122 version 4 UUID). `buffer` has room for 32 characters.
QVFD_API void GenerateGUID(char* buffer) noexcept;

}  // namespace qvfd
