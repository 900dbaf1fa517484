// Sim only: each thread that makes a cancellable call gets a wake-up pipe, registered by its
// thread id; CancelSynchronousIo marks the call cancelled and writes to that pipe.
#include "platform/sim/core/io_cancel.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>

#include "platform/sim/core/file_descriptor.h"
#include "platform/threads.h"

namespace sim {
namespace {

struct ThreadCalls {
  FileDescriptor wakeRead;
  FileDescriptor wakeWrite;
  bool inCall = false;
  bool cancelled = false;
};

std::mutex registryMutex;
std::map<DWORD, ThreadCalls*>& registry() {
  static auto* threads = new std::map<DWORD, ThreadCalls*>;
  return *threads;
}

// The calling thread's entry; registered on first use, removed when the thread ends.
class ThreadEntry {
 public:
  ThreadEntry() : id(platform::GetCurrentThreadId()) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) {
      calls.wakeRead.reset(ends[0]);
      calls.wakeWrite.reset(ends[1]);
    }
    std::lock_guard<std::mutex> lock(registryMutex);
    registry()[id] = &calls;
  }
  ~ThreadEntry() {
    {
      std::lock_guard<std::mutex> lock(registryMutex);
      registry().erase(id);
    }
  }
  ThreadCalls calls;

 private:
  DWORD id;
};

ThreadCalls& own() {
  thread_local ThreadEntry entry;
  return entry.calls;
}

void drain(int fd) {
  char bytes[16];
  while (fd >= 0 && ::read(fd, bytes, sizeof bytes) > 0) {
  }
}

}  // namespace

CancellableCall::CancellableCall() {
  ThreadCalls& calls = own();
  std::lock_guard<std::mutex> lock(registryMutex);
  calls.inCall = true;
  calls.cancelled = false;
  drain(calls.wakeRead.get());
}

CancellableCall::~CancellableCall() {
  ThreadCalls& calls = own();
  std::lock_guard<std::mutex> lock(registryMutex);
  calls.inCall = false;
}

WaitResult CancellableCall::wait(int fd, short events, int timeoutMs) {
  ThreadCalls& calls = own();
  pollfd watched[2] = {{fd, events, 0}, {calls.wakeRead.get(), POLLIN, 0}};
  for (;;) {
    {
      std::lock_guard<std::mutex> lock(registryMutex);
      if (calls.cancelled) {
        return WaitResult::Cancelled;
      }
    }
    const int ready = ::poll(watched, 2, timeoutMs);
    if (ready < 0 && errno == EINTR) {
      continue;
    }
    if (watched[1].revents != 0) {
      drain(calls.wakeRead.get());
      continue;  // the flag above says whether it was a cancel
    }
    return ready > 0 ? WaitResult::Ready : WaitResult::TimedOut;
  }
}

bool cancelCallOf(DWORD threadId) {
  std::lock_guard<std::mutex> lock(registryMutex);
  const auto found = registry().find(threadId);
  if (found == registry().end() || !found->second->inCall) {
    return false;
  }
  found->second->cancelled = true;
  const char byte = 1;
  (void)!::write(found->second->wakeWrite.get(), &byte, 1);
  return true;
}

}  // namespace sim
