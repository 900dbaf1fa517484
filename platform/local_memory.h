// Local memory operations of kernel32 (LocalAlloc, LocalFree) and their flags.
// The crypt32 size-then-data calls fill such buffers.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
constexpr UINT LMEM_FIXED = 0x0;
constexpr UINT LMEM_ZEROINIT = 0x40;
constexpr UINT LPTR = LMEM_FIXED | LMEM_ZEROINIT;
#endif

namespace platform {

// Fixed memory only: the handle is the address of the block.
HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes);
// Null on success; the handle itself when it could not be freed.
HLOCAL LocalFree(HLOCAL hMem);

}  // namespace platform
