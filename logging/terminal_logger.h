// TerminalLogger: one numbered line per record on standard output (INFO and below in severity)
// or standard error (CRITICAL and ERROR).
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "logging/logger.h"

namespace velmo {
namespace logging {

class TerminalLogger : public LoggerBase {
 public:
  // The root: it prints, and its log level is the filter that counts.
  TerminalLogger(std::uint32_t category, std::int32_t logLevel);
  // A sub-logger that prints through `root`.
  TerminalLogger(std::uint32_t category, TerminalLogger* root);

  void log(const std::string& message, LogLevel level, const long& resultCode) override;
  void log(const std::string& message, LogLevel level, std::int32_t resultCode) override;
  std::unique_ptr<LoggerBase> createSessionLogger(const std::string& sessionLogId) override;
  std::unique_ptr<LoggerBase> createCategoryLogger(std::uint32_t category) override;

  // Where the root prints; standard output and standard error unless a test redirects them.
  void setStreams(std::FILE* output, std::FILE* error);

 private:
  void print(const std::string& message, std::uint32_t fromCategory, LogLevel level,
             std::int32_t resultCode);

  std::uint32_t category;
  std::mutex mutex;
  TerminalLogger* root;
  std::uint32_t outputSequence = 1;
  std::uint32_t errorSequence = 1;
  std::FILE* outputStream = stdout;
  std::FILE* errorStream = stderr;
};

}  // namespace logging
}  // namespace velmo
