// Sim only: starting a program as a child with exactly the descriptors it is given.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/sim/core/file_descriptor.h"

namespace sim {

struct ChildStart {
  std::string program;
  std::vector<std::string> arguments;  // argv, the program's name first
  // The child's standard input, output and error: a descriptor of this process, kNoStream for
  // /dev/null, or kSameStream for this process's own.
  int streams[3];
  bool newProcessGroup = false;  // the child leads a process group of its own
  bool suspended = false;        // the program runs only once the gate is opened
};

constexpr int kNoStream = -1;
constexpr int kSameStream = -2;

struct StartedChild {
  pid_t pid = -1;
  FileDescriptor gate;  // write end: one byte opens it; closing it first ends the child unrun
};

// Forks and execs. Every other descriptor of this process is closed in the child, so no handle
// reaches it but the three streams. pid -1 with errno set on failure.
StartedChild startChild(const ChildStart& start);

}  // namespace sim
