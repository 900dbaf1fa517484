// Sim only: the event kernel object and the wait for the first of several events live here.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "platform/sim/core/handles.h"

namespace sim {

class EventObject : public HandleObject {
 public:
  EventObject(bool manualReset, bool initiallySignalled);

  // Signals the event and wakes its waiters. Safe from any thread, the registry watcher's too.
  void set();

 private:
  friend std::optional<std::size_t> waitForAnyEvent(
      const std::vector<std::shared_ptr<EventObject>>& events,
      std::optional<std::chrono::milliseconds> timeout);

  const bool manualReset;
  bool signalled;  // guarded by the lock that all events share
};

// Blocks until one of `events` is signalled and gives the index of the first signalled one,
// resetting it if it is an auto-reset event; an empty optional when `timeout` runs out first.
// No timeout waits for ever.
std::optional<std::size_t> waitForAnyEvent(const std::vector<std::shared_ptr<EventObject>>& events,
                                           std::optional<std::chrono::milliseconds> timeout);

}  // namespace sim
