// RegistryChangeNotifier: opening, the first reading, the worker's subscribe-wait-deliver loop
// and the stop.
#include "logging/registry_change_notifier.h"

#include <array>
#include <stdexcept>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/events.h"
#include "platform/pipes_files.h"
#include "platform/registry.h"
#include "platform/time.h"

namespace velmo {
namespace {

using logging::ERROR;

constexpr DWORD kNotifyFilter = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET;
constexpr std::size_t kValueBufferUnits = 256;  // 512 bytes
// Between two attempts after a failed subscription or wait.
constexpr DWORD kRetryPauseMs = 1000;

}  // namespace

RegistryChangeNotifier::RegistryChangeNotifier(const std::string& key, const std::string& valueName,
                                               UpdateCallback updateCallback,
                                               std::unique_ptr<logging::LoggerBase> logger)
    : key(key),
      valueName(valueName),
      updateCallback(std::move(updateCallback)),
      logger(std::move(logger)) {
  if (key.empty()) {
    throw std::invalid_argument("Empty registry key provided: " + key);
  }
  if (valueName.empty()) {
    throw std::invalid_argument("Empty registry value name provided: " + valueName);
  }
  if (!this->updateCallback) {
    throw std::invalid_argument("Null update callback provided: " + keyAndValueName());
  }
  if (!this->logger) {
    throw std::invalid_argument("Null logger provided: " + keyAndValueName());
  }

  HKEY openedKey = nullptr;
  if (platform::RegOpenKeyExW(HKEY_LOCAL_MACHINE, utf8ToWide(key).c_str(), 0, KEY_READ,
                              &openedKey) != ERROR_SUCCESS) {
    throw std::runtime_error("Failed to open registry key: " + key);
  }
  keyHandle.reset(openedKey);

  changeEvent.reset(platform::CreateEventW(nullptr, FALSE, FALSE, nullptr));
  if (!changeEvent) {
    throw std::runtime_error(
        "Failed to create an event object for receiving change notifications on registry key: " +
        key);
  }
  stopEvent.reset(platform::CreateEventW(nullptr, FALSE, FALSE, nullptr));
  if (!stopEvent) {
    throw std::runtime_error("Failed to create an event object for stopping thread: " +
                             keyAndValueName());
  }

  this->updateCallback(readValue());
  worker = std::thread(&RegistryChangeNotifier::run, this);
}

RegistryChangeNotifier::~RegistryChangeNotifier() {
  stopping = true;
  if (!platform::SetEvent(stopEvent.get())) {
    logAt(*logger, ERROR, static_cast<std::int32_t>(platform::GetLastError()),
          logger->formatter->format("Failed to set event to stop thread:", key, "", "\\", "",
                                    valueName));
    // The change event is the worker's other way out of its wait.
    platform::SetEvent(changeEvent.get());
  }
  try {
    if (worker.joinable()) {
      worker.join();
    }
  } catch (const std::exception& e) {
    logging::logError(*logger, logging::kUnexpectedFailure,
                      "Unexpected error occurred during thread cleanup:", e.what());
  }
}

std::string RegistryChangeNotifier::readValue() const {
  std::array<WCHAR, kValueBufferUnits> buffer{};
  DWORD type = REG_SZ;
  DWORD size = static_cast<DWORD>(sizeof buffer);
  const LSTATUS status =
      platform::RegQueryValueExW(keyHandle.get(), utf8ToWide(valueName).c_str(), nullptr, &type,
                                 reinterpret_cast<LPBYTE>(buffer.data()), &size);
  if (status != ERROR_SUCCESS) {
    throw std::runtime_error("Failed to query (" +
                             std::to_string(static_cast<std::int32_t>(status)) +
                             ") registry value: " + valueName);
  }
  if (type != REG_SZ && type != REG_EXPAND_SZ) {
    throw std::runtime_error("Unexpected value type \"" + std::to_string(type) +
                             "\" from registry value: " + valueName);
  }
  if (size == 0) {
    throw std::runtime_error("Unexpected value size of \"" + std::to_string(size) +
                             "\" from registry value: " + valueName);
  }
  std::size_t units = 0;
  while (units < buffer.size() && buffer[units] != 0) {
    ++units;
  }
  return wideToUtf8(platform::WideString(buffer.data(), units));
}

void RegistryChangeNotifier::run() {
  const std::array<HANDLE, 2> events = {stopEvent.get(), changeEvent.get()};
  while (!stopping) {
    const LSTATUS status =
        platform::RegNotifyChangeKeyValue(keyHandle.get(), TRUE, kNotifyFilter, events[1], TRUE);
    if (status != ERROR_SUCCESS) {
      logAt(*logger, ERROR, static_cast<std::int32_t>(status),
            logger->formatter->format("Failed to subscribe to change notification on registry key:",
                                      key));
      pauseAfterFailure();
      continue;
    }
    const DWORD result = platform::WaitForMultipleObjects(static_cast<DWORD>(events.size()),
                                                          events.data(), FALSE, INFINITE);
    if (result == WAIT_OBJECT_0) {
      return;
    }
    if (result == WAIT_OBJECT_0 + 1) {
      std::string text;
      try {
        text = readValue();
      } catch (const std::exception& e) {
        logging::logError(*logger, logging::kUnexpectedFailure, e.what());
        continue;
      }
      updateCallback(text);
      continue;
    }
    const DWORD error = platform::GetLastError();
    logAt(*logger, ERROR, static_cast<std::int32_t>(error),
          logger->formatter->format("Failed to wait for event:", key, "", "\\", "", valueName));
    pauseAfterFailure();
  }
}

void RegistryChangeNotifier::pauseAfterFailure() const {
  HANDLE stop = stopEvent.get();
  if (platform::WaitForMultipleObjects(1, &stop, FALSE, kRetryPauseMs) == WAIT_FAILED) {
    platform::Sleep(kRetryPauseMs);
  }
}

std::string RegistryChangeNotifier::keyAndValueName() const { return key + "\\" + valueName; }

}  // namespace velmo
