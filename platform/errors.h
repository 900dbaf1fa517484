// The calling thread's last-error code. Read right after a failed call, as on Windows.
#pragma once

#include "platform/types.h"

namespace platform {

DWORD GetLastError();
void SetLastError(DWORD errorCode);

}  // namespace platform
