#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "qvfd/Text.h"
#include "qvfd/TextConversion.h"
#include "support/ContractsLocale.h"

namespace {

using qvfd::ConvertText;
using qvfd::StringConverter;

// "local coordinate system" in both encodings.
const std::string kLocalSystemUtf8 = "\xE6\x9C\xAC\xE5\x9C\xB0\xE5\x9D\x90\xE6\xA0\x87\xE7\xB3\xBB";
const std::string kLocalSystemGbk = "\xB1\xBE\xB5\xD8\xD7\xF8\xB1\xEA\xCF\xB5";

const std::string kSmiley = "\xF0\x9F\x98\x80";  // no GBK character

std::string AllBytes() {
  std::string bytes;
  for (int i = 0; i < 256; ++i) {
    bytes += static_cast<char>(i);
  }
  return bytes;
}

std::string Utf8(unsigned codePoint) {
  std::string text;
  if (codePoint < 0x800) {
    text += static_cast<char>(0xC0 | (codePoint >> 6));
  } else {
    text += static_cast<char>(0xE0 | (codePoint >> 12));
    text += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
  }
  text += static_cast<char>(0x80 | (codePoint & 0x3F));
  return text;
}

TEST(StringConverter, TextPassesThroughWhereTheLocaleSaysNothing) {
  EXPECT_EQ(StringConverter::FromUTF8(kLocalSystemUtf8), kLocalSystemUtf8);
  EXPECT_EQ(StringConverter::ToUTF8(kLocalSystemGbk), kLocalSystemGbk);
  EXPECT_EQ(StringConverter::FromUTF8(""), "");
}

TEST(StringConverter, EveryBytePassesThroughWhereTheLocaleSaysNothing) {
  EXPECT_EQ(StringConverter::FromUTF8(AllBytes()), AllBytes());
  EXPECT_EQ(StringConverter::ToUTF8(AllBytes()), AllBytes());
}

TEST(StringConverter, EveryBytePassesThroughInAUtf8Locale) {
  if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) {
    GTEST_SKIP() << "this system has no C.UTF-8 locale";
  }
  EXPECT_EQ(StringConverter::FromUTF8(AllBytes()), AllBytes());
  EXPECT_EQ(StringConverter::ToUTF8(AllBytes()), AllBytes());
  std::setlocale(LC_ALL, "C");
}

class ChineseLocale : public testing::Test {
 protected:
  void SetUp() override {
    if (!locale_.InForce()) {
      GTEST_SKIP() << "localedef made no Chinese locale: skipped what needs one with GBK text";
    }
  }

  support::GeneratedLocale locale_{"zh_CN", "GBK"};
};

TEST_F(ChineseLocale, FromUTF8GivesGbk) {
  EXPECT_EQ(StringConverter::FromUTF8(kLocalSystemUtf8), kLocalSystemGbk);
}

TEST_F(ChineseLocale, ToUTF8TakesGbk) {
  EXPECT_EQ(StringConverter::ToUTF8(kLocalSystemGbk), kLocalSystemUtf8);
}

TEST_F(ChineseLocale, AsciiStays) {
  const std::string ascii = "DJI_0001.JPG \t~\\^";
  EXPECT_EQ(StringConverter::FromUTF8(ascii), ascii);
  EXPECT_EQ(StringConverter::ToUTF8(ascii), ascii);
}

TEST_F(ChineseLocale, WhatGbkCannotRepresentIsAQuestionMark) {
  EXPECT_EQ(StringConverter::FromUTF8("a" + kSmiley + "b"), "a?b");
}

TEST_F(ChineseLocale, EveryByteThatIsNoUtf8IsAQuestionMark) {
  EXPECT_EQ(StringConverter::FromUTF8("a\xFF\xFE"
                                      "b"),
            "a??b");
}

TEST_F(ChineseLocale, EveryByteThatIsNoGbkIsAQuestionMark) {
  EXPECT_EQ(StringConverter::ToUTF8("a\xFF"
                                    "b"),
            "a?b");
}

TEST_F(ChineseLocale, HalfACharacterAtTheEndIsAQuestionMark) {
  EXPECT_EQ(StringConverter::ToUTF8("a\xB1"), "a?");
  EXPECT_EQ(StringConverter::FromUTF8("a\xE6\x9C"), "a??");
}

TEST_F(ChineseLocale, ANulIsACharacterLikeOthers) {
  EXPECT_EQ(StringConverter::FromUTF8(kLocalSystemUtf8 + std::string("\0x", 2)),
            kLocalSystemGbk + std::string("\0x", 2));
}

TEST_F(ChineseLocale, EveryChineseCharacterComesBack) {
  std::string text;
  for (unsigned codePoint = 0x4E00; codePoint <= 0x9FA5; ++codePoint) {
    text += Utf8(codePoint);
  }
  const std::string local = StringConverter::FromUTF8(text);
  EXPECT_EQ(local.size(), (0x9FA5U - 0x4E00U + 1) * 2);
  EXPECT_EQ(local.find('?'), std::string::npos);
  EXPECT_EQ(StringConverter::ToUTF8(local), text);
}

TEST_F(ChineseLocale, AConversionLeavesNothingBehindForTheNext) {
  EXPECT_EQ(StringConverter::FromUTF8("\xE6\x9C"), "??");
  EXPECT_EQ(StringConverter::FromUTF8(kLocalSystemUtf8), kLocalSystemGbk);
  EXPECT_EQ(StringConverter::ToUTF8("\xB1"), "?");
  EXPECT_EQ(StringConverter::ToUTF8(kLocalSystemGbk), kLocalSystemUtf8);
}

TEST_F(ChineseLocale, IsAskedForAtEachCall) {
  EXPECT_EQ(StringConverter::FromUTF8(kLocalSystemUtf8), kLocalSystemGbk);
  std::setlocale(LC_ALL, "C");
  EXPECT_EQ(StringConverter::FromUTF8(kLocalSystemUtf8), kLocalSystemUtf8);
}

TEST(ConvertText, ConvertsToGbkAndBack) {
  EXPECT_EQ(ConvertText(kLocalSystemUtf8, "UTF-8", "GBK"), kLocalSystemGbk);
  EXPECT_EQ(ConvertText(kLocalSystemGbk, "GBK", "UTF-8"), kLocalSystemUtf8);
}

TEST(ConvertText, OfNothingIsNothing) {
  EXPECT_EQ(ConvertText("", "UTF-8", "GBK"), "");
}

TEST(ConvertText, ConvertsEveryLatin1CharacterBothWays) {
  std::string latin;
  std::string utf8;
  for (unsigned codePoint = 0x80; codePoint <= 0xFF; ++codePoint) {
    latin += static_cast<char>(codePoint);
    utf8 += Utf8(codePoint);
  }
  EXPECT_EQ(ConvertText(utf8, "UTF-8", "ISO-8859-1"), latin);
  EXPECT_EQ(ConvertText(latin, "ISO-8859-1", "UTF-8"), utf8);
}

TEST(ConvertText, EachCharacterThatCannotBeRepresentedIsOneQuestionMark) {
  EXPECT_EQ(ConvertText("a" + kLocalSystemUtf8 + "b", "UTF-8", "ISO-8859-1"), "a?????b");
  EXPECT_EQ(ConvertText("a" + kSmiley + kSmiley + "b", "UTF-8", "GBK"), "a??b");
}

TEST(ConvertText, NothingIsReplacedByALookAlike) {
  EXPECT_EQ(ConvertText("\xE2\x80\x9Cx\xE2\x80\x9D \xE2\x82\xAC", "UTF-8", "ISO-8859-1"), "?x? ?");
}

TEST(ConvertText, EveryByteThatIsNotValidIsOneQuestionMark) {
  const auto toGbk = [](const std::string& text) { return ConvertText(text, "UTF-8", "GBK"); };
  EXPECT_EQ(toGbk("\x80"), "?") << "a continuation byte alone";
  EXPECT_EQ(toGbk("\xC0\x80"), "??") << "an overlong NUL";
  EXPECT_EQ(toGbk("\xE0\x80\x80"), "???") << "an overlong character";
  EXPECT_EQ(toGbk("\xED\xA0\x80"), "???") << "a surrogate";
  EXPECT_EQ(toGbk("\xF4\x90\x80\x80"), "????") << "beyond the last code point";
  EXPECT_EQ(toGbk("\xF8\x88\x80\x80\x80"), "?????") << "a lead byte of five";
}

TEST(ConvertText, AnInterruptedCharacterDoesNotSwallowWhatFollows) {
  EXPECT_EQ(ConvertText("\xE6\x9C" + std::string("A"), "UTF-8", "GBK"), "??A");
  EXPECT_EQ(ConvertText("\xE6" + kLocalSystemUtf8, "UTF-8", "GBK"), "?" + kLocalSystemGbk);
}

TEST(ConvertText, ACharacterCutOffAtTheEndIsAQuestionMarkAByte) {
  EXPECT_EQ(ConvertText("A\xF0\x9F\x98", "UTF-8", "GBK"), "A???");
  EXPECT_EQ(ConvertText("A\xE6", "UTF-8", "GBK"), "A?");
}

TEST(ConvertText, LongTextsAreWhole) {
  std::string utf8;
  std::string gbk;
  for (int i = 0; i < 20000; ++i) {
    utf8 += kLocalSystemUtf8 + kSmiley;
    gbk += kLocalSystemGbk + "?";
  }
  EXPECT_EQ(ConvertText(utf8, "UTF-8", "GBK"), gbk);
}

TEST(ConvertText, ATextMayGrow) {
  const std::string latin(10000, '\xE4');
  std::string utf8;
  for (int i = 0; i < 10000; ++i) {
    utf8 += "\xC3\xA4";
  }
  EXPECT_EQ(ConvertText(latin, "ISO-8859-1", "UTF-8"), utf8);
}

TEST(ConvertText, TagCharactersAreNotLost) {
  EXPECT_EQ(ConvertText("a\xF3\xA0\x80\x9F\xF3\xA0\x81\xBF z", "UTF-8", "ISO-8859-1"), "a?? z");
  EXPECT_EQ(ConvertText("\xF3\xA0\x82\x80\xF3\xA0\x80", "UTF-8", "ISO-8859-1"), "????");
  const std::string tag = "\xF3\xA0\x80\x9F";
  EXPECT_EQ(ConvertText(ConvertText(tag, "UTF-8", "GB18030"), "GB18030", "UTF-8"), tag);
}

}  // namespace
