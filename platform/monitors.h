// Display monitors as user32 lists them: handles and the MONITORINFOEXW record.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
constexpr int CCHDEVICENAME = 32;

struct MONITORINFOEXW {
  DWORD cbSize;
  RECT rcMonitor;
  RECT rcWork;
  DWORD dwFlags;
  WCHAR szDevice[CCHDEVICENAME];
};
#endif

static_assert(sizeof(MONITORINFOEXW) == 104, "MONITORINFOEXW must keep the Windows layout");
