// The sim's counter and sleep: CLOCK_MONOTONIC in nanoseconds (frequency 10^9) and nanosleep.
#include <time.h>

#include <cerrno>

#include "platform/sim/core/test_api.h"
#include "platform/time.h"

namespace platform {

BOOL QueryPerformanceCounter(LARGE_INTEGER* lpPerformanceCount) {
  SIM_ENTER(QueryPerformanceCounter, lpPerformanceCount);
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  lpPerformanceCount->QuadPart = static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* lpFrequency) {
  SIM_ENTER(QueryPerformanceFrequency, lpFrequency);
  lpFrequency->QuadPart = 1000000000LL;
  return TRUE;
}

void Sleep(DWORD dwMilliseconds) {
  SIM_ENTER_VOID(Sleep, dwMilliseconds);
  timespec remaining{static_cast<time_t>(dwMilliseconds / 1000),
                     static_cast<long>(dwMilliseconds % 1000) * 1000000L};
  while (::nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
  }
}

}  // namespace platform
