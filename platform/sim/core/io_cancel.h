// Sim only: blocking calls that CancelSynchronousIo can end. A call marks its thread busy for its
// whole length; its waits on file descriptors also wake when another thread cancels it.
#pragma once

#include "platform/types.h"

namespace sim {

enum class WaitResult { Ready, TimedOut, Cancelled };

class CancellableCall {
 public:
  CancellableCall();
  ~CancellableCall();
  CancellableCall(const CancellableCall&) = delete;
  CancellableCall& operator=(const CancellableCall&) = delete;

  // Waits until `fd` has one of `events` (poll(2) flags; fd -1 waits for nothing), `timeoutMs`
  // passes (-1: no limit) or the call is cancelled. Once cancelled, every later wait of this call
  // gives Cancelled at once.
  WaitResult wait(int fd, short events, int timeoutMs = -1);
};

// Cancels the call the thread `threadId` of this process is in; false when it is in none.
bool cancelCallOf(DWORD threadId);

}  // namespace sim
