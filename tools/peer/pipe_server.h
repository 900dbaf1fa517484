// The server end of the Kestrine pipe as the peer holds it: one instance, one client, one
// document in one direction. Waits for the client and for its bytes have limits.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "platform/types.h"
#include "common/owned_handles.h"

namespace peer {

using Clock = std::chrono::steady_clock;

// What a receive got: every byte that arrived, and what cut it short, if anything.
struct Received {
  std::string document;
  std::optional<std::string> failure;
};

class PipeServer {
 public:
  // Creates the first instance of \\.\pipe\<name>; a client may connect from here on. Refuses
  // (PeerError) when another process serves that pipe already.
  PipeServer(const std::string& name, DWORD maxInstances);

  // "\\.\pipe\<name>", for messages.
  const std::string& fullName() const { return displayName; }

  // Waits until a client has connected (at once if one came first, even one that has left
  // again). False when `deadline` passes or `clientCannotCome` says so first.
  bool waitForClient(Clock::time_point deadline, const std::function<bool()>& clientCannotCome);

  // The id of the connected client's process, or nothing when it cannot be had.
  std::optional<DWORD> clientProcessId();

  // Disconnects the client unread and unserved, and waits for the next one as waitForClient does.
  bool refuseAndWaitForNext(Clock::time_point deadline, const std::function<bool()>& clientCannotCome);

  // The limit of sendAll's writes and of its wait for the client to read them.
  void setWriteDeadline(Clock::time_point deadline) { writeDeadline = deadline; }

  // Reads until the client ends the stream, or until nothing more arrives before `deadline`,
  // a read fails, or the client sends more than kMaxDocumentBytes.
  Received receiveAll(Clock::time_point deadline);

  // Writes the whole document, waits until the client has read it and disconnects. Throws
  // PeerError when a write fails or the client has not read everything by the write deadline;
  // gives false when the client went away before the end was confirmed.
  bool sendAll(const std::string& document);

  static constexpr std::size_t kMaxDocumentBytes = 64u * 1024u * 1024u;

 private:
  std::string displayName;
  velmo::KernelHandle pipe;
  std::optional<Clock::time_point> writeDeadline;
};

}  // namespace peer
