// kestrine-sim's monitor commands, run as the built program against a fresh machine, and what the
// sim's dxva2 exports then answer in this process.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/errors.h"
#include "platform/monitor_configuration.h"
#include "platform/monitors.h"
#include "platform/sim/dxva2_exports.h"
#include "platform/sim/machine.h"
#include "platform/sim/monitor_state.h"
#include "tests/support/child_process.h"
#include "tests/support/sim_test.h"

namespace {

using testing_support::ProcessResult;

ProcessResult simTool(std::vector<std::string> args) {
  args.insert(args.begin(), KESTRINE_SIM_EXE);
  return testing_support::runProcess(args);
}

sim::SimPhysicalMonitor physical(const char* display, std::size_t index = 0) {
  return sim::loadMonitor(display)->physical.at(index);
}

template <class Fn>
Fn exported(const char* name) {
  return reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(sim::dxva2Export(name)));
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

class MonitorAreaRefusalTest : public MonitorAreaTest,
                               public ::testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(MonitorAreaRefusalTest, ExitsWithUsageErrorAndChangesNothing) {
  ASSERT_EQ(simTool({"monitor", "1", "value", "4"}).status, 0);
  const auto before = sim::readMachineFile("monitors.json");
  const ProcessResult result = simTool(GetParam());
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.error.find("kestrine-sim: "), std::string::npos);
  EXPECT_EQ(sim::readMachineFile("monitors.json"), before);
}

INSTANTIATE_TEST_SUITE_P(
    BadInput, MonitorAreaRefusalTest,
    ::testing::Values(std::vector<std::string>{"monitor"},
                      std::vector<std::string>{"monitor", "9", "value", "1"},
                      std::vector<std::string>{"monitor", "1:2", "value", "1"},
                      std::vector<std::string>{"monitor", "1:0", "value", "1"},
                      std::vector<std::string>{"monitor", "1", "value", "-1"},
                      std::vector<std::string>{"monitor", "1", "value", "4294967296"},
                      std::vector<std::string>{"monitor", "1", "value"},
                      std::vector<std::string>{"monitor", "1", "sticks", "maybe"},
                      std::vector<std::string>{"monitor", "1", "count", "9"},
                      std::vector<std::string>{"monitor", "1:1", "count", "1"},
                      std::vector<std::string>{"monitor", "1", "description", std::string(128, 'd')},
                      std::vector<std::string>{"monitor", "1", "fault", "melts"},
                      std::vector<std::string>{"monitor", "1:1", "fault", "list"},
                      std::vector<std::string>{"monitor", "1", "fault", "set", "31x"},
                      std::vector<std::string>{"monitor", "1", "fault", "clear", "melts"},
                      std::vector<std::string>{"monitor", "1", "wobble"}));

// The physical monitors of the first display monitor, as a program gets them.
std::vector<HANDLE> physicalMonitorsOfFirstDisplay() {
  HMONITOR first = nullptr;
  platform::EnumDisplayMonitors(
      nullptr, nullptr,
      [](HMONITOR monitor, HDC, LPRECT, LPARAM data) -> BOOL {
        *reinterpret_cast<HMONITOR*>(data) = monitor;
        return FALSE;
      },
      reinterpret_cast<LPARAM>(&first));
  DWORD count = 0;
  EXPECT_NE(exported<platform::GetNumberOfPhysicalMonitorsFromHMONITORFn>(
                "GetNumberOfPhysicalMonitorsFromHMONITOR")(first, &count),
            FALSE);
  std::vector<PHYSICAL_MONITOR> entries(count);
  EXPECT_NE(exported<platform::GetPhysicalMonitorsFromHMONITORFn>("GetPhysicalMonitorsFromHMONITOR")(
                first, count, entries.data()),
            FALSE);
  std::vector<HANDLE> handles;
  for (const PHYSICAL_MONITOR& entry : entries) {
    handles.push_back(entry.hPhysicalMonitor);
  }
  return handles;
}

DWORD readPowerMode(HANDLE monitor, BOOL& result) {
  DWORD current = 0;
  DWORD maximum = 0;
  result = exported<platform::GetVCPFeatureAndVCPFeatureReplyFn>("GetVCPFeatureAndVCPFeatureReply")(
      monitor, 0xD6, nullptr, &current, &maximum);
  return current;
}

TEST_F(MonitorAreaTest, ExportsActOnWhatAnotherProcessSet) {
  ASSERT_EQ(simTool({"monitor", "1", "count", "2"}).status, 0);
  ASSERT_EQ(simTool({"monitor", "1:2", "sticks", "no"}).status, 0);
  std::vector<HANDLE> handles = physicalMonitorsOfFirstDisplay();
  ASSERT_EQ(handles.size(), 2u);
  const auto set = exported<platform::SetVCPFeatureFn>("SetVCPFeature");
  BOOL result = FALSE;
  for (HANDLE handle : handles) {
    EXPECT_NE(set(handle, 0xD6, 4), FALSE) << "a set that does not stick still succeeds";
  }
  EXPECT_EQ(readPowerMode(handles[0], result), 4u);
  EXPECT_EQ(readPowerMode(handles[1], result), 1u);
  EXPECT_EQ(set(handles[0], 0x10, 50), FALSE) << "only D6 is known";

  // A physical monitor that went away fails its calls; its handle still has to be destroyed.
  ASSERT_EQ(simTool({"monitor", "1", "count", "1"}).status, 0);
  readPowerMode(handles[1], result);
  EXPECT_EQ(result, FALSE);
  EXPECT_EQ(platform::GetLastError(), 0xC026258Du);

  std::vector<PHYSICAL_MONITOR> entries(handles.size());
  for (std::size_t i = 0; i < handles.size(); ++i) {
    entries[i].hPhysicalMonitor = handles[i];
  }
  const auto destroy = exported<platform::DestroyPhysicalMonitorsFn>("DestroyPhysicalMonitors");
  EXPECT_NE(destroy(2, entries.data()), FALSE);
  EXPECT_EQ(destroy(2, entries.data()), FALSE) << "each handle is destroyed once";
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
