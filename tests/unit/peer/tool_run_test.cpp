// The tool as the peer runs it, with /bin/sh standing in: its output comes through the peer,
// bounded, and its job holds and ends what it starts.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/eventually.h"
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

bool ended(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string fields;
  return !std::getline(stat, fields) || fields.find(") Z") != std::string::npos;
}

// A process the tool started is in the job and may speak for the tool; this test's process is
// not. Ending the job ends that process although the tool itself was ended first.
TEST_F(ToolRunTest, TheJobHoldsWhatTheToolStartsAndEndsItWithTheJob) {
  const std::filesystem::path file = simRoot / "started";
  peer::ToolOutput output(true);
  peer::ToolProcess tool("/bin/sh", {"-c", "sleep 60 & echo $! > \"" + file.string() + "\"; exec sleep 60"},
                         output.childEnd());
  output.startDraining();
  pid_t started = 0;
  ASSERT_TRUE(testing_support::eventually([&] { return bool(std::ifstream(file) >> started); }));
  EXPECT_TRUE(tool.isToolOrInItsJob(static_cast<DWORD>(started)));
  EXPECT_FALSE(tool.isToolOrInItsJob(static_cast<DWORD>(::getpid())));
  tool.terminate();
  EXPECT_EQ(tool.waitFor(std::chrono::seconds(20)), peer::ToolProcess::kKilledStatus);
  EXPECT_FALSE(ended(started));
  tool.endJob();
  EXPECT_TRUE(testing_support::eventually([&] { return ended(started); }));
  output.finish(std::chrono::seconds(2));
}

}  // namespace
