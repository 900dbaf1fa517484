// Forwards the event and wait functions to Win32. No logic may live here.
#include "platform/events.h"

namespace platform {

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                    LPCWSTR lpName) {
  return ::CreateEventW(lpEventAttributes, bManualReset, bInitialState, lpName);
}

BOOL SetEvent(HANDLE hEvent) { return ::SetEvent(hEvent); }

DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
                             DWORD dwMilliseconds) {
  return ::WaitForMultipleObjects(nCount, lpHandles, bWaitAll, dwMilliseconds);
}

}  // namespace platform
