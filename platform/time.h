// The monotonic high-resolution counter and the sleep of the calling thread. Going through the
// seam lets tests on the sim run the program's waits on a clock they control.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  long long QuadPart;
};
#endif

namespace platform {

BOOL QueryPerformanceCounter(LARGE_INTEGER* lpPerformanceCount);
BOOL QueryPerformanceFrequency(LARGE_INTEGER* lpFrequency);
void Sleep(DWORD dwMilliseconds);

}  // namespace platform
