// UTC time texts of the log: whole seconds broken down by fmt, milliseconds from the rest of the
// ticks. No local time anywhere.
#include "logging/log_time.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <chrono>
#include <ctime>
#include <optional>

namespace velmo {
namespace logging {
namespace {

constexpr std::int64_t kTicksPerSecond = 10000000;

std::tm utcOf(std::int64_t ticks) {
  return fmt::gmtime(static_cast<std::time_t>(ticks / kTicksPerSecond));
}

int millisecondsOf(std::int64_t ticks) {
  return static_cast<int>(ticks % kTicksPerSecond / kTicksPerMillisecond);
}

}  // namespace

std::int64_t systemTicks() {
  using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, kTicksPerSecond>>;
  return std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::int64_t systemMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::string lineTimeText(std::int64_t ticks) {
  // Every line needs this text and the broken-down time costs more than the rest of a line, so
  // each thread keeps the text of the last second it wrote; the output is that of
  // "{:%Y-%m-%dT%H:%M:%S}.{:03}Z".
  thread_local std::optional<std::int64_t> cachedSecond;
  thread_local std::string cachedText;
  const std::int64_t second = ticks / kTicksPerSecond;
  if (second != cachedSecond) {
    cachedText = fmt::format("{:%Y-%m-%dT%H:%M:%S}", utcOf(ticks));
    cachedSecond = second;
  }
  const int milliseconds = millisecondsOf(ticks);
  std::string text = cachedText;
  text += '.';
  text += static_cast<char>('0' + milliseconds / 100);
  text += static_cast<char>('0' + milliseconds / 10 % 10);
  text += static_cast<char>('0' + milliseconds % 10);
  text += 'Z';
  return text;
}

std::string fileNameTimeText(std::int64_t ticks) {
  return fmt::format("{:%Y_%m_%dT%H_%M_%S}_{:03}Z", utcOf(ticks), millisecondsOf(ticks));
}

}  // namespace logging
}  // namespace velmo
