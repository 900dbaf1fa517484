// What the program relies on of auto-reset events, of the wait for the first of several objects,
// and of the thread ids in its log lines. (A closed handle is refused as the pipe checks show.)
#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "common/owned_handles.h"
#include "platform/events.h"
#include "platform/pipes_files.h"
#include "platform/threads.h"

namespace {

using Event = velmo::KernelHandle;

Event autoResetEvent() { return Event(platform::CreateEventW(nullptr, FALSE, FALSE, nullptr)); }

DWORD waitOne(HANDLE event, DWORD milliseconds) {
  return platform::WaitForMultipleObjects(1, &event, FALSE, milliseconds);
}

TEST(EventsConformance, AutoResetEventWakesOneWait) {
  const Event event = autoResetEvent();
  EXPECT_EQ(waitOne(event.get(), 0), WAIT_TIMEOUT);
  ASSERT_NE(platform::SetEvent(event.get()), FALSE);
  EXPECT_EQ(waitOne(event.get(), 0), WAIT_OBJECT_0);
  EXPECT_EQ(waitOne(event.get(), 20), WAIT_TIMEOUT);
}

TEST(EventsConformance, WaitGivesTheFirstSignalledIndex) {
  const Event first = autoResetEvent();
  const Event second = autoResetEvent();
  const std::array<HANDLE, 2> pair = {first.get(), second.get()};
  ASSERT_NE(platform::SetEvent(pair[1]), FALSE);
  EXPECT_EQ(platform::WaitForMultipleObjects(2, pair.data(), FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  ASSERT_NE(platform::SetEvent(pair[1]), FALSE);
  ASSERT_NE(platform::SetEvent(pair[0]), FALSE);
  EXPECT_EQ(platform::WaitForMultipleObjects(2, pair.data(), FALSE, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(platform::WaitForMultipleObjects(2, pair.data(), FALSE, 0), WAIT_OBJECT_0 + 1);
}

// Thread ids are non-zero, fixed for a thread, and differ between threads that live at once.
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
