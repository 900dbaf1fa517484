// The columns of a log file line and its header, with the widths that keep them aligned.
#include "logging/file_log_format.h"

#include <fmt/format.h>

#include <map>

#include "logging/logger.h"

namespace velmo {
namespace logging {
namespace {

constexpr int kThreadWidth = 6;  // inside the brackets: 8 in all
constexpr int kTimeWidth = 24;
constexpr int kElapsedWidth = 8;
constexpr int kSessionLogIdWidth = 36;
constexpr int kCategoryWidth = 5;
constexpr int kLevelWidth = 10;
constexpr int kResultCodeWidth = 11;

}  // namespace

const std::string& fileLevelTag(std::int32_t level) {
  // Built once, on first use; function-local statics are initialised thread-safely.
  static const std::map<std::int32_t, std::string> tags = {
      {CRITICAL, "<CRITICAL>"}, {ERROR, "<ERROR>"}, {INFO, "<INFO>"},
      {DEBUG, "<DEBUG>"},       {TRACE, "<TRACE>"}};
  return tags.at(level);
}

const std::string& fileLogHeader() {
  static const std::string header = fmt::format(
      "{:<{}} {:<{}} {:<{}} {:<{}} {:<{}} {:<{}} {:<{}} Message", "Thread", kThreadWidth + 2,
      "Time", kTimeWidth, "Elapsed", kElapsedWidth, "Session Log Id", kSessionLogIdWidth, "Cat",
      kCategoryWidth, "Level", kLevelWidth, "RC", kResultCodeWidth);
  return header;
}

std::string formatFileLogLine(std::uint32_t threadId, const std::string& timeText,
                              std::int64_t elapsedMs, const std::string& sessionLogId,
                              std::uint32_t category, const std::string& levelTag,
                              std::int32_t resultCode, const std::string& message) {
  return fmt::format("[{:<{}}] {:<{}} {:<{}d} {:<{}} {:<{}d} {:<{}} {:<{}d} {:<}", threadId,
                     kThreadWidth, timeText, kTimeWidth, elapsedMs, kElapsedWidth, sessionLogId,
                     kSessionLogIdWidth, category, kCategoryWidth, levelTag, kLevelWidth,
                     resultCode, kResultCodeWidth, message);
}

}  // namespace logging
}  // namespace velmo
