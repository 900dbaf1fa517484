// The log rotation time as the registry gives it: a text that holds a number of minutes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace velmo {
namespace logging {

constexpr std::int64_t kMillisecondsPerMinute = 60000;

// Reads the text as std::stod does (leading blanks skipped, the longest number taken, the rest
// ignored) and truncates toward zero. Empty when there is no number, or when it does not fit a
// signed 32-bit number of minutes. The result may be negative; judging it is the caller's part.
std::optional<std::int32_t> rotationMinutesFromText(const std::string& text);

}  // namespace logging
}  // namespace velmo
