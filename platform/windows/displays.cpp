// Forwards the display, device context and gamma ramp functions to Win32. No logic may live here.
#include "platform/displays.h"

namespace platform {

BOOL EnumDisplayDevicesA(LPCSTR lpDevice, DWORD iDevNum, PDISPLAY_DEVICEA lpDisplayDevice,
                         DWORD dwFlags) {
  return ::EnumDisplayDevicesA(lpDevice, iDevNum, lpDisplayDevice, dwFlags);
}

HDC CreateDCA(LPCSTR pwszDriver, LPCSTR pwszDevice, LPCSTR pszPort, const DEVMODEA* pdm) {
  return ::CreateDCA(pwszDriver, pwszDevice, pszPort, pdm);
}

BOOL DeleteDC(HDC hdc) { return ::DeleteDC(hdc); }

BOOL GetDeviceGammaRamp(HDC hdc, LPVOID lpRamp) { return ::GetDeviceGammaRamp(hdc, lpRamp); }

BOOL SetDeviceGammaRamp(HDC hdc, LPVOID lpRamp) { return ::SetDeviceGammaRamp(hdc, lpRamp); }

}  // namespace platform
