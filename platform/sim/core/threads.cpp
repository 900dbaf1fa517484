// Only the sim's thread operations live here: the kernel's thread id on Linux, else a counter.
#ifdef __linux__
#include <sys/syscall.h>
#include <unistd.h>
#else
#include <atomic>
#endif

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
  if (auto hooked = sim::detail::runHook(&GetCurrentThreadId, "GetCurrentThreadId")) {
    return *hooked;
  }
  thread_local const DWORD id = systemThreadId();
  return id;
}

}  // namespace platform
