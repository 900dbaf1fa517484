#include "blanking/power/power_capabilities.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "blanking/power/monitor_identity.h"
#include "tests/support/recording_logger.h"

namespace {

using velmo::power::isSameMonitor;

TEST(NormalisePowerStates, GivesTheWorkedPair) {
  using Row = std::array<std::uint32_t, 4>;  // current, maximum, initial, blanking
  for (const auto& [current, maximum, initial, blanking] :
       {Row{1, 4, 1, 4}, Row{1, 1, 1, 1}, Row{4, 4, 4, 4}, Row{4, 1, 1, 4}, Row{2, 3, 2, 3},
        Row{1, 5, 1, 4}, Row{0, 4, 1, 4}, Row{3, 0xFFFFFFFFu, 1, 4}}) {
    const velmo::power::PowerStates states = velmo::power::normalisePowerStates(current, maximum);
    EXPECT_EQ(states.initialBlankingState, initial) << current << " " << maximum;
    EXPECT_EQ(states.blankingState, blanking) << current << " " << maximum;
  }
}

struct ChooseRow {
  std::string text;
  std::optional<std::string> group;  // the "Found power saving caps" line, if any
  std::uint32_t result;
};

constexpr std::uint32_t kFallback = 77;  // a value no row can give but by falling back

TEST(ChooseBlankingState, FollowsTheFirstD6Entry) {
  for (const ChooseRow& row : std::vector<ChooseRow>{
           {"vcp(D6(01 02 03))", "01 02 03", 3},  // the highest up to four
           {"vcp(d6 (04))", "04", 4},
           {"vcp(D6(01 02) D6(04))", "01 02", 2},  // the first entry only
           {"vcp(D6 D6(03))", "03", 3},
           {"vcp(D6(05))", "05", kFallback},  // only values above four: no list
           {"vcp(D6())", "", kFallback},
           {"vcp(AD6(01 04))", std::nullopt, kFallback},
           {"vcp(D6(0x04))", std::nullopt, kFallback},
           {std::string("vcp(D6(02))\0", 12), "02", 2},
           // Tokens too large for 32 bits are above 4 like any other large value: skipped.
           {"vcp(D6(100000004 03))", "100000004 03", 3}}) {
    testing_support::RecordingLogger log;
    EXPECT_EQ(velmo::power::chooseBlankingState(row.text, kFallback, log), row.result) << row.text;
    std::vector<std::string> expected;
    if (row.group) expected.push_back("  Found power saving caps " + *row.group);
    if (row.result != kFallback) {
      expected.push_back("  Using power saving state: " + std::to_string(row.result));
    }
    EXPECT_EQ(log.messages(), expected) << row.text;
  }
}

PhysicalMonitorRecord monitorAt(const char16_t* name, RECT rect) {
  PhysicalMonitorRecord record;
  std::char_traits<char16_t>::copy(record.info.szDevice, name, std::char_traits<char16_t>::length(name) + 1);
  record.info.rcMonitor = rect;
  return record;
}

// Whatever follows the terminator is not part of the name; handles and descriptions play no part
// (two physical monitors of one display are the same, see the inventory test).
TEST(IsSameMonitor, ComparesDeviceNameAndRectangleOnly) {
  const PhysicalMonitorRecord first = monitorAt(u"\\\\.\\DISPLAY1", RECT{0, 0, 1920, 1080});
  PhysicalMonitorRecord other = first;
  other.info.szDevice[20] = u'X';
  EXPECT_TRUE(isSameMonitor(first, other));
  for (const RECT moved : {RECT{1, 0, 1920, 1080}, RECT{0, 1, 1920, 1080}, RECT{0, 0, 1921, 1080},
                           RECT{0, 0, 1920, 1079}}) {
    EXPECT_FALSE(isSameMonitor(first, monitorAt(u"\\\\.\\DISPLAY1", moved)));
  }
  EXPECT_FALSE(isSameMonitor(first, monitorAt(u"\\\\.\\display1", RECT{0, 0, 1920, 1080})));
}

}  // namespace
