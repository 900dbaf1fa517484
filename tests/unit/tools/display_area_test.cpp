// kestrine-sim's display commands, run as the built program against a fresh machine.
#include <fstream>

#include "platform/sim/displays/display_state.h"
#include "tests/support/sim_test.h"
#include "tests/unit/tools/sim_tool.h"

namespace {

using tools_test::simTool;
using DisplayAreaTest = testing_support::SimTest;

TEST_F(DisplayAreaTest, ChangesOneDisplayByAnyFormOfItsName) {
  tools_test::simToolAll({{"reset", "--displays", "3"},
                          {"display", "1", "ramp", "zero"},
                          {"display", "display2", "fault", "set-fails", "0x57"},
                          {"display", "\\\\.\\DISPLAY3", "flags", "9"}});
  const std::vector<sim::SimDisplay> displays = sim::loadDisplays();
  ASSERT_EQ(displays.size(), 3u);
  EXPECT_EQ(displays[0].ramp, sim::RampWords{});
  EXPECT_EQ(displays[1].faults, (sim::FaultSet{{sim::kSetFails, 87}}));
  EXPECT_EQ(displays[2].stateFlags, 9u);
  EXPECT_EQ(displays[2].rect.left, 3840);
  const std::string shown = simTool({"show"}).output;
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "dark yes  faults: none", shown);
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "faults: set-fails 87", shown);
}

TEST_F(DisplayAreaTest, DumpFeedsRampFile) {
  const std::string file = (simRoot / "ramp.json").string();
  std::ofstream(file) << simTool({"display", "2", "dump"}).output;
  ASSERT_EQ(simTool({"display", "2", "ramp", "linear"}).status, 0);
  EXPECT_EQ(sim::loadDisplay("\\\\.\\DISPLAY2")->ramp[255], 65025);
  ASSERT_EQ(simTool({"display", "2", "ramp-file", file}).status, 0);
  EXPECT_EQ(sim::loadDisplay("\\\\.\\DISPLAY2")->ramp, sim::identityRamp());
}

}  // namespace
