// The peer's server end: CreateNamedPipeW, PeekNamedPipe until a client is there, then reads to
// the end of the stream or writes, FlushFileBuffers and DisconnectNamedPipe.
#include "tools/peer/pipe_server.h"

#include <algorithm>
#include <thread>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tools/peer/io_deadline.h"
#include "tools/peer/peer_error.h"
#include "tools/peer/pipe_security.h"

namespace peer {
namespace {

constexpr DWORD kBufferBytes = 64 * 1024;
// How long a client's WaitNamedPipeW(NMPWAIT_USE_DEFAULT_WAIT) waits for this pipe.
constexpr DWORD kDefaultClientWaitMilliseconds = 1000;
constexpr auto kPollPause = std::chrono::milliseconds(2);

}  // namespace

PipeServer::PipeServer(const std::string& name, DWORD maxInstances)
    : displayName("\\\\.\\pipe\\" + name) {
  // Duplex: the program opens its end for reading and writing whatever the direction. The first
  // instance only: a pipe that another process serves already is not ours to take.
  PipeSecurity security;
  pipe.reset(platform::CreateNamedPipeW(
      velmo::utf8ToWide(displayName).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE,
      PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, maxInstances,
      kBufferBytes, kBufferBytes, kDefaultClientWaitMilliseconds, security.attributes()));
  if (!pipe) {
    const DWORD error = platform::GetLastError();
    // Windows refuses a second first instance with 5; where that flag is not kept (Wine), a full
    // pipe of another server gives 231.
    if (error == ERROR_ACCESS_DENIED || error == ERROR_PIPE_BUSY) {
      throw PeerError("another process already serves " + displayName + ": it could take the "
                      "display state document meant for this peer, or hand the tool a wrong one, "
                      "so this peer refuses to share the pipe; end that process first", error);
    }
    throw PeerError("cannot create " + displayName, error);
  }
}

bool PipeServer::waitForClient(Clock::time_point deadline,
                               const std::function<bool()>& clientCannotCome) {
  for (;;) {
    // Looking into the pipe never blocks; it works once a client has reached the instance, and
    // a client that came and went leaves a broken pipe with its bytes still to read.
    const bool cannotCome = clientCannotCome();
    DWORD available = 0;
    if (platform::PeekNamedPipe(pipe.get(), nullptr, 0, nullptr, &available, nullptr) ||
        platform::GetLastError() == ERROR_BROKEN_PIPE) {
      return true;
    }
    if (cannotCome || Clock::now() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(kPollPause);
  }
}

std::optional<DWORD> PipeServer::clientProcessId() {
  ULONG processId = 0;
  if (!platform::GetNamedPipeClientProcessId(pipe.get(), &processId)) {
    return std::nullopt;
  }
  return static_cast<DWORD>(processId);
}

bool PipeServer::refuseAndWaitForNext(Clock::time_point deadline,
                                      const std::function<bool()>& clientCannotCome) {
  // Disconnecting drops what the client sent; the instance takes a new client only through
  // ConnectNamedPipe, which blocks, so it waits under a limit that cancels it.
  platform::DisconnectNamedPipe(pipe.get());
  IoDeadline limit(deadline, clientCannotCome);
  if (platform::ConnectNamedPipe(pipe.get(), nullptr)) {
    return true;
  }
  const DWORD error = platform::GetLastError();
  // A client that came in between (535), or came and went already (232), is connected too.
  if (error == ERROR_PIPE_CONNECTED || error == ERROR_NO_DATA) {
    return true;
  }
  if (error == ERROR_OPERATION_ABORTED) {
    return false;
  }
  throw PeerError("cannot wait for a client of " + displayName, error);
}

Received PipeServer::receiveAll(Clock::time_point deadline) {
  Received received;
  std::string buffer(kBufferBytes, '\0');
  for (;;) {
    DWORD available = 0;
    if (!platform::PeekNamedPipe(pipe.get(), nullptr, 0, nullptr, &available, nullptr)) {
      const DWORD error = platform::GetLastError();
      if (error != ERROR_BROKEN_PIPE) {
        received.failure = "cannot read from " + displayName + " (error " + std::to_string(error) + ")";
      }
      return received;
    }
    if (available == 0) {
      if (Clock::now() >= deadline) {
        received.failure = "the client sent nothing more before the transfer's time ran out";
        return received;
      }
      std::this_thread::sleep_for(kPollPause);
      continue;
    }
    // What is there can be read without blocking.
    DWORD count = 0;
    if (!platform::ReadFile(pipe.get(), &buffer[0], std::min(available, kBufferBytes), &count,
                            nullptr)) {
      received.failure = "cannot read from " + displayName + " (error " +
                         std::to_string(platform::GetLastError()) + ")";
      return received;
    }
    received.document.append(buffer.data(), count);
    if (received.document.size() > kMaxDocumentBytes) {
      received.failure = "the client sent more than " + std::to_string(kMaxDocumentBytes) + " bytes";
      return received;
    }
  }
}

bool PipeServer::sendAll(const std::string& document) {
  // A client that never reads would hold a write, or the flush, for ever.
  std::optional<IoDeadline> limit;
  if (writeDeadline) {
    limit.emplace(*writeDeadline);
  }
  const auto timedOut = [&] {
    platform::DisconnectNamedPipe(pipe.get());
    return PeerError("the client had not read the whole document of " +
                     std::to_string(document.size()) + " bytes when the transfer's time ran out "
                     "(--transfer-timeout); it was disconnected");
  };
  for (std::size_t offset = 0; offset < document.size(); offset += kBufferBytes) {
    const DWORD size = static_cast<DWORD>(std::min<std::size_t>(kBufferBytes, document.size() - offset));
    DWORD written = 0;
    if (!platform::WriteFile(pipe.get(), document.data() + offset, size, &written, nullptr)) {
      if (limit && limit->expired()) {
        throw timedOut();
      }
      throw PeerError("cannot write to " + displayName, platform::GetLastError());
    }
  }
  // Disconnecting drops what the client has not read yet, so wait for it to read everything.
  const bool confirmed = platform::FlushFileBuffers(pipe.get()) != FALSE;
  if (!confirmed && limit && limit->expired()) {
    throw timedOut();
  }
  platform::DisconnectNamedPipe(pipe.get());
  return confirmed;
}

}  // namespace peer
