// RegistryChangeNotifier: reads one string value below HKEY_LOCAL_MACHINE, hands it to a callback,
// and hands it over again after each change that the registry reports under the value's key.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "common/owned_handles.h"
#include "logging/logger.h"
#include "platform/types.h"

namespace velmo {

class RegistryChangeNotifier {
 public:
  using UpdateCallback = std::function<void(std::string)>;

  // Reads the value and calls `updateCallback` with it on this thread before returning; then a
  // worker delivers each change. Throws std::invalid_argument for an empty argument and
  // std::runtime_error when the key, an event or the first reading fails.
  RegistryChangeNotifier(const std::string& key, const std::string& valueName,
                         UpdateCallback updateCallback,
                         std::unique_ptr<logging::LoggerBase> logger);
  // Stops the worker and waits for it: no callback runs after this returns.
  virtual ~RegistryChangeNotifier();
  RegistryChangeNotifier(const RegistryChangeNotifier&) = delete;
  RegistryChangeNotifier& operator=(const RegistryChangeNotifier&) = delete;

 private:
  // The value's text; throws std::runtime_error when it cannot be read or is not a string.
  std::string readValue() const;
  void run();
  // Paces the retries after a failure; returns early when a stop is signalled.
  void pauseAfterFailure() const;
  std::string keyAndValueName() const;

  const std::string key;
  const std::string valueName;
  const UpdateCallback updateCallback;
  const std::unique_ptr<logging::LoggerBase> logger;
  RegistryKey keyHandle;
  KernelHandle changeEvent;
  KernelHandle stopEvent;
  // Set before stopEvent is signalled, so that a worker whose waits fail still sees the stop.
  std::atomic<bool> stopping{false};
  std::thread worker;
};

}  // namespace velmo
