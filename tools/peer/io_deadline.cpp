// The watcher of IoDeadline, through OpenThread and CancelSynchronousIo.
#include "tools/peer/io_deadline.h"

#include <algorithm>

#include "platform/errors.h"
#include "platform/threads.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

// How often `giveUp` is asked, and how often a cancel is repeated until the call has ended.
constexpr auto kAskPause = std::chrono::milliseconds(5);
constexpr auto kCancelPause = std::chrono::milliseconds(2);

}  // namespace

IoDeadline::IoDeadline(Clock::time_point deadline, std::function<bool()> giveUp)
    : thread(platform::OpenThread(THREAD_TERMINATE, FALSE, platform::GetCurrentThreadId())) {
  if (!thread) {
    throw PeerError("cannot watch the pipe's calls", platform::GetLastError());
  }
  watcher = std::thread([this, deadline, giveUp = std::move(giveUp)] { watch(deadline, giveUp); });
}

IoDeadline::~IoDeadline() {
  {
    std::lock_guard<std::mutex> lock(mutex);
    done = true;
  }
  lifted.notify_all();
  watcher.join();
}

void IoDeadline::watch(Clock::time_point deadline, const std::function<bool()>& giveUp) {
  std::unique_lock<std::mutex> lock(mutex);
  while (!done) {
    const Clock::time_point wake = giveUp ? std::min(deadline, Clock::now() + kAskPause) : deadline;
    if (lifted.wait_until(lock, wake, [&] { return done; })) {
      return;
    }
    if (Clock::now() >= deadline || (giveUp && giveUp())) {
      break;
    }
  }
  cancelling = true;
  while (!done) {
    // Nothing to cancel (ERROR_NOT_FOUND) when the thread is between calls: try again.
    platform::CancelSynchronousIo(thread.get());
    lifted.wait_for(lock, kCancelPause, [&] { return done; });
  }
}

}  // namespace peer
