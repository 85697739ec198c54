// Where a command talks to: its input, results, failures, and the status line of long work.
#pragma once

#include <istream>
#include <ostream>
#include <string_view>

namespace qvapp {

struct Console {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool terminal = false;  ///< whether `err` is a terminal, where a person waits and a status line helps
};

/// A line on a terminal that says what takes so long, and is gone when the object goes. Nothing elsewhere: a
/// log or a pipe gets results and failures only.
class StatusLine {
 public:
  StatusLine(Console& console, std::string_view verb, std::string_view file);
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

 private:
  Console& console_;
  int width_ = 0;  // columns to blank out again
};

}  // namespace qvapp
