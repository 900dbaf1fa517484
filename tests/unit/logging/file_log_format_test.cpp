// The fixed-column line, the header and the time texts of the log files.
#include "logging/file_log_format.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "logging/log_time.h"
#include "logging/logger.h"

namespace {

using namespace velmo::logging;

const std::string kTime = "2024-03-05T07:09:02.041Z";
const std::string kSession = "00000000-0000-0000-0000-000000000000";

struct LineCase {
  const char* name;
  std::uint32_t threadId;
  std::int64_t elapsedMs;
  std::uint32_t category;
  std::int32_t resultCode;
  std::string message;
  std::string expected;
};

class FileLogLineTest : public ::testing::TestWithParam<LineCase> {};

TEST_P(FileLogLineTest, ColumnsKeepTheirWidthsAndWideValuesPushTheRest) {
  const LineCase& c = GetParam();
  EXPECT_EQ(formatFileLogLine(c.threadId, kTime, c.elapsedMs, kSession, c.category, "<INFO>",
                              c.resultCode, c.message),
            c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, FileLogLineTest,
    ::testing::Values(
        LineCase{
            "Ordinary", 4312, 1532, 0, 0, "Got action save",
            "[4312  ] 2024-03-05T07:09:02.041Z 1532     "
            "00000000-0000-0000-0000-000000000000 0     <INFO>     0           Got action save"},
        LineCase{"LongThreadIdMovesTheBracket", 12345678, 0, 0, 0, "m",
                 "[12345678] 2024-03-05T07:09:02.041Z 0        "
                 "00000000-0000-0000-0000-000000000000 0     <INFO>     0           m"},
        LineCase{"LongElapsedPushesTheRest", 1, 123456789, 0, 0, "m",
                 "[1     ] 2024-03-05T07:09:02.041Z 123456789 "
                 "00000000-0000-0000-0000-000000000000 0     <INFO>     0           m"},
        LineCase{"EmptyMessageEndsAfterThePaddedCode", 1, 0, 0, 0, "",
                 "[1     ] 2024-03-05T07:09:02.041Z 0        "
                 "00000000-0000-0000-0000-000000000000 0     <INFO>     0           "}),
    [](const ::testing::TestParamInfo<LineCase>& info) { return std::string(info.param.name); });

TEST(FileLogFormatTest, NonAsciiColumnsArePaddedByCodePointsAsFmtDoes) {
  // fmt counts a column in code points, an East Asian wide one as two.
  for (const std::string session : {"\xC3\xA9t\xC3\xA9", "\xE6\x97\xA5\xE6\x9C\xAC"}) {
    EXPECT_EQ(formatFileLogLine(42, kTime, 7, session, 3, "<DEBUG>", -1, "m"),
              fmt::format("[{:<{}}] {:<{}} {:<{}d} {:<{}} {:<{}d} {:<{}} {:<{}d} {:<}", 42, 6,
                          kTime, 24, 7, 8, session, 36, 3, 5, "<DEBUG>", 10, -1, 11, "m"));
  }
}

TEST(FileLogFormatTest, HeaderLinesUpWithTheColumns) {
  EXPECT_EQ(fileLogHeader(),
            "Thread   Time                     Elapsed  Session Log Id                       "
            "Cat   Level      RC          Message");
  EXPECT_EQ(fileLogHeader().size(), 116u);
}

TEST(FileLogFormatTest, EveryLevelHasItsTagAndOthersHaveNone) {
  EXPECT_EQ(fileLevelTag(CRITICAL), "<CRITICAL>");
  EXPECT_EQ(fileLevelTag(ERROR), "<ERROR>");
  EXPECT_EQ(fileLevelTag(INFO), "<INFO>");
  EXPECT_EQ(fileLevelTag(DEBUG), "<DEBUG>");
  EXPECT_EQ(fileLevelTag(TRACE), "<TRACE>");
  EXPECT_THROW(fileLevelTag(5), std::out_of_range);
  EXPECT_THROW(fileLevelTag(-1), std::out_of_range);
}

TEST(FileLogFormatTest, TimeTextsAreUtcWithTruncatedMilliseconds) {
  const std::int64_t ticks = 17096225420419999;  // 2024-03-05 07:09:02.0419999 UTC
  EXPECT_EQ(lineTimeText(ticks), "2024-03-05T07:09:02.041Z");
  EXPECT_EQ(fileNameTimeText(ticks), "2024_03_05T07_09_02_041Z");
  EXPECT_EQ(lineTimeText(ticks + 1230000), "2024-03-05T07:09:02.164Z") << "same second, later";
  const std::int64_t endOfCentury = 9466847999999999;  // 1999-12-31 23:59:59.9999999 UTC
  EXPECT_EQ(lineTimeText(endOfCentury), "1999-12-31T23:59:59.999Z");
}

}  // namespace
