// The capabilities text is bounded before any regular expression sees it.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "blanking/power/power_capabilities.h"
#include "tests/support/recording_logger.h"

namespace {

// The choice (fallback 9) and its last line for "vcp(D6(", blanks, "04))" of exactly `size` bytes.
std::pair<std::uint32_t, std::string> choose(std::size_t size) {
  testing_support::RecordingLogger log;
  const std::string text = "vcp(D6(" + std::string(size - 11, ' ') + "04))";
  const std::uint32_t state = velmo::power::chooseBlankingState(text, 9, log);
  return {state, log.messages().back()};
}

TEST(CapabilitiesLimit, ReadsUpToTheLimitAndFallsBackBeyondIt) {
  EXPECT_EQ(choose(velmo::power::kMaxCapabilitiesLength),
            std::make_pair(4u, std::string("  Using power saving state: 4")));
  for (const std::size_t size : {4097u, 65536u}) {
    EXPECT_EQ(choose(size), std::make_pair(9u, "  Capabilities string of " + std::to_string(size) +
                                                   " bytes is longer than 4096, not read"));
  }
}

}  // namespace
