#include "tests/support/sim_test.h"

#include <cstdlib>
#include <unistd.h>

#include "platform/sim/core/handles.h"
#include "platform/sim/core/machine.h"
#include "platform/sim/core/test_api.h"

namespace testing_support {

void SimTest::SetUp() {
  std::string pattern = (std::filesystem::temp_directory_path() / "kestrine-test-XXXXXX").string();
  ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
  simRoot = pattern;
  ::setenv("KESTRINE_SIM_ROOT", simRoot.c_str(), 1);
  sim::test::clearHooks();
  sim::test::clearCalls();
  sim::test::recordCalls(true);
}

void SimTest::TearDown() {
  sim::test::clearHooks();
  sim::test::recordCalls(false);
  sim::test::clearCalls();
  EXPECT_EQ(sim::test::openHandleCount(), 0u) << "a handle was left open";
  std::error_code ec;
  std::filesystem::remove_all(simRoot, ec);
}

}  // namespace testing_support
