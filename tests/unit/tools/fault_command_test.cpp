// The one `fault` command of every kestrine-sim area with faults, run as the built program: the
// same words set, clear and list the faults of a display, a monitor and a library, and
// `fault list` reads back what the area's record then holds.
#include "tests/support/sim_test.h"
#include "tests/unit/tools/sim_tool.h"

namespace {

using Command = std::vector<std::string>;

// Commands that must succeed, then the listing that `list` gives.
struct FaultRow { std::vector<Command> commands; Command list; const char* listed; };

class FaultCommand : public testing_support::SimTest, public ::testing::WithParamInterface<FaultRow> {};

TEST_P(FaultCommand, SetsClearsAndLists) {
  tools_test::simToolAll(GetParam().commands);
  const testing_support::ProcessResult result = tools_test::simTool(GetParam().list);
  EXPECT_EQ(result.status, 0) << result.error;
  EXPECT_EQ(result.output, std::string(GetParam().listed) + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Areas, FaultCommand,
    ::testing::Values(
        FaultRow{{}, {"display", "1", "fault", "list"}, "none"},
        FaultRow{{{"display", "display2", "fault", "set-fails", "0x57"}, {"display", "2", "fault", "no-dc"}},
                 {"display", "\\\\.\\DISPLAY2", "fault", "list"}, "set-fails 87, no-dc"},
        FaultRow{{{"display", "1", "fault", "alter-readback", "768"}, {"display", "1", "fault", "changing"},
                  {"display", "1", "fault", "off"}, {"display", "1", "fault", "clear", "changing"}},
                 {"display", "1", "fault", "list"}, "off, alter-readback 768"},
        FaultRow{{{"display", "1", "fault", "get-fails"}, {"display", "1", "fault", "set-fails", "5"},
                  {"display", "1", "fault", "clear"}},
                 {"display", "1", "fault", "list"}, "none"},
        FaultRow{{{"monitor", "1", "fault", "get"}, {"monitor", "\\\\.\\DISPLAY1", "fault", "count", "31"}},
                 {"monitor", "1", "fault", "list"}, "count 31, get 3223725442"},
        FaultRow{{{"monitor", "2", "count", "2"}, {"monitor", "2:2", "fault", "caps", "0x1F"},
                  {"monitor", "2", "fault", "set", "4"}},
                 {"monitor", "2:2", "fault", "list"}, "caps 31"},
        FaultRow{{{"monitor", "1", "fault", "set"},
                  {"monitor", "1", "fault", "count"}, {"monitor", "1", "fault", "clear", "set"}},
                 {"monitor", "1", "fault", "list"}, "count 3223725442"},
        FaultRow{{{"monitor", "1", "fault", "caps-length"}, {"monitor", "1", "fault", "list"},
                  {"monitor", "1", "fault", "clear"}},
                 {"monitor", "1", "fault", "list"}, "none"},
        FaultRow{{{"library", "DXVA2.DLL", "fault", "untrusted", "0x800B0100"}},
                 {"library", "dxva2.dll", "fault", "list"}, "untrusted 2148204800"},
        FaultRow{{{"library", "dxva2.dll", "untrusted", "5", "2"}}, {"library", "dxva2.dll", "fault", "list"},
                 "untrusted 5"},
        FaultRow{{{"library", "dxva2.dll", "unsigned"}, {"library", "dxva2.dll", "fault", "clear", "untrusted"}},
                 {"library", "dxva2.dll", "fault", "list"}, "none"}));

using FaultWords = testing_support::SimTest;

// Words that name no fault are refused alike in every area.
TEST_F(FaultWords, AreRefusedWithTheSameMessageInEveryArea) {
  using Row = std::pair<Command, const char*>;  // words after "fault", message
  for (const auto& [words, message] :
       {Row{{"nope"}, "kestrine-sim: fault: unknown fault: nope (use "},
        Row{{}, "kestrine-sim: fault: a fault is needed ("},
        Row{{"clear", "nope"}, "kestrine-sim: fault: unknown fault: nope"},
        Row{{"clear", "a", "b"}, "kestrine-sim: fault: fault clear takes at most one fault name"},
        Row{{"list", "all"}, "kestrine-sim: fault: fault list takes no value"}}) {
    for (Command command : {Command{"display", "1", "fault"}, Command{"monitor", "1", "fault"},
                            Command{"library", "dxva2.dll", "fault"}}) {
      command.insert(command.end(), words.begin(), words.end());
      const testing_support::ProcessResult result = tools_test::simTool(command);
      EXPECT_EQ(result.status, 2) << ::testing::PrintToString(command);
      EXPECT_PRED_FORMAT2(::testing::IsSubstring, message, result.error);
    }
  }
}

}  // namespace
