// A kernel handle of the peer together with its closing function.
#pragma once

#include <memory>

#include "platform/pipes_files.h"
#include "platform/types.h"

namespace peer {

struct HandleCloser {
  void operator()(HANDLE handle) const { platform::CloseHandle(handle); }
};

// Holds a handle that is neither null nor INVALID_HANDLE_VALUE; use `adopt` to take one.
using OwnedHandle = std::unique_ptr<void, HandleCloser>;

inline OwnedHandle adopt(HANDLE handle) {
  return OwnedHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

}  // namespace peer
