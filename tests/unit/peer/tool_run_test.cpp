// The tool as the peer runs it, with /bin/sh standing in: its output comes through the peer,
// bounded. (What its job holds and ends is a conformance check of the job operations and an
// end-to-end case of the wrapper script.)
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/support/sim_test.h"
#include "tools/peer/tool_output.h"
#include "tools/peer/tool_process.h"

namespace {

using ToolRunTest = testing_support::SimTest;

struct OutputCase {
  const char* script;
  std::size_t size;
  const char* tail;  // how the kept output ends
};

class ToolOutputTest : public ToolRunTest, public ::testing::WithParamInterface<OutputCase> {};

// Everything the tool writes on either stream is kept, up to the last 256 KiB.
TEST_P(ToolOutputTest, KeepsWhatTheToolWroteUpToItsBound) {
  peer::ToolOutput output(false);
  peer::ToolProcess tool("/bin/sh", {"-c", GetParam().script}, output.childEnd());
  output.startDraining();
  EXPECT_EQ(tool.waitFor(std::chrono::seconds(20)), 0);
  tool.endJob();
  const std::string kept = output.finish(std::chrono::seconds(2));
  EXPECT_EQ(kept.size(), GetParam().size);
  const std::string tail = GetParam().tail;
  EXPECT_EQ(kept.substr(kept.size() - std::min(kept.size(), tail.size())), tail);
}

INSTANTIATE_TEST_SUITE_P(Cases, ToolOutputTest, ::testing::Values(
    OutputCase{"printf 'a\\n'; printf 'b' >&2", 3, "a\nb"},
    OutputCase{"head -c 300000 /dev/zero | tr '\\0' x; printf end", peer::ToolOutput::kKeptBytes, "xxend"}));

}  // namespace
