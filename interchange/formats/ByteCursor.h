// Little-endian values out of the bytes of a file, never past their end. Private to this room.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "interchange/Failure.h"

namespace interchange {

static_assert(std::endian::native == std::endian::little, "files are little-endian");

/// Reads values one after the other. Throws `Failure` where the file ends before them.
class ByteCursor {
 public:
  ByteCursor(std::string_view bytes, std::string path) : bytes_(bytes), path_(std::move(path)) {}

  template <class T>
  [[nodiscard]] T Take() {
    static_assert(std::is_arithmetic_v<T>);
    T value;
    Require(sizeof value);
    std::memcpy(&value, bytes_.data(), sizeof value);
    bytes_.remove_prefix(sizeof value);
    return value;
  }

  /// A count of records that take at least `bytesEach`: never more than the rest of the file can hold.
  [[nodiscard]] std::size_t TakeCount(std::size_t bytesEach) {
    const auto count = Take<std::uint64_t>();
    if (count > bytes_.size() / bytesEach) {
      throw Failure(path_, "is damaged: it says " + std::to_string(count) + " records, and ends before them",
                    "take a whole copy of it");
    }
    return static_cast<std::size_t>(count);
  }

  /// A text up to its NUL.
  [[nodiscard]] std::string TakeText() {
    const std::size_t end = bytes_.find('\0');
    if (end == std::string_view::npos) {
      throw Failure(path_, "is damaged: a name does not end", "take a whole copy of it");
    }
    std::string text(bytes_.substr(0, end));
    bytes_.remove_prefix(end + 1);
    return text;
  }

  /// Throws when there is anything left.
  void RequireEnd() const {
    if (!bytes_.empty()) {
      throw Failure(path_,
                    "is damaged: " + std::to_string(bytes_.size()) + " bytes are left behind the last record",
                    "take a whole copy of it");
    }
  }

 private:
  void Require(std::size_t size) const {
    if (bytes_.size() < size) {
      throw Failure(path_, "is damaged: it ends in the middle of a record", "take a whole copy of it");
    }
  }

  std::string_view bytes_;
  std::string path_;
};

/// Appends a value as it stands in memory.
template <class T>
void Append(std::string& bytes, T value) {
  static_assert(std::is_arithmetic_v<T>);
  const std::size_t at = bytes.size();
  bytes.resize(at + sizeof value);
  std::memcpy(bytes.data() + at, &value, sizeof value);
}

}  // namespace interchange
