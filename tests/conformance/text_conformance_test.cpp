// What the program relies on of the UTF-8 <-> UTF-16 conversion with code page 65001, flags 0.
#include <gtest/gtest.h>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/text.h"

namespace {

using platform::WideString;

TEST(TextConformance, InvalidInputIsReplacedNotRefused) {
  EXPECT_EQ(velmo::utf8ToWide("a\x80z"), WideString(PLATFORM_WIDE("a\xFFFDz")));
  EXPECT_EQ(velmo::utf8ToWide("a\xE2\x82"), WideString(PLATFORM_WIDE("a\xFFFD")));
  EXPECT_EQ(velmo::utf8ToWide("\xC0\xAF"), WideString(PLATFORM_WIDE("\xFFFD\xFFFD")));
  // A lone surrogate becomes the replacement character too.
  const WCHAR lone[] = {0xD800, 'x', 0};
  EXPECT_EQ(velmo::wideToUtf8(lone), "\xEF\xBF\xBDx");
}

TEST(TextConformance, SizeQueryAndShortBuffer) {
  const WCHAR text[] = {'a', 0xE9, 0};
  EXPECT_EQ(platform::WideCharToMultiByte(CP_UTF8, 0, text, 2, nullptr, 0, nullptr, nullptr), 3);
  char small[2];
  EXPECT_EQ(platform::WideCharToMultiByte(CP_UTF8, 0, text, 2, small, 2, nullptr, nullptr), 0);
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(platform::MultiByteToWideChar(CP_UTF8, 0, "abc", -1, nullptr, 0), 4);
}

}  // namespace
