// A device gamma ramp in the form GetDeviceGammaRamp and SetDeviceGammaRamp read and write, with
// the two fixed ramps of gamma blanking and the brightness line of a ramp.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <type_traits>

#include "logging/logger.h"
#include "platform/types.h"

// Output level of each of the 256 input levels, for red, green and blue, one after the other.
struct GammaRamp {
  std::array<WORD, 256> red;
  std::array<WORD, 256> green;
  std::array<WORD, 256> blue;
};

static_assert(sizeof(GammaRamp) == 1536, "GammaRamp is passed as is to the gamma ramp calls");
static_assert(std::is_standard_layout_v<GammaRamp> && std::is_trivially_copyable_v<GammaRamp>,
              "GammaRamp is passed as is to the gamma ramp calls");

// The blanking ramp: every word 0.
constexpr GammaRamp kBlankingRamp{};

// The linear ramp, the default when no real initial gamma is known: word i of each channel is
// 255 x i (so it ends at 65025, not 65535).
void setLinearRamp(GammaRamp& ramp);

// How many of the 768 words differ between the two ramps. Exact, no tolerance.
std::size_t countDifferentWords(const GammaRamp& a, const GammaRamp& b);

// Logs "<title>; RGB brightness (r, g, b)" at DEBUG: the last word of each channel, the output
// for full input.
void logGammaBrightness(const GammaRamp& ramp, velmo::logging::LoggerBase& logger,
                        const std::string& title);
