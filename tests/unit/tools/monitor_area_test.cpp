// kestrine-sim's monitor commands, run as the built program against a fresh machine, and the
// display monitors that the sim then lists in this process.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/monitors.h"
#include "platform/sim/core/machine.h"
#include "platform/sim/monitors/monitor_state.h"
#include "tests/unit/tools/sim_tool.h"
#include "tests/support/sim_test.h"

namespace {

using testing_support::ProcessResult;
using tools_test::simTool;

sim::SimPhysicalMonitor physical(const char* display, std::size_t index = 0) {
  return sim::loadMonitor(display)->physical.at(index);
}

using MonitorAreaTest = testing_support::SimTest;

TEST_F(MonitorAreaTest, ChangesOnePhysicalMonitorAndListsItsPowerMode) {
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"monitor", "2", "count", "2"},
        {"monitor", "display2:2", "value", "4"},
        {"monitor", "2:2", "maximum", "0x4"},
        {"monitor", "2:2", "caps", "vcp(D6(01 04))"},
        {"monitor", "2:2", "description", "Second panel"},
        {"monitor", "2:2", "sticks", "no"},
        {"monitor", "\\\\.\\DISPLAY1", "fault", "count", "31"},
        {"monitor", "1", "fault", "get"}}) {
    ASSERT_EQ(simTool(command).status, 0) << ::testing::PrintToString(command);
  }
  const sim::SimPhysicalMonitor second = physical("\\\\.\\DISPLAY2", 1);
  EXPECT_EQ(second.powerMode, 4u);
  EXPECT_EQ(second.powerModeMaximum, 4u);
  EXPECT_EQ(second.capabilities, "vcp(D6(01 04))");
  EXPECT_EQ(second.description, "Second panel");
  EXPECT_FALSE(second.setSticks);
  EXPECT_EQ(physical("\\\\.\\DISPLAY2").powerMode, 1u) << "the first one is untouched";
  EXPECT_EQ(sim::loadMonitor("\\\\.\\DISPLAY1")->faults.at("count"), 31u);
  EXPECT_EQ(physical("\\\\.\\DISPLAY1").faults.at("get"), sim::kDefaultMonitorFaultCode);

  const ProcessResult listed = simTool({"monitor", "list"});
  EXPECT_NE(listed.output.find("2: \"Second panel\"  D6 4 (maximum 4)  sets do not stick"),
            std::string::npos)
      << listed.output;

  ASSERT_EQ(simTool({"monitor", "1", "fault", "clear"}).status, 0);
  EXPECT_TRUE(sim::loadMonitor("\\\\.\\DISPLAY1")->faults.empty());
  EXPECT_TRUE(physical("\\\\.\\DISPLAY1").faults.empty());
}

TEST_F(MonitorAreaTest, DisplaysOffOrMirroringAreNoDisplayMonitors) {
  ASSERT_EQ(simTool({"reset", "--displays", "3"}).status, 0);
  ASSERT_EQ(simTool({"display", "1", "fault", "off"}).status, 0);
  ASSERT_EQ(simTool({"display", "2", "flags", "9"}).status, 0);
  std::vector<platform::WideString> names;
  platform::EnumDisplayMonitors(
      nullptr, nullptr,
      [](HMONITOR monitor, HDC, LPRECT, LPARAM data) -> BOOL {
        MONITORINFOEXW info{};
        info.cbSize = sizeof info;
        platform::GetMonitorInfoW(monitor, &info);
        reinterpret_cast<std::vector<platform::WideString>*>(data)->emplace_back(
            info.szDevice, info.szDevice + std::char_traits<WCHAR>::length(info.szDevice));
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&names));
  EXPECT_EQ(names, std::vector<platform::WideString>{u"\\\\.\\DISPLAY3"});
  EXPECT_NE(simTool({"monitor", "list"}).output.find("not a display monitor now"),
            std::string::npos);
}

}  // namespace
