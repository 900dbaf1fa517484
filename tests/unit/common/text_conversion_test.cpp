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

using TextConversionTest = testing_support::SimTest;

// The whole text is converted, a zero unit too; what is not valid UTF-8 becomes U+FFFD.
TEST_F(TextConversionTest, Utf8ToWideDecodesAndReplacesInvalidInput) {
  const std::pair<std::string, WideString> cases[] = {
      {"\xC3\xA9\xE2\x82\xAC", u"\u00E9\u20AC"},
      {"\xF0\x9F\x98\x80", u"\U0001F600"},
      {"\xE2\x82z", u"\uFFFDz"},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},          // an encoded surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
      {std::string("a\0b", 3), WideString(u"a\0b", 3)}};
  for (const auto& [utf8, wide] : cases) EXPECT_EQ(utf8ToWide(utf8), wide);
}

TEST_F(TextConversionTest, WideToUtf8ReplacesLoneSurrogates) {
  EXPECT_EQ(wideToUtf8(u"\u00E9\U0001F600"), "\xC3\xA9\xF0\x9F\x98\x80");
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
  sim::test::ScopedHook failing(&platform::WideCharToMultiByte, [](auto...) -> std::optional<int> { return 0; });
  EXPECT_EQ(wideToLogText(u"abc"), "???");
}

}  // namespace
