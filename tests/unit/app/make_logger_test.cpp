// makeLogger: which root logger a --logfile value selects.
#include "app/make_logger.h"

#include <gtest/gtest.h>

#include "logging/file_logger_windows.h"
#include "logging/terminal_logger.h"
#include "tests/support/sim_test.h"

using MakeLoggerTest = testing_support::SimTest;

TEST_F(MakeLoggerTest, EmptyNameGivesTheTerminalAndANameTheRotatingFileLogger) {
  const auto terminal = velmo::makeLogger("");
  EXPECT_NE(dynamic_cast<velmo::logging::TerminalLogger*>(terminal.get()), nullptr);
  EXPECT_EQ(terminal->logLevel, velmo::logging::TRACE);

  const auto file = velmo::makeLogger((simRoot / "run").string());
  EXPECT_NE(dynamic_cast<velmo::logging::FileLoggerWindows*>(file.get()), nullptr);
  EXPECT_EQ(file->logLevel, velmo::logging::DEBUG);
}
