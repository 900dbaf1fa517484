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

// Everything the machine holds about its displays, as stored.
std::string machineDisplays() {
  std::string text;
  for (const sim::SimDisplay& display : sim::loadDisplays()) {
    text += sim::encodeDisplay(display);
  }
  return text;
}

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

class DisplayAreaRefusalTest : public DisplayAreaTest,
                               public ::testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(DisplayAreaRefusalTest, ExitsWithUsageErrorAndChangesNothing) {
  writeFile("short.json", R"({"red":[1,2],"green":[],"blue":[]})");
  writeFile("not.json", "not json");
  std::string zeros;
  for (int i = 0; i < 255; ++i) {
    zeros += ",0";
  }
  writeFile("big.json", "{\"red\":[70000" + zeros + "],\"green\":[0" + zeros +
                            "],\"blue\":[0" + zeros + "]}");
  ASSERT_EQ(simTool({"display", "1", "fault", "off"}).status, 0);
  const std::string before = machineDisplays();

  std::vector<std::string> args = GetParam();
  for (std::string& arg : args) {
    if (arg.rfind("@", 0) == 0) {
      arg = path(arg.substr(1));
    }
  }
  const ProcessResult result = simTool(args);
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.error.find("kestrine-sim: "), std::string::npos);
  EXPECT_EQ(machineDisplays(), before);
}

INSTANTIATE_TEST_SUITE_P(
    BadInput, DisplayAreaRefusalTest,
    ::testing::Values(std::vector<std::string>{"display", "9", "ramp", "zero"},
                      std::vector<std::string>{"display", "MONITOR1", "dump"},
                      std::vector<std::string>{"display", "1", "ramp", "gamma"},
                      std::vector<std::string>{"display", "1", "ramp"},
                      std::vector<std::string>{"display", "1", "ramp-file", "@missing.json"},
                      std::vector<std::string>{"display", "1", "ramp-file", "@short.json"},
                      std::vector<std::string>{"display", "1", "ramp-file", "@not.json"},
                      std::vector<std::string>{"display", "1", "ramp-file", "@big.json"},
                      std::vector<std::string>{"display", "1", "fault", "set-fails"},
                      std::vector<std::string>{"display", "1", "fault", "set-fails", "87x"},
                      std::vector<std::string>{"display", "1", "fault", "alter-readback", "769"},
                      std::vector<std::string>{"display", "1", "fault", "off", "1"},
                      std::vector<std::string>{"display", "1", "fault", "melts"},
                      std::vector<std::string>{"display", "1", "fault", "clear", "melts"},
                      std::vector<std::string>{"display", "1", "flags", "-1"},
                      std::vector<std::string>{"display", "1", "wobble"},
                      std::vector<std::string>{"display"}));

}  // namespace
