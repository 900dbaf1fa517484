// Sim only: process and thread objects; children are reaped with waitpid, gates are pipes.
#include "platform/sim/processes/process_objects.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <time.h>

#include <cerrno>
#include <optional>
#include <thread>

#include "platform/errors.h"
#include "platform/processes.h"
#include "platform/sim/core/host_process.h"
#include "platform/sim/processes/process_faults.h"

namespace sim {
namespace {

template <class T>
std::shared_ptr<T> objectOf(HANDLE handle) {
  auto object = lookupHandleAs<T>(HandleKind::Kernel, handle);
  if (!object) {
    platform::SetLastError(ERROR_INVALID_HANDLE);
  }
  return object;
}

}  // namespace

bool ProcessIdentity::reap(bool block) {
  for (;;) {
    const std::optional<HostProcessStat> stat = readHostProcessStat(pid);
    if (!stat || stat->state == 'Z' || stat->state == 'X') {
      return true;
    }
    if (!block) {
      return false;
    }
    const timespec oneMillisecond{0, 1000000};
    ::nanosleep(&oneMillisecond, nullptr);
  }
}

ChildProcess::~ChildProcess() {
  std::lock_guard<std::mutex> lock(mutex);
  if (!ended) {
    completeTermination(true);
  }
}

void ChildProcess::completeTermination(bool now) {
  if (killAt && (now || std::chrono::steady_clock::now() >= *killAt)) {
    ::kill(pid, SIGKILL);
    killAt.reset();
  }
}

bool ChildProcess::reap(bool block) {
  std::lock_guard<std::mutex> lock(mutex);
  if (ended) {
    return true;
  }
  if (block && killAt) {
    std::this_thread::sleep_until(*killAt);
  }
  completeTermination(false);
  int status = 0;
  const pid_t result = ::waitpid(pid, &status, block ? 0 : WNOHANG);
  if (result == pid) {
    ended = true;
    exitCode = terminatedWith ? *terminatedWith
               : WIFEXITED(status) ? static_cast<DWORD>(WEXITSTATUS(status))
                                   : static_cast<DWORD>(128 + WTERMSIG(status));
  } else if (result < 0 && errno == ECHILD) {
    ended = true;  // reaped elsewhere; the code is unknown
    exitCode = 1;
  }
  return ended;
}

DWORD ChildProcess::code() {
  std::lock_guard<std::mutex> lock(mutex);
  return ended ? exitCode : STILL_ACTIVE;
}

bool ChildProcess::terminate(DWORD code) {
  std::lock_guard<std::mutex> lock(mutex);
  if (ended) {
    return true;
  }
  if (terminatedWith) {
    return true;  // the first termination's code stands
  }
  if (::kill(pid, 0) != 0) {
    return false;
  }
  terminatedWith = code;
  const DWORD pending = processFault("terminate-pending").value_or(0);
  killAt = std::chrono::steady_clock::now() + std::chrono::milliseconds(pending);
  completeTermination(pending == 0);
  return true;
}

DWORD ChildThread::resume() {
  std::lock_guard<std::mutex> lock(mutex);
  if (!gate) {
    return 0;
  }
  const char open = 'g';
  ssize_t written;
  do {
    written = ::write(gate.get(), &open, 1);
  } while (written < 0 && errno == EINTR);
  gate.reset();
  return 1;
}

std::shared_ptr<ProcessIdentity> processIdentityOf(HANDLE handle) {
  return objectOf<ProcessIdentity>(handle);
}

std::shared_ptr<ChildProcess> childOf(HANDLE handle) { return objectOf<ChildProcess>(handle); }

}  // namespace sim
