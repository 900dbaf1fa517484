// The display list, the monitor's state, and the stability test that
// saves a display's initial gamma (on virtual time).
#include "blanking/gamma/gamma_displays.h"

#include <algorithm>
#include <optional>

#include "blanking/gamma/gamma_save.h"
#include "platform/displays.h"
#include "tests/unit/gamma/gamma_fixture.h"

namespace {

using namespace gamma_test;

TEST_F(GammaTest, MirroringDriversAreLeftOutAndOtherFlagsIgnored) {
  std::vector<sim::SimDisplay> installed = sim::defaultDisplays(4);
  const DWORD flags[] = {0x5, DISPLAY_DEVICE_MIRRORING_DRIVER | 0x1, 0x0, 0x1};
  for (std::size_t i = 0; i < installed.size(); ++i) installed[i].stateFlags = flags[i];
  sim::replaceDisplays(installed);
  std::vector<std::string> names;
  for (const GammaDisplay& display : buildDisplayList(log, true)) names.push_back(display.displayName);
  EXPECT_EQ(names, (std::vector<std::string>{"\\\\.\\DISPLAY1", "\\\\.\\DISPLAY3", "\\\\.\\DISPLAY4"}));
}

TEST_F(GammaTest, DisplayWithoutDeviceContextStaysUnsavedAndSilent) {
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) { d.faults[sim::kNoDeviceContext.word] = 0; });
  const std::vector<GammaDisplay> displays = buildDisplayList(log, false);
  ASSERT_EQ(displays.size(), 2u);
  EXPECT_FALSE(displays[0].initialGammasSaved);
  EXPECT_EQ(toWords(displays[0].initialGammas), sim::RampWords{});
  EXPECT_TRUE(displays[1].initialGammasSaved);
  EXPECT_EQ(toWords(displays[1].initialGammas), sim::identityRamp());
  // Only the second display's save speaks.
  EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                "Initial gammas successfully saved.; RGB brightness (65535, 65535, 65535)"}));
}

TEST_F(GammaTest, DisplayIsActiveWhileItsMonitorIsOn) {
  struct Row { std::string displayName; const char* fault; bool active; };  // fault: a word, or none
  for (const Row& row : {Row{kDisplay1, nullptr, true}, Row{kDisplay1, sim::kNoDeviceContext.word, true},
                         Row{kDisplay1, sim::kTurnedOff.word, false}, Row{"\\\\.\\DISPLAY9", nullptr, false}}) {
    changeDisplay(kDisplay1, [&row](sim::SimDisplay& d) { d.faults.clear(); if (row.fault) d.faults[row.fault] = 0; });
    GammaDisplay display;
    display.displayName = row.displayName;
    EXPECT_EQ(isDisplayActive(display), row.active) << (row.fault ? row.fault : "none");
  }
}

constexpr int kFailedRead = -1;

// Stands in for GetDeviceGammaRamp: read n gives samples[n] as green[255] of the identity ramp
// (the last sample repeats), or fails and leaves the buffer alone for kFailedRead. red[0] and
// blue[0] change on every read, which must not matter.
struct SampleFeed {
  std::vector<int> samples;
  std::size_t next = 0;
  sim::test::ScopedHook hook{
      &platform::GetDeviceGammaRamp, [this](HDC, LPVOID buffer) -> std::optional<BOOL> {
        const int sample = samples[std::min(next++, samples.size() - 1)];
        if (sample == kFailedRead) return FALSE;
        GammaRamp& ramp = *static_cast<GammaRamp*>(buffer);
        std::memcpy(&ramp, sim::identityRamp().data(), sizeof ramp);
        ramp.red[0] = ramp.blue[0] = static_cast<WORD>(next);
        ramp.green[255] = static_cast<WORD>(sample);
        return TRUE;
      }};
};

const std::string kUnstable =
    "Gamma blanking failed due to failure to find stable initial gamma ramp to save";
const std::string kSavedLinear = "Initial gammas successfully saved.; RGB brightness (65025, 65025, 65025)";
std::string saved(int green) {
  return "Initial gammas successfully saved.; RGB brightness (65535, " + std::to_string(green) + ", 65535)";
}

// The feed's samples, the reads made, green[255] of the ramp afterwards, the failed reads told, and
// the closing log line.
struct SaveCase { std::string name; std::vector<int> samples; std::size_t reads; WORD keptSample;
                  std::size_t failedReads; std::string message; };

class GammaSaveTest : public GammaTest, public ::testing::WithParamInterface<SaveCase> {};

TEST_P(GammaSaveTest, SamplesUntilStableOrTimeout) {
  const SaveCase& c = GetParam();
  SampleFeed feed{c.samples};
  const velmo::DeviceContext context = openDeviceContext(kDisplay1);
  ASSERT_TRUE(context);
  GammaRamp ramp{};

  EXPECT_EQ(saveInitialGamma(log, context.get(), ramp), c.message != kUnstable);

  EXPECT_EQ(callCount("GetDeviceGammaRamp"), c.reads);
  // A stable run stops right after its last read; a timed-out one sleeps after every read.
  const std::size_t sleeps = c.reads == 40 ? 40 : c.reads - 1;
  EXPECT_EQ(clock->sleepCount(), static_cast<int>(sleeps));
  EXPECT_EQ(clock->sleptMilliseconds(), static_cast<std::int64_t>(sleeps) * 50);
  EXPECT_EQ(ramp.green[255], c.keptSample);
  EXPECT_EQ(linesWith(log, "GetDeviceGammaRamp() FAILED", INFO, 0).size(), c.failedReads);
  EXPECT_EQ(log.contains("Detected initial gamma as blanking gamma, setting default (linear) backup gamma"),
            c.message == kSavedLinear);
  ASSERT_FALSE(log.records().empty());
  EXPECT_EQ(log.records().back().message, c.message);
  const bool failed = c.message == kUnstable;
  EXPECT_EQ(linesWith(log, c.message, failed ? ERROR : DEBUG, failed ? kUnexpectedFailure : 0).size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Samples, GammaSaveTest,
    ::testing::Values(SaveCase{"SteadyAtThreshold", {16383}, 3, 16383, 0, saved(16383)},
                      SaveCase{"SteadyJustBelowThreshold", {16382}, 40, 16382, 0, kUnstable},
                      SaveCase{"BrightAfterTwoDarkReads", {0, 0, 60000}, 5, 60000, 0, saved(60000)},
                      SaveCase{"DarkAfterOneBrightRead", {60000, 0}, 40, 0, 0, kUnstable},
                      SaveCase{"FailedReadBetweenGoodOnes", {60000, kFailedRead, 60000}, 3, 60000, 1,
                               saved(60000)},
                      SaveCase{"AlwaysDarkSavesLinear", {0}, 40, 65025, 0, kSavedLinear},
                      SaveCase{"EveryReadFailsSavesLinear", {kFailedRead}, 40, 65025, 40, kSavedLinear}),
    [](const ::testing::TestParamInfo<SaveCase>& info) { return info.param.name; });

}  // namespace
