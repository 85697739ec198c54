// The status line: there while someone waits, gone afterwards, and never in a log.
#include "common/Console.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>

using testing::HasSubstr;
using testing::Not;

namespace {

std::string StatusOf(const std::string& file, bool terminal) {
  std::ostringstream out;
  std::ostringstream err;
  std::istringstream in;
  qvapp::Console console{in, out, err, terminal};
  { const qvapp::StatusLine status(console, "Reading", file); }
  EXPECT_EQ(out.str(), "");
  return err.str();
}

}  // namespace

TEST(StatusLine, IsBlankedOutAgain) {
  const std::string blanks(std::string("Reading a.db ...").size(), ' ');
  EXPECT_EQ(StatusOf("a.db", true), "\rReading a.db ...\r" + blanks + "\r");
}

TEST(StatusLine, IsNotInAPipe) {
  EXPECT_EQ(StatusOf("a.db", false), "");
}

TEST(StatusLine, LeavesOutWhatWouldWrap) {
  EXPECT_THAT(StatusOf(std::string(100, 'x'), true), HasSubstr("\rReading ...\r"));
}

TEST(StatusLine, DoesNotPassOnControlCharacters) {
  EXPECT_THAT(StatusOf("a\x1B[31m.db", true), Not(HasSubstr("\x1B")));
}
