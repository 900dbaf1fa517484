// Putting a display's initial gamma back, proven by reading it back word for word.
#pragma once

#include <cstdint>

#include "blanking/gamma/gamma_ramp.h"
#include "logging/logger.h"
#include "platform/types.h"

// Attempts on one display in one restore pass, the first included.
constexpr std::uint32_t kGammaRestoreAttempts = 5;

// One attempt (numbered from 0 in the log lines): sets `ramp` and reads it back. True when the
// read-back equals it in all 768 words.
bool restoreInitialGamma(velmo::logging::LoggerBase& logger,
                         HDC deviceContext, std::uint32_t attempt,
                         const GammaRamp& ramp);
