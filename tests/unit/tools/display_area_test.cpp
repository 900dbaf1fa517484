// kestrine-sim's display commands, run as the built program against a fresh machine.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "platform/sim/displays/display_state.h"
#include "tests/unit/tools/sim_tool.h"
#include "tests/support/sim_test.h"

namespace {

using testing_support::ProcessResult;
using tools_test::simTool;

class DisplayAreaTest : public testing_support::SimTest {
 protected:
  void writeFile(const std::string& name, const std::string& content) {
    std::ofstream(simRoot / name) << content;
  }
  std::string path(const std::string& name) const { return (simRoot / name).string(); }
};

TEST_F(DisplayAreaTest, ChangesOneDisplayByAnyFormOfItsName) {
  ASSERT_EQ(simTool({"reset", "--displays", "3"}).status, 0);
  EXPECT_EQ(simTool({"display", "1", "ramp", "zero"}).status, 0);
  EXPECT_EQ(simTool({"display", "display2", "fault", "set-fails", "0x57"}).status, 0);
  EXPECT_EQ(simTool({"display", "\\\\.\\DISPLAY3", "fault", "alter-readback", "2"}).status, 0);
  EXPECT_EQ(simTool({"display", "3", "fault", "changing"}).status, 0);
  EXPECT_EQ(simTool({"display", "3", "fault", "clear", "changing"}).status, 0);

  const std::vector<sim::SimDisplay> displays = sim::loadDisplays();
  ASSERT_EQ(displays.size(), 3u);
  EXPECT_EQ(displays[0].ramp, sim::RampWords{});
  EXPECT_TRUE(displays[1].faults.setFails);
  EXPECT_EQ(displays[1].faults.setErrorCode, 87u);
  EXPECT_EQ(sim::describeFaults(displays[2].faults), std::vector<std::string>{"alter-readback 2"});
  EXPECT_EQ(displays[2].rect.left, 3840);

  const ProcessResult shown = simTool({"show"});
  EXPECT_NE(shown.output.find("dark yes  faults: none"), std::string::npos) << shown.output;
  EXPECT_NE(shown.output.find("faults: set-fails 87"), std::string::npos) << shown.output;
}

TEST_F(DisplayAreaTest, DumpFeedsRampFile) {
  writeFile("ramp.json", simTool({"display", "2", "dump"}).output);
  ASSERT_EQ(simTool({"display", "2", "ramp", "linear"}).status, 0);
  EXPECT_EQ(sim::loadDisplay("\\\\.\\DISPLAY2")->ramp[255], 65025);
  ASSERT_EQ(simTool({"display", "2", "ramp-file", path("ramp.json")}).status, 0);
  EXPECT_EQ(sim::loadDisplay("\\\\.\\DISPLAY2")->ramp, sim::identityRamp());
}

}  // namespace
