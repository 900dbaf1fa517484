// The one lock of a peer's store: held by a command from before it reads the store until after its
// last change, so that two peers on one store never interleave their checks, runs and writes.
#pragma once

#include <chrono>
#include <filesystem>

#include "common/owned_handles.h"

namespace peer {

class StoreLock {
 public:
  // Takes the exclusive lock on <directory>/lock (made with the directory if missing), waiting at
  // most `patience` for another peer to let it go. Throws PeerError when it cannot.
  StoreLock(const std::filesystem::path& directory, std::chrono::milliseconds patience);
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

 private:
  velmo::KernelHandle file;
};

}  // namespace peer
