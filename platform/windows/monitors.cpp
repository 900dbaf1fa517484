// Forwards the display monitor enumeration functions to Win32. No logic may live here.
#include "platform/monitors.h"

namespace platform {

BOOL EnumDisplayMonitors(HDC hdc, LPCRECT lprcClip, MONITORENUMPROC lpfnEnum, LPARAM dwData) {
  return ::EnumDisplayMonitors(hdc, lprcClip, lpfnEnum, dwData);
}

BOOL GetMonitorInfoW(HMONITOR hMonitor, LPMONITORINFO lpmi) {
  return ::GetMonitorInfoW(hMonitor, lpmi);
}

}  // namespace platform
