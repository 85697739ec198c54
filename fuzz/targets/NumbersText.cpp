// Numbers as text, texts in other encodings, texts in fixed arrays. The first byte of an input chooses, the rest
// is the text. The C library's own conversions, in the "C" locale, are what to compare with.

#include <array>
#include <bit>
#include <cerrno>
#include <cmath>
#include <limits>

#include "Target.h"
#include "detail/FixedText.h"
#include "detail/NumberText.h"
#include "qvfd/Text.h"
#include "qvfd/TextConversion.h"
#include "qvprj/project/QvProject.h"

namespace {

using fuzz::Require;

bool Same(double left, double right) {
  return std::isnan(left) ? std::isnan(right)
                          : std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}

void ParseNumbers(const std::string& text) {
  errno = 0;
  const double expected = std::strtod(text.c_str(), nullptr);
  const double real = qvdetail::ParseReal(text);
  // Below the smallest normal number the C library may report a range error and still give the value.
  Require(Same(real, expected), "a real is read as atof reads it: " + text);

  const long whole = std::strtol(text.c_str(), nullptr, 10);
  const long limited = std::clamp(whole, static_cast<long>(std::numeric_limits<int>::min()),
                                  static_cast<long>(std::numeric_limits<int>::max()));
  Require(qvdetail::ParseInteger(text) == limited, "an integer is read as atoi reads it: " + text);

  if (const auto value = qvdetail::WholeInteger(text)) {
    Require(*value == std::strtoll(text.c_str(), nullptr, 10), "a whole integer has its value: " + text);
    Require(qvdetail::WholeReal(text).has_value(), "a whole integer is a whole number: " + text);
  }
  if (const auto value = qvdetail::WholeReal(text)) {
    Require(Same(*value, expected) && std::isfinite(*value), "a whole number has its value: " + text);
    Require(text.find_first_not_of("0123456789+-.eE") == std::string::npos,
            "a whole number is decimal: " + text);
  }
}

void FormatNumber(fuzz::Input& input) {
  const auto value = input.Value<double>();
  const std::string text = qvfd::ToString<double>(value);
  Require(Same(qvdetail::ParseReal(text), value), "a real comes back bit for bit: " + text);
  Require(Same(std::strtod(text.c_str(), nullptr), value), "a real comes back from the C library: " + text);
  if (std::isfinite(value)) {
    std::array<char, 64> exact{};
    std::snprintf(exact.data(), exact.size(), "%.17g", value);
    const std::size_t longest = std::max(std::strlen(exact.data()), std::size_t{16});
    Require(text.size() <= longest, "a real is as short as can be: " + text);
    Require(qvdetail::WholeReal(text).has_value(), "a finite real is a whole number: " + text);
    if (std::fabs(value) < 1e9 && std::trunc(value) == value) {
      Require(qvdetail::ParseInteger(text) == static_cast<int>(value), "a whole real is an integer: " + text);
    }
  }
  const auto integer = input.Value<std::int64_t>();
  Require(qvdetail::WholeInteger(qvdetail::FormatInteger(integer)) == integer, "an integer comes back");
}

/// The length of the valid UTF-8 sequence at `at`; 0 when there is none. The plainest way there is.
std::size_t ValidLength(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) {
    return at + i < text.size() ? static_cast<std::uint32_t>(static_cast<unsigned char>(text[at + i])) : 0U;
  };
  const std::uint32_t lead = byte(0);
  if (lead < 0x80) {
    return 1;
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC0 || lead > 0xF7) {
    return 0;
  }
  std::uint32_t code = lead & (length == 2 ? 0x1FU : length == 3 ? 0x0FU : 0x07U);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) {
      return 0;
    }
    code = (code << 6U) | (byte(i) & 0x3FU);
  }
  constexpr std::array<std::uint32_t, 5> kLowest = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code >= kLowest[length] && code <= 0x10FFFF && !surrogate ? length : 0;
}

bool IsUTF8(const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = ValidLength(text, at);
    if (length == 0) {
      return false;
    }
    at += length;
  }
  return true;
}

bool IsASCII(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Latin 1 has the first 256 characters; each other one, and each byte that is no character, is a '?'.
std::string InLatin1(const std::string& text) {
  std::string latin;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = ValidLength(text, at);
    const auto lead = static_cast<unsigned char>(text[at]);
    if (length == 1) {
      latin += text[at];
    } else if (length == 2 && lead <= 0xC3) {
      latin += static_cast<char>(((lead & 3U) << 6U) | (static_cast<unsigned char>(text[at + 1]) & 0x3FU));
    } else {
      latin += '?';
    }
    at += std::max(length, std::size_t{1});
  }
  return latin;
}

void ConvertTexts(fuzz::Input& input) {
  constexpr std::array kCodesets = {"GBK",     "ISO-8859-1", "ISO-8859-15", "KOI8-R",
                                    "GB18030", "CP1252",     "SHIFT_JIS",   "EUC-KR",
                                    "BIG5",    "CP932",      "no such",     "ISO-2022-JP"};
  const std::size_t chosen = input.Below(kCodesets.size());
  const char* const codeset = kCodesets[chosen];
  const bool oneToOne = chosen < 6;  // and ASCII is part of it
  const fuzz::Bytes bytes = input.Rest();
  const std::string text(bytes.begin(), bytes.end());
  // The target runs in the "C" locale, where texts pass through unchanged.
  Require(qvfd::StringConverter::FromUTF8(text) == text && qvfd::StringConverter::ToUTF8(text) == text,
          "in the C locale texts are unchanged");

  const std::string local = qvfd::ConvertText(text, "UTF-8", codeset);
  const std::string utf8 = qvfd::ConvertText(text, codeset, "UTF-8");
  if (chosen == 10) {
    Require(local == text && utf8 == text, "an unknown encoding changes nothing");
    return;
  }
  if (chosen == 1) {
    Require(local == InLatin1(text), "Latin 1 has a '?' for each character that it lacks");
  }
  Require(IsUTF8(utf8), "what becomes UTF-8 is valid");
  const std::string back = qvfd::ConvertText(local, codeset, "UTF-8");
  Require(IsUTF8(back), "what comes back is valid UTF-8");
  if (oneToOne) {
    Require(!IsASCII(text) || (local == text && utf8 == text), "ASCII is the same everywhere");
    Require(qvfd::ConvertText(back, "UTF-8", codeset) == local, "what can be represented stays as it is");
    if (chosen == 4 && IsUTF8(text) && local.find('?') == std::string::npos) {
      Require(back == text, "GB18030 has every character");
    }
  }
}

void CopyFixedText(fuzz::Input& input) {
  const std::size_t capacity = input.Byte() % 40;
  const fuzz::Bytes bytes = input.Rest();
  const std::string text(bytes.begin(), bytes.end());
  std::vector<char> array(capacity + 1, 'x');
  qvprj::QvProject().string2char(array.data(), static_cast<int>(capacity), text);
  Require(array[capacity] == 'x', "nothing is written behind the capacity");
  if (capacity == 0) {
    return;
  }
  const std::size_t kept = std::min(capacity - 1, text.size());
  Require(std::string(array.data(), kept) == text.substr(0, kept) && array[kept] == '\0',
          "what fits is there with a NUL behind it");
  char fixed[12];
  qvdetail::CopyText(fixed, sizeof fixed, text);
  Require(qvdetail::TextOf(fixed) == text.substr(0, std::min(text.find('\0'), std::size_t{11})),
          "a text in an array is read up to its NUL");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  switch (input.Below(4)) {
    case 0: {
      const fuzz::Bytes bytes = input.Rest();
      ParseNumbers({bytes.begin(), bytes.end()});
      break;
    }
    case 1:
      FormatNumber(input);
      break;
    case 2:
      ConvertTexts(input);
      break;
    default:
      CopyFixedText(input);
      break;
  }
  return 0;
}
