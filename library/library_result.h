// The outcome of one step of finding, checking or loading a library.
#pragma once

#include <cstdint>
#include <string>

#include "logging/logger.h"

namespace velmo {

struct LibraryResult {
  bool ok = false;
  std::uint32_t errorCode = 0;  // the platform's code, or 0
  std::string message;          // the reason, ready for the log
};

// Logs a failed step at ERROR with its code and message.
void logFailure(logging::BasicLogger& logger, const LibraryResult& result);

}  // namespace velmo
