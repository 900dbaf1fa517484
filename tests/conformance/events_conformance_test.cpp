// What the program relies on of auto-reset events and of the wait for the first of several
// objects, and of a closed handle.
#include <gtest/gtest.h>

#include <array>

#include "platform/errors.h"
#include "platform/events.h"
#include "platform/pipes_files.h"

namespace {

class EventsConformance : public ::testing::Test {
 protected:
  HANDLE make(BOOL manualReset, BOOL signalled) {
    HANDLE event = platform::CreateEventW(nullptr, manualReset, signalled, nullptr);
    EXPECT_NE(event, nullptr);
    events.push_back(event);
    return event;
  }

  void TearDown() override {
    for (HANDLE event : events) {
      platform::CloseHandle(event);
    }
  }

  std::vector<HANDLE> events;
};

DWORD waitOne(HANDLE event, DWORD milliseconds) {
  return platform::WaitForMultipleObjects(1, &event, FALSE, milliseconds);
}

TEST_F(EventsConformance, AutoResetEventWakesOneWait) {
  HANDLE event = make(FALSE, FALSE);
  EXPECT_EQ(waitOne(event, 0), WAIT_TIMEOUT);
  ASSERT_NE(platform::SetEvent(event), FALSE);
  EXPECT_EQ(waitOne(event, 0), WAIT_OBJECT_0);
  EXPECT_EQ(waitOne(event, 20), WAIT_TIMEOUT);
}

TEST_F(EventsConformance, WaitGivesTheFirstSignalledIndex) {
  const std::array<HANDLE, 2> pair = {make(FALSE, FALSE), make(FALSE, FALSE)};
  ASSERT_NE(platform::SetEvent(pair[1]), FALSE);
  EXPECT_EQ(platform::WaitForMultipleObjects(2, pair.data(), FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  ASSERT_NE(platform::SetEvent(pair[1]), FALSE);
  ASSERT_NE(platform::SetEvent(pair[0]), FALSE);
  EXPECT_EQ(platform::WaitForMultipleObjects(2, pair.data(), FALSE, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(platform::WaitForMultipleObjects(2, pair.data(), FALSE, 0), WAIT_OBJECT_0 + 1);
}

TEST_F(EventsConformance, ClosedHandleFailsWithInvalidHandle) {
  HANDLE event = platform::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  ASSERT_NE(platform::CloseHandle(event), FALSE);
  EXPECT_EQ(platform::SetEvent(event), FALSE);
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(waitOne(event, 0), WAIT_FAILED);
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

}  // namespace
