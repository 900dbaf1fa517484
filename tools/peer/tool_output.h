// The tool's standard output and error: one pipe that the peer drains while the tool runs. The
// last kKeptBytes are kept; whole lines are relayed to the peer's own output by a printer thread
// through a bounded queue, so a slow or frozen reader of the peer's output never holds up the
// tool: when the queue is full, lines are dropped from the relay (never from what is kept) and
// counted.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "platform/types.h"
#include "common/owned_handles.h"

namespace peer {

struct Relay;

class ToolOutput {
 public:
  // Makes the pipe. `relay` false keeps the tool's lines without showing them. Throws PeerError.
  explicit ToolOutput(bool relay);
  ~ToolOutput();
  ToolOutput(const ToolOutput&) = delete;
  ToolOutput& operator=(const ToolOutput&) = delete;

  // The write end, inheritable: the tool's standard output and error.
  HANDLE childEnd() const { return writeEnd.get(); }

  // Once the tool has started: closes the peer's copy of the write end and starts draining.
  void startDraining();

  // Once the tool has ended: reads to the end of the pipe, waiting at most `linger` for processes
  // the tool left behind that still hold it; stops the relay and gives what was kept.
  std::string finish(std::chrono::milliseconds linger);

  static constexpr std::size_t kKeptBytes = 256 * 1024;

 private:
  void drain();
  void take(const char* bytes, std::size_t count);

  velmo::KernelHandle readEnd;
  velmo::KernelHandle writeEnd;
  std::shared_ptr<Relay> relay;
  std::string kept;
  std::string partialLine;
  std::atomic<bool> stopRequested{false};
  std::chrono::steady_clock::time_point stopAt;  // set before stopRequested
  std::thread drainer;
  std::thread printer;
};

}  // namespace peer
