// The tool as the peer runs it, with /bin/sh standing in: its output comes through the peer,
// bounded. (What its job holds and ends is a conformance check of the job operations and an
// end-to-end case of the wrapper script.)
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/support/sim_test.h"
#include "tools/peer/tool_output.h"
#include "tools/peer/tool_process.h"

namespace {

using ToolRunTest = testing_support::SimTest;

struct OutputCase {
  const char* script;
  std::string kept;                 // what the peer keeps of the output
  std::vector<std::string> args{};  // the script's $1...
  const char* relayed = nullptr;    // with the relay on: what it prints
};

class ToolOutputTest : public ToolRunTest, public ::testing::WithParamInterface<OutputCase> {};

// Everything the tool writes on either stream is kept, up to the last 256 KiB.
TEST_P(ToolOutputTest, KeepsWhatTheToolWroteUpToItsBound) {
  testing::internal::CaptureStdout();
  peer::ToolOutput output(GetParam().relayed != nullptr);
  std::vector<std::string> arguments{"-c", GetParam().script, "sh"};
  arguments.insert(arguments.end(), GetParam().args.begin(), GetParam().args.end());
  peer::ToolProcess tool("/bin/sh", arguments, output.childEnd());
  output.startDraining();
  EXPECT_EQ(tool.waitFor(std::chrono::seconds(20)), 0);
  tool.endJob();
  const std::string kept = output.finish(std::chrono::seconds(2));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), GetParam().relayed ? GetParam().relayed : "");
  EXPECT_TRUE(kept == GetParam().kept) << kept.size() << " bytes kept, starting " << kept.substr(0, 40);
}

INSTANTIATE_TEST_SUITE_P(Cases, ToolOutputTest, ::testing::Values(
    OutputCase{"printf 'a\\n'; printf 'b' >&2", "a\nb", {}, "[tool] a\n[tool] b\n"},
    OutputCase{"printf s; head -c 300000 /dev/zero | tr '\\0' x; printf end",
               std::string(peer::ToolOutput::kKeptBytes - 3, 'x') + "end"},
    // Arguments arrive as given, whatever spaces, quotes and backslashes they hold.
    OutputCase{"printf '<%s>' \"$@\"", R"(<a><><b c><C:\d x\><"q"><\"e f><\\s\h>)",
               {"a", "", "b c", R"(C:\d x\)", R"("q")", R"(\"e f)", R"(\\s\h)"}}));

}  // namespace
