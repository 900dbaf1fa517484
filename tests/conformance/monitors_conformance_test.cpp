// What the program relies on of display monitor enumeration. Wine without an X server may list
// one display monitor or none, so every check holds for any number of them: the callback runs on
// the calling thread before EnumDisplayMonitors returns, every listed monitor has a MONITORINFO
// and a device name, and a value that is no monitor is refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/monitors.h"

namespace {

struct Listing {
  std::thread::id caller = std::this_thread::get_id();
  bool returned = false;
  bool onOtherThreadOrLate = false;
  bool stopAfterFirst = false;
  BOOL result = FALSE;
  std::vector<std::pair<HMONITOR, RECT>> monitors;
};

BOOL CALLBACK collect(HMONITOR monitor, HDC deviceContext, LPRECT rectangle, LPARAM data) {
  auto* listing = reinterpret_cast<Listing*>(data);
  if (std::this_thread::get_id() != listing->caller || listing->returned || deviceContext) {
    listing->onOtherThreadOrLate = true;
  }
  listing->monitors.emplace_back(monitor, rectangle ? *rectangle : RECT{});
  return listing->stopAfterFirst ? FALSE : TRUE;
}

Listing listMonitors(bool stopAfterFirst = false) {
  Listing listing;
  listing.stopAfterFirst = stopAfterFirst;
  listing.result =
      platform::EnumDisplayMonitors(nullptr, nullptr, &collect, reinterpret_cast<LPARAM>(&listing));
  listing.returned = true;
  return listing;
}

bool sameRect(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

TEST(MonitorsConformance, CallbackRunsOnTheCallingThreadBeforeTheListingReturns) {
  const Listing listing = listMonitors();
  RecordProperty("displayMonitors", static_cast<int>(listing.monitors.size()));
  EXPECT_NE(listing.result, FALSE);
  EXPECT_FALSE(listing.onOtherThreadOrLate);
  for (const auto& [monitor, rect] : listing.monitors) {
    EXPECT_NE(monitor, nullptr);
    EXPECT_LT(rect.left, rect.right);
    EXPECT_LT(rect.top, rect.bottom);
  }
}

TEST(MonitorsConformance, CallbackThatStopsIsNotCalledAgain) {
  const std::size_t all = listMonitors().monitors.size();
  const Listing stopped = listMonitors(true);
  EXPECT_EQ(stopped.monitors.size(), all == 0 ? 0u : 1u);
  if (all > 0) {
    EXPECT_EQ(stopped.result, FALSE) << "a stopped listing reports failure";
  }
}

TEST(MonitorsConformance, ExtendedInfoFillsTheRectangleAndATerminatedDeviceName) {
  for (const auto& [monitor, rect] : listMonitors().monitors) {
    MONITORINFOEXW info;
    std::memset(&info, 0x55, sizeof info);
    info.cbSize = sizeof info;
    ASSERT_NE(platform::GetMonitorInfoW(monitor, &info), FALSE);
    EXPECT_TRUE(sameRect(info.rcMonitor, rect)) << "the callback's rectangle is the monitor's";
    const WCHAR* end = std::find(info.szDevice, info.szDevice + CCHDEVICENAME, WCHAR{0});
    ASSERT_NE(end, info.szDevice + CCHDEVICENAME) << "szDevice is terminated";
    const WCHAR prefix[] = {'\\', '\\', '.', '\\'};
    EXPECT_TRUE(std::equal(prefix, prefix + 4, info.szDevice)) << "a device name \\\\.\\...";
  }
}

TEST(MonitorsConformance, BasicInfoLeavesTheDeviceNameAlone) {
  for (const auto& [monitor, rect] : listMonitors().monitors) {
    MONITORINFOEXW info;
    std::memset(&info, 0x55, sizeof info);
    info.cbSize = sizeof(MONITORINFO);
    ASSERT_NE(platform::GetMonitorInfoW(monitor, &info), FALSE);
    EXPECT_TRUE(sameRect(info.rcMonitor, rect));
    EXPECT_EQ(info.szDevice[0], static_cast<WCHAR>(0x5555));
  }
}

TEST(MonitorsConformance, ValueThatIsNoMonitorIsRefused) {
  MONITORINFOEXW info{};
  info.cbSize = sizeof info;
  EXPECT_EQ(platform::GetMonitorInfoW(reinterpret_cast<HMONITOR>(0x7ead1230), &info), FALSE);
  EXPECT_EQ(platform::GetMonitorInfoW(nullptr, &info), FALSE);
}

TEST(MonitorsConformance, RecordOfAnotherSizeIsRefused) {
  for (const auto& [monitor, rect] : listMonitors().monitors) {
    MONITORINFOEXW info{};
    info.cbSize = sizeof(MONITORINFO) + 4;
    EXPECT_EQ(platform::GetMonitorInfoW(monitor, &info), FALSE);
  }
}

}  // namespace
