// Sim only: process and thread objects; children are reaped with waitpid, gates are pipes.
#include "platform/sim/processes/process_objects.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "platform/errors.h"
#include "platform/processes.h"

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

bool ChildProcess::reap(bool block) {
  std::lock_guard<std::mutex> lock(mutex);
  if (ended) {
    return true;
  }
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
  terminatedWith = code;
  return ::kill(pid, SIGKILL) == 0;
}

ChildThread::~ChildThread() {
  // A gate closed without the byte that opens it ends the child before its program runs.
  if (gate >= 0) {
    ::close(gate);
  }
}

DWORD ChildThread::resume() {
  std::lock_guard<std::mutex> lock(mutex);
  if (gate < 0) {
    return 0;
  }
  const char open = 'g';
  ssize_t written;
  do {
    written = ::write(gate, &open, 1);
  } while (written < 0 && errno == EINTR);
  ::close(gate);
  gate = -1;
  return 1;
}

std::shared_ptr<ProcessIdentity> processIdentityOf(HANDLE handle) {
  return objectOf<ProcessIdentity>(handle);
}

std::shared_ptr<ChildProcess> childOf(HANDLE handle) { return objectOf<ChildProcess>(handle); }

}  // namespace sim
