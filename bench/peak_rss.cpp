// Runs a program and gives its wall time in seconds, its peak resident set in KiB and its exit
// status. It is a small process of its own so that the child's peak is not inflated by a large
// parent image copied at fork time.
//   peak_rss PROGRAM [ARGS...]            the program's output is discarded; the figures are
//                                         printed and peak_rss ends with 0
//   peak_rss --to FILE PROGRAM [ARGS...]  the program's output is left to it (a peer reads its
//                                         tool's lines); the figures are appended to FILE and
//                                         peak_rss ends with the program's status
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
  const bool toFile = argc > 2 && std::strcmp(argv[1], "--to") == 0;
  char** const program = argv + (toFile ? 3 : 1);
  if (argc < (toFile ? 4 : 2)) {
    std::fprintf(stderr, "usage: peak_rss [--to FILE] PROGRAM [ARGS...]\n");
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (!toFile) {
      const int quiet = ::open("/dev/null", O_WRONLY);
      ::dup2(quiet, 1);
      ::dup2(quiet, 2);
    }
    ::execv(program[0], program);
    ::_exit(127);
  }
  int status = 0;
  rusage usage{};
  ::wait4(pid, &status, 0, &usage);
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  std::FILE* out = toFile ? std::fopen(argv[2], "a") : stdout;
  if (!out) {
    std::perror(argv[2]);
    return 2;
  }
  std::fprintf(out, "%.6f %ld %d\n", wall.count(), usage.ru_maxrss, exitStatus);
  if (toFile) {
    std::fclose(out);
    return exitStatus;
  }
  return 0;
}
