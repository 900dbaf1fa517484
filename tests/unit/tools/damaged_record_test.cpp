// One damaged record of a display, of its monitors or of a registry value: only the calls on that
// object fail, kestrine-sim show names the record, and kestrine-sim reset repairs it.
#include <gtest/gtest.h>

#include <string>

#include "platform/displays.h"
#include "platform/errors.h"
#include "platform/monitor_configuration.h"
#include "platform/registry.h"
#include "platform/sim/monitors/display_monitors.h"
#include "platform/sim/monitors/dxva2_exports.h"
#include "platform/sim/core/machine.h"
#include "tests/support/sim_test.h"
#include "tests/unit/tools/sim_tool.h"

namespace {

using DamagedRecordTest = testing_support::SimTest;

std::string displayName(int number) { return "\\\\.\\DISPLAY" + std::to_string(number); }

HDC open(int number) { return platform::CreateDCA("DISPLAY", displayName(number).c_str(), nullptr, nullptr); }

// The last error of a read and write of the ramp through `context`, and of a new context; 0 when
// all of them worked.
DWORD callError(HDC context, int number) {
  WORD ramp[768];
  HDC fresh = nullptr;
  const bool worked = platform::GetDeviceGammaRamp(context, ramp) && platform::SetDeviceGammaRamp(context, ramp) &&
                      (fresh = open(number)) && platform::DeleteDC(fresh);
  return worked ? 0 : platform::GetLastError();
}

// In turn the display record and (after a reset) the monitors entry of the second of three displays,
// then one registry value.
TEST_F(DamagedRecordTest, OnlyTheDamagedRecordFailsUntilReset) {
  ASSERT_EQ(tools_test::simTool({"reset", "--displays", "3"}).status, 0);
  HDC contexts[3];
  for (int n = 1; n <= 3; ++n) contexts[n - 1] = open(n);
  sim::writeMachineFile("displays/DISPLAY2.txt", "name " + displayName(2) + "\nflags x\n");
  for (int n = 1; n <= 3; ++n) EXPECT_EQ(callError(contexts[n - 1], n), n == 2 ? sim::kDamagedRecordError : 0u) << n;
  DISPLAY_DEVICEA device{};  // the listing goes on past the damaged display
  device.cb = sizeof device;
  EXPECT_TRUE(platform::EnumDisplayDevicesA(nullptr, 2, &device, 0) && device.DeviceName == displayName(3));
  EXPECT_NE(tools_test::simTool({"show"}).output.find(displayName(2) + "  DAMAGED RECORD"), std::string::npos);
  ASSERT_EQ(tools_test::simTool({"reset", "--displays", "3"}).status, 0);
  EXPECT_EQ(callError(contexts[1], 2), 0u);
  for (HDC context : contexts) platform::DeleteDC(context);
  sim::writeMachineFile("monitors.json", R"({"\\\\.\\DISPLAY2": {"physical": 7}})");
  const auto count = reinterpret_cast<platform::GetNumberOfPhysicalMonitorsFromHMONITORFn>(
      reinterpret_cast<void (*)()>(sim::dxva2Export("GetNumberOfPhysicalMonitorsFromHMONITOR")));
  for (const auto& [monitor, display] : sim::displayMonitors()) {
    DWORD physical = 0;  // the last error where the count fails, else the count
    EXPECT_EQ(count(monitor, &physical) ? physical : platform::GetLastError(),
              display.name == displayName(2) ? sim::kDamagedRecordError : 1u) << display.name;
  }
  EXPECT_NE(tools_test::simTool({"show"}).output.find(displayName(2) + "  DAMAGED RECORD"), std::string::npos);
  for (const char* name : {"Good", "Bad"}) tools_test::simTool({"reg", "set", "SOFTWARE\\K", name, "dword", "5"});
  std::string stored = *sim::readMachineFile("registry.json");
  sim::writeMachineFile("registry.json", stored.replace(stored.rfind("05000000"), 8, "05zz"));
  HKEY key = nullptr;
  ASSERT_EQ(platform::RegOpenKeyExW(HKEY_LOCAL_MACHINE, PLATFORM_WIDE("SOFTWARE\\K"), 0, KEY_READ, &key), 0);
  EXPECT_EQ(platform::RegQueryValueExW(key, PLATFORM_WIDE("Good"), nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(platform::RegQueryValueExW(key, PLATFORM_WIDE("Bad"), nullptr, nullptr, nullptr, nullptr), 1015);
  platform::RegCloseKey(key);
  EXPECT_NE(tools_test::simTool({"show"}).output.find("Bad  DAMAGED RECORD"), std::string::npos);
}

}  // namespace
