// Only the console's control events live here: Ctrl+C, Ctrl+Break and the closing of the console
// window, and the routines that take them instead of the default, which ends the process.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
constexpr DWORD CTRL_C_EVENT = 0;
constexpr DWORD CTRL_BREAK_EVENT = 1;
constexpr DWORD CTRL_CLOSE_EVENT = 2;
using PHANDLER_ROUTINE = BOOL (*)(DWORD dwCtrlType);
#endif

namespace platform {

// Adds (`Add` TRUE) or removes a routine; the routines run on a thread of their own, the last
// added first, until one gives TRUE. After CTRL_CLOSE_EVENT the process ends when the routines
// return. A null routine with `Add` TRUE makes the process ignore Ctrl+C (not Ctrl+Break).
BOOL SetConsoleCtrlHandler(PHANDLER_ROUTINE HandlerRoutine, BOOL Add);

}  // namespace platform
