// Runs a program with its output discarded and prints its wall time in seconds, its peak resident set in KiB and its exit
// status. It is a small process of its own so that the child's peak is not inflated by a large
// parent image copied at fork time.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: peak_rss PROGRAM [ARGS...]\n");
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = ::fork();
  if (pid == 0) {
    // The program's own output is not wanted here; only the figures are printed.
    const int quiet = ::open("/dev/null", O_WRONLY);
    ::dup2(quiet, 1);
    ::dup2(quiet, 2);
    ::execv(argv[1], argv + 1);
    ::_exit(127);
  }
  int status = 0;
  rusage usage{};
  ::wait4(pid, &status, 0, &usage);
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  std::printf("%.6f %ld %d\n", wall.count(), usage.ru_maxrss,
              WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
  return 0;
}
