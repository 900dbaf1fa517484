#include "tests/support/pipe_wait.h"

#include <thread>

#include "common/text_conversion.h"
#include "platform/pipes_files.h"

namespace testing_support {

bool waitForPipe(const std::string& name, std::chrono::milliseconds limit) {
  const platform::WideString pipe = velmo::utf8ToWide("\\\\.\\pipe\\" + name);
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < deadline) {
    if (platform::WaitNamedPipeW(pipe.c_str(), 1000)) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

}  // namespace testing_support
