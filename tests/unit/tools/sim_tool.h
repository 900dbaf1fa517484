// Runs the built kestrine-sim with the given arguments against the current sim root.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace tools_test {

inline testing_support::ProcessResult simTool(std::vector<std::string> args) {
  args.insert(args.begin(), KESTRINE_SIM_EXE);
  return testing_support::runProcess(args);
}

// Runs each command in turn; each must succeed.
inline void simToolAll(const std::vector<std::vector<std::string>>& commands) {
  for (const std::vector<std::string>& command : commands) {
    const testing_support::ProcessResult result = simTool(command);
    EXPECT_EQ(result.status, 0) << ::testing::PrintToString(command) << result.error;
  }
}

}  // namespace tools_test
