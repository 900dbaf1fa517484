// The columns of a log file line and its header, with the widths that keep them aligned.
#include "logging/file_log_format.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>

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

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Appends `text` left-aligned in at least `width` columns, exactly as fmt's "{:<{}}" does. fmt
// counts columns by code points (some count two), which costs more than all the rest of a line;
// for ASCII text, all that the columns hold in practice, a column is a byte.
void appendColumn(std::string& line, std::string_view text, int width) {
  if (!isAscii(text)) {
    fmt::format_to(std::back_inserter(line), "{:<{}}", text, width);
    return;
  }
  line.append(text);
  line.append(static_cast<std::size_t>(std::max(width - static_cast<int>(text.size()), 0)), ' ');
}

// The same for a number, as "{:<{}d}" gives it.
template <class Integer>
void appendNumberColumn(std::string& line, Integer value, int width) {
  const fmt::format_int digits(value);
  appendColumn(line, std::string_view(digits.data(), digits.size()), width);
}

}  // namespace

const std::string& fileLevelTag(std::int32_t level) {
  // Built once, on first use; function-local statics are initialised thread-safely.
  static const std::map<std::int32_t, std::string> tags = {{CRITICAL, "<CRITICAL>"},
                                                           {ERROR, "<ERROR>"},
                                                           {INFO, "<INFO>"},
                                                           {DEBUG, "<DEBUG>"},
                                                           {TRACE, "<TRACE>"}};
  return tags.at(level);
}

const std::string& fileLogHeader() {
  static const std::string header = fmt::format(
      "{:<{}} {:<{}} {:<{}} {:<{}} {:<{}} {:<{}} {:<{}} Message", "Thread", kThreadWidth + 2,
      "Time", kTimeWidth, "Elapsed", kElapsedWidth, "Session Log Id", kSessionLogIdWidth, "Cat",
      kCategoryWidth, "Level", kLevelWidth, "RC", kResultCodeWidth);
  return header;
}

// The line that fmt makes of "[{:<{}}] {:<{}} {:<{}d} {:<{}} {:<{}d} {:<{}} {:<{}d} {:<}" with
// the columns and their widths, put together column by column.
std::string formatFileLogLine(std::uint32_t threadId, const std::string& timeText,
                              std::int64_t elapsedMs, const std::string& sessionLogId,
                              std::uint32_t category, const std::string& levelTag,
                              std::int32_t resultCode, const std::string& message) {
  std::string line;
  line.reserve(128 + message.size());
  line += '[';
  appendNumberColumn(line, threadId, kThreadWidth);
  line += "] ";
  appendColumn(line, timeText, kTimeWidth);
  line += ' ';
  appendNumberColumn(line, elapsedMs, kElapsedWidth);
  line += ' ';
  appendColumn(line, sessionLogId, kSessionLogIdWidth);
  line += ' ';
  appendNumberColumn(line, category, kCategoryWidth);
  line += ' ';
  appendColumn(line, levelTag, kLevelWidth);
  line += ' ';
  appendNumberColumn(line, resultCode, kResultCodeWidth);
  line += ' ';
  line += message;
  return line;
}

}  // namespace logging
}  // namespace velmo
