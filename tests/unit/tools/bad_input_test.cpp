// kestrine-sim refuses bad input in every area alike: exit status 2 (1 for a value that is not
// there), a message on standard error, and every file of the machine left as it was.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/sim_test.h"
#include "tests/unit/tools/sim_tool.h"

namespace {

struct BadInput {
  std::vector<std::string> args;  // "@name" stands for a file of that name in the sim root
  int status;
  const char* message;
};

std::map<std::string, std::string> filesUnder(const std::filesystem::path& root) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    if (entry.is_regular_file()) {
      std::ostringstream content;
      content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
      files[entry.path().string()] = content.str();
    }
  }
  return files;
}

class SimToolBadInput : public testing_support::SimTest,
                        public ::testing::WithParamInterface<BadInput> {};

TEST_P(SimToolBadInput, IsRefusedAndChangesNothing) {
  // A machine that is not the default one, with every area's files made (show reads them all).
  ASSERT_EQ(tools_test::simTool({"reg", "set", "SOFTWARE\\K", "Keep", "sz", "1"}).status, 0);
  ASSERT_EQ(tools_test::simTool({"show"}).status, 0);
  std::ofstream(simRoot / "short.json") << R"({"red":[1,2],"green":[],"blue":[]})";
  std::string zeros;
  for (int i = 0; i < 255; ++i) {
    zeros += ",0";
  }
  std::ofstream(simRoot / "big.json")
      << "{\"red\":[70000" + zeros + "],\"green\":[0" + zeros + "],\"blue\":[0" + zeros + "]}";
  const auto before = filesUnder(simRoot);
  std::vector<std::string> args = GetParam().args;
  for (std::string& arg : args) {
    arg = arg.rfind('@', 0) == 0 ? (simRoot / arg.substr(1)).string() : arg;
  }
  const testing_support::ProcessResult result = tools_test::simTool(args);
  EXPECT_EQ(result.status, GetParam().status);
  EXPECT_NE(result.error.find(GetParam().message), std::string::npos) << result.error;
  EXPECT_EQ(filesUnder(simRoot), before);
}

using Args = std::vector<std::string>;

INSTANTIATE_TEST_SUITE_P(
    Areas, SimToolBadInput,
    ::testing::Values(
        BadInput{Args{"display"}, 2, "kestrine-sim: "},
        BadInput{Args{"display", "9", "ramp", "zero"}, 2, "kestrine-sim: "},
        BadInput{Args{"display", "1", "ramp", "gamma"}, 2, "kestrine-sim: "},
        BadInput{Args{"display", "1", "ramp-file", "@short.json"}, 2, "kestrine-sim: "},
        BadInput{Args{"display", "1", "ramp-file", "@big.json"}, 2, "kestrine-sim: "},
        BadInput{Args{"display", "1", "fault", "set-fails", "87x"}, 2, "kestrine-sim: "},
        BadInput{Args{"display", "1", "fault", "melts"}, 2, "kestrine-sim: "},
        BadInput{Args{"monitor", "9", "value", "1"}, 2, "kestrine-sim: "},
        BadInput{Args{"monitor", "1:2", "value", "1"}, 2, "kestrine-sim: "},
        BadInput{Args{"monitor", "1", "value", "4294967296"}, 2, "kestrine-sim: "},
        BadInput{Args{"monitor", "1", "count", "9"}, 2, "kestrine-sim: "},
        BadInput{Args{"monitor", "1", "fault", "melts"}, 2, "kestrine-sim: "},
        BadInput{Args{"library", "nope.dll", "subject", "X"}, 2, "no library nope.dll"},
        BadInput{Args{"library", "dxva2.dll", "sign"}, 2, "unknown library command: sign"},
        BadInput{Args{"library", "dxva2.dll", "untrusted", "0"}, 2, "status 0 means trusted"},
        BadInput{Args{"library", "dxva2.dll", "remove-export", "Nope"}, 2, "does not export Nope"},
        BadInput{Args{"reg", "set", "SOFTWARE\\\\K", "N", "sz", "1"}, 2, "kestrine-sim: "},
        BadInput{Args{"reg", "set", "SOFTWARE\\K", "N", "qword", "1"}, 2, "kestrine-sim: "},
        BadInput{Args{"reg", "delete", "SOFTWARE\\K", "Absent"}, 1, "kestrine-sim: "}));

}  // namespace
