// A logger for tests that keeps every record it is given, in order, across its sub-loggers.
#pragma once

#include <algorithm>
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
  explicit RecordingLogger(std::int32_t logLevel = velmo::logging::TRACE)
      : RecordingLogger(logLevel, 0, std::make_shared<Sink>()) {}

  void log(const std::string& message, velmo::logging::LogLevel level, const long& resultCode) override {
    log(message, level, static_cast<std::int32_t>(resultCode));
  }
  void log(const std::string& message, velmo::logging::LogLevel level, std::int32_t resultCode) override {
    if (level <= logLevel) {
      std::lock_guard<std::mutex> lock(sink->mutex);
      sink->records.push_back(LogRecord{message, level, resultCode, category});
    }
  }
  std::unique_ptr<velmo::logging::LoggerBase> createSessionLogger(const std::string&) override {
    return createCategoryLogger(velmo::logging::kInheritCategory);
  }
  std::unique_ptr<velmo::logging::LoggerBase> createCategoryLogger(std::uint32_t next) override {
    return std::unique_ptr<LoggerBase>(new RecordingLogger(
        logLevel, next == velmo::logging::kInheritCategory ? category : next, sink));
  }

  // Records of this logger and of all its sub-loggers.
  std::vector<LogRecord> records() const {
    std::lock_guard<std::mutex> lock(sink->mutex);
    return sink->records;
  }
  std::vector<std::string> messages() const {
    std::vector<std::string> result;
    for (const LogRecord& record : records()) result.push_back(record.message);
    return result;
  }
  // How many records hold `fragment` in their message.
  std::size_t count(const std::string& fragment) const {
    const std::vector<std::string> all = messages();
    return std::count_if(all.begin(), all.end(), [&](const std::string& message) {
      return message.find(fragment) != std::string::npos;
    });
  }
  bool contains(const std::string& fragment) const { return count(fragment) > 0; }
  void clear() {
    std::lock_guard<std::mutex> lock(sink->mutex);
    sink->records.clear();
  }

 private:
  struct Sink {
    std::mutex mutex;
    std::vector<LogRecord> records;
  };
  RecordingLogger(std::int32_t logLevel, std::uint32_t category, std::shared_ptr<Sink> sink)
      : LoggerBase(logLevel), category(category), sink(std::move(sink)) {}

  std::uint32_t category;
  std::shared_ptr<Sink> sink;
};

}  // namespace testing_support
