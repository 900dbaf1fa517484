// What the program relies on of display monitor enumeration. Wine without an X server may list
// one display monitor or none, so every check holds for any number of them: the callback runs on
// the calling thread before EnumDisplayMonitors returns, and every listed monitor has a
// MONITORINFO and a device name.
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

// A callback that stops is not called again, and the stopped listing reports failure.
TEST(MonitorsConformance, CallbackRunsOnTheCallingThreadBeforeTheListingReturns) {
  const Listing listing = listMonitors();
  EXPECT_NE(listing.result, FALSE);
  EXPECT_FALSE(listing.onOtherThreadOrLate);
  const Listing stopped = listMonitors(true);
  EXPECT_EQ(stopped.monitors.size(), listing.monitors.empty() ? 0u : 1u);
  EXPECT_TRUE(listing.monitors.empty() || stopped.result == FALSE);
}

// The extended record (the program asks for no other, and only for listed monitors) gets the
// callback's rectangle and a terminated device name "\\.\...".
TEST(MonitorsConformance, InfoFillsTheExtendedRecord) {
  const WCHAR prefix[] = {'\\', '\\', '.', '\\'};
  for (const auto& [monitor, rect] : listMonitors().monitors) {
    EXPECT_NE(monitor, nullptr);
    EXPECT_LT(rect.left, rect.right);
    EXPECT_LT(rect.top, rect.bottom);
    MONITORINFOEXW info;
    std::memset(&info, 0x55, sizeof info);
    info.cbSize = sizeof info;
    ASSERT_NE(platform::GetMonitorInfoW(monitor, &info), FALSE);
    EXPECT_EQ(std::memcmp(&info.rcMonitor, &rect, sizeof rect), 0) << "the callback's rectangle";
    ASSERT_NE(std::find(info.szDevice, info.szDevice + CCHDEVICENAME, WCHAR{0}),
              info.szDevice + CCHDEVICENAME) << "szDevice is terminated";
    EXPECT_TRUE(std::equal(prefix, prefix + 4, info.szDevice)) << "a device name \\\\.\\...";
  }
}

}  // namespace
