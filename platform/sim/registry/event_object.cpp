// Sim only: events and the wait on them live here.
// All events share one lock and one condition, so that a wait on several wakes when any is set.
#include "platform/sim/registry/event_object.h"

#include <condition_variable>
#include <mutex>

namespace sim {
namespace {

// Namespace-scope objects: built before main, so they outlive every thread the sim starts.
std::mutex dispatcherMutex;
std::condition_variable dispatcherCondition;

}  // namespace

EventObject::EventObject(bool manualReset, bool initiallySignalled)
    : manualReset(manualReset), signalled(initiallySignalled) {}

void EventObject::set() {
  {
    std::lock_guard<std::mutex> lock(dispatcherMutex);
    signalled = true;
  }
  dispatcherCondition.notify_all();
}

std::optional<std::size_t> waitForAnyEvent(const std::vector<std::shared_ptr<EventObject>>& events,
                                           std::optional<std::chrono::milliseconds> timeout) {
  const auto deadline =
      std::chrono::steady_clock::now() + timeout.value_or(std::chrono::milliseconds(0));
  std::unique_lock<std::mutex> lock(dispatcherMutex);
  for (;;) {
    for (std::size_t i = 0; i < events.size(); ++i) {
      EventObject& event = *events[i];
      if (event.signalled) {
        event.signalled = event.manualReset;
        return i;
      }
    }
    if (!timeout) {
      dispatcherCondition.wait(lock);
    } else if (std::chrono::steady_clock::now() >= deadline) {
      return std::nullopt;
    } else {
      dispatcherCondition.wait_until(lock, deadline);
    }
  }
}

}  // namespace sim
