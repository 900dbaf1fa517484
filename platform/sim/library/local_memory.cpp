// The sim's local memory operations: zero-filled fixed blocks from the C heap.
// A block that is never given back shows up in a leak check.
#include <cstdlib>

#include "platform/local_memory.h"
#include "platform/sim/core/test_api.h"

namespace platform {

HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes) {
  SIM_ENTER(LocalAlloc, uFlags, uBytes);
  void* block = std::calloc(1, uBytes > 0 ? uBytes : 1);
  if (!block) {
    sim::setLastError(ERROR_NOT_ENOUGH_MEMORY);
  }
  return block;
}

HLOCAL LocalFree(HLOCAL hMem) {
  SIM_ENTER(LocalFree, hMem);
  std::free(hMem);
  return nullptr;
}

}  // namespace platform
