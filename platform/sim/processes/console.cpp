// Sim only: console control events as signals. SIGINT is Ctrl+C, SIGQUIT Ctrl+Break (Ctrl+\ at a
// terminal) and SIGHUP the closing of the console. Once a routine is added, a signal handler
// passes each signal through a pipe to a thread of its own, which calls the routines as Windows
// does, and ends the process by the signal's default action when none takes the event, or after
// the routines return for a closed console.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/console.h"
#include "platform/errors.h"
#include "platform/sim/core/test_api.h"

namespace {

constexpr int kSignals[] = {SIGINT, SIGQUIT, SIGHUP};
constexpr DWORD kEvents[] = {CTRL_C_EVENT, CTRL_BREAK_EVENT, CTRL_CLOSE_EVENT};

std::mutex routinesMutex;
std::vector<PHANDLER_ROUTINE> routines;  // the last added last
bool ignoreCtrlC = false;
int signalPipe[2] = {-1, -1};

void onSignal(int signal) {
  const int saved = errno;
  const unsigned char number = static_cast<unsigned char>(signal);
  (void)!::write(signalPipe[1], &number, 1);
  errno = saved;
}

[[noreturn]] void endBy(int signal) {
  ::signal(signal, SIG_DFL);
  ::raise(signal);
  ::_exit(128 + signal);
}

bool takenByRoutine(DWORD event) {
  std::vector<PHANDLER_ROUTINE> current;
  {
    std::lock_guard<std::mutex> lock(routinesMutex);
    if (event == CTRL_C_EVENT && ignoreCtrlC) {
      return true;
    }
    current = routines;
  }
  return std::any_of(current.rbegin(), current.rend(), [&](PHANDLER_ROUTINE r) { return r(event) != FALSE; });
}

void dispatch() {
  for (;;) {
    unsigned char number = 0;
    const ssize_t got = ::read(signalPipe[0], &number, 1);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got != 1) {
      return;
    }
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
      if (kSignals[i] != number) {
        continue;
      }
      const bool taken = takenByRoutine(kEvents[i]);
      if (!taken || kEvents[i] == CTRL_CLOSE_EVENT) {
        endBy(number);
      }
    }
  }
}

// Once per process: the pipe, the thread and the signal handlers.
bool install() {
  static const bool installed = [] {
    if (::pipe2(signalPipe, O_CLOEXEC) != 0) {
      return false;
    }
    std::thread(dispatch).detach();
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    for (const int signal : kSignals) {
      ::sigaction(signal, &action, nullptr);
    }
    return true;
  }();
  return installed;
}

}  // namespace

namespace platform {

BOOL SetConsoleCtrlHandler(PHANDLER_ROUTINE HandlerRoutine, BOOL Add) {
  SIM_ENTER(SetConsoleCtrlHandler, HandlerRoutine, Add);
  if (!install()) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  }
  std::lock_guard<std::mutex> lock(routinesMutex);
  if (!HandlerRoutine) {
    ignoreCtrlC = Add != FALSE;
    return TRUE;
  }
  if (Add) {
    routines.push_back(HandlerRoutine);
    return TRUE;
  }
  const auto found = std::find(routines.rbegin(), routines.rend(), HandlerRoutine);
  if (found == routines.rend()) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  routines.erase(std::next(found).base());
  return TRUE;
}

}  // namespace platform
