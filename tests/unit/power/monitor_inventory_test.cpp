// The physical monitor inventory and the power states read into it, on the simulated machine.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "blanking/power/monitor_identity.h"
#include "platform/sim/displays/display_state.h"
#include "tests/unit/power/power_blanker_fixture.h"

namespace {

using namespace power_test;

// Without a snapshot at the worker's start the inventory is only what a test asks for.
class InventoryTest : public PowerBlankerTest {
 protected:
  void SetUp() override {
    PowerBlankerTest::SetUp();
    ScreenBlanker::setOption(0, true);
  }
  const std::vector<PhysicalMonitorRecord>& records() { return Access::physicalMonitors(*blanker); }
};

TEST_F(InventoryTest, ListsPhysicalMonitorsInOrderAndSaysWhenNoneAreLeft) {
  ASSERT_TRUE(sim::updateMonitor(kDisplay1, [](sim::SimMonitor& m) { m.physical.clear(); }));
  ASSERT_TRUE(sim::updateMonitor(kDisplay2, [](sim::SimMonitor& m) {
    m.physical.push_back(m.physical.front());
    m.physical.back().description.clear();
  }));
  make();
  ASSERT_TRUE(Access::enumerate(*blanker, false));
  ASSERT_EQ(records().size(), 2u);
  const PhysicalMonitorRecord& first = records()[0];
  EXPECT_EQ(first.description, "Simulated Monitor 2");
  EXPECT_EQ(records()[1].description, "");
  EXPECT_EQ(velmo::power::deviceNameText(first), kDisplay2);
  EXPECT_EQ(first.info.rcMonitor.left, 1920);
  EXPECT_EQ(first.monitor, records()[1].monitor);
  EXPECT_NE(first.physicalMonitor, records()[1].physicalMonitor);
  EXPECT_TRUE(velmo::power::isSameMonitor(first, records()[1]));
  EXPECT_EQ(first.blankingState, 0u) << "no power states without readPowerInfo";
  EXPECT_EQ(calls("GetMonitorInfoW"), 2u) << "the display without physical monitors is visited";

  // An empty list is said when the count changed or power is read, and is no failure.
  sim::replaceDisplays(sim::defaultDisplays(0));
  using Row = std::pair<bool, std::size_t>;  // readPowerInfo, lines
  for (const auto& [readPowerInfo, lines] : {Row{false, 1}, Row{false, 0}, Row{true, 1}}) {
    root.clear();
    EXPECT_TRUE(Access::enumerate(*blanker, readPowerInfo));
    EXPECT_EQ(linesEqualTo("No longer finding any monitors"), lines) << readPowerInfo;
  }
}

// A failure on the second display monitor stops the enumeration; the first one's records stay.
TEST_F(InventoryTest, FailureStopsTheEnumerationAndKeepsWhatWasListed) {
  make();
  using Row = std::tuple<const char*, std::size_t, const char*>;  // fault, GetMonitorInfoW calls, line
  for (const auto& [word, monitorInfoCalls, line] :
       {Row{"count", 1, "Failed to get physical monitor count | Error 31!"},
        Row{"list", 2, "getPhysicalMonitorsFromHMONITOR failed with error 31!"}}) {
    ASSERT_TRUE(sim::updateMonitor(kDisplay2, [w = word](sim::SimMonitor& m) { m.faults = {{w, 31}}; }));
    sim::test::clearCalls();
    root.clear();
    EXPECT_FALSE(Access::enumerate(*blanker, false));
    EXPECT_EQ(records().size(), 1u);
    EXPECT_EQ(calls("GetMonitorInfoW"), monitorInfoCalls) << "asked between count and list";
    EXPECT_EQ(linesEqualTo(line), 1u);
    const testing_support::LogRecord last = root.records().back();
    EXPECT_EQ(last.message, "Physical monitor enumeration failed");
    EXPECT_EQ(last.level, velmo::logging::ERROR);
    EXPECT_EQ(last.resultCode, velmo::logging::kUnexpectedFailure);
  }
}

struct PowerInfoRow {
  DWORD mode, maximum;       // what the monitor reports
  const char* capabilities;  // nullptr: the default string, which lists D6(01 04 05)
  const char* fault;         // a DDC/CI request that fails with 31, or nullptr
  std::uint32_t initial, blanking;
  std::vector<std::string> lines;  // what the step logs, in order
};

class PowerInfo : public InventoryTest, public ::testing::WithParamInterface<PowerInfoRow> {};

// The state is read first, the capabilities also after a failed read, and the summary always ends.
TEST_P(PowerInfo, ReadsStateThenCapabilitiesAndLogsTheSummary) {
  const PowerInfoRow& row = GetParam();
  sim::replaceDisplays(sim::defaultDisplays(1));
  changePhysical(kDisplay1, [&](sim::SimPhysicalMonitor& m) {
    m.powerMode = row.mode;
    m.powerModeMaximum = row.maximum;
    if (row.capabilities) m.capabilities = row.capabilities;
    if (row.fault) m.faults[row.fault] = 31;
  });
  make();
  root.clear();
  ASSERT_TRUE(Access::enumerate(*blanker, true));
  ASSERT_EQ(records().size(), 1u);
  EXPECT_EQ(records()[0].initialBlankingState, row.initial);
  EXPECT_EQ(records()[0].blankingState, row.blanking);
  EXPECT_EQ(root.messages(), row.lines);
}

std::string summary(std::uint32_t current, std::uint32_t maximum, std::uint32_t blanking) {
  return "  Monitor [Simulated Monitor 1]: current power state = " + std::to_string(current) +
         ", maximum power state = " + std::to_string(maximum) +
         ", blanking state = " + std::to_string(blanking);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PowerInfo,
    ::testing::Values(
        // Maximum 5 sets the readings aside; the list decides.
        PowerInfoRow{1, 5, nullptr, nullptr, 1, 4,
                     {"  Found power saving caps 01 04 05", "  Using power saving state: 4",
                      summary(1, 5, 4)}},
        PowerInfoRow{1, 5, "vcp(D6(01 02))", "get", 1, 2,
                     {"Failed to get monitor power state info with error 31!",
                      "  Found power saving caps 01 02", "  Using power saving state: 2",
                      summary(1, 1, 2)}},
        PowerInfoRow{4, 1, nullptr, "caps-length", 1, 4,
                     {"Failed to get monitor capabilities string length with error 31!",
                      summary(1, 1, 4)}}));

}  // namespace
