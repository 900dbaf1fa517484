// kestrine-sim refuses bad input in every area alike: exit status 2 (1 for a value that is not
// there), a message on standard error, and every file of the machine left as it was.
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/support/sim_test.h"
#include "tests/unit/tools/sim_tool.h"

namespace {

// The arguments, the exit status, and a text that standard error holds.
struct BadInput { std::vector<std::string> args; int status; const char* message; };

std::map<std::string, std::string> filesUnder(const std::filesystem::path& root) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    std::ostringstream content;  // a directory is listed with no content
    if (entry.is_regular_file()) content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
    files[entry.path().string()] = content.str();
  }
  return files;
}

class SimToolBadInput : public testing_support::SimTest, public ::testing::WithParamInterface<BadInput> {};

TEST_P(SimToolBadInput, IsRefusedAndChangesNothing) {
  // A machine that is not the default one, with every area's files made (show reads them all).
  tools_test::simToolAll({{"reg", "set", "SOFTWARE\\K", "Keep", "sz", "1"}, {"show"}});
  const auto before = filesUnder(simRoot);
  const testing_support::ProcessResult result = tools_test::simTool(GetParam().args);
  EXPECT_EQ(result.status, GetParam().status);
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, GetParam().message, result.error);
  EXPECT_EQ(filesUnder(simRoot), before);
}

INSTANTIATE_TEST_SUITE_P(
    Areas, SimToolBadInput,
    ::testing::Values(
        BadInput{{"display", "1"}, 2, "display needs a NAME and a command"},
        BadInput{{"display", "9", "ramp", "zero"}, 2, "kestrine-sim: "},
        BadInput{{"display", "1", "ramp-file", "/no/such/ramp.json"}, 2, "kestrine-sim: "},
        BadInput{{"display", "1", "fault", "set-fails", "87x"}, 2, "fault: set-fails needs CODE, a number"},
        BadInput{{"display", "1", "fault", "nope"}, 2, "fault: unknown fault: nope (use get-fails, "},
        BadInput{{"monitor", "1", "fault", "nope"}, 2, "fault: unknown fault: nope (use count, "},
        BadInput{{"library", "dxva2.dll", "fault", "untrusted"}, 2, "fault: untrusted needs CODE, a number"},
        BadInput{{"monitor", "1", "fault", "clear", "a", "b"}, 2, "fault: fault clear takes at most one"},
        BadInput{{"display", "1", "fault", "alter-readback", "769"}, 2, "needs N, a number from 0 to 768"},
        BadInput{{"display", "1", "fault", "no-dc", "1"}, 2, "fault: no-dc takes no value"},
        BadInput{{"monitor", "1:1", "fault", "count"}, 2, "count fault belongs to the display"},
        BadInput{{"monitor", "1:2", "value", "1"}, 2, "kestrine-sim: "},
        BadInput{{"monitor", "1", "value", "4294967296"}, 2, "kestrine-sim: "},
        BadInput{{"library", "nope.dll", "subject", "X"}, 2, "no library nope.dll"},
        BadInput{{"library", "dxva2.dll", "untrusted", "0"}, 2, "status 0 means trusted"},
        BadInput{{"library", "dxva2.dll", "remove-export", "Nope"}, 2, "does not export Nope"},
        BadInput{{"reg", "set", "SOFTWARE\\\\K", "N", "sz", "1"}, 2, "kestrine-sim: "},
        BadInput{{"reg", "set", "SOFTWARE\\K", "N", "qword", "1"}, 2, "kestrine-sim: "},
        BadInput{{"reg", "delete", "SOFTWARE\\K", "Absent"}, 1, "kestrine-sim: "}));

}  // namespace
