// Conversion between UTF-8 and the local encoding: iconv where the C library has it, the system's API on
// Windows.

#include "qvfd/TextConversion.h"

#include <algorithm>

#include "qvfd/Text.h"

#if defined(_WIN32)
#include "detail/Windows.h"
#else
#include <iconv.h>
#include <langinfo.h>

#include <array>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#endif

namespace qvfd {
namespace {

/// Every local encoding contains ASCII, so such a text is the same in all of them.
bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

#if defined(_WIN32)

std::wstring ToWide(const std::string& text, UINT codePage) {
  const int size = MultiByteToWideChar(codePage, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  MultiByteToWideChar(codePage, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
  // What was invalid comes back as U+FFFD; the contract says '?'.
  std::replace(wide.begin(), wide.end(), L'\xFFFD', L'?');
  return wide;
}

std::string FromWide(const std::wstring& wide, UINT codePage) {
  const int length = static_cast<int>(wide.size());
  const bool utf8 = codePage == CP_UTF8;
  const DWORD flags = utf8 ? 0 : WC_NO_BEST_FIT_CHARS;
  const char* const replacement = utf8 ? nullptr : "?";
  const int size =
      WideCharToMultiByte(codePage, flags, wide.data(), length, nullptr, 0, replacement, nullptr);
  std::string text(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(codePage, flags, wide.data(), length, text.data(), size, replacement, nullptr);
  return text;
}

std::string Convert(const std::string& text, UINT from, UINT to) {
  return GetACP() == CP_UTF8 || IsAscii(text) ? text : FromWide(ToWide(text, from), to);
}

#else

/// The encoding of the process's LC_CTYPE; null when texts are UTF-8 or the locale says nothing of them.
const char* LocalCodeset() {
  const char* const codeset = nl_langinfo(CODESET);
  constexpr std::array<std::string_view, 6> kUnchanged = {"",         "UTF-8", "utf8", "ANSI_X3.4-1968",
                                                          "US-ASCII", "ASCII"};
  const bool unchanged = std::find(kUnchanged.begin(), kUnchanged.end(), codeset) != kUnchanged.end();
  return unchanged ? nullptr : codeset;
}

/// The length of the UTF-8 sequence that `text` begins with; 1 when it begins with no valid one. Source of
/// the table: the Unicode standard, "Well-Formed UTF-8 Byte Sequences".
std::size_t SequenceLength(std::string_view text) {
  struct Form {
    unsigned char firstLead, lastLead, firstSecond, lastSecond;
    std::size_t length;
  };
  constexpr std::array<Form, 8> kForms = {{{0xC2, 0xDF, 0x80, 0xBF, 2},
                                           {0xE0, 0xE0, 0xA0, 0xBF, 3},
                                           {0xE1, 0xEC, 0x80, 0xBF, 3},
                                           {0xED, 0xED, 0x80, 0x9F, 3},
                                           {0xEE, 0xEF, 0x80, 0xBF, 3},
                                           {0xF0, 0xF0, 0x90, 0xBF, 4},
                                           {0xF1, 0xF3, 0x80, 0xBF, 4},
                                           {0xF4, 0xF4, 0x80, 0x8F, 4}}};
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  for (const Form& form : kForms) {
    if (byte(0) < form.firstLead || byte(0) > form.lastLead || text.size() < form.length ||
        byte(1) < form.firstSecond || byte(1) > form.lastSecond) {
      continue;
    }
    const std::string_view others = text.substr(2, form.length - 2);
    const bool whole = std::all_of(others.begin(), others.end(),
                                   [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; });
    return whole ? form.length : 1;
  }
  return 1;
}

/// Where the first tag character (U+E0000 to U+E007F) of a UTF-8 text is; its end when there is none.
std::size_t FirstTag(std::string_view text) {
  constexpr std::size_t kLength = 4;
  std::size_t at = text.find("\xF3\xA0");
  while (at != std::string_view::npos && at + kLength <= text.size()) {
    const auto third = static_cast<unsigned char>(text[at + 2]);
    if ((third == 0x80 || third == 0x81) && SequenceLength(text.substr(at)) == kLength) {
      return at;
    }
    at = text.find("\xF3\xA0", at + 2);
  }
  return text.size();
}

class Converter {
 public:
  Converter(const char* from, const char* to) : handle_(iconv_open(to, from)) {}
  ~Converter() {
    if (IsValid()) {
      iconv_close(handle_);
    }
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  [[nodiscard]] bool IsValid() const {
    return std::bit_cast<std::intptr_t>(handle_) != -1;  // how iconv_open reports failure
  }

  /// Converts as much of `text` as it can, appends the result to `out` and returns the number of bytes taken.
  std::size_t Convert(std::string_view text, std::string& out) {
    auto* in = const_cast<char*>(text.data());  // iconv takes a char** and does not write through it
    std::size_t left = text.size();
    Run(&in, &left, out);
    return text.size() - left;
  }

  /// Ends the text: encodings with a state go back to their first one.
  void Finish(std::string& out) { Run(nullptr, nullptr, out); }

 private:
  void Run(char** in, std::size_t* left, std::string& out) {
    for (;;) {
      std::array<char, 256> buffer{};
      char* next = buffer.data();
      std::size_t room = buffer.size();
      const std::size_t result = iconv(handle_, in, left, &next, &room);
      const int error = errno;
      out.append(buffer.data(), buffer.size() - room);
      if (result != static_cast<std::size_t>(-1) || error != E2BIG) {
        return;
      }
    }
  }

  iconv_t handle_;
};

#endif

}  // namespace

#if defined(_WIN32)

std::string StringConverter::FromUTF8(std::string text) {
  return Convert(text, CP_UTF8, CP_ACP);
}

std::string StringConverter::ToUTF8(std::string text) {
  return Convert(text, CP_ACP, CP_UTF8);
}

#else

std::string ConvertText(std::string_view text, const char* fromCodeset, const char* toCodeset) {
  Converter converter(fromCodeset, toCodeset);
  if (!converter.IsValid()) {
    return std::string(text);
  }
  const bool fromUTF8 = std::string_view(fromCodeset) == "UTF-8";
  std::string out;
  out.reserve(text.size());
  for (;;) {
    // Tag characters go alone: iconv passes over those that it cannot convert without telling.
    const std::size_t tag = fromUTF8 ? FirstTag(text) : text.size();
    const std::size_t part = tag == 0 ? SequenceLength(text) : tag;
    const std::size_t before = out.size();
    const std::size_t taken = converter.Convert(text.substr(0, part), out);
    const bool lost = tag == 0 && !text.empty() && out.size() == before;
    text.remove_prefix(lost ? 0 : taken);
    if (text.empty()) {
      break;
    }
    if (!lost && taken == part) {
      continue;
    }
    if (converter.Convert("?", out) == 0) {
      out += '?';
    }
    text.remove_prefix(fromUTF8 ? SequenceLength(text) : 1);
  }
  converter.Finish(out);
  return out;
}

std::string StringConverter::FromUTF8(std::string text) {
  const char* const codeset = LocalCodeset();
  return codeset == nullptr || IsAscii(text) ? text : ConvertText(text, "UTF-8", codeset);
}

std::string StringConverter::ToUTF8(std::string text) {
  const char* const codeset = LocalCodeset();
  return codeset == nullptr || IsAscii(text) ? text : ConvertText(text, codeset, "UTF-8");
}

#endif

}  // namespace qvfd
