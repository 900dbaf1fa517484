// What the program relies on of display listing and device contexts. A machine without a display
// (Wine with no X server) may list no adapter at all; the checks then hold for the empty list.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/displays.h"

namespace {

DISPLAY_DEVICEA zeroedDevice() {
  DISPLAY_DEVICEA device;
  std::memset(&device, 0, sizeof device);
  device.cb = sizeof device;
  return device;
}

// The adapters listed with a null device, up to the first index that gives 0.
std::vector<DISPLAY_DEVICEA> listAdapters() {
  std::vector<DISPLAY_DEVICEA> adapters;
  for (DWORD index = 0; index < 64; ++index) {
    DISPLAY_DEVICEA device = zeroedDevice();
    if (!platform::EnumDisplayDevicesA(nullptr, index, &device, 0)) {
      break;
    }
    adapters.push_back(device);
  }
  return adapters;
}

TEST(DisplaysConformance, ListingEndsWithZeroAndNamesAreTerminated) {
  const std::vector<DISPLAY_DEVICEA> adapters = listAdapters();
  ASSERT_LT(adapters.size(), 64u) << "the listing must end";
  DISPLAY_DEVICEA device = zeroedDevice();
  EXPECT_EQ(platform::EnumDisplayDevicesA(nullptr, static_cast<DWORD>(adapters.size()), &device, 0),
            FALSE);
  EXPECT_EQ(platform::EnumDisplayDevicesA(nullptr, 1000, &device, 0), FALSE);
  for (const DISPLAY_DEVICEA& adapter : adapters) {
    EXPECT_NE(std::memchr(adapter.DeviceName, 0, sizeof adapter.DeviceName), nullptr);
    EXPECT_EQ(std::string(adapter.DeviceName).rfind("\\\\.\\", 0), 0u) << adapter.DeviceName;
  }
}

TEST(DisplaysConformance, UnknownDisplayHasNoMonitorAndNoDeviceContext) {
  const char* unknown = "\\\\.\\DISPLAY_KESTRINE_UNKNOWN";
  DISPLAY_DEVICEA device = zeroedDevice();
  EXPECT_EQ(platform::EnumDisplayDevicesA(unknown, 0, &device, 0), FALSE);
  EXPECT_EQ(platform::CreateDCA("DISPLAY", unknown, nullptr, nullptr), nullptr);
}

TEST(DisplaysConformance, ListedAdapterGivesADeviceContextThatDeletes) {
  for (const DISPLAY_DEVICEA& adapter : listAdapters()) {
    // An adapter that is not on the desktop may give no context; one that is must give one.
    const HDC context = platform::CreateDCA("DISPLAY", adapter.DeviceName, nullptr, nullptr);
    if (adapter.StateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP) {
      EXPECT_NE(context, nullptr) << adapter.DeviceName;
    }
    if (context) {
      EXPECT_NE(platform::DeleteDC(context), FALSE);
    }
  }
}

}  // namespace
