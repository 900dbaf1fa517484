// The peer's server end: CreateNamedPipeW, ConnectNamedPipe, then reads to the end of the stream
// or writes, FlushFileBuffers and DisconnectNamedPipe.
#include "tools/peer/pipe_server.h"

#include <algorithm>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

constexpr DWORD kBufferBytes = 64 * 1024;
// How long a client's WaitNamedPipeW(NMPWAIT_USE_DEFAULT_WAIT) waits for this pipe.
constexpr DWORD kDefaultClientWaitMilliseconds = 1000;

}  // namespace

PipeServer::PipeServer(const std::string& name, DWORD maxInstances)
    : displayName("\\\\.\\pipe\\" + name) {
  // Duplex: the program opens its end for reading and writing whatever the direction.
  pipe = adopt(platform::CreateNamedPipeW(
      velmo::utf8ToWide(displayName).c_str(), PIPE_ACCESS_DUPLEX,
      PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, maxInstances,
      kBufferBytes, kBufferBytes, kDefaultClientWaitMilliseconds, nullptr));
  if (!pipe) {
    throw PeerError("cannot create " + displayName, platform::GetLastError());
  }
}

void PipeServer::waitForClient() {
  if (platform::ConnectNamedPipe(pipe.get(), nullptr)) {
    return;
  }
  // A client that connected first is connected still, even if it has already closed its end
  // (its bytes are still there to read).
  const DWORD error = platform::GetLastError();
  if (error != ERROR_PIPE_CONNECTED && error != ERROR_NO_DATA) {
    throw PeerError("cannot wait for a client on " + displayName, error);
  }
}

std::string PipeServer::receiveAll() {
  std::string document;
  std::string buffer(kBufferBytes, '\0');
  DWORD count = 0;
  while (platform::ReadFile(pipe.get(), &buffer[0], kBufferBytes, &count, nullptr)) {
    document.append(buffer.data(), count);
    if (document.size() > kMaxDocumentBytes) {
      throw PeerError("the client sent more than " + std::to_string(kMaxDocumentBytes) + " bytes");
    }
  }
  const DWORD error = platform::GetLastError();
  if (error != ERROR_BROKEN_PIPE) {
    throw PeerError("cannot read from " + displayName, error);
  }
  return document;
}

bool PipeServer::sendAll(const std::string& document) {
  for (std::size_t offset = 0; offset < document.size(); offset += kBufferBytes) {
    const DWORD size = static_cast<DWORD>(std::min<std::size_t>(kBufferBytes, document.size() - offset));
    DWORD written = 0;
    if (!platform::WriteFile(pipe.get(), document.data() + offset, size, &written, nullptr)) {
      throw PeerError("cannot write to " + displayName, platform::GetLastError());
    }
  }
  // Disconnecting drops what the client has not read yet, so wait for it to read everything.
  const bool confirmed = platform::FlushFileBuffers(pipe.get()) != FALSE;
  platform::DisconnectNamedPipe(pipe.get());
  return confirmed;
}

}  // namespace peer
