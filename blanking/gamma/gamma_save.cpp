// The stability test of a display's ramp, on the monotonic clock of the platform.
#include "blanking/gamma/gamma_save.h"

#include <array>
#include <cstdint>

#include "platform/displays.h"
#include "platform/time.h"

namespace {

using velmo::logging::logAt;

// Nanoseconds on the monotonic counter, without overflow for any uptime.
std::chrono::nanoseconds monotonicNow() {
  LARGE_INTEGER counter;
  LARGE_INTEGER frequency;
  platform::QueryPerformanceCounter(&counter);
  platform::QueryPerformanceFrequency(&frequency);
  constexpr std::int64_t kNanosecondsPerSecond = 1000000000;
  const std::int64_t seconds = counter.QuadPart / frequency.QuadPart;
  const std::int64_t remainder = counter.QuadPart % frequency.QuadPart;
  return std::chrono::nanoseconds(seconds * kNanosecondsPerSecond +
                                  remainder * kNanosecondsPerSecond / frequency.QuadPart);
}

// The last three samples of green[255]; all 0 at the start.
class SampleHistory {
 public:
  void add(WORD sample) {
    samples[position] = sample;
    position = (position + 1) % samples.size();
  }
  bool stableAtLeast(WORD minimum) const {
    return samples[0] == samples[1] && samples[1] == samples[2] && samples[0] >= minimum;
  }

 private:
  std::array<WORD, 3> samples{};
  std::size_t position = 0;
};

struct Sampling {
  bool stable = false;
  WORD highestSample = 0;
};

// Reads the ramp every kGammaSaveInterval until three equal samples of green[255] of at least
// kMinimumStableBrightness, or until kGammaSaveTimeout. A failed read keeps the sample the
// buffer still holds.
Sampling sampleUntilStable(velmo::logging::LoggerBase& logger,
                           HDC deviceContext, GammaRamp& ramp) {
  const std::chrono::nanoseconds start = monotonicNow();
  std::chrono::nanoseconds elapsed{0};
  Sampling result;
  SampleHistory history;
  while (elapsed < kGammaSaveTimeout) {
    if (!platform::GetDeviceGammaRamp(deviceContext, &ramp)) {
      logAt(logger, velmo::logging::INFO, logger.defaultResultCode, "GetDeviceGammaRamp() FAILED");
    }
    const WORD sample = ramp.green[255];
    result.highestSample = sample > result.highestSample ? sample : result.highestSample;
    history.add(sample);
    if (history.stableAtLeast(kMinimumStableBrightness)) {
      result.stable = true;
      break;
    }
    platform::Sleep(static_cast<DWORD>(kGammaSaveInterval.count()));
    elapsed = monotonicNow() - start;
  }
  return result;
}

}  // namespace

bool saveInitialGamma(velmo::logging::LoggerBase& logger,
                      HDC deviceContext, GammaRamp& ramp) {
  const Sampling sampling = sampleUntilStable(logger, deviceContext, ramp);
  if (sampling.highestSample == 0) {
    // Every sample was 0, which is what the blanking ramp gives: the display was left dark.
    logAt(logger, velmo::logging::DEBUG, logger.defaultResultCode,
          "Detected initial gamma as blanking gamma, setting default (linear) backup gamma");
    setLinearRamp(ramp);
  } else if (!sampling.stable) {
    velmo::logging::logError(
        logger, velmo::logging::kUnexpectedFailure,
        "Gamma blanking failed due to failure to find stable initial gamma ramp to save");
    return false;
  }
  logGammaBrightness(ramp, logger, "Initial gammas successfully saved.");
  return true;
}
