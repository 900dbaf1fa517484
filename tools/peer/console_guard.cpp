// The console control routine of the peer, through SetConsoleCtrlHandler.
#include "tools/peer/console_guard.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "platform/console.h"

namespace peer {
namespace {

// Windows ends a process about 5 s after its console was closed, whatever its routines do.
constexpr auto kCloseGrace = std::chrono::milliseconds(4500);

std::mutex mutex;
std::condition_variable released;
bool holding = false;
bool commandDone = false;
bool eventCame = false;

BOOL onConsoleEvent(DWORD event) {
  std::unique_lock<std::mutex> lock(mutex);
  if (!holding) {
    return FALSE;  // the default: the peer ends
  }
  eventCame = true;
  if (event == CTRL_CLOSE_EVENT) {
    // The process ends when this returns: not before the command has finished.
    released.wait_for(lock, kCloseGrace, [] { return commandDone; });
  }
  return TRUE;
}

}  // namespace

void holdConsoleEvents() {
  std::lock_guard<std::mutex> lock(mutex);
  if (!holding) {
    holding = platform::SetConsoleCtrlHandler(&onConsoleEvent, TRUE) != FALSE;
  }
}

bool releaseConsoleEvents() {
  std::lock_guard<std::mutex> lock(mutex);
  commandDone = true;
  released.notify_all();
  return eventCame;
}

}  // namespace peer
