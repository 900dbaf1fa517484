// The non-virtual calling forms of the logger contract.
#include "logging/logger.h"

namespace velmo {
namespace logging {

void logAt(BasicLogger& logger, LogLevel level, std::int32_t resultCode,
           const std::string& message) {
  if (level <= logger.logLevel) {
    logger.log(message, level, resultCode);
  }
}

void logError(BasicLogger& logger, std::int32_t resultCode, const std::string& message) {
  logAt(logger, ERROR, resultCode, message);
}

void logError(BasicLogger& logger, std::int32_t resultCode, const char* message) {
  logAt(logger, ERROR, resultCode, std::string(message ? message : ""));
}

void logError(BasicLogger& logger, std::int32_t resultCode, const char* text, const char* detail) {
  logAt(logger, ERROR, resultCode, logger.formatter->format(text, detail));
}

}  // namespace logging
}  // namespace velmo
