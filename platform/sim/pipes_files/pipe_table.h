// Sim only: the machine-wide table of named pipe instances, shared by every process on the sim
// root: which pipes exist with which settings, each instance's state, and whether the process
// that serves it is still alive. The bytes themselves go over each instance's socket.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/core/file_descriptor.h"
#include "platform/sim/core/machine.h"
#include "platform/types.h"

namespace sim {

// The instance states a client can observe: Listening is the only one it may claim.
enum class PipeInstanceState { Listening, Connected, Disconnected };

// What the first instance of a pipe fixes for all later ones.
struct PipeSettings {
  DWORD openMode = 0;        // PIPE_ACCESS_* as the server gave it
  DWORD maxInstances = 0;    // 1..255, 255 being unlimited
  DWORD defaultTimeout = 0;  // ms, for WaitNamedPipeW(name, NMPWAIT_USE_DEFAULT_WAIT)
};

// Who may open the pipe: its descriptor as text (access_check.h) and the SID of its owner, the
// user of the process that created the first instance.
struct PipeSecurity {
  std::string ownerSid;
  std::string descriptor;
};

// The table key of a local pipe name "\\.\pipe\NAME": the name, case-folded and escaped so that
// it is a file name. Empty when `name` is not a local pipe name.
std::optional<std::string> pipeKeyOf(const WCHAR* name);

// A view of the table that holds the machine lock for its lifetime, so that what it reads and
// changes is consistent across threads and processes. Keep it short-lived and never block while
// holding it.
class PipeTable {
 public:
  PipeTable() = default;

  // Ids of the pipe's instances that one end or both still hold, in creation order. Instances
  // whose ends are all closed (or whose processes died) are removed on the way.
  std::vector<int> liveInstances(const std::string& key);
  // Whether the instance's server end is still open.
  bool serverOpen(const std::string& key, int id);
  // Marks a client end as holding the instance: the descriptor gives the mark up when closed.
  // Empty on failure.
  FileDescriptor holdForClient(const std::string& key, int id);
  // Takes the mark from a client the server disconnected.
  void releaseClient(const std::string& key, int id);
  std::optional<PipeSettings> settings(const std::string& key);
  std::optional<PipeSecurity> security(const std::string& key);

  // Registers a new instance in the Disconnected state and gives its id. `liveness` receives
  // the descriptor whose lock marks the server as alive; the caller keeps it open for as long as
  // the instance exists.
  int addInstance(const std::string& key, const PipeSettings& settings,
                  const PipeSecurity& security, FileDescriptor& liveness);
  void removeInstance(const std::string& key, int id);

  PipeInstanceState state(const std::string& key, int id);
  void setState(const std::string& key, int id, PipeInstanceState state);

  // The socket address of an instance.
  std::filesystem::path socketPath(const std::string& key, int id);

 private:
  MachineLock lock;
};

}  // namespace sim
