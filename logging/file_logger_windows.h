// FileLoggerWindows: the root file logger of the running program. Adds to FileLogger a lock
// around writing and time-based rotation: after the rotation time, counted from the creation of
// the current file, the log goes on in a new file. The time comes from the registry value
// VelmoLogRotationTime (minutes) and follows its changes while the program runs.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "logging/file_logger.h"
#include "logging/registry_change_notifier.h"

namespace velmo {
namespace logging {

class FileLoggerWindows : public FileLogger {
 public:
  static constexpr const char* kRotationKey = "SOFTWARE\\Norvalis\\VelmoAgent";
  static constexpr const char* kRotationValueName = "VelmoLogRotationTime";

  // Opens the first file, reads the rotation time from the registry (a failure there is logged
  // and leaves rotation at `initialRotationTimeMs`; 0 or less is no rotation) and starts the
  // rotation thread. Throws std::system_error when that thread cannot be started.
  FileLoggerWindows(std::uint32_t category, std::int32_t logLevel, const std::string& sessionLogId,
                    const std::string& fileName, std::int64_t initialRotationTimeMs);
  ~FileLoggerWindows() override;

  void writeMessage(const std::string& message, std::uint32_t fromCategory, LogLevel level,
                    std::int32_t resultCode, const std::string& fromSessionLogId) override;

  // Takes a new rotation time, as the registry's text of a number of minutes. The notifier calls
  // it with each value it reads.
  void onRotationTimeChanged(const std::string& text);

 private:
  void rotationLoop();
  // Milliseconds until the current file is due to be replaced (0 when overdue); empty when
  // rotation is off.
  std::optional<std::int64_t> timeLeftMs() const;
  // Replaces the current file with a new one that starts with the header.
  void rotate();

  std::unique_ptr<RegistryChangeNotifier> rotationNotifier;
  std::atomic<std::int64_t> rotationTimeMs;
  std::mutex writeMutex;
  std::mutex rotationMutex;
  bool rotationTimeChanged = false;  // guarded by rotationMutex
  bool stopRequested = false;        // guarded by rotationMutex
  std::condition_variable_any rotationCondition;
  std::thread rotationThread;
};

}  // namespace logging
}  // namespace velmo
