// Only the sim's display monitor operations live here: the enumeration of the display monitors
// and their MONITORINFO records, taken from the stored displays.
#include <algorithm>
#include <iterator>

#include "platform/displays.h"
#include "platform/errors.h"
#include "platform/monitors.h"
#include "platform/sim/monitors/display_monitors.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"

namespace {

// ERROR_INVALID_MONITOR_HANDLE: the value names no display monitor.
constexpr DWORD kInvalidMonitorHandle = 1461;

BOOL fail(DWORD code) {
  sim::setLastError(code);
  return FALSE;
}

void copyDeviceName(const std::string& name, WCHAR (&field)[CCHDEVICENAME]) {
  const std::vector<WCHAR> units =
      sim::utf8ToUtf16(reinterpret_cast<const unsigned char*>(name.data()), name.size());
  const std::size_t size = units.size() < CCHDEVICENAME ? units.size() : CCHDEVICENAME - 1;
  std::fill(std::begin(field), std::end(field), WCHAR{0});
  std::copy_n(units.begin(), size, field);
}

}  // namespace

namespace platform {

// Only what the program asks for is simulated: every display monitor, with no device context and
// no clip rectangle. The callback runs without any lock of the machine held, so that it can call
// into the machine itself.
BOOL EnumDisplayMonitors(HDC hdc, LPCRECT lprcClip, MONITORENUMPROC lpfnEnum, LPARAM dwData) {
  SIM_ENTER(EnumDisplayMonitors, hdc, lprcClip, lpfnEnum, dwData);
  if (hdc || lprcClip || !lpfnEnum) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  for (auto& [monitor, display] : sim::displayMonitors()) {
    RECT rect = display.rect;
    if (!lpfnEnum(monitor, nullptr, &rect, dwData)) {
      return FALSE;
    }
  }
  return TRUE;
}

BOOL GetMonitorInfoW(HMONITOR hMonitor, LPMONITORINFO lpmi) {
  SIM_ENTER(GetMonitorInfoW, hMonitor, lpmi);
  const std::optional<sim::SimDisplay> display = sim::displayOfMonitor(hMonitor);
  if (!display) {
    return fail(kInvalidMonitorHandle);
  }
  if (!lpmi || (lpmi->cbSize != sizeof(MONITORINFO) && lpmi->cbSize != sizeof(MONITORINFOEXW))) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  lpmi->rcMonitor = display->rect;
  lpmi->rcWork = display->rect;
  lpmi->dwFlags = (display->stateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE) ? MONITORINFOF_PRIMARY : 0;
  if (lpmi->cbSize == sizeof(MONITORINFOEXW)) {
    copyDeviceName(display->name, static_cast<MONITORINFOEXW*>(lpmi)->szDevice);
  }
  return TRUE;
}

}  // namespace platform
