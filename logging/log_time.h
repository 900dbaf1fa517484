// The time of the log files: the system clock, and its UTC text in lines and in file names.
#pragma once

#include <cstdint>
#include <string>

namespace velmo {
namespace logging {

constexpr std::int64_t kTicksPerMillisecond = 10000;

// The system clock in 100-nanosecond ticks since the Unix epoch.
std::int64_t systemTicks();
// The system clock in milliseconds since the Unix epoch.
std::int64_t systemMilliseconds();

// "2024-03-05T07:09:02.041Z": the UTC time of `ticks`, always 24 characters.
std::string lineTimeText(std::int64_t ticks);
// "2024_03_05T07_09_02_041Z": the same time as it stands in a file name.
std::string fileNameTimeText(std::int64_t ticks);

}  // namespace logging
}  // namespace velmo
