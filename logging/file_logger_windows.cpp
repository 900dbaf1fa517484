// FileLoggerWindows: the locked write, the rotation time setting and the rotation thread.
//
// Locks are taken in the order rotationMutex, writeMutex, then the TextFile's own mutex. The write
// path takes only the last two; the setting message and the rotation step go down the whole order.
#include "logging/file_logger_windows.h"

#include <algorithm>
#include <chrono>

#include "logging/log_time.h"
#include "logging/rotation_time.h"

namespace velmo {
namespace logging {
namespace {

// The longest single wait of the rotation thread; a farther deadline is waited for in pieces,
// which keeps the condition's clock arithmetic far from overflowing.
constexpr std::int64_t kLongestWaitMs = 24LL * 60 * 60 * 1000;

}  // namespace

FileLoggerWindows::FileLoggerWindows(std::uint32_t category, std::int32_t logLevel,
                                     const std::string& sessionLogId, const std::string& fileName,
                                     std::int64_t initialRotationTimeMs)
    : FileLogger(category, logLevel, sessionLogId, this, fileName),
      rotationTimeMs(initialRotationTimeMs) {
  try {
    // Reads the value and calls onRotationTimeChanged on this thread before it returns.
    rotationNotifier = std::make_unique<RegistryChangeNotifier>(
        kRotationKey, kRotationValueName, [this](std::string text) { onRotationTimeChanged(text); },
        createCategoryLogger(category));
  } catch (const std::exception& e) {
    logError(*this, kUnexpectedFailure, e.what());
  }
  try {
    rotationThread = std::thread(&FileLoggerWindows::rotationLoop, this);
  } catch (...) {
    // The notifier's worker reaches this object's locks: it must end before they go.
    rotationNotifier.reset();
    throw;
  }
}

FileLoggerWindows::~FileLoggerWindows() {
  // The notifier first: its worker may be inside onRotationTimeChanged, which takes the locks and
  // wakes the condition that this object is about to lose.
  rotationNotifier.reset();
  try {
    {
      std::lock_guard<std::mutex> lock(rotationMutex);
      stopRequested = true;
    }
    rotationCondition.notify_all();
    rotationThread.join();
  } catch (const std::exception& e) {
    logError(*this, kUnexpectedFailure,
             "Unexpected error occurred during logger cleanup:", e.what());
  }
}

void FileLoggerWindows::writeMessage(const std::string& message, std::uint32_t fromCategory,
                                     LogLevel level, std::int32_t resultCode,
                                     const std::string& fromSessionLogId) {
  std::lock_guard<std::mutex> lock(writeMutex);
  FileLogger::writeMessage(message, fromCategory, level, resultCode, fromSessionLogId);
}

void FileLoggerWindows::onRotationTimeChanged(const std::string& text) {
  const std::optional<std::int32_t> minutes = rotationMinutesFromText(text);
  if (!minutes) {
    logAt(*this, ERROR, kUnexpectedFailure,
          "Invalid log rotation time obtained (\"" + text +
              "\"). Conversion failed. Continue to use existing rotation time.");
    return;
  }
  if (*minutes < 0) {
    logAt(*this, ERROR, kUnexpectedFailure,
          "Invalid log rotation time obtained (\"" + std::to_string(*minutes) +
              "\") mins. Continue to use existing rotation time.");
    return;
  }
  const std::int64_t newTimeMs = *minutes * kMillisecondsPerMinute;
  if (newTimeMs == rotationTimeMs.load()) {
    logAt(
        *this, DEBUG, defaultResultCode,
        "New rotation time is (\"" + text + "\") mins which is the same as the last rotation time");
    return;
  }
  {
    std::lock_guard<std::mutex> lock(rotationMutex);
    logAt(*this, INFO, defaultResultCode,
          formatter->format("Setting log rotation time to:", *minutes, "mins"));
    rotationTimeMs.store(newTimeMs);
    rotationTimeChanged = true;
  }
  rotationCondition.notify_all();
}

void FileLoggerWindows::rotationLoop() {
  const auto flagged = [this] { return stopRequested || rotationTimeChanged; };
  std::unique_lock<std::mutex> lock(rotationMutex);
  while (!stopRequested) {
    const std::optional<std::int64_t> timeLeft = timeLeftMs();
    if (!timeLeft) {
      rotationCondition.wait(lock, flagged);
    } else {
      const std::int64_t slice = std::min(*timeLeft, kLongestWaitMs);
      const bool woken =
          rotationCondition.wait_for(lock, std::chrono::milliseconds(slice), flagged);
      if (!woken && slice == *timeLeft) {
        rotate();
      }
    }
    rotationTimeChanged = false;
  }
}

std::optional<std::int64_t> FileLoggerWindows::timeLeftMs() const {
  const std::int64_t rotationTime = rotationTimeMs.load();
  if (rotationTime <= 0) {
    return std::nullopt;
  }
  // Only this thread replaces the file, so reading it here needs no lock.
  const std::int64_t age = systemMilliseconds() - textFile->creationTime();
  return std::max<std::int64_t>(rotationTime - age, 0);
}

void FileLoggerWindows::rotate() {
  std::lock_guard<std::mutex> lock(writeMutex);
  textFile = std::make_unique<TextFile>(makeFileName());
  writeHeader();
}

}  // namespace logging
}  // namespace velmo
