// A limit on the blocking pipe calls of one thread: a watcher cancels the call the thread is in
// (CancelSynchronousIo) once the deadline passes or `giveUp` says so, and keeps cancelling until
// the limit is lifted, so a call that starts late is cancelled too.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "common/owned_handles.h"

namespace peer {

class IoDeadline {
 public:
  using Clock = std::chrono::steady_clock;

  // Watches the calling thread. Throws PeerError when it cannot.
  explicit IoDeadline(Clock::time_point deadline, std::function<bool()> giveUp = {});
  ~IoDeadline();
  IoDeadline(const IoDeadline&) = delete;
  IoDeadline& operator=(const IoDeadline&) = delete;

  // Whether the watcher has begun cancelling.
  bool expired() const { return cancelling.load(); }

 private:
  void watch(Clock::time_point deadline, const std::function<bool()>& giveUp);

  velmo::KernelHandle thread;
  std::mutex mutex;
  std::condition_variable lifted;
  bool done = false;
  std::atomic<bool> cancelling{false};
  std::thread watcher;
};

}  // namespace peer
