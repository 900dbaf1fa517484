// The logger contract: levels, result codes, the abstract loggers and the calling forms.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "logging/string_formatter.h"

namespace velmo {
namespace logging {

// A lower number is more severe. A message is written when its level is at most logLevel.
enum LogLevel : std::int32_t { CRITICAL = 0, ERROR = 1, INFO = 2, DEBUG = 3, TRACE = 4 };

// Argument of createCategoryLogger: keep the category of the parent logger.
constexpr std::uint32_t kInheritCategory = 0xFFFFFFFFu;
// Result code of a caught exception or of a failure that has no platform code.
constexpr std::int32_t kUnexpectedFailure = -500;

class BasicLogger {
 public:
  virtual ~BasicLogger() = default;

  // The reference form takes the code as `long` (a signed 32-bit LONG on Windows) so that a call
  // with an int picks the by-value form, through which all logging goes.
  virtual void log(const std::string& message, LogLevel level, const long& resultCode) = 0;
  virtual void log(const std::string& message, LogLevel level, std::int32_t resultCode) = 0;

  const std::int32_t defaultResultCode;
  const std::int32_t logLevel;
  const std::shared_ptr<StringFormatter> formatter;

 protected:
  explicit BasicLogger(std::int32_t level)
      : defaultResultCode(0), logLevel(level), formatter(std::make_shared<StringFormatter>()) {}
};

class LoggerBase : public BasicLogger {
 public:
  explicit LoggerBase(std::int32_t level) : BasicLogger(level) {}

  // A sub-logger with this logger's category and the given session log id.
  virtual std::unique_ptr<LoggerBase> createSessionLogger(const std::string& sessionLogId) = 0;
  // A sub-logger with the given category, or this one's for kInheritCategory.
  virtual std::unique_ptr<LoggerBase> createCategoryLogger(std::uint32_t category) = 0;
};

// Logs a finished text if its level passes the logger's filter.
void logAt(BasicLogger& logger, LogLevel level, std::int32_t resultCode, const std::string& message);

// Logs a failure at ERROR.
void logError(BasicLogger& logger, std::int32_t resultCode, const std::string& message);
void logError(BasicLogger& logger, std::int32_t resultCode, const char* message);
// Logs format(text, detail) at ERROR.
void logError(BasicLogger& logger, std::int32_t resultCode, const char* text, const char* detail);

}  // namespace logging
}  // namespace velmo
