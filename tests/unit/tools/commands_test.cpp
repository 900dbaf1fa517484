// kestrine-sim commands run as the built program against a fresh machine, then one that shows the
// result: the library commands, and the one `fault` command of every area with faults, whose words
// set, clear and list the faults of a display, a monitor and a library alike. Refused words:
// bad_input_test.
#include "tests/support/sim_test.h"
#include "tests/unit/tools/sim_tool.h"

namespace {

using Command = std::vector<std::string>;

// Commands that must succeed, then one whose output must hold `shown`.
struct Row { std::vector<Command> commands; Command show; const char* shown; };

class SimToolCommands : public testing_support::SimTest, public ::testing::WithParamInterface<Row> {};

TEST_P(SimToolCommands, ShowTheirResult) {
  tools_test::simToolAll(GetParam().commands);
  const testing_support::ProcessResult result = tools_test::simTool(GetParam().show);
  EXPECT_EQ(result.status, 0) << result.error;
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, GetParam().shown, result.output);
}

Command display1(Command words) { return words.insert(words.begin(), {"display", "1", "fault"}), words; }
Command monitor1(Command words) { return words.insert(words.begin(), {"monitor", "1", "fault"}), words; }
Command library(Command words) { return words.insert(words.begin(), {"library", "dxva2.dll", "fault"}), words; }

INSTANTIATE_TEST_SUITE_P(
    Areas, SimToolCommands,
    ::testing::Values(
        Row{{{"reset", "--displays", "3"}, {"display", "display3", "ramp", "zero"},
             {"display", "\\\\.\\DISPLAY3", "fault", "set-fails", "0x57"}, {"display", "3", "fault", "no-dc"}},
            {"show"}, "DISPLAY3  flags 1 (attached)  at 3840,0 1920x1080\n      brightness R 0 G 0 B 0  dark yes  "
                      "faults: set-fails 87, no-dc\n"},
        Row{{}, display1({}), "none\n"},
        Row{{display1({"alter-readback", "768"}), display1({"changing"}), display1({"off"}),
             display1({"clear", "changing"})}, display1({}), "off, alter-readback 768\n"},
        Row{{display1({"get-fails"}), display1({"clear"})}, display1({}), "none\n"},
        Row{{monitor1({"get"}), {"monitor", "\\\\.\\DISPLAY1", "fault", "count", "31"}}, monitor1({}),
            "count 31, get 3223725442\n"},
        Row{{{"monitor", "2", "count", "2"}, {"monitor", "2:2", "fault", "caps", "0x1F"}, {"monitor", "2", "fault", "set"}},
            {"monitor", "2:2", "fault"}, "caps 31\n"},
        Row{{monitor1({"set"}), monitor1({"list"}), monitor1({"clear", "set"})}, monitor1({}), "list 3223725442\n"},
        Row{{monitor1({"caps-length"}), monitor1({"count"}), monitor1({"clear"})}, monitor1({}), "none\n"},
        Row{{{"library", "DXVA2.DLL", "fault", "untrusted", "0x800B0100"}}, library({}), "untrusted 2148204800\n"},
        Row{{{"library", "dxva2.dll", "untrusted", "5", "2"}}, library({}), "untrusted 5\n"},
        Row{{{"library", "dxva2.dll", "unsigned"}, library({"clear", "untrusted"})}, library({}), "none\n"},
        Row{{{"library", "DXVA2.DLL", "untrusted", "-2146762751", "2"}}, {"library", "dxva2.dll"},
            "trust: 0x800B0001 (not trusted), last error 0x00000002\n  signer 1: subject \"Microsoft Windows\""},
        Row{{{"library", "dxva2.dll", "unsigned"}}, {"library", "dxva2.dll"},
            "trust: 0x800B0100 (not trusted), last error 0x800B0100\n  no embedded signature\n"},
        Row{{{"library", "dxva2.dll", "remove-export", "SetVCPFeature"}}, {"library", "dxva2.dll"},
            " DestroyPhysicalMonitors GetMonitorCapabilities GetVCPFeatureAndVCPFeatureReply\n"},
        Row{{{"library", "dxva2.dll", "remove"}}, {"show", "--json"}, "\"library\" : {}"},
        Row{{{"library", "dxva2.dll", "subject", "X"}, {"library", "dxva2.dll", "no-opus"},
             {"library", "dxva2.dll", "remove"}, {"library", "dxva2.dll", "restore"}},
            {"library", "dxva2.dll"},
            "trust: 0x00000000 (trusted), last error 0x00000000\n  signer 1: subject \"Microsoft Windows\", "
            "issuer \"Microsoft Windows Production PCA 2011\", serial number 33 00 00 04 61 0B C9 2A 10 33\n"
            "    opus: program \"Microsoft Windows\", more info url http://www.microsoft.com/windows"}));

}  // namespace
