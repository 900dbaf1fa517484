#include "common/text_conversion.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/sim/core/test_api.h"
#include "platform/text.h"
#include "tests/support/sim_test.h"

namespace {

using platform::WideString;
using velmo::utf8ToWide;
using velmo::wideToLogText;
using velmo::wideToUtf8;

class TextConversionTest : public testing_support::SimTest {};

struct Utf8Case {
  const char* name;
  std::string utf8;
  WideString wide;
};

class Utf8ToWideTest : public TextConversionTest,
                       public ::testing::WithParamInterface<Utf8Case> {};

TEST_P(Utf8ToWideTest, DecodesAndReplacesInvalidInput) {
  EXPECT_EQ(utf8ToWide(GetParam().utf8), GetParam().wide);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Utf8ToWideTest,
    ::testing::Values(
        Utf8Case{"ascii", "DISPLAY1", u"DISPLAY1"},
        Utf8Case{"twoAndThreeBytes", "\xC3\xA9\xE2\x82\xAC", u"\u00E9\u20AC"},
        Utf8Case{"fourBytesToSurrogatePair", "\xF0\x9F\x98\x80", u"\U0001F600"},
        Utf8Case{"truncatedBeforeAscii", "\xE2\x82z", u"\uFFFDz"},
        Utf8Case{"encodedSurrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        Utf8Case{"beyondUnicode", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        Utf8Case{"embeddedZero", std::string("a\0b", 3), WideString(u"a\0b", 3)}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(TextConversionTest, WideToUtf8ReplacesLoneSurrogates) {
  EXPECT_EQ(wideToUtf8(u"\u00E9\U0001F600"), "\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(wideToUtf8(WideString(1, u'\xD800')), "\xEF\xBF\xBD");
  EXPECT_EQ(wideToUtf8(WideString{u'x', u'\xD83D'}), "x\xEF\xBF\xBD");
}

TEST_F(TextConversionTest, EmptyInputMakesNoCall) {
  EXPECT_EQ(wideToUtf8(WideString()), "");
  EXPECT_EQ(utf8ToWide(""), WideString());
  EXPECT_EQ(wideToLogText(WideString()), "");
  EXPECT_TRUE(sim::test::calls().empty());
}

TEST_F(TextConversionTest, ConversionCallsUseCodePage65001AndFlags0) {
  wideToUtf8(u"abc");
  const auto calls = sim::test::callsOf("WideCharToMultiByte");
  ASSERT_EQ(calls.size(), 2u);  // once for the size, once to convert
  EXPECT_EQ(calls[0].arguments.substr(0, 9), "65001, 0,");
}

TEST_F(TextConversionTest, LogTextFallsBackToQuestionMarks) {
  EXPECT_EQ(wideToLogText(u"ok"), "ok");
  sim::test::ScopedHook failing(&platform::WideCharToMultiByte, "WideCharToMultiByte",
                                [](auto...) -> std::optional<int> { return 0; });
  EXPECT_EQ(wideToLogText(u"abc"), "???");
}

}  // namespace
