// What the host says of one of its processes, from /proc/<pid>/stat.
#pragma once

#include <sys/types.h>

#include <optional>

namespace sim {

struct HostProcessStat {
  char state = 0;  // R, S, D, Z (ended, not yet reaped), X, ...
  pid_t parent = 0;
  pid_t group = 0;
};

// None when the process is gone or the host has no /proc. Only open, read and sscanf: a forked
// job keeper calls it too.
std::optional<HostProcessStat> readHostProcessStat(pid_t pid);

}  // namespace sim
