#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "qvprj/project/QvProject.h"

namespace {

struct Case {
  int capacity;
  std::string text;
  std::string expected;  ///< the whole array of eight: what is not written stays '#'

  friend void PrintTo(const Case& test, std::ostream* out) {
    *out << test.capacity << " characters for " << test.text.size();
  }
};

class String2CharTest : public ::testing::TestWithParam<Case> {};

TEST_P(String2CharTest, KeepsWhatFitsBeforeTheNulAndWritesNothingElse) {
  char array[8] = {'#', '#', '#', '#', '#', '#', '#', '#'};
  qvprj::QvProject project;
  project.string2char(array, GetParam().capacity, GetParam().text);
  EXPECT_EQ(std::string(array, 8), GetParam().expected);
}

using namespace std::string_literals;

INSTANTIATE_TEST_SUITE_P(Texts, String2CharTest,
                         ::testing::Values(Case{5, "abc", "abc\0####"s},        //
                                           Case{5, "abcd", "abcd\0###"s},       //
                                           Case{5, "abcde", "abcd\0###"s},      //
                                           Case{5, "abcdefg", "abcd\0###"s},    //
                                           Case{5, "", "\0#######"s},           //
                                           Case{1, "", "\0#######"s},           //
                                           Case{1, "a", "\0#######"s},          //
                                           Case{1, "abcdefghi", "\0#######"s},  //
                                           Case{8, "abcdefgh", "abcdefg\0"s},   //
                                           Case{5, "\xB1\xBE\xB5\xD8\xD7", "\xB1\xBE\xB5\xD8\0###"s}));

}  // namespace
