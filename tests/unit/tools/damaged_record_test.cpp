// One damaged record of a display, of its monitors or of a registry value: only the calls on that
// object fail, kestrine-sim show names the record, and kestrine-sim reset repairs it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

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

bool showNamesDamaged(const std::string& name) {
  return tools_test::simTool({"show"}).output.find(name + "  DAMAGED RECORD") != std::string::npos;
}

// The last error of a read and write of the ramp through `context`, and of a new context; 0 when
// all of them worked.
DWORD callError(HDC context, int number) {
  WORD ramp[768];
  if (!platform::GetDeviceGammaRamp(context, ramp) || !platform::SetDeviceGammaRamp(context, ramp)) {
    return platform::GetLastError();
  }
  HDC fresh = platform::CreateDCA("DISPLAY", displayName(number).c_str(), nullptr, nullptr);
  return fresh && platform::DeleteDC(fresh) ? 0 : platform::GetLastError();
}

TEST_F(DamagedRecordTest, OnlyTheDamagedDisplayFailsUntilReset) {
  ASSERT_EQ(tools_test::simTool({"reset", "--displays", "3"}).status, 0);
  std::vector<HDC> contexts;
  for (int number = 1; number <= 3; ++number) {
    contexts.push_back(platform::CreateDCA("DISPLAY", displayName(number).c_str(), nullptr, nullptr));
  }
  sim::writeMachineFile("displays/DISPLAY2.txt", "name " + displayName(2) + "\nflags x\n");

  for (int number = 1; number <= 3; ++number) {
    EXPECT_EQ(callError(contexts[number - 1], number), number == 2 ? sim::kDamagedRecordError : 0u);
  }
  DISPLAY_DEVICEA device{};
  device.cb = sizeof device;
  ASSERT_TRUE(platform::EnumDisplayDevicesA(nullptr, 2, &device, 0)) << "the listing goes on";
  EXPECT_EQ(device.DeviceName, displayName(3));
  EXPECT_TRUE(showNamesDamaged(displayName(2)));

  ASSERT_EQ(tools_test::simTool({"reset", "--displays", "3"}).status, 0);
  EXPECT_EQ(callError(contexts[1], 2), 0u);
  for (HDC context : contexts) {
    platform::DeleteDC(context);
  }
}

TEST_F(DamagedRecordTest, OnlyTheDamagedMonitorEntryFails) {
  ASSERT_EQ(tools_test::simTool({"reset", "--displays", "3"}).status, 0);
  sim::writeMachineFile("monitors.json", R"({"\\\\.\\DISPLAY2": {"physical": 7}})");
  const auto count = reinterpret_cast<platform::GetNumberOfPhysicalMonitorsFromHMONITORFn>(
      reinterpret_cast<void (*)()>(sim::dxva2Export("GetNumberOfPhysicalMonitorsFromHMONITOR")));
  for (const auto& [monitor, display] : sim::displayMonitors()) {
    DWORD physical = 0;
    const bool damaged = display.name == displayName(2);
    EXPECT_EQ(count(monitor, &physical), damaged ? FALSE : TRUE) << display.name;
    EXPECT_EQ(damaged ? platform::GetLastError() : physical, damaged ? sim::kDamagedRecordError : 1u);
  }
  EXPECT_TRUE(showNamesDamaged(displayName(2)));
}

TEST_F(DamagedRecordTest, OnlyTheDamagedRegistryValueFails) {
  for (const char* name : {"Good", "Bad"}) {
    ASSERT_EQ(tools_test::simTool({"reg", "set", "SOFTWARE\\K", name, "dword", "5"}).status, 0);
  }
  std::string stored = *sim::readMachineFile("registry.json");
  stored.replace(stored.rfind("05000000"), 8, "05zz");
  sim::writeMachineFile("registry.json", stored);
  HKEY key = nullptr;
  ASSERT_EQ(platform::RegOpenKeyExW(HKEY_LOCAL_MACHINE, PLATFORM_WIDE("SOFTWARE\\K"), 0, KEY_READ, &key), 0);
  EXPECT_EQ(platform::RegQueryValueExW(key, PLATFORM_WIDE("Good"), nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(platform::RegQueryValueExW(key, PLATFORM_WIDE("Bad"), nullptr, nullptr, nullptr, nullptr), 1015);
  platform::RegCloseKey(key);
  EXPECT_TRUE(showNamesDamaged("Bad"));
}

}  // namespace
