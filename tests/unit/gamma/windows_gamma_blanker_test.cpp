// The blank and restore passes of the gamma blanker over simulated displays.
#include "blanking/gamma/windows_gamma_blanker.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/displays.h"
#include "platform/sim/core/test_api.h"
#include "tests/unit/gamma/gamma_fixture.h"
#include "tests/unit/library/message_of.h"

namespace {

using gamma_test::GammaTest;
using gamma_test::kDisplay1;
using gamma_test::kDisplay2;
using testing_support::LogRecord;
using velmo::logging::DEBUG;
using velmo::logging::ERROR;
using velmo::logging::kUnexpectedFailure;
using velmo::logging::LogLevel;

const std::string kBlankSummary = "Failed to set blanking gamma ramps for one or more displays";
const std::string kRestoreSummary = "Failed to restore initial gamma ramps for one or more displays";

// A ramp unlike the identity: word i of channel c is 200 x i + c.
sim::RampWords customRamp() {
  sim::RampWords ramp{};
  for (std::size_t i = 0; i < ramp.size(); ++i) {
    ramp[i] = static_cast<WORD>(200 * (i % 256) + i / 256);
  }
  return ramp;
}

std::vector<LogRecord> recordsWith(const testing_support::RecordingLogger& log,
                                   const std::string& fragment) {
  std::vector<LogRecord> found;
  for (const LogRecord& record : log.records()) {
    if (record.message.find(fragment) != std::string::npos) {
      found.push_back(record);
    }
  }
  return found;
}

TEST_F(GammaTest, ConstructionNeedsALogger) {
  EXPECT_EQ(library_test::messageOf<std::invalid_argument>(
                [] { WindowsGammaBlanker blanker(nullptr, Json::Value(), false); }),
            "Windows gamma blanker requires a logger");
}

TEST_F(GammaTest, SaveBlankAndRestoreBringTheRampsBack) {
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) { d.ramp = customRamp(); });
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  const std::size_t readsAtConstruction = callCount("GetDeviceGammaRamp");

  EXPECT_TRUE(blanker.blank());
  EXPECT_TRUE(blanker.blank());
  EXPECT_TRUE(gamma_test::isDark(deviceRamp(kDisplay1)));
  EXPECT_TRUE(gamma_test::isDark(deviceRamp(kDisplay2)));
  EXPECT_EQ(callCount("GetDeviceGammaRamp"), readsAtConstruction) << "saved once, at construction";

  EXPECT_TRUE(blanker.restore());
  EXPECT_EQ(deviceRamp(kDisplay1), customRamp());
  EXPECT_EQ(deviceRamp(kDisplay2), sim::identityRamp());
  EXPECT_EQ(log.count("Restored Gammas; RGB brightness (51000, 51001, 51002)"), 1u);
  EXPECT_FALSE(log.contains("Failed"));
}

TEST_F(GammaTest, FailingDisplayDoesNotStopTheBlankPass) {
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) {
    d.faults.setFails = true;
    d.faults.setErrorCode = 87;
  });
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  EXPECT_FALSE(blanker.blank());
  EXPECT_TRUE(gamma_test::isDark(deviceRamp(kDisplay2)));
  const auto failed = recordsWith(log, "Failed to set gamma ramp for \\\\.\\DISPLAY1 display");
  ASSERT_EQ(failed.size(), 1u);
  EXPECT_EQ(failed[0].level, ERROR);
  EXPECT_EQ(failed[0].resultCode, 87);
  ASSERT_EQ(log.count(kBlankSummary), 1u);
  EXPECT_EQ(log.records().back().message, kBlankSummary);
  EXPECT_EQ(log.records().back().resultCode, kUnexpectedFailure);
}

// blank and restore treat a display without a device context alike.
struct PassKind {
  std::string name;
  std::function<bool(WindowsGammaBlanker&)> run;
  std::string offNotice;
  std::string summary;
};

class GammaPassTest : public GammaTest, public ::testing::WithParamInterface<PassKind> {};

TEST_P(GammaPassTest, TurnedOffDisplayIsToldOnceUntilItComesBack) {
  const PassKind& pass = GetParam();
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  const auto turnOff = [](bool off) {
    changeDisplay(kDisplay1, [off](sim::SimDisplay& d) { d.faults.turnedOff = off; });
  };
  turnOff(true);
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(pass.run(blanker));
  }
  EXPECT_EQ(log.count(pass.offNotice), 1u);
  const auto notice = recordsWith(log, pass.offNotice);
  EXPECT_EQ(notice[0].level, DEBUG);
  EXPECT_EQ(notice[0].resultCode, 0);

  turnOff(false);
  EXPECT_TRUE(pass.run(blanker));
  turnOff(true);
  EXPECT_TRUE(pass.run(blanker));
  EXPECT_TRUE(pass.run(blanker));
  EXPECT_EQ(log.count(pass.offNotice), 2u);
  EXPECT_FALSE(log.contains(pass.summary));
}

TEST_P(GammaPassTest, ActiveDisplayWithoutDeviceContextFailsThePass) {
  const PassKind& pass = GetParam();
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) { d.faults.noDeviceContext = true; });
  EXPECT_FALSE(pass.run(blanker));
  const auto failed = recordsWith(log, "Failed to create device context for display \\\\.\\DISPLAY1");
  ASSERT_EQ(failed.size(), 1u);
  EXPECT_EQ(failed[0].level, ERROR);
  EXPECT_EQ(failed[0].resultCode, kUnexpectedFailure);
  EXPECT_EQ(log.count(pass.summary), 1u);
  EXPECT_EQ(callCount("SetDeviceGammaRamp"), 1u) << "the second display is still done";
}

INSTANTIATE_TEST_SUITE_P(
    Passes, GammaPassTest,
    ::testing::Values(
        PassKind{"Blank", [](WindowsGammaBlanker& b) { return b.blank(); },
                 "Could not blank display \\\\.\\DISPLAY1 because it is turned off, skipping",
                 kBlankSummary},
        PassKind{"Restore", [](WindowsGammaBlanker& b) { return b.restore(); },
                 "Could not restore display \\\\.\\DISPLAY1 because it is turned off, skipping",
                 kRestoreSummary}),
    [](const ::testing::TestParamInfo<PassKind>& info) { return info.param.name; });

// A restore in which every attempt on DISPLAY1 fails in one way.
struct RestoreFailure {
  std::string name;
  std::function<void(sim::SimDisplay&)> fault;
  std::string lineOfAttempt0;  // "{}" stands for the attempt number where the line has it
  LogLevel level;
  std::int32_t resultCode;
};

class GammaRestoreFailureTest : public GammaTest,
                                public ::testing::WithParamInterface<RestoreFailure> {};

TEST_P(GammaRestoreFailureTest, FiveAttemptsThenFailure) {
  const RestoreFailure& c = GetParam();
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  changeDisplay(kDisplay1, c.fault);
  log.clear();
  sim::test::clearCalls();

  EXPECT_FALSE(blanker.restore());

  EXPECT_EQ(callCount("SetDeviceGammaRamp"), 5u + 1u) << "five on DISPLAY1, one on DISPLAY2";
  const std::string prefix = c.lineOfAttempt0.substr(0, c.lineOfAttempt0.find("{}"));
  const std::vector<LogRecord> lines = recordsWith(log, prefix);
  ASSERT_EQ(lines.size(), 5u);
  for (std::size_t attempt = 0; attempt < lines.size(); ++attempt) {
    std::string expected = c.lineOfAttempt0;
    if (const std::size_t at = expected.find("{}"); at != std::string::npos) {
      expected.replace(at, 2, std::to_string(attempt));
    }
    EXPECT_EQ(lines[attempt].message, expected);
    EXPECT_EQ(lines[attempt].level, c.level);
    EXPECT_EQ(lines[attempt].resultCode, c.resultCode);
  }
  EXPECT_EQ(log.records().back().message, kRestoreSummary);
  EXPECT_EQ(deviceRamp(kDisplay2), sim::identityRamp());
}

INSTANTIATE_TEST_SUITE_P(
    Faults, GammaRestoreFailureTest,
    ::testing::Values(
        RestoreFailure{"SetFails",
                       [](sim::SimDisplay& d) {
                         d.faults.setFails = true;
                         d.faults.setErrorCode = 1234;
                       },
                       "Failed to restore device gamma ramp! (attempt = {})", ERROR, 1234},
        RestoreFailure{"ReadBackFails", [](sim::SimDisplay& d) { d.faults.getFails = true; },
                       "Restored initial device gamma ramps; but failed read back for validation!",
                       DEBUG, 0},
        RestoreFailure{"OneWordAltered", [](sim::SimDisplay& d) { d.faults.alteredReadbackWords = 1; },
                       "Restored initial device gamma ramps; but 1 entries failed validation!",
                       DEBUG, 0}),
    [](const ::testing::TestParamInfo<RestoreFailure>& info) { return info.param.name; });

TEST_F(GammaTest, RestoreSucceedsOnASecondAttempt) {
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  ASSERT_TRUE(blanker.blank());
  int sets = 0;
  sim::test::ScopedHook failFirst(&platform::SetDeviceGammaRamp, "SetDeviceGammaRamp",
                                  [&sets](HDC, LPVOID) -> std::optional<BOOL> {
                                    if (sets++ == 0) {
                                      sim::setLastError(5);
                                      return FALSE;
                                    }
                                    return std::nullopt;
                                  });
  EXPECT_TRUE(blanker.restore());
  const auto failed = recordsWith(log, "Failed to restore device gamma ramp!");
  ASSERT_EQ(failed.size(), 1u);
  EXPECT_EQ(failed[0].message, "Failed to restore device gamma ramp! (attempt = 0)");
  EXPECT_EQ(failed[0].resultCode, 5);
  EXPECT_EQ(deviceRamp(kDisplay1), sim::identityRamp());
}

TEST_F(GammaTest, RestoreSkipsADisplayTheDocumentDoesNotName) {
  Json::Value document;
  {
    WindowsGammaBlanker saver(subLogger(), Json::Value(), false);
    document = saver.toJson();
  }
  document.removeIndex(0, nullptr);  // keep DISPLAY2 only
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) { d.ramp.fill(0); });
  changeDisplay(kDisplay2, [](sim::SimDisplay& d) { d.ramp.fill(0); });
  log.clear();

  WindowsGammaBlanker restorer(subLogger(), document, true);
  EXPECT_FALSE(restorer.restore());
  const auto skipped = recordsWith(log, "Skipping gamma restoration on display");
  ASSERT_EQ(skipped.size(), 1u);
  EXPECT_EQ(skipped[0].message, "Skipping gamma restoration on display: initial gamma was not saved");
  EXPECT_EQ(skipped[0].resultCode, kUnexpectedFailure);
  EXPECT_TRUE(gamma_test::isDark(deviceRamp(kDisplay1)));
  EXPECT_EQ(deviceRamp(kDisplay2), sim::identityRamp());
}

TEST_F(GammaTest, RestoreOnlyBlankerReadsNoRampAndBlanksUnsavedDisplays) {
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), true);
  EXPECT_TRUE(blanker.blank());
  EXPECT_EQ(callCount("GetDeviceGammaRamp"), 0u);
  EXPECT_EQ(callCount("CreateDCA"), 4u) << "one context per display at construction and per pass";
  for (const GammaDisplay& display : blanker.getDisplays()) {
    EXPECT_FALSE(display.initialGammasSaved);
    EXPECT_TRUE(gamma_test::isDark(deviceRamp(display.displayName)));
  }
}

TEST_F(GammaTest, BlankSavesAgainAfterAFailedSaveAndFallsBackToLinear) {
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) { d.faults.changing = true; });
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  ASSERT_FALSE(blanker.getDisplays()[0].initialGammasSaved);
  sim::test::clearCalls();

  EXPECT_TRUE(blanker.blank()) << "a failed save does not fail the pass";
  EXPECT_EQ(callCount("GetDeviceGammaRamp"), 40u) << "the second save ran its full time";
  EXPECT_TRUE(blanker.getDisplays()[0].initialGammasSaved);
  EXPECT_EQ(gamma_test::toWords(blanker.getDisplays()[0].initialGammas),
            gamma_test::toWords(gamma_test::linearRamp()));
  EXPECT_TRUE(gamma_test::isDark(deviceRamp(kDisplay1)));
  EXPECT_EQ(log.count("Gamma blanking failed due to failure to find stable initial gamma"), 2u);
}

}  // namespace
