// What the program relies on of the UTF-8 <-> UTF-16 conversion with code page 65001, flags 0,
// as the program does it: a size query, then the conversion into a buffer of that size.
#include <gtest/gtest.h>

#include "common/text_conversion.h"
#include "platform/text.h"

namespace {

using platform::WideString;

TEST(TextConformance, InvalidInputIsReplacedNotRefused) {
  EXPECT_EQ(velmo::wideToUtf8(PLATFORM_WIDE("a\xE9")), "a\xC3\xA9");
  EXPECT_EQ(velmo::utf8ToWide("a\x80z"), WideString(PLATFORM_WIDE("a\xFFFDz")));
  EXPECT_EQ(velmo::utf8ToWide("a\xE2\x82"), WideString(PLATFORM_WIDE("a\xFFFD")));
  EXPECT_EQ(velmo::utf8ToWide("\xC0\xAF"), WideString(PLATFORM_WIDE("\xFFFD\xFFFD")));
  // A lone surrogate becomes the replacement character too.
  const WCHAR lone[] = {0xD800, 'x', 0};
  EXPECT_EQ(velmo::wideToUtf8(lone), "\xEF\xBF\xBDx");
}

}  // namespace
