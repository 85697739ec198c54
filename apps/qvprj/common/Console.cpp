// The status line of long work.
#include "common/Console.h"

#include <string>

#include "common/Text.h"

namespace qvapp {

StatusLine::StatusLine(Console& console, std::string_view verb, std::string_view file) : console_(console) {
  if (!console_.terminal) {
    return;
  }
  // A line longer than the terminal would wrap, and the carriage return would no longer reach its start.
  constexpr int kColumns = 79;
  const std::string whole = Printable(std::string(verb) + " " + std::string(file) + " ...");
  const std::string line = DisplayWidth(whole) <= kColumns ? whole : Printable(verb) + " ...";
  width_ = DisplayWidth(line);
  console_.err << '\r' << line << std::flush;
}

StatusLine::~StatusLine() {
  if (width_ == 0) {
    return;
  }
  try {
    console_.err << '\r' << std::string(static_cast<std::size_t>(width_), ' ') << '\r' << std::flush;
  } catch (...) {
    // What stays on the screen is harmless.
  }
}

}  // namespace qvapp
