// Sim only: fork and exec of a child. Between the two, the child calls only async-signal-safe
// functions: it sets its process group, puts its streams in place, closes every other
// descriptor and, when suspended, waits at its gate.
#include "platform/sim/processes/child_start.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

extern char** environ;

namespace sim {
namespace {

// In the child: the highest descriptor number to close.
int descriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY ||
      limit.rlim_cur > 65536) {
    return 65536;
  }
  return static_cast<int>(limit.rlim_cur);
}

[[noreturn]] void runChild(const ChildStart& start, char* const* argv, int nullFd, int gateRead,
                           int limit) {
  if (start.newProcessGroup) {
    ::setpgid(0, 0);
  }
  // Above every stream's number first, so that placing one stream never overwrites another.
  int moved[3];
  for (int i = 0; i < 3; ++i) {
    const int source = start.streams[i] == kNoStream     ? nullFd
                       : start.streams[i] == kSameStream ? i
                                                         : start.streams[i];
    moved[i] = ::fcntl(source, F_DUPFD, 10);
  }
  const int gate = gateRead >= 0 ? ::fcntl(gateRead, F_DUPFD, 10) : -1;
  for (int i = 0; i < 3; ++i) {
    if (moved[i] < 0 || ::dup2(moved[i], i) < 0) {
      ::_exit(127);
    }
  }
  const int firstClosed = gate >= 0 && ::dup2(gate, 3) == 3 ? 4 : 3;
  if (::syscall(SYS_close_range, firstClosed, ~0u, 0) != 0) {
    for (int fd = firstClosed; fd < limit; ++fd) {
      ::close(fd);
    }
  }
  if (gate >= 0) {
    char open = 0;
    ssize_t got;
    do {
      got = ::read(3, &open, 1);
    } while (got < 0 && errno == EINTR);
    if (got != 1) {
      ::_exit(127);  // the gate was closed unopened: the parent is gone or gave up
    }
    ::close(3);
  }
  ::execve(start.program.c_str(), argv, environ);
  ::_exit(127);
}

}  // namespace

StartedChild startChild(const ChildStart& start) {
  StartedChild started;
  std::vector<char*> argv;
  for (const std::string& argument : start.arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));
  }
  argv.push_back(nullptr);
  int gate[2] = {-1, -1};
  if (start.suspended && ::pipe2(gate, O_CLOEXEC) != 0) {
    return started;
  }
  const FileDescriptor gateRead(gate[0]);
  FileDescriptor gateWrite(gate[1]);
  const FileDescriptor nullFd(::open("/dev/null", O_RDWR | O_CLOEXEC));
  const int limit = descriptorLimit();
  const pid_t pid = nullFd ? ::fork() : -1;
  if (pid == 0) {
    runChild(start, argv.data(), nullFd.get(), gateRead.get(), limit);
  }
  if (pid > 0) {
    started.pid = pid;
    started.gate = std::move(gateWrite);
  }
  return started;
}

}  // namespace sim
