#include "tests/support/recording_logger.h"

namespace testing_support {

using velmo::logging::LoggerBase;
using velmo::logging::LogLevel;

RecordingLogger::RecordingLogger(std::int32_t logLevel)
    : RecordingLogger(logLevel, 0, std::make_shared<Sink>()) {}

RecordingLogger::RecordingLogger(std::int32_t logLevel, std::uint32_t category,
                                 std::shared_ptr<Sink> sink)
    : LoggerBase(logLevel), category(category), sink(std::move(sink)) {}

void RecordingLogger::log(const std::string& message, LogLevel level, const long& resultCode) {
  log(message, level, static_cast<std::int32_t>(resultCode));
}

void RecordingLogger::log(const std::string& message, LogLevel level, std::int32_t resultCode) {
  if (level > logLevel) {
    return;
  }
  std::lock_guard<std::mutex> lock(sink->mutex);
  sink->records.push_back(LogRecord{message, level, resultCode, category});
}

std::unique_ptr<LoggerBase> RecordingLogger::createSessionLogger(const std::string&) {
  return std::unique_ptr<LoggerBase>(new RecordingLogger(logLevel, category, sink));
}

std::unique_ptr<LoggerBase> RecordingLogger::createCategoryLogger(std::uint32_t newCategory) {
  return std::unique_ptr<LoggerBase>(new RecordingLogger(
      logLevel, newCategory == velmo::logging::kInheritCategory ? category : newCategory, sink));
}

std::vector<LogRecord> RecordingLogger::records() const {
  std::lock_guard<std::mutex> lock(sink->mutex);
  return sink->records;
}

std::vector<std::string> RecordingLogger::messages() const {
  std::vector<std::string> result;
  for (const LogRecord& record : records()) {
    result.push_back(record.message);
  }
  return result;
}

std::size_t RecordingLogger::count(const std::string& fragment) const {
  std::size_t n = 0;
  for (const LogRecord& record : records()) {
    n += record.message.find(fragment) != std::string::npos ? 1 : 0;
  }
  return n;
}

void RecordingLogger::clear() {
  std::lock_guard<std::mutex> lock(sink->mutex);
  sink->records.clear();
}

}  // namespace testing_support
