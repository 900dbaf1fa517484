// Forwards the counter and sleep functions to Win32. No logic may live here.
#include "platform/time.h"

namespace platform {

BOOL QueryPerformanceCounter(LARGE_INTEGER* lpPerformanceCount) {
  return ::QueryPerformanceCounter(lpPerformanceCount);
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* lpFrequency) {
  return ::QueryPerformanceFrequency(lpFrequency);
}

void Sleep(DWORD dwMilliseconds) { ::Sleep(dwMilliseconds); }

}  // namespace platform
