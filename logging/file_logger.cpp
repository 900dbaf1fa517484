// FileLogger: forwarding of records to the root, and the root's writing of lines.
#include "logging/file_logger.h"

#include "logging/file_log_format.h"
#include "logging/log_time.h"
#include "platform/threads.h"

namespace velmo {
namespace logging {

FileLogger::FileLogger(std::uint32_t category, std::int32_t logLevel,
                       const std::string& sessionLogId, FileLogger* owner,
                       const std::string& fileName)
    : LoggerBase(logLevel),
      owner(owner ? owner : this),
      fileName(fileName),
      category(category),
      sessionLogId(sessionLogId) {
  if (this->owner != this) {
    return;
  }
  textFile = std::make_unique<TextFile>(makeFileName());
  writeHeader();
}

FileLogger::~FileLogger() = default;

void FileLogger::log(const std::string& message, LogLevel level, const long& resultCode) {
  owner->writeMessage(message, category, level, static_cast<std::int32_t>(resultCode),
                      sessionLogId);
}

void FileLogger::log(const std::string& message, LogLevel level, std::int32_t resultCode) {
  owner->writeMessage(message, category, level, resultCode, sessionLogId);
}

std::unique_ptr<LoggerBase> FileLogger::createSessionLogger(const std::string& newSessionLogId) {
  return std::make_unique<FileLogger>(category, logLevel, newSessionLogId, owner, fileName);
}

std::unique_ptr<LoggerBase> FileLogger::createCategoryLogger(std::uint32_t newCategory) {
  return std::make_unique<FileLogger>(newCategory == kInheritCategory ? category : newCategory,
                                      logLevel, sessionLogId, owner, fileName);
}

void FileLogger::writeMessage(const std::string& message, std::uint32_t fromCategory,
                              LogLevel level, std::int32_t resultCode,
                              const std::string& fromSessionLogId) {
  if (owner != this || level > logLevel) {
    return;
  }
  const std::int64_t ticks = systemTicks();
  const std::int64_t elapsedMs = ticks / kTicksPerMillisecond - textFile->creationTime();
  const DWORD threadId = platform::GetCurrentThreadId();
  const std::string& tag = fileLevelTag(level);
  textFile->writeLine(formatFileLogLine(threadId, lineTimeText(ticks), elapsedMs, fromSessionLogId,
                                        fromCategory, tag, resultCode, message));
}

std::string FileLogger::makeFileName() const {
  return fileName + "_" + fileNameTimeText(systemTicks()) + ".txt";
}

void FileLogger::writeHeader() { textFile->writeLine(fileLogHeader()); }

}  // namespace logging
}  // namespace velmo
