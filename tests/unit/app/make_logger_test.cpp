// makeLogger: which root logger a --logfile value selects.
#include "app/make_logger.h"

#include <gtest/gtest.h>

#include "logging/file_logger_windows.h"
#include "logging/terminal_logger.h"
#include "tests/support/sim_test.h"
#include "tests/unit/logging/log_files.h"

namespace {

class MakeLoggerTest : public testing_support::SimTest {};

TEST_F(MakeLoggerTest, EmptyNameGivesTheTerminalAtTraceLevel) {
  const auto logger = velmo::makeLogger("");
  EXPECT_NE(dynamic_cast<velmo::logging::TerminalLogger*>(logger.get()), nullptr);
  EXPECT_EQ(logger->logLevel, velmo::logging::TRACE);
}

TEST_F(MakeLoggerTest, NameGivesTheRotatingFileLoggerAtDebugLevel) {
  {
    const auto logger = velmo::makeLogger((simRoot / "run").string());
    EXPECT_NE(dynamic_cast<velmo::logging::FileLoggerWindows*>(logger.get()), nullptr);
    EXPECT_EQ(logger->logLevel, velmo::logging::DEBUG);
    logger->log("hello", velmo::logging::INFO, 0);
  }
  std::vector<std::string> lines;
  for (const auto& file : testing_support::filesIn(simRoot)) {
    if (file.filename().string().rfind("run_", 0) == 0) {
      lines = testing_support::linesOf(file);
    }
  }
  ASSERT_EQ(lines.size(), 3u);
  const auto line = testing_support::parseLogLine(lines[2]);
  ASSERT_TRUE(line);
  EXPECT_EQ(line->sessionLogId, "00000000-0000-0000-0000-000000000000");
  EXPECT_EQ(line->category, 0u);
  EXPECT_EQ(line->message, "hello");
}

}  // namespace
