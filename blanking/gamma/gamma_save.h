// Saving a display's initial gamma: reading its ramp until the same, bright enough value has
// been seen three times in a row, and recognising a display that is already dark.
#pragma once

#include <chrono>

#include "blanking/gamma/gamma_ramp.h"
#include "logging/logger.h"
#include "platform/types.h"

// The reads stop once this much time has passed since the first.
constexpr std::chrono::nanoseconds kGammaSaveTimeout{2000000000};
// The pause between two reads.
constexpr std::chrono::milliseconds kGammaSaveInterval{50};
// The lowest green[255] that can count as a stable ramp.
constexpr WORD kMinimumStableBrightness = 16383;

// True: `ramp` is the value to keep (the ramp read, or the linear ramp for a display that only
// ever read dark). False: no stable ramp was found; `ramp` holds what the last read left there.
// `deviceContext` must not be empty.
bool saveInitialGamma(velmo::logging::LoggerBase& logger,
                      HDC deviceContext, GammaRamp& ramp);
