// The choice of a monitor's normal and blanking power states (VCP code D6) from its readings and
// from the D6 entry of its MCCS capabilities string. Pure functions: no monitor is asked here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "logging/logger.h"

namespace velmo {
namespace power {

// The MCCS power mode control: 1 is on, 4 is off.
constexpr std::uint8_t kPowerModeVcpCode = 0xD6;
constexpr std::uint32_t kLowestPowerState = 1;
constexpr std::uint32_t kHighestPowerState = 4;
// What stands when a monitor's readings cannot be used.
constexpr std::uint32_t kDefaultInitialPowerState = 1;
constexpr std::uint32_t kDefaultBlankingPowerState = 4;

struct PowerStates {
  std::uint32_t initialBlankingState;
  std::uint32_t blankingState;
};

// Readings outside 1..4 give the defaults 1 and 4; otherwise the smaller value is the normal
// state and the larger the blanking state.
PowerStates normalisePowerStates(std::uint32_t current, std::uint32_t maximum);

// The longest capabilities text that is read. Real MCCS strings are a few hundred bytes; the
// regular expressions of libstdc++ recurse once per character they consume, and a monitor (or a
// device that pretends to be one) chooses this text, so an unbounded one could exhaust the stack
// of the worker thread (1 MB by default on Windows; 5,000 characters already overflow it).
constexpr std::size_t kMaxCapabilitiesLength = 4096;

// The blanking state that the first D6 entry of `capabilities` declares: its highest value of at
// most 4. Without such an entry, when it lists no value from 1 to 4, or when the text is longer
// than kMaxCapabilitiesLength, gives `fallback`. Logs what it found at DEBUG.
std::uint32_t chooseBlankingState(const std::string& capabilities, std::uint32_t fallback,
                                  logging::LoggerBase& logger);

}  // namespace power
}  // namespace velmo
