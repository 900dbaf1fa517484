#include "platform/sim/core/host_process.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "platform/sim/core/file_descriptor.h"

namespace sim {

std::optional<HostProcessStat> readHostProcessStat(pid_t pid) {
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
  const FileDescriptor fd(::open(path, O_RDONLY | O_CLOEXEC));
  char text[512];
  const ssize_t size = fd ? ::read(fd.get(), text, sizeof text - 1) : -1;
  if (size <= 0) {
    return std::nullopt;
  }
  text[size] = '\0';
  // The name in parentheses may hold blanks: the fields that follow start after the last ')'.
  const char* close = std::strrchr(text, ')');
  HostProcessStat stat;
  int parent = 0;
  int group = 0;
  if (!close || std::sscanf(close + 1, " %c %d %d", &stat.state, &parent, &group) != 3) {
    return std::nullopt;
  }
  stat.parent = parent;
  stat.group = group;
  return stat;
}

}  // namespace sim
