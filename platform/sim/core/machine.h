// The simulated machine's storage: a directory shared by every process that uses the sim. Only
// storage lives here (where the root is, the machine lock, atomic file replacement); what is
// stored in it belongs to the area that owns the file.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/sim/core/file_descriptor.h"

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
  FileDescriptor lockFile;
};

// Reads a whole file. Empty optional if it cannot be opened (it does not exist).
std::optional<std::string> readWholeFile(const std::filesystem::path& file);

// Replaces a file of the machine's root atomically: the content is written to a temporary file
// beside it, flushed and renamed over it, so that a reader in any process sees the old content
// or the new one, never part of it. Every record the sim stores goes through here.
void replaceFile(const std::filesystem::path& file, const std::string& content);

// Reads a machine file (path relative to machineDir()). Empty optional if it does not exist.
std::optional<std::string> readMachineFile(const std::string& relativePath);

// Replaces a machine file (path relative to machineDir()) as replaceFile does.
void writeMachineFile(const std::string& relativePath, const std::string& content);

// Removes a machine file if it exists.
void removeMachineFile(const std::string& relativePath);

// Removes the whole machine state; the areas recreate their defaults on next use.
void resetMachine();

}  // namespace sim
