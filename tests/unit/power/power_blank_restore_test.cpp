// Snapshot, blank, give-up rule and restore of the monitor power method on the simulated machine.
#include <json/reader.h>

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>

#include "platform/monitors.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/library/library_files.h"
#include "tests/unit/power/power_blanker_fixture.h"

namespace {

using namespace power_test;

void both(const std::function<void(sim::SimMonitor&)>& change) {
  for (const char* display : {kDisplay1, kDisplay2}) ASSERT_TRUE(sim::updateMonitor(display, change));
}
void fault(const char* display, const char* word) {
  ASSERT_TRUE(sim::updateMonitor(display, [word](auto& m) { m.physical.at(0).faults[word] = 31; }));
}
void blanked(sim::SimMonitor& m) { m.physical.at(0).powerMode = 4; }

// Without dxva2.dll the test access cannot offer the method either, and no snapshot is taken.
TEST_F(PowerBlankerTest, PowerMethodNeedsTheLibrary) {
  ASSERT_TRUE(sim::removeSystem32Library("dxva2.dll"));
  make();
  EXPECT_EQ(blanker->getSupportedMethods(), 3u);
  EXPECT_TRUE(Access::initialMonitors(*blanker).empty());
}

struct BlankRow {
  void (*beforeStart)();  // before the snapshot, or nullptr
  void (*beforePass)();   // or nullptr
  bool result;
  Modes modes;  // after the pass
  std::size_t writes;
  const char* line;  // a line the pass logs, or nullptr for a silent pass
};

class BlankPass : public PowerBlankerTest, public ::testing::WithParamInterface<BlankRow> {};

// Every monitor is served whatever happens to another; a failed pass is counted and lists the
// monitors again.
TEST_P(BlankPass, ServesEveryMonitorAndCountsFailedPasses) {
  const BlankRow& row = GetParam();
  if (row.beforeStart) row.beforeStart();
  make();
  if (row.beforePass) row.beforePass();
  sim::test::clearCalls();
  root.clear();
  std::uint32_t achieved = IOSScreenBlanker::NoBlanking | IOSScreenBlanker::GammaBlanking;
  EXPECT_EQ(Access::apply(*blanker, IOSScreenBlanker::NoBlanking, kBlankBoth, achieved), row.result);
  EXPECT_EQ(achieved, row.result ? 7u : 3u);
  EXPECT_EQ(Access::failureCount(*blanker), row.result ? 0u : 1u);
  EXPECT_EQ(powerModes(), row.modes);
  EXPECT_EQ(calls("SetVCPFeature"), row.writes);
  EXPECT_EQ(calls("EnumDisplayMonitors") > 0, !row.result);
  // The row's line once; with none, no line at all.
  EXPECT_EQ(row.line ? linesEqualTo(row.line) : root.messages().size(), row.line ? 1u : 0u)
      << ::testing::PrintToString(root.messages());
  if (row.modes.first == 0) return;  // no monitor to come back
  // Once the faults are gone the next pass blanks every monitor. After a failed pass the list was
  // rebuilt without power states: each monitor still gets its own blanking state, not a 0.
  both([](sim::SimMonitor& m) { m.physical.at(0).faults.clear(); });
  EXPECT_TRUE(Access::apply(*blanker, 1, kBlankBoth, achieved));
  EXPECT_EQ(powerModes(), Modes(4, 4));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BlankPass,
    ::testing::Values(
        BlankRow{nullptr, nullptr, true, {4, 4}, 2, "Successfully put monitor \\\\.\\DISPLAY1 to sleep!"},
        BlankRow{nullptr, [] { both(blanked); }, true, {4, 4}, 0, nullptr},
        BlankRow{nullptr, [] { fault(kDisplay1, "get"); }, false, {1, 4}, 1,
                 "Failed to read \\\\.\\DISPLAY1 monitor power state!"},
        BlankRow{nullptr, [] { fault(kDisplay1, "set"); }, false, {1, 4}, 2,
                 "Failed to put monitor \\\\.\\DISPLAY1 to sleep!"},
        BlankRow{[] { both([](sim::SimMonitor& m) { m.physical.clear(); }); }, nullptr, false, {0, 0}, 0,
                 "DPMS blanking failed; couldn't find any physical monitors to blank"}));

TEST_F(PowerBlankerTest, FiveFailedPassesInARowDisableTheMethodOnce) {
  make();
  Access::setRequestedMethods(*blanker, 7);
  std::uint32_t achieved = 3;
  auto failedPasses = [&](int passes) {
    fault(kDisplay1, "get");
    for (int i = 0; i < passes; ++i) EXPECT_FALSE(Access::apply(*blanker, 1, kBlankBoth, achieved));
  };
  failedPasses(4);
  both([](sim::SimMonitor& m) { m.physical.at(0).faults.clear(); });
  EXPECT_TRUE(Access::apply(*blanker, 1, kBlankBoth, achieved));
  failedPasses(4);
  EXPECT_EQ(blanker->getSupportedMethods(), 7u) << "four in a row do not disable it";
  failedPasses(1);
  const std::string disabled =
      "DPMS blanking has failed 5 times - disabling this screen blanking mechanism";
  EXPECT_EQ(linesEqualTo(disabled), 1u);
  EXPECT_EQ(blanker->getSupportedMethods(), 3u);
  EXPECT_EQ(Access::requestedMethods(*blanker), 3u);
  // From here every pass fails at once and no monitor is asked anything.
  sim::test::clearCalls();
  failedPasses(2);
  EXPECT_EQ(calls("GetVCPFeatureAndVCPFeatureReply"), 0u);
  EXPECT_EQ(linesEqualTo(disabled), 1u);
}

TEST_F(PowerBlankerTest, RestoreOfAGoneMonitorFailsFiveTimesWhileTheOthersComeBack) {
  make();
  both(blanked);
  ASSERT_TRUE(sim::updateMonitor(kDisplay2, [](sim::SimMonitor& m) { m.physical.clear(); }));
  sim::test::clearCalls();
  EXPECT_FALSE(Access::restore(*blanker));
  EXPECT_EQ(powerModes(), Modes(1, 0));
  EXPECT_EQ(calls("SetVCPFeature"), 1u) << "later attempts find the first monitor restored";
  EXPECT_EQ(calls("EnumDisplayMonitors"), 1u);
  EXPECT_EQ(linesEqualTo("  Restored initial DPMS state (1) for monitor \\\\.\\DISPLAY1 : "
                         "Simulated Monitor 1"), 5u);
  EXPECT_EQ(linesEqualTo("  Restoring initial DPMS state (1) for monitor \\\\.\\DISPLAY2 : "
                         "Simulated Monitor 2 failed!"), 5u);
  EXPECT_EQ(root.count("Failed to restore all DPMS monitor states! (attempt = "), 5u);
  EXPECT_EQ(linesEqualTo("Failed to restore all DPMS monitor states! (attempt = 0)"), 1u);
  EXPECT_EQ(linesEqualTo("Failed to restore all DPMS monitor states! (attempt = 4)"), 1u);
  EXPECT_EQ(root.messages().back(), "Failed to restore all DPMS monitor states");
}

// The snapshot at the worker's start is logged per monitor and goes into the document; the worker
// blanks and restores the monitors with the gamma ramps; a restore run without the document has
// nothing to go back to, and one with it writes a saved state as it stands, with no range test.
TEST_F(PowerBlankerTest, SnapshotIsBlankedRestoredAndCarriedByTheDocument) {
  const std::string document = make().getSavedDisplayStates();
  EXPECT_EQ(linesEqualTo("  Saved initial DPMS state (1) for monitor Simulated Monitor 2"), 1u);
  Json::Value saved;
  ASSERT_TRUE(Json::Reader().parse(document, saved));
  ASSERT_EQ(saved["initialMonitors"].size(), 2u);

  blanker->requestScreenBlanking(static_cast<IOSScreenBlanker::ScreenBlankingMethod>(kBlankBoth));
  EXPECT_EQ(blanker->getCurrentMethods(), 7u);
  EXPECT_EQ(powerModes(), Modes(4, 4));
  blanker->requestScreenBlanking(IOSScreenBlanker::NoBlanking);
  EXPECT_EQ(blanker->getCurrentMethods(), 1u);
  EXPECT_EQ(powerModes(), Modes(1, 1));

  saved["initialMonitors"][1]["initialBlankingState"] = 2;
  both(blanked);
  ScreenBlanker::setOption(0, true);
  make();
  sim::test::clearCalls();
  EXPECT_FALSE(Access::restore(*blanker));
  EXPECT_EQ(linesEqualTo("Can't restore DPMS state as initial state was not saved"), 1u);
  EXPECT_EQ(calls("EnumDisplayMonitors"), 0u);
  make(saved.toStyledString());
  {
    const sim::test::ScopedHook noListing(&platform::EnumDisplayMonitors, [](HDC, LPCRECT, MONITORENUMPROC, LPARAM) {
      return std::optional<BOOL>(FALSE);
    });
    EXPECT_FALSE(Access::restore(*blanker)) << "monitors that cannot be listed are not restored";
    EXPECT_EQ(linesEqualTo("Physical monitor enumeration failed"), 1u);
  }
  EXPECT_TRUE(Access::restore(*blanker));
  EXPECT_EQ(powerModes(), Modes(1, 2));
  make(R"({"initialMonitors": []})");
  EXPECT_TRUE(Access::restore(*blanker)) << "a snapshot of no monitors has nothing to restore";
  saved["initialMonitors"][0]["name"] = std::string(40, 'n');
  make(saved.toStyledString());
  EXPECT_NE(blanker->getSavedDisplayStates().find('"' + std::string(31, 'n') + '"'), std::string::npos)
      << "a long name is cut to the 31 units before the terminator";
}

}  // namespace
