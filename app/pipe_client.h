// The client end of the named pipe \\.\pipe\KestrinePipe: connects when made, carries one
// document to or from the peer, and closes the pipe when destroyed.
#pragma once

#include <memory>
#include <string>

#include "common/owned_handles.h"
#include "logging/logger.h"
#include "platform/types.h"

namespace velmo {

// The client end of the pipe, closed by CloseHandle when dropped.
using PipeHandle = KernelHandle;

// Connects to the peer's pipe: up to 5 attempts while every instance is busy, each followed by
// a wait of at most 1 second for a free instance. Throws std::runtime_error when the pipe cannot
// be opened (at once for any error but ERROR_PIPE_BUSY).
PipeHandle openPipe(logging::LoggerBase& logger);

// Writes the message in chunks of at most 1024 bytes. True when every chunk was written; on the
// first failure the rest is dropped. An empty message writes nothing.
bool writePipeMessage(logging::LoggerBase& logger, HANDLE pipe, std::string message);

// Reads until a read fails (the end of the stream) or more than 1048576 bytes have arrived. Each
// chunk is taken as zero-terminated text.
std::string readPipeMessage(logging::LoggerBase& logger, HANDLE pipe);

class KestrinePipeClient {
 public:
  // Takes the logger and connects; throws std::invalid_argument for a null logger, and what
  // openPipe throws.
  explicit KestrinePipeClient(std::unique_ptr<logging::LoggerBase> logger);
  KestrinePipeClient(const KestrinePipeClient&) = delete;
  KestrinePipeClient& operator=(const KestrinePipeClient&) = delete;

  // Sends the document; the outcome is logged, not returned.
  void send(std::string message);
  std::string receive();

 private:
  std::unique_ptr<logging::LoggerBase> logger;
  PipeHandle pipeHandle;
};

}  // namespace velmo
