// The fixed-column line, the header and the time texts of the log files.
#include "logging/file_log_format.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <tuple>

#include "logging/log_time.h"
#include "logging/logger.h"

namespace {

using namespace velmo::logging;

const std::string kTime = "2024-03-05T07:09:02.041Z";
const std::string kSession = "00000000-0000-0000-0000-000000000000";

TEST(FileLogFormatTest, ColumnsKeepTheirWidthsAndWideValuesPushTheRest) {
  const std::string rest = " " + kSession + " 0     <INFO>     0           ";
  const std::tuple<std::uint32_t, std::int64_t, std::string, std::string> cases[] = {
      {4312, 1532, "Got action save", "[4312  ] " + kTime + " 1532    " + rest + "Got action save"},
      {12345678, 0, "m", "[12345678] " + kTime + " 0       " + rest + "m"},
      {1, 123456789, "", "[1     ] " + kTime + " 123456789" + rest}};
  for (const auto& [threadId, elapsedMs, message, expected] : cases) {
    EXPECT_EQ(formatFileLogLine(threadId, kTime, elapsedMs, kSession, 0, "<INFO>", 0, message), expected);
  }
}

TEST(FileLogFormatTest, NonAsciiColumnsArePaddedByDisplayWidthAsFmtDoes) {
  // Two code points in six bytes, each East Asian wide: four columns of 36.
  EXPECT_EQ(formatFileLogLine(42, kTime, 7, "\xE6\x97\xA5\xE6\x9C\xAC", 3, "<DEBUG>", -1, "m"),
            "[42    ] " + kTime + " 7        \xE6\x97\xA5\xE6\x9C\xAC" + std::string(32, ' ') +
                " 3     <DEBUG>    -1          m");
}

TEST(FileLogFormatTest, EveryLevelHasItsTagAndOthersHaveNone) {
  const char* tags[] = {"<CRITICAL>", "<ERROR>", "<INFO>", "<DEBUG>", "<TRACE>"};
  for (int level = CRITICAL; level <= TRACE; ++level) EXPECT_EQ(fileLevelTag(level), tags[level]);
  for (int level : {-1, 5}) EXPECT_THROW(fileLevelTag(level), std::out_of_range);
}

TEST(FileLogFormatTest, TimeTextsAreUtcWithTruncatedMilliseconds) {
  const std::int64_t ticks = 17096225425039999;  // 2024-03-05 07:09:02.5039999 UTC
  EXPECT_EQ(lineTimeText(ticks), "2024-03-05T07:09:02.503Z");
  EXPECT_EQ(fileNameTimeText(ticks), "2024_03_05T07_09_02_503Z");
}

}  // namespace
