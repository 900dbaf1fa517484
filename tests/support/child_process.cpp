#include "tests/support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace testing_support {
namespace {

std::string slurp(std::FILE* file) {
  std::string text;
  std::rewind(file);
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text += static_cast<char>(c);
  return text;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv,
                           const std::map<std::string, std::string>& environment) {
  if (!output || !error) throw std::runtime_error("cannot create a temporary file");
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  pid = ::fork();  // on failure the status stays -1
  if (pid == 0) {
    for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
    ::dup2(::open("/dev/null", O_RDONLY), 0);
    ::dup2(::fileno(output.get()), 1);
    ::dup2(::fileno(error.get()), 2);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
}

ChildProcess::~ChildProcess() {
  if (pid > 0) {
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
  }
}

void ChildProcess::signal(int number) const {
  if (pid > 0) ::kill(pid, number);
}

ProcessResult ChildProcess::wait() {
  // A child that hangs is killed after a minute, so that a test never waits without end.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  int raw = 0;
  pid_t reaped = 0;
  while (pid > 0 && (reaped = ::waitpid(pid, &raw, WNOHANG)) == 0) {
    if (std::chrono::steady_clock::now() > deadline) ::kill(pid, SIGKILL);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  const bool ended = pid > 0 && reaped == pid;
  pid = -1;
  return {ended ? (WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw)) : -1,
          slurp(output.get()), slurp(error.get())};
}

ProcessResult runProcess(const std::vector<std::string>& argv,
                         const std::map<std::string, std::string>& environment) {
  return ChildProcess(argv, environment).wait();
}

}  // namespace testing_support
