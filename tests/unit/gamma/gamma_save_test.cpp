// The stability test that saves a display's initial gamma, on virtual time.
#include "blanking/gamma/gamma_save.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "blanking/gamma/gamma_displays.h"
#include "platform/displays.h"
#include "tests/unit/gamma/gamma_fixture.h"

namespace {

using gamma_test::GammaTest;
using velmo::logging::DEBUG;
using velmo::logging::ERROR;
using velmo::logging::INFO;
using velmo::logging::kUnexpectedFailure;
using velmo::logging::LogLevel;

constexpr int kFailedRead = -1;

// Stands in for GetDeviceGammaRamp: read n gives samples[n] as green[255] of the identity ramp
// (the last sample repeats), or fails and leaves the buffer alone for kFailedRead. red[0] and
// blue[0] change on every read, which must not matter.
class SampleFeed {
 public:
  explicit SampleFeed(std::vector<int> samples)
      : samples(std::move(samples)),
        hook(&platform::GetDeviceGammaRamp, "GetDeviceGammaRamp",
             [this](HDC, LPVOID buffer) -> std::optional<BOOL> { return read(buffer); }) {}

 private:
  BOOL read(LPVOID buffer) {
    const int sample = samples[next < samples.size() ? next : samples.size() - 1];
    ++next;
    if (sample == kFailedRead) {
      return FALSE;
    }
    GammaRamp ramp{};
    for (std::size_t i = 0; i < 256; ++i) {
      ramp.red[i] = ramp.green[i] = ramp.blue[i] = static_cast<WORD>(257 * i);
    }
    ramp.red[0] = ramp.blue[0] = static_cast<WORD>(next);
    ramp.green[255] = static_cast<WORD>(sample);
    *static_cast<GammaRamp*>(buffer) = ramp;
    return TRUE;
  }

  std::vector<int> samples;
  std::size_t next = 0;
  sim::test::ScopedHook hook;
};

struct SaveCase {
  std::string name;
  std::vector<int> samples;
  bool saved;
  std::size_t reads;
  WORD keptSample;  // green[255] of the ramp afterwards
  std::string message;             // the closing log line
  LogLevel level;
  std::int32_t resultCode;
};

class GammaSaveTest : public GammaTest, public ::testing::WithParamInterface<SaveCase> {};

TEST_P(GammaSaveTest, SamplesUntilStableOrTimeout) {
  const SaveCase& c = GetParam();
  SampleFeed feed(c.samples);
  const std::shared_ptr<HDC__> context = makeSharedHDC(gamma_test::kDisplay1);
  ASSERT_TRUE(context);
  GammaRamp ramp{};

  EXPECT_EQ(saveInitialGamma(log, context, ramp), c.saved);

  EXPECT_EQ(callCount("GetDeviceGammaRamp"), c.reads);
  // A stable run stops right after its last read; a timed-out one sleeps after every read.
  const std::size_t sleeps = c.reads == 40 ? 40 : c.reads - 1;
  EXPECT_EQ(clock->sleepCount(), static_cast<int>(sleeps));
  EXPECT_EQ(clock->sleptMilliseconds(), static_cast<std::int64_t>(sleeps) * 50);
  EXPECT_EQ(ramp.green[255], c.keptSample);
  const auto records = log.records();
  ASSERT_FALSE(records.empty());
  EXPECT_EQ(records.back().message, c.message);
  EXPECT_EQ(records.back().level, c.level);
  EXPECT_EQ(records.back().resultCode, c.resultCode);
}

const std::string kSavedFull = "Initial gammas successfully saved.; RGB brightness (65535, ";
const std::string kSavedLinear = "Initial gammas successfully saved.; RGB brightness (65025, 65025, 65025)";
const std::string kUnstable =
    "Gamma blanking failed due to failure to find stable initial gamma ramp to save";

INSTANTIATE_TEST_SUITE_P(
    Samples, GammaSaveTest,
    ::testing::Values(
        SaveCase{"SteadyAtThreshold", {16383}, true, 3, 16383, kSavedFull + "16383, 65535)", DEBUG, 0},
        SaveCase{"SteadyJustBelowThreshold", {16382}, false, 40, 16382, kUnstable, ERROR,
                 kUnexpectedFailure},
        SaveCase{"BrightAfterTwoDarkReads", {0, 0, 60000}, true, 5, 60000,
                 kSavedFull + "60000, 65535)", DEBUG, 0},
        SaveCase{"DarkAfterOneBrightRead", {60000, 0}, false, 40, 0, kUnstable, ERROR,
                 kUnexpectedFailure},
        SaveCase{"FailedReadBetweenGoodOnes", {60000, kFailedRead, 60000}, true, 3, 60000,
                 kSavedFull + "60000, 65535)", DEBUG, 0}),
    [](const ::testing::TestParamInfo<SaveCase>& info) { return info.param.name; });

TEST_F(GammaTest, DarkDisplayIsSavedAsLinearAfterSayingSo) {
  changeDisplay(gamma_test::kDisplay1, [](sim::SimDisplay& d) { d.ramp.fill(0); });
  const std::shared_ptr<HDC__> context = makeSharedHDC(gamma_test::kDisplay1);
  GammaRamp ramp{};
  EXPECT_TRUE(saveInitialGamma(log, context, ramp));
  EXPECT_EQ(gamma_test::toWords(ramp), gamma_test::toWords(gamma_test::linearRamp()));
  EXPECT_EQ(clock->sleptMilliseconds(), 2000);
  EXPECT_EQ(log.messages(),
            (std::vector<std::string>{
                "Detected initial gamma as blanking gamma, setting default (linear) backup gamma",
                kSavedLinear}));
}

TEST_F(GammaTest, FailedReadsAreReportedAtInfoAndDoNotEndTheRun) {
  changeDisplay(gamma_test::kDisplay1, [](sim::SimDisplay& d) { d.faults.getFails = true; });
  const std::shared_ptr<HDC__> context = makeSharedHDC(gamma_test::kDisplay1);
  GammaRamp ramp{};
  EXPECT_TRUE(saveInitialGamma(log, context, ramp));  // the buffer's green[255] stayed 0
  EXPECT_EQ(gamma_test::toWords(ramp), gamma_test::toWords(gamma_test::linearRamp()));
  EXPECT_EQ(log.count("GetDeviceGammaRamp() FAILED"), 40u);
  EXPECT_EQ(log.records().front().level, INFO);
  EXPECT_EQ(log.records().front().resultCode, 0);
}

}  // namespace
