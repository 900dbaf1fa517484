// Display monitors as user32 lists them: handles, the MONITORINFO records and their enumeration.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
#define CALLBACK

using LPARAM = std::intptr_t;
using LPCRECT = const RECT*;

constexpr int CCHDEVICENAME = 32;
constexpr DWORD MONITORINFOF_PRIMARY = 0x1;

struct MONITORINFO {
  DWORD cbSize;
  RECT rcMonitor;
  RECT rcWork;
  DWORD dwFlags;
};
using LPMONITORINFO = MONITORINFO*;

// As in the SDK's C++ form: the extended record is the basic one followed by the device name.
struct MONITORINFOEXW : MONITORINFO {
  WCHAR szDevice[CCHDEVICENAME];
};

using MONITORENUMPROC = BOOL(CALLBACK*)(HMONITOR, HDC, LPRECT, LPARAM);
#endif

static_assert(sizeof(MONITORINFO) == 40, "MONITORINFO must keep the Windows layout");
static_assert(sizeof(MONITORINFOEXW) == 104, "MONITORINFOEXW must keep the Windows layout");

namespace platform {

// Calls `lpfnEnum` once per display monitor, on the calling thread, before it returns.
BOOL EnumDisplayMonitors(HDC hdc, LPCRECT lprcClip, MONITORENUMPROC lpfnEnum, LPARAM dwData);
// Fills a MONITORINFO (cbSize 40) or a MONITORINFOEXW (cbSize 104, with szDevice).
BOOL GetMonitorInfoW(HMONITOR hMonitor, LPMONITORINFO lpmi);

}  // namespace platform
