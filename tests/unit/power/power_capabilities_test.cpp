#include "blanking/power/power_capabilities.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "blanking/power/monitor_identity.h"
#include "tests/support/recording_logger.h"

namespace {

using testing_support::RecordingLogger;
using velmo::power::chooseBlankingState;
using velmo::power::normalisePowerStates;

struct NormaliseRow {
  std::uint32_t current, maximum, initial, blanking;
};

class NormalisePowerStates : public ::testing::TestWithParam<NormaliseRow> {};

TEST_P(NormalisePowerStates, GivesTheWorkedPair) {
  const velmo::power::PowerStates states = normalisePowerStates(GetParam().current, GetParam().maximum);
  EXPECT_EQ(states.initialBlankingState, GetParam().initial);
  EXPECT_EQ(states.blankingState, GetParam().blanking);
}

INSTANTIATE_TEST_SUITE_P(Rows, NormalisePowerStates,
                         ::testing::Values(NormaliseRow{1, 4, 1, 4}, NormaliseRow{1, 1, 1, 1},
                                           NormaliseRow{4, 4, 4, 4}, NormaliseRow{4, 1, 1, 4},
                                           NormaliseRow{2, 3, 2, 3}, NormaliseRow{1, 5, 1, 4},
                                           NormaliseRow{0, 4, 1, 4},
                                           NormaliseRow{3, 0xFFFFFFFFu, 1, 4}));

constexpr std::uint32_t kFallback = 77;  // a value no row can give but by falling back

struct ChooseRow {
  const char* name;
  std::string text;
  std::optional<std::string> group;  // the "Found power saving caps" line, if any
  std::uint32_t result;
};

class ChooseBlankingState : public ::testing::TestWithParam<ChooseRow> {};

TEST_P(ChooseBlankingState, FollowsTheFirstD6Entry) {
  RecordingLogger log;
  EXPECT_EQ(chooseBlankingState(GetParam().text, kFallback, log), GetParam().result);
  const std::vector<std::string> lines = log.messages();
  std::vector<std::string> expected;
  if (GetParam().group) {
    expected.push_back("  Found power saving caps " + *GetParam().group);
  }
  if (GetParam().result != kFallback) {
    expected.push_back("  Using power saving state: " + std::to_string(GetParam().result));
  }
  EXPECT_EQ(lines, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ChooseBlankingState,
    ::testing::Values(
        ChooseRow{"fullString",
                  "(prot(monitor)type(lcd)cmds(01 02 03)vcp(02 10 14(05 08 0B) D6(01 04 05) DF)"
                  "mccs_ver(2.1))",
                  "01 04 05", 4},
        ChooseRow{"highestUpToFour", "vcp(D6(01 02 03))", "01 02 03", 3},
        ChooseRow{"lowerCaseWithBlank", "vcp(d6 (04))", "04", 4},
        ChooseRow{"blanksInside", "vcp(D6( 1 4 ))", " 1 4 ", 4},
        ChooseRow{"aboveFourSkipped", "vcp(D6(0A 03))", "0A 03", 3},
        ChooseRow{"firstEntryOnly", "vcp(D6(01 02) D6(04))", "01 02", 2},
        ChooseRow{"entryWithoutList", "vcp(D6 D6(03))", "03", 3},
        ChooseRow{"entryWithLetters", "vcp(D6(xy) D6(02))", "02", 2},
        ChooseRow{"onlyFive", "vcp(D6(05))", "05", kFallback},
        ChooseRow{"emptyList", "vcp(D6())", "", kFallback},
        ChooseRow{"noParentheses", "vcp(D6 DF)", std::nullopt, kFallback},
        ChooseRow{"noWordBoundary", "vcp(AD6(01 04))", std::nullopt, kFallback},
        ChooseRow{"hexPrefix", "vcp(D6(0x04))", std::nullopt, kFallback},
        ChooseRow{"withTerminator", std::string("vcp(D6(02))\0", 12), "02", 2},
        // Tokens too large for 32 bits are above 4 like any other large value: skipped.
        ChooseRow{"tooLargeSkipped", "vcp(D6(100000004 03))", "100000004 03", 3}),
    [](const auto& info) { return std::string(info.param.name); });

PhysicalMonitorRecord monitorAt(const char16_t* name, RECT rect) {
  PhysicalMonitorRecord record;
  std::char_traits<char16_t>::copy(record.info.szDevice, name,
                                   std::char_traits<char16_t>::length(name) + 1);
  record.info.rcMonitor = rect;
  return record;
}

TEST(IsSameMonitor, ComparesDeviceNameAndRectangleOnly) {
  const RECT place{0, 0, 1920, 1080};
  PhysicalMonitorRecord first = monitorAt(u"\\\\.\\DISPLAY1", place);
  PhysicalMonitorRecord other = first;
  other.description = "another description";
  other.physicalMonitor = reinterpret_cast<HANDLE>(0x104);
  other.initialBlankingState = 4;
  EXPECT_TRUE(velmo::power::isSameMonitor(first, other));
  for (const RECT moved : {RECT{1, 0, 1920, 1080}, RECT{0, 1, 1920, 1080}, RECT{0, 0, 1921, 1080},
                           RECT{0, 0, 1920, 1079}}) {
    EXPECT_FALSE(velmo::power::isSameMonitor(first, monitorAt(u"\\\\.\\DISPLAY1", moved)));
  }
  EXPECT_FALSE(velmo::power::isSameMonitor(first, monitorAt(u"\\\\.\\DISPLAY2", place)));
  EXPECT_FALSE(velmo::power::isSameMonitor(first, monitorAt(u"\\\\.\\display1", place)));
  // Whatever follows the terminator is not part of the name.
  other.info.szDevice[20] = u'X';
  EXPECT_TRUE(velmo::power::isSameMonitor(first, other));
}

}  // namespace
