// Forwards the last-error functions to Win32. No logic may live here.
#include "platform/errors.h"

namespace platform {

DWORD GetLastError() { return ::GetLastError(); }
void SetLastError(DWORD errorCode) { ::SetLastError(errorCode); }

}  // namespace platform
