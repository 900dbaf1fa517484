// Forwards LocalAlloc and LocalFree to Win32. No logic may live here.
#include "platform/local_memory.h"

namespace platform {

HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes) { return ::LocalAlloc(uFlags, uBytes); }

HLOCAL LocalFree(HLOCAL hMem) { return ::LocalFree(hMem); }

}  // namespace platform
