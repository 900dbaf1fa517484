// The Kestrine tool as a child of the peer: started with its action and extra arguments,
// waited for, its exit status read.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"
#include "tools/peer/owned_handle.h"

namespace peer {

class ToolProcess {
 public:
  // Starts `tool` with `arguments`. Throws PeerError when it cannot be started.
  ToolProcess(const std::filesystem::path& tool, const std::vector<std::string>& arguments);

  // Waits at most `limit` for the tool to end; its exit status as the tool returned it (-1 stays
  // -1), or nothing when it is still running. Throws PeerError when the wait fails.
  std::optional<int> waitFor(std::chrono::milliseconds limit);

  // Ends the tool at once (kill -9, TerminateProcess); its exit status becomes kKilledStatus.
  void terminate();

  static constexpr int kKilledStatus = 9;

  // The command line as it was started, for messages.
  const std::string& commandLine() const { return shownCommandLine; }

 private:
  std::string shownCommandLine;
  OwnedHandle process;
  OwnedHandle thread;
};

// The tool beside the running peer: kestrine (kestrine.exe on Windows) in the peer's directory.
std::filesystem::path toolBesidePeer();

// Quotes one argument for a Windows command line so that the C runtime splits it back unchanged.
std::string quoteArgument(const std::string& argument);

}  // namespace peer
