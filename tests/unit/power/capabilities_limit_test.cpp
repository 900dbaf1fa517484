// The capabilities text is bounded before any regular expression sees it.
#include <gtest/gtest.h>

#include <string>

#include "blanking/power/power_capabilities.h"
#include "tests/support/recording_logger.h"

namespace {

// "vcp(D6(", blanks, "04))": exactly `size` bytes whose one D6 entry declares state 4.
std::string paddedEntry(std::size_t size) {
  const std::string head = "vcp(D6(";
  const std::string tail = "04))";
  return head + std::string(size - head.size() - tail.size(), ' ') + tail;
}

struct LimitRow {
  std::size_t size;
  std::uint32_t result;
  const char* lastLine;
};

class CapabilitiesLimit : public ::testing::TestWithParam<LimitRow> {};

TEST_P(CapabilitiesLimit, ReadsUpToTheLimitAndFallsBackBeyondIt) {
  testing_support::RecordingLogger log;
  EXPECT_EQ(velmo::power::chooseBlankingState(paddedEntry(GetParam().size), 9, log),
            GetParam().result);
  ASSERT_FALSE(log.messages().empty());
  EXPECT_EQ(log.messages().back(), GetParam().lastLine);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, CapabilitiesLimit,
    ::testing::Values(
        LimitRow{velmo::power::kMaxCapabilitiesLength, 4, "  Using power saving state: 4"},
        LimitRow{4097, 9, "  Capabilities string of 4097 bytes is longer than 4096, not read"},
        LimitRow{65536, 9, "  Capabilities string of 65536 bytes is longer than 4096, not read"}));

}  // namespace
