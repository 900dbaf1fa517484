// A logger for tests that keeps every record it is given, in order, across its sub-loggers.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "logging/logger.h"

namespace testing_support {

struct LogRecord {
  std::string message;
  velmo::logging::LogLevel level;
  std::int32_t resultCode;
  std::uint32_t category;
};

class RecordingLogger : public velmo::logging::LoggerBase {
 public:
  explicit RecordingLogger(std::int32_t logLevel = velmo::logging::TRACE);

  void log(const std::string& message, velmo::logging::LogLevel level,
           const long& resultCode) override;
  void log(const std::string& message, velmo::logging::LogLevel level,
           std::int32_t resultCode) override;
  std::unique_ptr<velmo::logging::LoggerBase> createSessionLogger(const std::string&) override;
  std::unique_ptr<velmo::logging::LoggerBase> createCategoryLogger(std::uint32_t) override;

  // Records of this logger and of all its sub-loggers.
  std::vector<LogRecord> records() const;
  std::vector<std::string> messages() const;
  // How many records hold `fragment` in their message.
  std::size_t count(const std::string& fragment) const;
  bool contains(const std::string& fragment) const { return count(fragment) > 0; }
  void clear();

 private:
  struct Sink {
    std::mutex mutex;
    std::vector<LogRecord> records;
  };
  RecordingLogger(std::int32_t logLevel, std::uint32_t category, std::shared_ptr<Sink> sink);

  std::uint32_t category;
  std::shared_ptr<Sink> sink;
};

}  // namespace testing_support
