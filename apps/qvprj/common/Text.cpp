// Text for people. Texts are looked at as UTF-8, whatever the user's encoding: that way widths and control
// characters do not depend on what the C library knows about the locale.
#include "common/Text.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "qvfd/Text.h"

namespace qvapp {
namespace {

constexpr char32_t kNoCharacter = 0xFFFFFFFF;

struct CodePoint {
  char32_t value = kNoCharacter;
  std::size_t length = 1;
};

struct Range {
  char32_t first;
  char32_t last;
};

/// C0, DEL and C1; line and paragraph separators; marks that turn the direction of what follows.
constexpr std::array kUnsafe = {Range{0x00, 0x1F},     Range{0x7F, 0x9F},     Range{0x200E, 0x200F},
                                Range{0x2028, 0x202E}, Range{0x2066, 0x2069}, Range{0xFEFF, 0xFEFF}};

/// East Asian wide and fullwidth characters, and pictographs.
constexpr std::array kWide = {Range{0x1100, 0x115F},   Range{0x2E80, 0x303E},   Range{0x3041, 0xA4CF},
                              Range{0xA960, 0xA97C},   Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},
                              Range{0xFE30, 0xFE6F},   Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},
                              Range{0x1F300, 0x1F64F}, Range{0x1F900, 0x1F9FF}, Range{0x20000, 0x3FFFD}};

/// Combining marks, joiners and variation selectors.
constexpr std::array kZeroWidth = {Range{0x0300, 0x036F}, Range{0x1AB0, 0x1AFF}, Range{0x1DC0, 0x1DFF},
                                   Range{0x200B, 0x200D}, Range{0x20D0, 0x20FF}, Range{0xFE00, 0xFE0F},
                                   Range{0xFE20, 0xFE2F}};

template <std::size_t N>
bool IsIn(const std::array<Range, N>& ranges, char32_t value) {
  return std::any_of(ranges.begin(), ranges.end(),
                     [value](Range range) { return value >= range.first && value <= range.last; });
}

/// How many bytes follow the lead byte of a UTF-8 sequence; negative when it leads none.
int ContinuationCount(unsigned char lead) {
  if (lead < 0x80) {
    return 0;
  }
  if (lead >= 0xC2 && lead <= 0xDF) {
    return 1;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    return 2;
  }
  return lead >= 0xF0 && lead <= 0xF4 ? 3 : -1;
}

bool IsScalar(char32_t value, int continuationCount) {
  constexpr std::array<char32_t, 4> kSmallest = {0, 0x80, 0x800, 0x10000};
  const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
  return value >= kSmallest[static_cast<std::size_t>(continuationCount)] && value <= 0x10FFFF && !surrogate;
}

/// The first character of `text`, which is not empty; a byte that begins none is one of its own, without a
/// value.
CodePoint FirstCharacter(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const int count = ContinuationCount(lead);
  if (count < 0 || static_cast<std::size_t>(count) >= text.size()) {
    return {};
  }
  char32_t value = count == 0 ? lead : lead & (0x3FU >> count);
  for (int i = 1; i <= count; ++i) {
    const auto byte = static_cast<unsigned char>(text[static_cast<std::size_t>(i)]);
    if ((byte & 0xC0U) != 0x80U) {
      return {};
    }
    value = (value << 6U) | (byte & 0x3FU);
  }
  if (!IsScalar(value, count)) {
    return {};
  }
  return {value, static_cast<std::size_t>(count) + 1};
}

template <class Visit>
void EachCharacter(std::string_view utf8, Visit visit) {
  while (!utf8.empty()) {
    const CodePoint character = FirstCharacter(utf8);
    visit(character.value, utf8.substr(0, character.length));
    utf8.remove_prefix(character.length);
  }
}

int WidthOf(char32_t value) {
  return IsIn(kZeroWidth, value) ? 0 : IsIn(kWide, value) ? 2 : 1;
}

std::string FixedNumber(double value, int decimals) {
  // A stray huge number would print hundreds of digits.
  const char* const format = std::fabs(value) < 1e15 ? "%.*f" : "%.*g";
  std::array<char, 64> buffer{};
  std::snprintf(buffer.data(), buffer.size(), format, decimals, value);
  return buffer.data();
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string clean;
  EachCharacter(qvfd::StringConverter::ToUTF8(std::string(text)),
                [&clean](char32_t value, std::string_view bytes) {
                  const bool safe = value != kNoCharacter && !IsIn(kUnsafe, value);
                  clean += safe ? bytes : std::string_view("?");
                });
  return qvfd::StringConverter::FromUTF8(std::move(clean));
}

int DisplayWidth(std::string_view text) {
  int width = 0;
  EachCharacter(qvfd::StringConverter::ToUTF8(std::string(text)),
                [&width](char32_t value, std::string_view) { width += WidthOf(value); });
  return width;
}

std::string Shortened(std::string_view text, int columns) {
  constexpr std::string_view kMore = "...";
  std::string whole = Printable(text);
  if (DisplayWidth(whole) <= columns) {
    return whole;
  }
  std::string start;
  int width = static_cast<int>(kMore.size());
  EachCharacter(qvfd::StringConverter::ToUTF8(whole), [&](char32_t value, std::string_view bytes) {
    width += WidthOf(value);
    start += width <= columns ? bytes : std::string_view();
  });
  return qvfd::StringConverter::FromUTF8(start) + std::string(kMore);
}

std::string Degrees(double value) {
  return FixedNumber(value, 7);
}

std::string Radians(double value) {
  return FixedNumber(value, 9);
}

std::string Metres(double value) {
  return FixedNumber(value, 2);
}

std::string Counted(std::size_t count, std::string_view singular, std::string_view plural) {
  return std::to_string(count) + " " + std::string(count == 1 ? singular : plural);
}

void Table::Add(std::vector<std::string> cells) {
  cells.resize(columns_.size());
  for (auto& cell : cells) {
    cell = cell.empty() ? "-" : Printable(cell);
  }
  rows_.push_back(std::move(cells));
}

std::vector<int> Table::Widths() const {
  std::vector<int> widths(columns_.size(), 0);
  for (const auto& row : rows_) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], DisplayWidth(row[column]));
    }
  }
  return widths;
}

void Table::Print(std::ostream& out, std::string_view indent) const {
  const std::vector<int> widths = Widths();
  for (const auto& row : rows_) {
    std::string line(indent);
    for (std::size_t column = 0; column < row.size(); ++column) {
      const auto blanks = static_cast<std::size_t>(widths[column] - DisplayWidth(row[column]));
      const bool right = columns_[column] == Align::kRight;
      line += column == 0 ? "" : "  ";
      line += right ? std::string(blanks, ' ') + row[column] : row[column] + std::string(blanks, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
}

}  // namespace qvapp
