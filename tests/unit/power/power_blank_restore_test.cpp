// Snapshot, blank, give-up rule and restore of the monitor power method on the simulated machine.
#include <json/reader.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/sim/library/library_files.h"
#include "tests/unit/power/power_blanker_fixture.h"

namespace {

using namespace power_test;

constexpr std::uint32_t kPowerBit = IOSScreenBlanker::DPMSBlanking;

struct OfferRow {
  const char* name;
  bool throughTestAccess;
  bool libraryPresent;
  std::uint32_t supported;
};

class OfferTest : public PowerBlankerTest, public ::testing::WithParamInterface<OfferRow> {};

TEST_P(OfferTest, PowerMethodNeedsTheTestAccessAndTheLibrary) {
  if (!GetParam().libraryPresent) {
    ASSERT_TRUE(sim::removeSystem32Library("dxva2.dll"));
  }
  if (GetParam().throughTestAccess) {
    make();
  } else {
    blanker = std::make_unique<WindowsScreenBlanker>(
        root.createCategoryLogger(velmo::logging::kInheritCategory), "");
  }
  EXPECT_EQ(blanker->getSupportedMethods(), GetParam().supported);
  // The worker takes the snapshot at its start exactly when the method is offered.
  const bool offered = (GetParam().supported & kPowerBit) != 0;
  EXPECT_EQ(calls("GetNumberOfPhysicalMonitorsFromHMONITOR"), offered ? 2u : 0u);
  EXPECT_EQ(Access::initialMonitors(*blanker).size(), offered ? 2u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Rows, OfferTest,
                         ::testing::Values(OfferRow{"program", false, true, 3},
                                           OfferRow{"testAccess", true, true, 7},
                                           OfferRow{"testAccessWithoutLibrary", true, false, 3}),
                         [](const auto& info) { return std::string(info.param.name); });

struct BlankRow {
  const char* name;
  std::function<void()> beforeStart;  // before the snapshot
  std::function<void()> beforePass;
  bool result;
  DWORD display1, display2;  // D6 after the pass
  std::size_t writes;
  const char* line;  // a line the pass logs, or nullptr
};

class BlankPassTest : public PowerBlankerTest, public ::testing::WithParamInterface<BlankRow> {};

TEST_P(BlankPassTest, ServesEveryMonitorAndCountsFailedPasses) {
  GetParam().beforeStart();
  make();
  GetParam().beforePass();
  sim::test::clearCalls();
  root.clear();
  const std::size_t enumerations = calls("EnumDisplayMonitors");
  std::uint32_t achieved = IOSScreenBlanker::NoBlanking | IOSScreenBlanker::GammaBlanking;
  EXPECT_EQ(Access::apply(*blanker, IOSScreenBlanker::NoBlanking, kBlankBoth, achieved),
            GetParam().result);
  EXPECT_EQ(achieved, GetParam().result ? 7u : 3u);
  EXPECT_EQ(Access::failureCount(*blanker), GetParam().result ? 0u : 1u);
  EXPECT_EQ(powerMode(kDisplay1), GetParam().display1);
  EXPECT_EQ(powerMode(kDisplay2), GetParam().display2);
  EXPECT_EQ(calls("SetVCPFeature"), GetParam().writes);
  // A failed pass lists the monitors again.
  EXPECT_EQ(calls("EnumDisplayMonitors") > enumerations, !GetParam().result);
  if (GetParam().line) {
    EXPECT_EQ(linesEqualTo(GetParam().line), 1u) << ::testing::PrintToString(root.messages());
  }
}

void both(const std::function<void(sim::SimPhysicalMonitor&)>& change) {
  for (const char* display : {kDisplay1, kDisplay2}) {
    ASSERT_TRUE(sim::updateMonitor(display, [&](sim::SimMonitor& m) { change(m.physical.at(0)); }));
  }
}

void fault(const char* display, const char* word) {
  ASSERT_TRUE(sim::updateMonitor(display, [word](sim::SimMonitor& m) {
    m.physical.at(0).faults[word] = 31;
  }));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BlankPassTest,
    ::testing::Values(
        BlankRow{"writesEveryMonitor", [] {}, [] {}, true, 4, 4, 2,
                 "Successfully put monitor \\\\.\\DISPLAY1 to sleep!"},
        BlankRow{"allAlreadyBlanked", [] {}, [] { both([](auto& m) { m.powerMode = 4; }); },
                 true, 4, 4, 0, nullptr},
        BlankRow{"readFailsOnTheFirst", [] {}, [] { fault(kDisplay1, "get"); }, false, 1, 4, 1,
                 "Failed to read \\\\.\\DISPLAY1 monitor power state!"},
        // The write succeeds, so the pass does; the next pass finds the monitor on and writes again.
        BlankRow{"setDoesNotStick", [] {}, [] { both([](auto& m) { m.setSticks = false; }); },
                 true, 1, 1, 2, "Successfully put monitor \\\\.\\DISPLAY2 to sleep!"},
        BlankRow{"writeFailsOnTheFirst", [] {}, [] { fault(kDisplay1, "set"); }, false, 1, 4, 2,
                 "Failed to put monitor \\\\.\\DISPLAY1 to sleep!"},
        BlankRow{"noPhysicalMonitors",
                 [] {
                   for (const char* display : {kDisplay1, kDisplay2}) {
                     ASSERT_TRUE(sim::updateMonitor(display, [](auto& m) { m.physical.clear(); }));
                   }
                 },
                 [] {}, false, 0, 0, 0,
                 "DPMS blanking failed; couldn't find any physical monitors to blank"}),
    [](const auto& info) { return std::string(info.param.name); });

// After a failed pass the list is rebuilt without power states; the next pass must still write
// each monitor's own blanking state, not the 0 of a record that was never read.
TEST_F(PowerBlankerTest, PassAfterARefreshWritesTheBlankingStateNotZero) {
  make();
  fault(kDisplay1, "get");
  std::uint32_t achieved = 3;
  ASSERT_FALSE(Access::apply(*blanker, 1, kBlankBoth, achieved));
  both([](auto& m) { m.faults.clear(); });
  sim::test::clearCalls();
  EXPECT_TRUE(Access::apply(*blanker, 1, kBlankBoth, achieved));
  EXPECT_EQ(powerMode(kDisplay1), 4u);
  EXPECT_EQ(powerMode(kDisplay2), 4u);
  for (const sim::test::Call& call : sim::test::callsOf("SetVCPFeature")) {
    EXPECT_EQ(call.arguments.substr(call.arguments.rfind(", ")), ", 4") << call.arguments;
  }
}

TEST_F(PowerBlankerTest, FiveFailedPassesInARowDisableTheMethodOnce) {
  make();
  Access::setRequestedMethods(*blanker, 7);
  std::uint32_t achieved = 3;
  auto failedPasses = [&](int passes) {
    fault(kDisplay1, "get");
    for (int i = 0; i < passes; ++i) {
      EXPECT_FALSE(Access::apply(*blanker, 1, kBlankBoth, achieved));
    }
  };
  failedPasses(4);
  both([](auto& m) { m.faults.clear(); });
  EXPECT_TRUE(Access::apply(*blanker, 1, kBlankBoth, achieved));
  failedPasses(4);
  EXPECT_EQ(blanker->getSupportedMethods(), 7u) << "four in a row do not disable it";
  EXPECT_EQ(Access::failureCount(*blanker), 4u);

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

TEST_F(PowerBlankerTest, RestoreWithoutSnapshotFailsWithoutAsking) {
  ScreenBlanker::setOption(0, true);
  make();
  sim::test::clearCalls();
  EXPECT_FALSE(Access::restore(*blanker));
  EXPECT_EQ(linesEqualTo("Can't restore DPMS state as initial state was not saved"), 1u);
  EXPECT_EQ(calls("EnumDisplayMonitors"), 0u);
}

TEST_F(PowerBlankerTest, RestoreOfAGoneMonitorFailsFiveTimesWhileTheOthersComeBack) {
  make();
  both([](auto& m) { m.powerMode = 4; });
  changeMonitor(kDisplay2, [](sim::SimMonitor& m) { m.physical.clear(); });
  sim::test::clearCalls();
  EXPECT_FALSE(Access::restore(*blanker));
  EXPECT_EQ(powerMode(kDisplay1), 1u);
  EXPECT_EQ(calls("SetVCPFeature"), 1u) << "later attempts find the first monitor restored";
  EXPECT_EQ(calls("EnumDisplayMonitors"), 1u);
  EXPECT_EQ(linesEqualTo("  Restored initial DPMS state (1) for monitor \\\\.\\DISPLAY1 : "
                         "Simulated Monitor 1"),
            5u);
  EXPECT_EQ(linesEqualTo("  Restoring initial DPMS state (1) for monitor \\\\.\\DISPLAY2 : "
                         "Simulated Monitor 2 failed!"),
            5u);
  for (int attempt = 0; attempt < 5; ++attempt) {
    EXPECT_EQ(linesEqualTo("Failed to restore all DPMS monitor states! (attempt = " +
                           std::to_string(attempt) + ")"),
              1u);
  }
  EXPECT_EQ(root.messages().back(), "Failed to restore all DPMS monitor states");
}

// The snapshot at the worker's start is logged per monitor and goes into the document.
TEST_F(PowerBlankerTest, DocumentCarriesTheSnapshotToARestoreRun) {
  std::string document;
  {
    WindowsScreenBlanker& saver = make();
    document = saver.getSavedDisplayStates();
  }
  EXPECT_EQ(linesEqualTo("Saving initial monitor DPMS states..."), 1u);
  EXPECT_EQ(linesEqualTo("  Saved initial DPMS state (1) for monitor Simulated Monitor 1"), 1u);
  EXPECT_EQ(linesEqualTo("  Saved initial DPMS state (1) for monitor Simulated Monitor 2"), 1u);
  Json::Value root;
  ASSERT_TRUE(Json::Reader().parse(document, root));
  ASSERT_EQ(root["initialMonitors"].size(), 2u);
  const Json::Value& second = root["initialMonitors"][1];
  EXPECT_EQ(second["name"].asString(), kDisplay2);
  EXPECT_EQ(second["description"].asString(), "Simulated Monitor 2");
  EXPECT_EQ(second["position"]["left"].asInt(), 1920);
  EXPECT_EQ(second["position"]["bottom"].asInt(), 1080);
  EXPECT_EQ(second["initialBlankingState"].asUInt(), 1u);

  // A saved state from a document is written as it stands, with no range test.
  root["initialMonitors"][1]["initialBlankingState"] = 2;
  both([](auto& m) { m.powerMode = 4; });
  ScreenBlanker::setOption(0, true);
  make(root.toStyledString());
  EXPECT_EQ(Access::initialMonitors(*blanker).size(), 2u);
  EXPECT_TRUE(Access::restore(*blanker));
  EXPECT_EQ(powerMode(kDisplay1), 1u);
  EXPECT_EQ(powerMode(kDisplay2), 2u);
}

TEST_F(PowerBlankerTest, WorkerBlanksAndRestoresMonitorsWithTheGammaRamps) {
  make();
  blanker->requestScreenBlanking(static_cast<IOSScreenBlanker::ScreenBlankingMethod>(kBlankBoth));
  EXPECT_EQ(linesEqualTo("Request to blank succeeded"), 1u);
  EXPECT_EQ(blanker->getCurrentMethods(), 7u);
  EXPECT_EQ(powerMode(kDisplay1), 4u);
  EXPECT_EQ(powerMode(kDisplay2), 4u);
  blanker->requestScreenBlanking(IOSScreenBlanker::NoBlanking);
  EXPECT_EQ(linesEqualTo("Request to restore succeeded"), 1u);
  EXPECT_EQ(blanker->getCurrentMethods(), 1u);
  EXPECT_EQ(powerMode(kDisplay1), 1u);
  EXPECT_EQ(powerMode(kDisplay2), 1u);
}

}  // namespace
