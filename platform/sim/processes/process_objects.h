// Sim only: the kernel objects behind process and thread handles. A started child is waited on
// with waitpid; a process opened by id is known by its id only; a child started suspended waits
// at its gate until ResumeThread opens it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/sim/core/file_descriptor.h"
#include "platform/sim/core/handles.h"
#include "platform/types.h"

namespace sim {

// Any process a handle stands for, by its id.
class ProcessIdentity : public HandleObject {
 public:
  explicit ProcessIdentity(pid_t pid) : pid(pid) {}
  const pid_t pid;
  // True once the process has ended; `block` waits for it. Another's process is looked up in
  // /proc (gone, or ended and not yet reaped by its parent).
  virtual bool reap(bool block);
};

// A child of this process.
class ChildProcess : public ProcessIdentity {
 public:
  using ProcessIdentity::ProcessIdentity;
  // A termination still pending completes when the last handle goes.
  ~ChildProcess() override;
  bool reap(bool block) override;
  DWORD code();
  // SIGKILL, and the code that Windows would report; a process that has ended stays as it was.
  // Under the fault terminate-pending (process_faults.h) the SIGKILL comes that much later.
  bool terminate(DWORD code);

 private:
  // Sends a pending SIGKILL once its time has come (at once with `now`).
  void completeTermination(bool now);

  std::mutex mutex;
  bool ended = false;
  DWORD exitCode;
  std::optional<DWORD> terminatedWith;
  std::optional<std::chrono::steady_clock::time_point> killAt;
};

// The first thread of a child. While `gate` is open the child waits before running its program.
class ChildThread : public HandleObject {
 public:
  explicit ChildThread(FileDescriptor gate) : gate(std::move(gate)) {}
  // The suspend count before the call: 1 when this opened the gate, 0 when it was open.
  DWORD resume();

 private:
  std::mutex mutex;
  // Closed without the byte that opens it, the gate ends the child before its program runs.
  FileDescriptor gate;
};

// The process behind a handle; null with ERROR_INVALID_HANDLE when it is none.
std::shared_ptr<ProcessIdentity> processIdentityOf(HANDLE handle);
std::shared_ptr<ChildProcess> childOf(HANDLE handle);

}  // namespace sim
