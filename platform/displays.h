// Only the display operations of user32 and gdi32 live here: devices, contexts, gamma ramps.
#pragma once

#include <cstddef>

#include "platform/types.h"

#ifndef _WIN32
// StateFlags of an adapter entry (listing with a null device).
constexpr DWORD DISPLAY_DEVICE_ATTACHED_TO_DESKTOP = 0x1;
constexpr DWORD DISPLAY_DEVICE_MULTI_DRIVER = 0x2;
constexpr DWORD DISPLAY_DEVICE_PRIMARY_DEVICE = 0x4;
constexpr DWORD DISPLAY_DEVICE_MIRRORING_DRIVER = 0x8;
constexpr DWORD DISPLAY_DEVICE_VGA_COMPATIBLE = 0x10;
constexpr DWORD DISPLAY_DEVICE_REMOVABLE = 0x20;
// StateFlags of a monitor entry (listing with a display device's name).
constexpr DWORD DISPLAY_DEVICE_ACTIVE = 0x1;
constexpr DWORD DISPLAY_DEVICE_ATTACHED = 0x2;

struct DISPLAY_DEVICEA {
  DWORD cb;
  CHAR DeviceName[32];
  CHAR DeviceString[128];
  DWORD StateFlags;
  CHAR DeviceID[128];
  CHAR DeviceKey[128];
};
using PDISPLAY_DEVICEA = DISPLAY_DEVICEA*;

// Only ever passed as a null pointer.
struct DEVMODEA;
#endif

static_assert(sizeof(DISPLAY_DEVICEA) == 424, "DISPLAY_DEVICEA has the Windows layout");
static_assert(offsetof(DISPLAY_DEVICEA, StateFlags) == 164, "DISPLAY_DEVICEA has the Windows layout");

namespace platform {

BOOL EnumDisplayDevicesA(LPCSTR lpDevice, DWORD iDevNum, PDISPLAY_DEVICEA lpDisplayDevice,
                         DWORD dwFlags);
HDC CreateDCA(LPCSTR pwszDriver, LPCSTR pwszDevice, LPCSTR pszPort, const DEVMODEA* pdm);
BOOL DeleteDC(HDC hdc);
BOOL GetDeviceGammaRamp(HDC hdc, LPVOID lpRamp);
BOOL SetDeviceGammaRamp(HDC hdc, LPVOID lpRamp);

}  // namespace platform
