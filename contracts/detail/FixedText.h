// Texts in the fixed character arrays of records. Private: not installed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace qvdetail {

/// The text of an array: up to its first NUL, or all of it when there is none.
template <std::size_t Size>
[[nodiscard]] std::string TextOf(const char (&array)[Size]) {
  return {array, std::find(array, array + Size, '\0')};
}

/// Copies `text` to `dst`, which has room for `capacity` characters: what fits with a NUL behind it. Nothing
/// where not even the NUL fits.
inline void CopyText(char* dst, std::size_t capacity, std::string_view text) {
  if (capacity == 0) {
    return;
  }
  const std::size_t count = std::min(capacity - 1, text.size());
  std::copy_n(text.data(), count, dst);
  dst[count] = '\0';
}

}  // namespace qvdetail
