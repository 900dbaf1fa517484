// Formatted log lines of the monitor power method: the level is tested before the text is built.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <utility>

#include "logging/logger.h"

namespace velmo {
namespace power {

template <class... Args>
void logFormatted(logging::LoggerBase& logger, logging::LogLevel level, std::int32_t resultCode,
                  fmt::format_string<Args...> text, Args&&... args) {
  if (level <= logger.logLevel) {
    logger.log(fmt::format(text, std::forward<Args>(args)...), level, resultCode);
  }
}

// A DEBUG line with the logger's default result code, the form of most lines of the method.
template <class... Args>
void logDebug(logging::LoggerBase& logger, fmt::format_string<Args...> text, Args&&... args) {
  logFormatted(logger, logging::DEBUG, logger.defaultResultCode, text, std::forward<Args>(args)...);
}

}  // namespace power
}  // namespace velmo
