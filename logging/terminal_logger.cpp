// Printing of the terminal logger.
#include "logging/terminal_logger.h"

#include <array>

namespace velmo {
namespace logging {
namespace {

// Level tags of the terminal, eight characters each; built once.
const char* terminalTag(LogLevel level) {
  static const std::array<const char*, 5> tags = {"CRITICAL", "ERROR   ", "INFO    ", "DEBUG   ",
                                                  "TRACE   "};
  return level >= CRITICAL && level <= TRACE ? tags[static_cast<std::size_t>(level)] : "UNKNOWN ";
}

}  // namespace

TerminalLogger::TerminalLogger(std::uint32_t category, std::int32_t logLevel)
    : LoggerBase(logLevel), category(category), root(this) {}

TerminalLogger::TerminalLogger(std::uint32_t category, TerminalLogger* root)
    : LoggerBase(TRACE), category(category), root(root) {}

void TerminalLogger::log(const std::string& message, LogLevel level, const long& resultCode) {
  root->print(message, category, level, static_cast<std::int32_t>(resultCode));
}

void TerminalLogger::log(const std::string& message, LogLevel level, std::int32_t resultCode) {
  root->print(message, category, level, resultCode);
}

std::unique_ptr<LoggerBase> TerminalLogger::createSessionLogger(const std::string&) {
  return std::make_unique<TerminalLogger>(category, root);
}

std::unique_ptr<LoggerBase> TerminalLogger::createCategoryLogger(std::uint32_t newCategory) {
  return std::make_unique<TerminalLogger>(
      newCategory == kInheritCategory ? category : newCategory, root);
}

void TerminalLogger::setStreams(std::FILE* output, std::FILE* error) {
  std::lock_guard<std::mutex> lock(root->mutex);
  root->outputStream = output;
  root->errorStream = error;
}

void TerminalLogger::print(const std::string& message, std::uint32_t fromCategory, LogLevel level,
                           std::int32_t resultCode) {
  std::lock_guard<std::mutex> lock(mutex);
  if (level > logLevel) {
    return;
  }
  const bool toOutput = level > ERROR;
  const std::uint32_t number = toOutput ? outputSequence++ : errorSequence++;
  std::fprintf(toOutput ? outputStream : errorStream, "%04u *> [Category %3u, %12s]    %4d : %s\n",
               static_cast<unsigned>(number), static_cast<unsigned>(fromCategory),
               terminalTag(level), static_cast<int>(resultCode), message.c_str());
}

}  // namespace logging
}  // namespace velmo
