// A failure is one line and an exit code, whatever happened.
#include "common/Failure.h"

#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <stdexcept>

#include "Commands.h"

using qvapp::Failure;
using qvapp::Reported;

namespace {

struct Report {
  int code;
  std::string line;
};

Report Of(const std::function<int()>& work) {
  std::ostringstream err;
  const int code = Reported(err, work);
  return {code, err.str()};
}

}  // namespace

TEST(Failure, TellsFileProblemAndRemedy) {
  EXPECT_STREQ(Failure("a.db", "empty file", "give another").what(), "a.db: empty file; give another");
  EXPECT_STREQ(Failure("a.db", "empty file", "").what(), "a.db: empty file");
  EXPECT_STREQ(Failure("", "no such file", "check").what(), "'': no such file; check");
}

TEST(Failure, IsOneLineWithoutControlCharacters) {
  EXPECT_STREQ(Failure("a\nb", "c\x1B[m", "d\re").what(), "a?b: c?[m; d?e");
}

TEST(Reported, PassesTheExitCodeOn) {
  const Report report = Of([] { return 7; });
  EXPECT_EQ(report.code, 7);
  EXPECT_EQ(report.line, "");
}

TEST(Reported, PrintsAFailure) {
  const Report failed = Of([]() -> int { throw Failure("a", "b", "c"); });
  EXPECT_EQ(failed.code, qvapp::kFailed);
  EXPECT_EQ(failed.line, "a: b; c\n");
  EXPECT_EQ(Of([]() -> int { throw Failure("a", "b", "c", qvapp::kWrongUsage); }).code, qvapp::kWrongUsage);
}

TEST(Reported, MakesOneLineOfAnythingElse) {
  for (const Report& report : {Of([]() -> int { throw std::runtime_error("two\nlines"); }),
                               Of([]() -> int { throw std::bad_alloc(); }), Of([]() -> int { throw 5; })}) {
    EXPECT_EQ(report.code, qvapp::kFailed);
    EXPECT_THAT(report.line, apps_test::IsOneLine());
  }
}
