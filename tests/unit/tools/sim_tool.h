// Runs the built kestrine-sim with the given arguments against the current sim root.
#pragma once

#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace tools_test {

inline testing_support::ProcessResult simTool(std::vector<std::string> args) {
  args.insert(args.begin(), KESTRINE_SIM_EXE);
  return testing_support::runProcess(args);
}

}  // namespace tools_test
