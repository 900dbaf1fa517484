// Forwards the thread functions to Win32. No logic may live here.
#include "platform/threads.h"

namespace platform {

DWORD GetCurrentThreadId() { return ::GetCurrentThreadId(); }

HANDLE OpenThread(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwThreadId) {
  return ::OpenThread(dwDesiredAccess, bInheritHandle, dwThreadId);
}

BOOL CancelSynchronousIo(HANDLE hThread) { return ::CancelSynchronousIo(hThread); }

}  // namespace platform
