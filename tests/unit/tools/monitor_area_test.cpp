// kestrine-sim's monitor commands, run as the built program against a fresh machine, and the
// display monitors that the sim then lists in this process.
#include "platform/sim/displays/display_state.h"
#include "platform/sim/monitors/display_monitors.h"
#include "platform/sim/monitors/monitor_state.h"
#include "tests/support/sim_test.h"
#include "tests/unit/tools/sim_tool.h"

namespace {

using tools_test::simTool;
using MonitorAreaTest = testing_support::SimTest;

sim::SimPhysicalMonitor physical(const char* display, std::size_t index = 0) {
  return sim::loadMonitor(display)->physical.at(index);
}

TEST_F(MonitorAreaTest, ChangesOnePhysicalMonitorAndListsItsPowerMode) {
  tools_test::simToolAll({{"monitor", "2", "count", "2"}, {"monitor", "display2:2", "value", "4"},
                          {"monitor", "2:2", "maximum", "0x4"}, {"monitor", "2:2", "sticks", "no"},
                          {"monitor", "2:2", "caps", "vcp(D6(01 04))"},
                          {"monitor", "2:2", "description", "Second panel"}});
  const sim::SimPhysicalMonitor second = physical("\\\\.\\DISPLAY2", 1);
  EXPECT_EQ(second.powerMode, 4u);
  EXPECT_EQ(second.powerModeMaximum, 4u);
  EXPECT_EQ(second.capabilities, "vcp(D6(01 04))");
  EXPECT_EQ(second.description, "Second panel");
  EXPECT_FALSE(second.setSticks);
  EXPECT_EQ(physical("\\\\.\\DISPLAY2").powerMode, 1u) << "the first one is untouched";
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "2: \"Second panel\"  D6 4 (maximum 4)  sets do not stick",
                      simTool({"monitor", "list"}).output);
}

TEST_F(MonitorAreaTest, DisplaysOffOrMirroringAreNoDisplayMonitors) {
  tools_test::simToolAll(
      {{"reset", "--displays", "3"}, {"display", "1", "fault", "off"}, {"display", "2", "flags", "9"}});
  // The rule the sim's EnumDisplayMonitors and the tool's listing both go by.
  EXPECT_FALSE(sim::isDisplayMonitor(*sim::loadDisplay("\\\\.\\DISPLAY1")));
  EXPECT_FALSE(sim::isDisplayMonitor(*sim::loadDisplay("\\\\.\\DISPLAY2")));
  EXPECT_TRUE(sim::isDisplayMonitor(*sim::loadDisplay("\\\\.\\DISPLAY3")));
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "not a display monitor now",
                      simTool({"monitor", "list"}).output);
}

}  // namespace
