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
  if (logger.logLevel >= ERROR) {
    logger.log(message, ERROR, resultCode);
  }
}

void logError(BasicLogger& logger, std::int32_t resultCode, const char* message) {
  if (logger.logLevel >= ERROR) {
    logger.log(std::string(message ? message : ""), ERROR, resultCode);
  }
}

void logError(BasicLogger& logger, std::int32_t resultCode, const char* text, const char* detail) {
  if (logger.logLevel >= ERROR) {
    logger.log(logger.formatter->format(text, detail), ERROR, resultCode);
  }
}

}  // namespace logging
}  // namespace velmo
