// Waiting in tests for a peer process to open its pipe.
#pragma once

#include <chrono>
#include <string>

#include "common/text_conversion.h"
#include "platform/pipes_files.h"
#include "tests/support/eventually.h"

namespace testing_support {

// Polls until \\.\pipe\<name> has an instance (WaitNamedPipeW fails at once with 2 while there is
// none). False when none appeared within `limit`.
inline bool waitForPipe(const std::string& name = "KestrinePipe",
                        std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  const platform::WideString pipe = velmo::utf8ToWide("\\\\.\\pipe\\" + name);
  return eventually([&] { return platform::WaitNamedPipeW(pipe.c_str(), 1000) != FALSE; }, limit);
}

}  // namespace testing_support
