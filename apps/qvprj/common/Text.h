// Text for people: safe to print, aligned, numbers with as many digits as make sense.
#pragma once

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace qvapp {

/// Narrow text as it may go to a terminal, in the same encoding: control characters, marks that reorder or
/// end lines, and bytes that are no text become '?'. Files are made by strangers; what they hold must not
/// drive the terminal of the person who looks at them.
[[nodiscard]] std::string Printable(std::string_view text);

/// The number of terminal columns that `text` takes: two for a wide character, none for a combining one.
[[nodiscard]] int DisplayWidth(std::string_view text);

/// Printable text that takes at most `columns` terminal columns: where `text` takes more, its beginning and
/// "...".
[[nodiscard]] std::string Shortened(std::string_view text, int columns);

/// The text in a fixed array: up to its first NUL, or all of it when there is none.
template <std::size_t N>
[[nodiscard]] std::string FixedText(const char (&array)[N]) {
  return {array, std::find(array, array + N, '\0')};
}

/// Seven decimals: about a centimetre on the ground.
[[nodiscard]] std::string Degrees(double value);

/// Nine decimals: about a centimetre on the ground.
[[nodiscard]] std::string Radians(double value);

/// Two decimals.
[[nodiscard]] std::string Metres(double value);

/// "1 image", "2 images".
[[nodiscard]] std::string Counted(std::size_t count, std::string_view singular, std::string_view plural);

/// Printable text in aligned columns, two blanks apart.
class Table {
 public:
  enum class Align { kLeft, kRight };

  /// One element a column.
  explicit Table(std::vector<Align> columns) : columns_(std::move(columns)) {}

  /// `cells` has one element a column; an empty one is shown as "-".
  void Add(std::vector<std::string> cells);

  /// Prints each row after `indent`, without blanks at its end.
  void Print(std::ostream& out, std::string_view indent) const;

 private:
  [[nodiscard]] std::vector<int> Widths() const;

  std::vector<Align> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace qvapp
