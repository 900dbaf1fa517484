// FileLogger: writes each record as one fixed-column line into the file of its root logger.
// Sub-loggers hold a plain pointer to the root (`owner`) and forward their records to it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "logging/logger.h"
#include "logging/text_file.h"

namespace velmo {
namespace logging {

class FileLogger : public LoggerBase {
 public:
  // With `owner` null or this object, the logger is a root: it creates its first file, named
  // after `fileName` and the current UTC time, and writes the header into it. Otherwise it is a
  // sub-logger of `owner` and touches no file.
  FileLogger(std::uint32_t category, std::int32_t logLevel, const std::string& sessionLogId,
             FileLogger* owner, const std::string& fileName);
  ~FileLogger() override;

  void log(const std::string& message, LogLevel level, const long& resultCode) override;
  void log(const std::string& message, LogLevel level, std::int32_t resultCode) override;
  std::unique_ptr<LoggerBase> createSessionLogger(const std::string& sessionLogId) override;
  std::unique_ptr<LoggerBase> createCategoryLogger(std::uint32_t category) override;

  // Makes the line and writes it; only a root writes, and only records that its level passes.
  // Throws std::out_of_range, writing nothing, for a level without a tag.
  virtual void writeMessage(const std::string& message, std::uint32_t fromCategory, LogLevel level,
                            std::int32_t resultCode, const std::string& fromSessionLogId);

 protected:
  // "<fileName>_YYYY_MM_DDTHH_MM_SS_mmmZ.txt" for the current UTC time.
  std::string makeFileName() const;
  // Writes the header line into the current file.
  void writeHeader();

  FileLogger* const owner;
  const std::string fileName;
  const std::uint32_t category;
  const std::string sessionLogId;
  std::unique_ptr<TextFile> textFile;  // the root's current file; empty on a sub-logger
};

}  // namespace logging
}  // namespace velmo
