#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "qvprj/project/QvProject.h"

namespace {

template <class T>
concept TellsTrackFileNameToAnyone = requires {
  T::GetTrackFileName(std::string());
};
static_assert(!TellsTrackFileNameToAnyone<qvprj::QvProject>);

struct Insider : qvprj::QvProject {
  using QvProject::GetTrackFileName;
};

struct Case {
  std::string database;
  std::string track_file;

  friend void PrintTo(const Case& test, std::ostream* out) { *out << test.database; }
};

class TrackFileNameTest : public ::testing::TestWithParam<Case> {};

TEST_P(TrackFileNameTest, ReplacesTheLastExtension) {
  EXPECT_EQ(Insider::GetTrackFileName(GetParam().database), GetParam().track_file);
}

TEST_P(TrackFileNameTest, IsItsOwnTrackFileName) {
  EXPECT_EQ(Insider::GetTrackFileName(GetParam().track_file), GetParam().track_file);
}

INSTANTIATE_TEST_SUITE_P(Paths, TrackFileNameTest,
                         ::testing::Values(Case{"D:/survey/site.db", "D:/survey/site.gb"},  //
                                           Case{"a/b/p.db", "a/b/p.gb"},                    //
                                           Case{"p.db", "p.gb"},                            //
                                           Case{"/p.db", "/p.gb"},                          //
                                           Case{"p", "p.gb"},                               //
                                           Case{"a.b/p", "a.b/p.gb"},                       //
                                           Case{"a/p.v2.db", "a/p.v2.gb"},                  //
                                           Case{"\xE6\xB5\x8B.db", "\xE6\xB5\x8B.gb"}));

TEST(TrackFileNameOfHiddenFileTest, ALeadingDotIsPartOfTheTitle) {
  EXPECT_EQ(Insider::GetTrackFileName("a/.db"), "a/.db.gb");
}

}  // namespace
