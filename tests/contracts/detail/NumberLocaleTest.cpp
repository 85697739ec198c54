#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "detail/NumberText.h"
#include "support/ContractsLocale.h"

namespace {

void ExpectPointsEverywhere() {
  EXPECT_EQ(qvdetail::FormatReal(1234567.5), "1234567.5");
  EXPECT_EQ(qvdetail::FormatReal(1234567.0), "1234567");
  EXPECT_EQ(qvdetail::FormatInteger(1234567), "1234567");
  EXPECT_EQ(qvdetail::ParseReal("1234.5"), 1234.5);
  EXPECT_EQ(qvdetail::ParseReal("1234,5"), 1234.0);
  EXPECT_EQ(qvdetail::ParseReal("0x1.8"), 1.5);
  EXPECT_EQ(qvdetail::ParseInteger("1.234"), 1);
  EXPECT_EQ(qvdetail::WholeReal("1.5"), 1.5);
  EXPECT_EQ(qvdetail::WholeReal("1,5"), std::nullopt);
}

TEST(NumberLocale, TheCLocaleOfTheProcessHasNoSay) {
  const support::GeneratedLocale german("de_DE", "UTF-8");
  if (!german.InForce()) {
    GTEST_SKIP() << "localedef made no German locale: skipped what needs a decimal comma";
  }
  ASSERT_EQ(std::atof("1,5"), 1.5) << "the locale has no decimal comma, so it shows nothing";
  ExpectPointsEverywhere();
}

TEST(NumberLocale, TheGlobalCppLocaleHasNoSay) {
  const support::CommaStreams comma;
  std::ostringstream stream;
  stream << 1234.5;
  ASSERT_EQ(stream.str(), "1.234,5") << "the locale has no decimal comma, so it shows nothing";
  ExpectPointsEverywhere();
}

}  // namespace
