// Draining the tool's output pipe with PeekNamedPipe and ReadFile (never blocking on an empty
// pipe, so the end can be bounded), and relaying its lines from a thread of their own.
#include "tools/peer/tool_output.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tools/peer/commands.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

using Clock = std::chrono::steady_clock;
constexpr DWORD kChunk = 16 * 1024;
constexpr auto kPollPause = std::chrono::milliseconds(2);
// What the relay holds at most before it drops lines.
constexpr std::size_t kRelayBytes = 256 * 1024;
// How long the peer waits for its own output to take the last relayed lines.
constexpr auto kPrinterGrace = std::chrono::seconds(2);
const char* const kLinePrefix = "[tool] ";

}  // namespace

struct Relay {
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::string> lines;
  std::size_t bytes = 0;
  std::size_t dropped = 0;
  bool closed = false;
  bool printerDone = false;

  void push(std::string line) {
    std::lock_guard<std::mutex> lock(mutex);
    if (bytes + line.size() > kRelayBytes) {
      ++dropped;
      return;
    }
    bytes += line.size();
    lines.push_back(std::move(line));
    changed.notify_all();
  }

  // The printer: may block on the peer's output for as long as its reader likes.
  void print() {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
      changed.wait(lock, [&] { return closed || !lines.empty(); });
      if (lines.empty()) {
        break;
      }
      const std::string line = std::move(lines.front());
      lines.pop_front();
      bytes -= line.size();
      lock.unlock();
      const std::string shown = kLinePrefix + line + "\n";
      std::fwrite(shown.data(), 1, shown.size(), stdout);
      std::fflush(stdout);
      lock.lock();
    }
    printerDone = true;
    changed.notify_all();
  }
};

ToolOutput::ToolOutput(bool relayLines) : relay(relayLines ? std::make_shared<Relay>() : nullptr) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE readHandle = nullptr;
  HANDLE writeHandle = nullptr;
  if (!platform::CreatePipe(&readHandle, &writeHandle, &inheritable, 0)) {
    throw PeerError("cannot make a pipe for the tool's output", platform::GetLastError());
  }
  readEnd.reset(readHandle);
  writeEnd.reset(writeHandle);
}

ToolOutput::~ToolOutput() {
  if (drainer.joinable()) {
    finish(std::chrono::milliseconds(0));
  }
}

void ToolOutput::startDraining() {
  writeEnd.reset();
  drainer = std::thread([this] { drain(); });
  if (relay) {
    printer = std::thread([shared = relay] { shared->print(); });
  }
}

void ToolOutput::take(const char* bytes, std::size_t count) {
  kept.append(bytes, count);
  if (kept.size() > kKeptBytes) {
    kept.erase(0, kept.size() - kKeptBytes);
  }
  if (!relay) {
    return;
  }
  partialLine.append(bytes, count);
  std::size_t start = 0;
  for (std::size_t end; (end = partialLine.find('\n', start)) != std::string::npos; start = end + 1) {
    std::string line = partialLine.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    relay->push(std::move(line));
  }
  partialLine.erase(0, start);
}

void ToolOutput::drain() {
  std::string buffer(kChunk, '\0');
  for (;;) {
    DWORD available = 0;
    if (!platform::PeekNamedPipe(readEnd.get(), nullptr, 0, nullptr, &available, nullptr)) {
      break;  // every writer has gone (ERROR_BROKEN_PIPE), or the pipe failed
    }
    if (available > 0) {
      DWORD count = 0;
      if (!platform::ReadFile(readEnd.get(), &buffer[0], std::min(available, kChunk), &count, nullptr)) {
        break;
      }
      take(buffer.data(), count);
      continue;
    }
    if (stopRequested.load() && Clock::now() >= stopAt) {
      break;
    }
    std::this_thread::sleep_for(kPollPause);
  }
  if (relay && !partialLine.empty()) {
    relay->push(partialLine);
    partialLine.clear();
  }
}

std::string ToolOutput::finish(std::chrono::milliseconds linger) {
  stopAt = Clock::now() + linger;
  stopRequested = true;
  if (drainer.joinable()) {
    drainer.join();
  }
  if (printer.joinable()) {
    std::unique_lock<std::mutex> lock(relay->mutex);
    relay->closed = true;
    relay->changed.notify_all();
    // A frozen output keeps the printer; the peer goes on without it.
    const bool done = relay->changed.wait_for(lock, kPrinterGrace, [&] { return relay->printerDone; });
    const std::size_t dropped = relay->dropped;
    lock.unlock();
    if (done) {
      printer.join();
    } else {
      printer.detach();
    }
    if (dropped > 0) {
      printStatus(std::to_string(dropped) + " lines of the tool's output were not shown (the "
                  "peer's own output was not read fast enough); the history keeps the last " +
                  std::to_string(kKeptBytes / 1024) + " KiB of it");
    }
  }
  return kept;
}

}  // namespace peer
