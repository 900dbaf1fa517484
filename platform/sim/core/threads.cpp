// Only the sim's thread operations live here: the kernel's thread id on Linux, else a counter;
// handles to this process's threads and the cancelling of their blocking calls.
#include <unistd.h>
#ifdef __linux__
#include <sys/syscall.h>
#else
#include <atomic>
#endif

#include <memory>
#include <string>

#include "platform/errors.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/core/io_cancel.h"
#include "platform/sim/core/test_api.h"
#include "platform/threads.h"

namespace {

DWORD systemThreadId() {
#ifdef __linux__
  return static_cast<DWORD>(::syscall(SYS_gettid));
#else
  static std::atomic<DWORD> next{1000};
  return next.fetch_add(4);
#endif
}

}  // namespace

namespace platform {

DWORD GetCurrentThreadId() {
  // SIM_ENTER spelled out: the operation has no arguments to pass on.
  SIM_RECORD_CALL(GetCurrentThreadId);
  if (auto hooked = sim::detail::runHook(&GetCurrentThreadId)) {
    return *hooked;
  }
  thread_local const DWORD id = systemThreadId();
  return id;
}

}  // namespace platform

namespace {

// A thread of this process, by its id, for CancelSynchronousIo.
class ThreadReference : public sim::HandleObject {
 public:
  explicit ThreadReference(DWORD id) : id(id) {}
  const DWORD id;
};

}  // namespace

namespace platform {

HANDLE OpenThread(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwThreadId) {
  SIM_ENTER(OpenThread, dwDesiredAccess, bInheritHandle, dwThreadId);
  // Only threads of this process: the sim has no way into another process's calls.
  const std::string task = "/proc/self/task/" + std::to_string(dwThreadId);
  if (dwThreadId == 0 || ::access(task.c_str(), F_OK) != 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return sim::insertHandle(sim::HandleKind::Kernel, std::make_shared<ThreadReference>(dwThreadId));
}

BOOL CancelSynchronousIo(HANDLE hThread) {
  SIM_ENTER(CancelSynchronousIo, hThread);
  const auto thread = sim::lookupHandleAs<ThreadReference>(sim::HandleKind::Kernel, hThread);
  if (!thread) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (!sim::cancelCallOf(thread->id)) {
    SetLastError(ERROR_NOT_FOUND);
    return FALSE;
  }
  return TRUE;
}

}  // namespace platform
