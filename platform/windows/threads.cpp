// Forwards the thread functions to Win32. No logic may live here.
#include "platform/threads.h"

namespace platform {

DWORD GetCurrentThreadId() { return ::GetCurrentThreadId(); }

}  // namespace platform
