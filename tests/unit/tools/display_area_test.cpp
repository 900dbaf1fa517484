// kestrine-sim's display commands, run as the built program against a fresh machine.
#include <fstream>

#include "platform/sim/displays/display_state.h"
#include "tests/support/sim_test.h"
#include "tests/unit/tools/sim_tool.h"

namespace {

using tools_test::simTool;
using DisplayAreaTest = testing_support::SimTest;

TEST_F(DisplayAreaTest, DumpFeedsRampFile) {
  const std::string file = (simRoot / "ramp.json").string();
  std::ofstream(file) << simTool({"display", "2", "dump"}).output;
  ASSERT_EQ(simTool({"display", "2", "ramp", "linear"}).status, 0);
  EXPECT_EQ(sim::loadDisplay("\\\\.\\DISPLAY2")->ramp[255], 65025);
  ASSERT_EQ(simTool({"display", "2", "ramp-file", file}).status, 0);
  EXPECT_EQ(sim::loadDisplay("\\\\.\\DISPLAY2")->ramp, sim::identityRamp());
}

}  // namespace
