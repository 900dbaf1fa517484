// The Kestrine tool as a child of the peer: started with its action and extra arguments in a job
// that ends it with the peer, without a console of its own and with only its output pipe
// inherited; waited for, its exit status read.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"
#include "common/owned_handles.h"
#include "tools/peer/tool_job.h"

namespace peer {

class ToolProcess {
 public:
  // Starts `tool` with `arguments`, its standard output and error on `output` (an inheritable
  // handle, the only one it inherits). The tool is started suspended, put into its job and only
  // then resumed, so nothing it does escapes the job. Throws PeerError when it cannot be started.
  ToolProcess(const std::filesystem::path& tool, const std::vector<std::string>& arguments,
              HANDLE output);

  // Waits at most `limit` for the tool to end; its exit status as the tool returned it (-1 stays
  // -1), or nothing when it is still running. Throws PeerError when the wait fails.
  std::optional<int> waitFor(std::chrono::milliseconds limit);

  // Ends the tool at once (kill -9, TerminateProcess); its exit status becomes kKilledStatus.
  void terminate();

  static constexpr int kKilledStatus = 9;

  // Whether a pipe client with this process id is the tool: the tool itself or a process inside
  // its job (one that the tool started, as a wrapper script starts the real tool).
  bool isToolOrInItsJob(DWORD processId) const;

  // Ends every process the tool left behind in its job.
  void endJob() { job.close(); }

  // The command line as it was started, for messages.
  const std::string& commandLine() const { return shownCommandLine; }

 private:
  std::string shownCommandLine;
  ToolJob job;
  velmo::KernelHandle process;
  velmo::KernelHandle thread;
  DWORD processId = 0;
};

// The tool beside the running peer: kestrine (kestrine.exe on Windows) in the peer's directory.
std::filesystem::path toolBesidePeer();

// Quotes one argument for a Windows command line so that the C runtime splits it back unchanged.
std::string quoteArgument(const std::string& argument);

}  // namespace peer
