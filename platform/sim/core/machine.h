// The simulated machine's storage: a directory shared by every process that uses the sim. Only
// storage lives here (where the root is, the machine lock, atomic file replacement); what is
// stored in it belongs to the area that owns the file.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace sim {

// $KESTRINE_SIM_ROOT, else ${XDG_STATE_HOME:-$HOME/.local/state}/kestrine/sim. Read on each call
// so that a test can point the sim at a fresh directory. The directory is created if missing.
std::filesystem::path root();

// Where the machine's state files live: root()/machine.
std::filesystem::path machineDir();

// Holds the machine-wide lock (an exclusive flock on root()/machine.lock) for its lifetime.
// Every read-modify-write of machine state happens under it, across threads and processes.
// Not reentrant: do not take it twice on one thread.
class MachineLock {
 public:
  MachineLock();
  ~MachineLock();
  MachineLock(const MachineLock&) = delete;
  MachineLock& operator=(const MachineLock&) = delete;

 private:
  int fd;
};

// Reads a machine file (path relative to machineDir()). Empty optional if it does not exist.
std::optional<std::string> readMachineFile(const std::string& relativePath);

// Replaces a machine file atomically: written to a temporary file beside it and renamed over it,
// so that a reader sees either the old or the new content, never half of it.
void writeMachineFile(const std::string& relativePath, const std::string& content);

// Removes a machine file if it exists.
void removeMachineFile(const std::string& relativePath);

// Removes the whole machine state; the areas recreate their defaults on next use.
void resetMachine();

}  // namespace sim
