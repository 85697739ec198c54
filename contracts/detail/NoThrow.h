// The one way in which an operation of these libraries fails. Private: not installed.
#pragma once

namespace qvdetail {

/// Runs an operation that returns bool; whatever it throws (memory that is not to be had, in practice) is a
/// false.
template <class Operation>
[[nodiscard]] bool NoThrow(Operation&& operation) noexcept {
  try {
    return operation();
  } catch (...) {
    return false;
  }
}

}  // namespace qvdetail
