// The pipe client: connection with retries on a busy pipe, chunked writes and bounded reads.
#include "app/pipe_client.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "platform/errors.h"
#include "platform/pipes_files.h"

namespace velmo {
namespace {

using logging::DEBUG;
using logging::INFO;
using logging::LoggerBase;
using logging::LogLevel;

const WCHAR* const kPipeName = PLATFORM_WIDE("\\\\.\\pipe\\KestrinePipe");
constexpr int kOpenAttempts = 5;
constexpr DWORD kBusyWaitMilliseconds = 1000;
constexpr std::size_t kWriteChunkBytes = 1024;
constexpr DWORD kReadChunkBytes = 1023;
constexpr std::uint32_t kMaxReceivedBytes = 1048576;

// Logs a "{}" message with the default result code; the text is built only when the level passes.
template <class... Args>
void logFormatted(LoggerBase& logger, LogLevel level, const char* format, const Args&... args) {
  if (level <= logger.logLevel) {
    logger.log(fmt::format(format, args...), level, logger.defaultResultCode);
  }
}

void logText(LoggerBase& logger, LogLevel level, const char* text) {
  if (level <= logger.logLevel) {
    logger.log(text, level, logger.defaultResultCode);
  }
}

HANDLE createPipeClient() {
  return platform::CreateFileW(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

PipeHandle openPipe(LoggerBase& logger) {
  for (int attempt = 0;;) {
    logFormatted(logger, DEBUG, "Attempt #{} at creating kestrine pipe client", attempt);
    PipeHandle handle(createPipeClient());
    if (handle) {
      logText(logger, DEBUG, "Successfully created kestrine pipe client");
      return handle;
    }
    const DWORD error = platform::GetLastError();
    // Only a busy pipe is worth another attempt; a missing one will not appear by waiting.
    if (error != ERROR_PIPE_BUSY) {
      throw std::runtime_error(fmt::format("Unable to open pipe client with error code {}", error));
    }
    if (!platform::WaitNamedPipeW(kPipeName, kBusyWaitMilliseconds)) {
      logText(logger, INFO, "Could not open kestrine pipe client. Retrying");
    }
    if (++attempt == kOpenAttempts) {
      throw std::runtime_error(
          fmt::format("Failed to create kestrine pipe client after {} attempts", kOpenAttempts));
    }
  }
}

bool writePipeMessage(LoggerBase& logger, HANDLE pipe, std::string message) {
  while (!message.empty()) {
    const std::string chunk = message.substr(0, std::min(message.size(), kWriteChunkBytes));
    message.erase(0, chunk.size());
    DWORD written = 0;
    if (!platform::WriteFile(pipe, chunk.data(), static_cast<DWORD>(chunk.size()),
                             &written, nullptr)) {
      const DWORD error = platform::GetLastError();
      logging::logError(logger, static_cast<std::int32_t>(error),
                        "Kestrine pipe failed to write message");
      return false;
    }
  }
  return true;
}

std::string readPipeMessage(LoggerBase& logger, HANDLE pipe) {
  char buffer[kReadChunkBytes + 1];
  DWORD count = 0;
  std::uint32_t total = 0;
  std::string message;
  BOOL ok = platform::ReadFile(pipe, buffer, kReadChunkBytes, &count, nullptr);
  while (ok) {
    // A chunk is text up to its first zero byte; the limit counts every byte read.
    buffer[count] = '\0';
    logFormatted(logger, INFO, "Received \"{}\"", static_cast<const char*>(buffer));
    message.append(buffer);
    total += count;
    count = 0;
    if (total > kMaxReceivedBytes) {
      logFormatted(logger, INFO,
                   "Receiving too much data from kestrine pipe (more than {} chars). Closing "
                   "named pipe.",
                   kMaxReceivedBytes);
      return message;
    }
    ok = platform::ReadFile(pipe, buffer, kReadChunkBytes, &count, nullptr);
  }
  // A failed read after data is the normal end of the message.
  if (total == 0) {
    const DWORD error = platform::GetLastError();
    logFormatted(logger, INFO, "Failed to read from pipe due to error {}", error);
  }
  return message;
}

KestrinePipeClient::KestrinePipeClient(std::unique_ptr<LoggerBase> clientLogger)
    : logger(std::move(clientLogger)) {
  if (!logger) {
    throw std::invalid_argument("Kestrine pipe client requires a logger");
  }
  pipeHandle = openPipe(*logger);
}

void KestrinePipeClient::send(std::string message) {
  writePipeMessage(*logger, pipeHandle.get(), std::move(message));
}

std::string KestrinePipeClient::receive() { return readPipeMessage(*logger, pipeHandle.get()); }

}  // namespace velmo
