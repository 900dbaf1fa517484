// The power state choice: normalising the D6 readings and reading the D6 entry of a capabilities
// string.
#include "blanking/power/power_capabilities.h"

#include <algorithm>
#include <optional>
#include <regex>

#include "blanking/power/power_log.h"

namespace velmo {
namespace power {
namespace {

bool isAcceptedState(std::uint32_t state) {
  return state >= kLowestPowerState && state <= kHighestPowerState;
}

std::uint32_t hexDigitValue(char digit) {
  if (digit >= '0' && digit <= '9') {
    return static_cast<std::uint32_t>(digit - '0');
  }
  if (digit >= 'a' && digit <= 'f') {
    return static_cast<std::uint32_t>(digit - 'a' + 10);
  }
  return static_cast<std::uint32_t>(digit - 'A' + 10);
}

// A run of hexadecimal digits as an unsigned 32-bit number; none when the value does not fit,
// whatever the width of unsigned long on the platform.
std::optional<std::uint32_t> parseHexToken(const std::string& token) {
  std::uint64_t value = 0;
  for (const char digit : token) {
    value = value * 16 + hexDigitValue(digit);
    if (value > 0xFFFFFFFFu) {
      return std::nullopt;
    }
  }
  return static_cast<std::uint32_t>(value);
}

// The highest value of at most 4 among the hexadecimal tokens of a D6 entry, or 0 for none. A
// token too large for 32 bits is above 4 like any other large value, and is skipped as they are.
std::uint32_t highestAcceptedState(const std::string& values) {
  static const std::regex tokenPattern(R"re((\b[[:xdigit:]]+))re");
  std::uint32_t best = 0;
  for (std::sregex_iterator it(values.begin(), values.end(), tokenPattern), end; it != end; ++it) {
    const std::optional<std::uint32_t> value = parseHexToken((*it)[1].str());
    if (value && *value <= kHighestPowerState && *value > best) {
      best = *value;
    }
  }
  return best;
}

}  // namespace

PowerStates normalisePowerStates(std::uint32_t current, std::uint32_t maximum) {
  if (!isAcceptedState(current) || !isAcceptedState(maximum)) {
    return {kDefaultInitialPowerState, kDefaultBlankingPowerState};
  }
  return {std::min(current, maximum), std::max(current, maximum)};
}

std::uint32_t chooseBlankingState(const std::string& capabilities, std::uint32_t fallback,
                                  logging::LoggerBase& logger) {
  if (capabilities.size() > kMaxCapabilitiesLength) {
    logDebug(logger, "  Capabilities string of {} bytes is longer than {}, not read",
             capabilities.size(), kMaxCapabilitiesLength);
    return fallback;
  }
  try {
    static const std::regex entryPattern(R"re(\b(D6|d6)\s*\(([[:xdigit:] ]*?)\))re");
    std::smatch entry;
    if (!std::regex_search(capabilities, entry, entryPattern)) {
      return fallback;
    }
    const std::string values = entry[2].str();
    logDebug(logger, "  Found power saving caps {}", values);
    const std::uint32_t best = highestAcceptedState(values);
    if (best == 0) {
      return fallback;
    }
    logDebug(logger, "  Using power saving state: {}", best);
    return best;
  } catch (const std::regex_error& e) {
    logDebug(logger, "Regex error {}", e.what());
    return fallback;
  }
}

}  // namespace power
}  // namespace velmo
