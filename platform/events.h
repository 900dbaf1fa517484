// Only event objects and the wait on several kernel objects live here.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;
#endif

namespace platform {

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                    LPCWSTR lpName);
BOOL SetEvent(HANDLE hEvent);
DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
                             DWORD dwMilliseconds);

}  // namespace platform
