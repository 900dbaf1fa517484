// What the program relies on of display listing and device contexts. Wine lists its display
// adapter even with no X server (but can then read no ramp), so these checks hold there too;
// a machine that lists no adapter at all still checks the end of the listing and the unknown
// names. Not checked: CreateDCA("DISPLAY", <unknown device>), which Wine answers with a context
// for any name while the sim gives null.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "platform/displays.h"

namespace {

constexpr DWORD kListingBound = 64;

DISPLAY_DEVICEA zeroedDevice() {
  DISPLAY_DEVICEA device;
  std::memset(&device, 0, sizeof device);
  device.cb = sizeof device;
  return device;
}

// The entries listed for `device` (null: the adapters), up to the first index that gives 0.
std::vector<DISPLAY_DEVICEA> listDevices(const char* device) {
  std::vector<DISPLAY_DEVICEA> entries;
  for (DWORD index = 0; index < kListingBound; ++index) {
    DISPLAY_DEVICEA entry = zeroedDevice();
    if (!platform::EnumDisplayDevicesA(device, index, &entry, 0)) {
      break;
    }
    entries.push_back(entry);
  }
  return entries;
}

std::string lowerCase(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return text;
}

TEST(DisplaysConformance, AdapterListingEndsWithZero) {
  const std::vector<DISPLAY_DEVICEA> adapters = listDevices(nullptr);
  ASSERT_LT(adapters.size(), kListingBound) << "the listing must end";
  DISPLAY_DEVICEA device = zeroedDevice();
  EXPECT_EQ(platform::EnumDisplayDevicesA(nullptr, static_cast<DWORD>(adapters.size()), &device, 0),
            FALSE);
  EXPECT_EQ(platform::EnumDisplayDevicesA(nullptr, 1000, &device, 0), FALSE);
  for (const DISPLAY_DEVICEA& adapter : adapters) {
    ASSERT_NE(std::memchr(adapter.DeviceName, 0, sizeof adapter.DeviceName), nullptr);
    EXPECT_EQ(std::string(adapter.DeviceName).rfind("\\\\.\\", 0), 0u) << adapter.DeviceName;
  }
}

TEST(DisplaysConformance, MonitorsOfAnAdapterAreNamedAfterItAndEnd) {
  for (const DISPLAY_DEVICEA& adapter : listDevices(nullptr)) {
    const std::vector<DISPLAY_DEVICEA> monitors = listDevices(adapter.DeviceName);
    EXPECT_LT(monitors.size(), kListingBound);
    for (const DISPLAY_DEVICEA& monitor : monitors) {
      EXPECT_EQ(std::string(monitor.DeviceName).rfind(std::string(adapter.DeviceName) + "\\", 0),
                0u)
          << monitor.DeviceName;
    }
    // Device names are matched without regard to case.
    const std::string lower = lowerCase(adapter.DeviceName);
    EXPECT_EQ(listDevices(lower.c_str()).size(), monitors.size()) << lower;
  }
}

TEST(DisplaysConformance, UnknownDisplayHasNoMonitor) {
  DISPLAY_DEVICEA device = zeroedDevice();
  EXPECT_EQ(platform::EnumDisplayDevicesA("\\\\.\\DISPLAY_KESTRINE_UNKNOWN", 0, &device, 0), FALSE);
  EXPECT_EQ(platform::EnumDisplayDevicesA("\\\\.\\DISPLAY99", 0, &device, 0), FALSE);
}

TEST(DisplaysConformance, UnknownDriverGivesNoDeviceContext) {
  EXPECT_EQ(platform::CreateDCA("KESTRINE_NO_SUCH_DRIVER", nullptr, nullptr, nullptr), nullptr);
}

TEST(DisplaysConformance, AttachedAdapterGivesADeviceContextThatDeletes) {
  for (const DISPLAY_DEVICEA& adapter : listDevices(nullptr)) {
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
