// What the log lines rely on of thread ids: non-zero, fixed for a thread, different between
// threads that live at the same time.
#include <gtest/gtest.h>

#include <thread>

#include "platform/threads.h"

namespace {

TEST(ThreadsConformance, EachThreadHasItsOwnStableId) {
  const DWORD mine = platform::GetCurrentThreadId();
  EXPECT_NE(mine, 0u);
  EXPECT_EQ(platform::GetCurrentThreadId(), mine);
  DWORD other = 0;
  std::thread([&] { other = platform::GetCurrentThreadId(); }).join();
  EXPECT_NE(other, 0u);
  EXPECT_NE(other, mine);
}

}  // namespace
