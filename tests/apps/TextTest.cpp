// Text that people see: what a file may not do to their terminal, and columns that line up.
#include "common/Text.h"

#include <gtest/gtest.h>

#include <sstream>

using qvapp::DisplayWidth;
using qvapp::Printable;
using qvapp::Table;

TEST(Printable, LeavesTextAlone) {
  EXPECT_EQ(Printable("Site 7 (north), 100 % \xE6\xBB\xB4\xE6\xB3\x89 \xC3\xBC"),
            "Site 7 (north), 100 % \xE6\xBB\xB4\xE6\xB3\x89 \xC3\xBC");
  EXPECT_EQ(Printable(""), "");
}

TEST(Printable, ReplacesControlCharacters) {
  EXPECT_EQ(Printable("a\x1B[2Jb"), "a?[2Jb");
  EXPECT_EQ(Printable("a\nb\rc\td"), "a?b?c?d");
  EXPECT_EQ(Printable("a\x7F"
                      "b"),
            "a?b");
  EXPECT_EQ(Printable(std::string("a\0b", 3)), "a?b");
}

TEST(Printable, ReplacesControlCharactersAboveAscii) {
  EXPECT_EQ(Printable("a\xC2\x9B"
                      "2J"),
            "a?2J");
  EXPECT_EQ(Printable("a\xE2\x80\xAE"
                      "b"),
            "a?b")
      << "right-to-left override";
  EXPECT_EQ(Printable("a\xE2\x80\xA8"
                      "b"),
            "a?b")
      << "line separator";
}

TEST(Printable, ReplacesBytesThatAreNoText) {
  EXPECT_EQ(Printable("a\x9B"
                      "b"),
            "a?b");
  EXPECT_EQ(Printable("\xC0\x80"), "??") << "overlong";
  EXPECT_EQ(Printable("\xED\xA0\x80"), "???") << "surrogate";
  EXPECT_EQ(Printable("\xF4\x90\x80\x80"), "????") << "above the last character";
  EXPECT_EQ(Printable("ab\xE6\xBB"), "ab??") << "cut";
}

TEST(DisplayWidth, CountsColumns) {
  EXPECT_EQ(DisplayWidth("abc"), 3);
  EXPECT_EQ(DisplayWidth("\xE6\xBB\xB4\xE6\xB3\x89"), 4) << "two wide characters";
  EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1) << "a combining accent takes no room";
  EXPECT_EQ(DisplayWidth("\xC3\xBC"), 1);
  EXPECT_EQ(DisplayWidth(""), 0);
}

TEST(Shortened, CutsWhatIsTooLong) {
  EXPECT_EQ(qvapp::Shortened("abcdef", 6), "abcdef");
  EXPECT_EQ(qvapp::Shortened("abcdefg", 6), "abc...");
  EXPECT_EQ(qvapp::Shortened("a\nc", 6), "a?c");
}

TEST(Shortened, CutsBetweenCharacters) {
  EXPECT_EQ(qvapp::Shortened("\xE6\xBB\xB4\xE6\xB3\x89\xE6\xBB\xB4\xE6\xB3\x89", 6), "\xE6\xBB\xB4...");
  EXPECT_EQ(qvapp::Shortened("e\xCC\x81xabcdefg", 5), "e\xCC\x81x...") << "an accent takes no room";
}

TEST(FixedText, EndsAtTheNulOrAtTheEndOfTheArray) {
  const char whole[3] = {'a', 'b', 'c'};
  const char cut[4] = {'a', '\0', 'x', 'y'};
  EXPECT_EQ(qvapp::FixedText(whole), "abc");
  EXPECT_EQ(qvapp::FixedText(cut), "a");
}

TEST(Numbers, HaveSensibleDigits) {
  EXPECT_EQ(qvapp::Degrees(-83.3057253), "-83.3057253");
  EXPECT_EQ(qvapp::Degrees(8), "8.0000000");
  EXPECT_EQ(qvapp::Radians(2.0943951023932), "2.094395102");
  EXPECT_EQ(qvapp::Metres(70.5349), "70.53");
  EXPECT_EQ(qvapp::Metres(1e300), "1e+300");
}

TEST(Counted, KnowsOneFromMany) {
  EXPECT_EQ(qvapp::Counted(0, "strip", "strips"), "0 strips");
  EXPECT_EQ(qvapp::Counted(1, "strip", "strips"), "1 strip");
  EXPECT_EQ(qvapp::Counted(2, "strip", "strips"), "2 strips");
}

TEST(Table, AlignsByWhatIsSeen) {
  using enum Table::Align;
  Table table({kLeft, kRight, kLeft});
  table.Add({"NAME", "N", "LAST"});
  table.Add({"\xE6\xBB\xB4\xE6\xB3\x89", "1200", "a"});
  table.Add({"abcdef", "7", ""});
  std::ostringstream out;
  table.Print(out, "> ");
  EXPECT_EQ(out.str(),
            "> NAME       N  LAST\n"
            "> \xE6\xBB\xB4\xE6\xB3\x89    1200  a\n"
            "> abcdef     7  -\n");
}

TEST(Table, KeepsARowOnItsLine) {
  Table table({Table::Align::kLeft});
  table.Add({"two\nlines"});
  std::ostringstream out;
  table.Print(out, "");
  EXPECT_EQ(out.str(), "two?lines\n");
}
