// The physical monitor inventory and the power states read into it, on the simulated machine.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "blanking/power/monitor_identity.h"
#include "platform/monitors.h"
#include "platform/sim/displays/display_state.h"
#include "tests/unit/power/power_blanker_fixture.h"

namespace {

using namespace power_test;
using velmo::logging::ERROR;
using velmo::logging::kUnexpectedFailure;

constexpr DWORD kFaultCode = 31;

// Without a snapshot at the worker's start the inventory is only what a test asks for.
class InventoryTest : public PowerBlankerTest {
 protected:
  void SetUp() override {
    PowerBlankerTest::SetUp();
    ScreenBlanker::setOption(0, true);
  }
  const std::vector<PhysicalMonitorRecord>& records() { return Access::physicalMonitors(*blanker); }
};

TEST_F(InventoryTest, ListsPhysicalMonitorsInOrderUnderTheirDisplayMonitor) {
  changeMonitor(kDisplay1, [](sim::SimMonitor& m) { m.physical.clear(); });
  changeMonitor(kDisplay2, [](sim::SimMonitor& m) {
    m.physical.push_back(m.physical.front());
    m.physical.back().description.clear();
  });
  make();
  ASSERT_TRUE(Access::enumerate(*blanker, false));
  ASSERT_EQ(records().size(), 2u);
  const PhysicalMonitorRecord& first = records()[0];
  const PhysicalMonitorRecord& second = records()[1];
  EXPECT_EQ(first.description, "Simulated Monitor 2");
  EXPECT_EQ(second.description, "");
  EXPECT_EQ(velmo::power::deviceNameText(first), kDisplay2);
  EXPECT_EQ(first.info.rcMonitor.left, 1920);
  EXPECT_EQ(first.info.rcMonitor.right, 3840);
  EXPECT_EQ(first.monitor, second.monitor);
  EXPECT_EQ(first.deviceContext, nullptr);
  EXPECT_NE(first.physicalMonitor, second.physicalMonitor);
  EXPECT_TRUE(velmo::power::isSameMonitor(first, second));
  EXPECT_EQ(first.blankingState, 0u) << "no power states without readPowerInfo";
  EXPECT_EQ(calls("GetMonitorInfoW"), 2u) << "the display without physical monitors is visited";
}

struct InventoryFailure {
  const char* name;
  std::function<void()> breakMachine;
  std::size_t recordsLeft;
  std::size_t monitorInfoCalls;
  const char* line;  // nullptr: no line of its own
};

class InventoryFailureTest : public InventoryTest,
                             public ::testing::WithParamInterface<InventoryFailure> {};

// A failure on the second display monitor stops the enumeration; the first one's records stay.
TEST_P(InventoryFailureTest, StopsTheEnumerationAndKeepsWhatWasListed) {
  make();
  GetParam().breakMachine();
  EXPECT_FALSE(Access::enumerate(*blanker, false));
  EXPECT_EQ(records().size(), GetParam().recordsLeft);
  EXPECT_EQ(calls("GetMonitorInfoW"), GetParam().monitorInfoCalls);
  if (GetParam().line) {
    EXPECT_EQ(linesEqualTo(GetParam().line), 1u) << ::testing::PrintToString(root.messages());
  }
  const std::vector<testing_support::LogRecord> all = root.records();
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all.back().message, "Physical monitor enumeration failed");
  EXPECT_EQ(all.back().level, ERROR);
  EXPECT_EQ(all.back().resultCode, kUnexpectedFailure);
}

void faultDisplay2(const char* word) {
  ASSERT_TRUE(sim::updateMonitor(kDisplay2, [word](sim::SimMonitor& m) { m.faults[word] = kFaultCode; }));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, InventoryFailureTest,
    ::testing::Values(
        InventoryFailure{"enumeration",
                         [] {
                           sim::test::setHook(&platform::EnumDisplayMonitors, "EnumDisplayMonitors",
                                              [](HDC, LPCRECT, MONITORENUMPROC, LPARAM) {
                                                return std::optional<BOOL>(FALSE);
                                              });
                         },
                         0, 0, nullptr},
        InventoryFailure{"count", [] { faultDisplay2("count"); }, 1, 1,
                         "Failed to get physical monitor count | Error 31!"},
        InventoryFailure{"monitorInfo",
                         [] {
                           sim::test::setHook(&platform::GetMonitorInfoW, "GetMonitorInfoW",
                                              [n = 0](HMONITOR, LPMONITORINFO) mutable {
                                                if (++n < 2) {
                                                  return std::optional<BOOL>();
                                                }
                                                sim::setLastError(1461);
                                                return std::optional<BOOL>(FALSE);
                                              });
                         },
                         1, 2, "Failed to get monitor info | Error 1461!"},
        InventoryFailure{"list", [] { faultDisplay2("list"); }, 1, 2,
                         "getPhysicalMonitorsFromHMONITOR failed with error 31!"}),
    [](const auto& info) { return std::string(info.param.name); });

struct NoMonitorsRow {
  std::size_t displaysBefore;
  bool readPowerInfo;
  bool logged;  // "No longer finding any monitors"
};

class NoMonitorsTest : public InventoryTest, public ::testing::WithParamInterface<NoMonitorsRow> {};

TEST_P(NoMonitorsTest, SucceedsAndSaysSoWhenTheCountChangedOrPowerIsRead) {
  sim::replaceDisplays(sim::defaultDisplays(GetParam().displaysBefore));
  make();
  Access::enumerate(*blanker, false);
  sim::replaceDisplays(sim::defaultDisplays(0));
  root.clear();
  EXPECT_TRUE(Access::enumerate(*blanker, GetParam().readPowerInfo));
  EXPECT_EQ(linesEqualTo("No longer finding any monitors"), GetParam().logged ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Rows, NoMonitorsTest,
                         ::testing::Values(NoMonitorsRow{0, true, true},
                                           NoMonitorsRow{0, false, false},
                                           NoMonitorsRow{2, false, true}));

struct PowerInfoRow {
  const char* name;
  std::function<void(sim::SimPhysicalMonitor&)> setUp;
  std::uint32_t initial, blanking;
  std::size_t requests;            // DDC/CI requests made: state, length, string in this order
  std::vector<std::string> lines;  // what the step logs, in order
};

class PowerInfoTest : public InventoryTest, public ::testing::WithParamInterface<PowerInfoRow> {};

TEST_P(PowerInfoTest, ReadsStateThenCapabilitiesAndLogsTheSummary) {
  sim::replaceDisplays(sim::defaultDisplays(1));
  changePhysical(kDisplay1, GetParam().setUp);
  make();
  root.clear();
  sim::test::clearCalls();
  ASSERT_TRUE(Access::enumerate(*blanker, true));
  ASSERT_EQ(records().size(), 1u);
  EXPECT_EQ(records()[0].initialBlankingState, GetParam().initial);
  EXPECT_EQ(records()[0].blankingState, GetParam().blanking);
  std::vector<std::string> requests;
  for (const sim::test::Call& call : sim::test::calls()) {
    if (call.name.find("VCP") != std::string::npos || call.name.find("Capabilities") != std::string::npos) {
      requests.push_back(call.name);
    }
  }
  const std::vector<std::string> order{"GetVCPFeatureAndVCPFeatureReply",
                                       "GetCapabilitiesStringLength",
                                       "CapabilitiesRequestAndCapabilitiesReply"};
  EXPECT_EQ(requests, std::vector<std::string>(order.begin(), order.begin() + GetParam().requests));
  EXPECT_EQ(root.messages(), GetParam().lines);
}

std::string summary(std::uint32_t current, std::uint32_t maximum, std::uint32_t blanking) {
  return "  Monitor [Simulated Monitor 1]: current power state = " + std::to_string(current) +
         ", maximum power state = " + std::to_string(maximum) +
         ", blanking state = " + std::to_string(blanking);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PowerInfoTest,
    ::testing::Values(
        PowerInfoRow{"defaultMonitorReportsFive", [](sim::SimPhysicalMonitor&) {}, 1, 4,
                     3,
                     {"  Found power saving caps 01 04 05", "  Using power saving state: 4",
                      summary(1, 5, 4)}},
        PowerInfoRow{"readFailsListDecides",
                     [](sim::SimPhysicalMonitor& m) {
                       m.faults["get"] = kFaultCode;
                       m.capabilities = "vcp(D6(01 02))";
                     },
                     1, 2, 3,
                     {"Failed to get monitor power state info with error 31!",
                      "  Found power saving caps 01 02", "  Using power saving state: 2",
                      summary(1, 1, 2)}},
        PowerInfoRow{"readingsWithoutList",
                     [](sim::SimPhysicalMonitor& m) {
                       m.powerMode = 2;
                       m.powerModeMaximum = 3;
                       m.capabilities = "vcp(10 12)";
                     },
                     2, 3, 3, {summary(2, 3, 3)}},
        PowerInfoRow{"lengthFails",
                     [](sim::SimPhysicalMonitor& m) {
                       m.powerMode = 4;
                       m.powerModeMaximum = 1;
                       m.faults["caps-length"] = kFaultCode;
                     },
                     1, 4, 2,
                     {"Failed to get monitor capabilities string length with error 31!",
                      summary(1, 1, 4)}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
