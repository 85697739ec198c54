// Locales that no machine has to have installed: compiled into a temporary folder by the test that needs one.
#pragma once

#include <clocale>
#include <cstdlib>
#include <locale>
#include <string>

#include "support/TestFiles.h"

namespace support {

/// Makes a locale and puts the C library into it while the object lives.
class GeneratedLocale {
 public:
  /// `definition` and `charmap` as localedef knows them, for example "de_DE" and "UTF-8".
  GeneratedLocale(const std::string& definition, const std::string& charmap) {
    const std::string name = definition + "." + charmap;
    const std::string command =
        "localedef -c -i " + definition + " -f " + charmap + " '" + folder_.File(name) + "' >/dev/null 2>&1";
    [[maybe_unused]] const int status = std::system(command.c_str());
    setenv("LOCPATH", folder_.Path().c_str(), 1);
    in_force_ = std::setlocale(LC_ALL, name.c_str()) != nullptr;
  }

  ~GeneratedLocale() {
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
  }

  GeneratedLocale(const GeneratedLocale&) = delete;
  GeneratedLocale& operator=(const GeneratedLocale&) = delete;

  /// False where the tool or its sources are not installed.
  [[nodiscard]] bool InForce() const { return in_force_; }

 private:
  TempFolder folder_;
  bool in_force_ = false;
};

/// Makes every new C++ stream of the process write 1.234,5 while the object lives.
class CommaStreams {
 public:
  CommaStreams() : before_(std::locale::global(std::locale(std::locale::classic(), new Punctuation))) {}
  ~CommaStreams() { std::locale::global(before_); }
  CommaStreams(const CommaStreams&) = delete;
  CommaStreams& operator=(const CommaStreams&) = delete;

 private:
  struct Punctuation : std::numpunct<char> {
    [[nodiscard]] char do_decimal_point() const override { return ','; }
    [[nodiscard]] char do_thousands_sep() const override { return '.'; }
    [[nodiscard]] std::string do_grouping() const override { return "\3"; }
  };

  std::locale before_;
};

}  // namespace support
