// Only thread operations live here: the id of the calling thread, as the system numbers it, a
// handle to a thread by that id, and the cancelling of the blocking call a thread is in.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
constexpr DWORD THREAD_TERMINATE = 0x0001;
#endif

namespace platform {

DWORD GetCurrentThreadId();
// A handle to a thread of this process by its id; null with ERROR_INVALID_PARAMETER when none.
HANDLE OpenThread(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwThreadId);
// Makes the blocking I/O call (ReadFile, WriteFile, FlushFileBuffers, ConnectNamedPipe) that the
// thread is in fail with ERROR_OPERATION_ABORTED; FALSE with ERROR_NOT_FOUND when it is in none.
BOOL CancelSynchronousIo(HANDLE hThread);

}  // namespace platform
