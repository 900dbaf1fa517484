// Forwards the console control function to Win32. No logic may live here.
#include "platform/console.h"

namespace platform {

BOOL SetConsoleCtrlHandler(PHANDLER_ROUTINE HandlerRoutine, BOOL Add) {
  return ::SetConsoleCtrlHandler(HandlerRoutine, Add);
}

}  // namespace platform
