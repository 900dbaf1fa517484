// makeLogger: the terminal logger or the rotating file logger, with the terminal as fallback.
#include "app/make_logger.h"

#include <fmt/format.h>

#include <exception>

#include "logging/file_logger_windows.h"
#include "logging/terminal_logger.h"

namespace velmo {
namespace {

constexpr std::uint32_t kRootCategory = 0;
constexpr const char* kRootSessionLogId = "00000000-0000-0000-0000-000000000000";

std::unique_ptr<logging::LoggerBase> makeTerminalLogger() {
  return std::make_unique<logging::TerminalLogger>(kRootCategory, logging::TRACE);
}

}  // namespace

std::unique_ptr<logging::LoggerBase> makeLogger(const std::string& fileName) {
  if (fileName.empty()) {
    return makeTerminalLogger();
  }
  try {
    return std::make_unique<logging::FileLoggerWindows>(kRootCategory, logging::DEBUG,
                                                        kRootSessionLogId, fileName, 0);
  } catch (const std::exception& e) {
    std::unique_ptr<logging::LoggerBase> logger = makeTerminalLogger();
    logging::logError(
        *logger, 0,
        fmt::format("Failed to create file logger for filename: {} error: {}", fileName, e.what()));
    return logger;
  }
}

}  // namespace velmo
