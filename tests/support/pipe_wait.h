// Waiting in tests for a peer process to open its pipe.
#pragma once

#include <chrono>
#include <string>

namespace testing_support {

// Polls until \\.\pipe\<name> has an instance (WaitNamedPipeW fails at once with 2 while there is
// none). False when none appeared within `limit`.
bool waitForPipe(const std::string& name = "KestrinePipe",
                 std::chrono::milliseconds limit = std::chrono::seconds(20));

}  // namespace testing_support
