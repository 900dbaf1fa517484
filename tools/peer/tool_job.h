// The job the tool runs in: every process in it ends when the job's handle closes, and so when
// the peer ends in any way (a kill included). The tool and whatever it starts belong to it.
#pragma once

#include "platform/types.h"
#include "common/owned_handles.h"

namespace peer {

class ToolJob {
 public:
  // Throws PeerError when the job cannot be made.
  ToolJob();

  // Puts a started (still suspended) process into the job. Throws PeerError.
  void assign(HANDLE process);

  // Whether the process with this id runs inside the job. False when it cannot be told.
  bool holds(DWORD processId) const;

  // Ends every process still in the job.
  void close() { job.reset(); }

 private:
  velmo::KernelHandle job;
};

}  // namespace peer
