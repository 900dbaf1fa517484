// The server end of the Kestrine pipe as the peer holds it: one instance, one client, one
// document in one direction.
#pragma once

#include <string>

#include "platform/types.h"
#include "tools/peer/owned_handle.h"

namespace peer {

class PipeServer {
 public:
  // Creates an instance of \\.\pipe\<name>; a client may connect from here on. Throws PeerError.
  PipeServer(const std::string& name, DWORD maxInstances);

  // "\\.\pipe\<name>", for messages.
  const std::string& fullName() const { return displayName; }

  // Waits until a client has connected (at once if one came first). Throws PeerError.
  void waitForClient();

  // Reads until the client ends the stream. Throws PeerError on any other read failure or when
  // the client sends more than kMaxDocumentBytes.
  std::string receiveAll();

  // Writes the whole document, waits until the client has read it and disconnects. Throws
  // PeerError when a write fails; gives false when the client went away before the end was
  // confirmed.
  bool sendAll(const std::string& document);

  static constexpr std::size_t kMaxDocumentBytes = 64u * 1024u * 1024u;

 private:
  std::string displayName;
  OwnedHandle pipe;
};

}  // namespace peer
