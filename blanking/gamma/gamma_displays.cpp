// Listing the display devices and reaching one of them.
#include "blanking/gamma/gamma_displays.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "blanking/gamma/gamma_save.h"

namespace {

DISPLAY_DEVICEA zeroedDevice() {
  DISPLAY_DEVICEA device;
  std::memset(&device, 0, sizeof device);
  device.cb = sizeof device;
  return device;
}

}  // namespace

std::string displayDeviceName(const DISPLAY_DEVICEA& device) {
  const char* end = std::find(std::begin(device.DeviceName), std::end(device.DeviceName), '\0');
  return std::string(device.DeviceName, end);
}

velmo::DeviceContext openDeviceContext(const std::string& displayName) {
  return velmo::DeviceContext(
      platform::CreateDCA("DISPLAY", displayName.c_str(), nullptr, nullptr));
}

bool isDisplayActive(const GammaDisplay& display) {
  DISPLAY_DEVICEA monitor = zeroedDevice();
  return platform::EnumDisplayDevicesA(display.displayName.c_str(), 0, &monitor, 0) &&
         (monitor.StateFlags & DISPLAY_DEVICE_ACTIVE) != 0;
}

std::vector<DISPLAY_DEVICEA> enumerateDisplayDevices() {
  std::vector<DISPLAY_DEVICEA> devices;
  DISPLAY_DEVICEA device = zeroedDevice();
  for (DWORD index = 0; platform::EnumDisplayDevicesA(nullptr, index, &device, 0); ++index) {
    if ((device.StateFlags & DISPLAY_DEVICE_MIRRORING_DRIVER) == 0) {
      devices.push_back(device);
      device = zeroedDevice();
    }
  }
  return devices;
}

std::vector<GammaDisplay> buildDisplayList(velmo::logging::LoggerBase& logger, bool restoreOnly) {
  std::vector<GammaDisplay> displays;
  for (const DISPLAY_DEVICEA& device : enumerateDisplayDevices()) {
    GammaDisplay display;
    display.displayName = displayDeviceName(device);
    const velmo::DeviceContext context = openDeviceContext(display.displayName);
    if (context && !restoreOnly) {
      display.initialGammasSaved = saveInitialGamma(logger, context.get(), display.initialGammas);
    }
    displays.push_back(display);
  }
  return displays;
}
