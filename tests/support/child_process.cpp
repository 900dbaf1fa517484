#include "tests/support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace testing_support {
namespace {

std::string temporaryFile(const char* tag) {
  std::string pattern = std::string("/tmp/kestrine-") + tag + "-XXXXXX";
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0 || ::close(fd) != 0) {
    throw std::runtime_error("cannot create a temporary file");
  }
  return pattern;
}

std::string slurp(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv,
                           const std::map<std::string, std::string>& environment)
    : outputPath(temporaryFile("out")), errorPath(temporaryFile("err")) {
  std::vector<char*> args;
  for (const std::string& arg : argv) {
    args.push_back(const_cast<char*>(arg.c_str()));
  }
  args.push_back(nullptr);
  pid = ::fork();  // on failure the status stays -1
  if (pid == 0) {
    for (const auto& [name, value] : environment) {
      ::setenv(name.c_str(), value.c_str(), 1);
    }
    ::dup2(::open("/dev/null", O_RDONLY), 0);
    ::dup2(::open(outputPath.c_str(), O_WRONLY | O_TRUNC), 1);
    ::dup2(::open(errorPath.c_str(), O_WRONLY | O_TRUNC), 2);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
}

ChildProcess::~ChildProcess() {
  if (pid > 0) {
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
  }
  ::unlink(outputPath.c_str());
  ::unlink(errorPath.c_str());
}

ProcessResult ChildProcess::wait() {
  int raw = 0;
  const bool ended = pid > 0 && ::waitpid(pid, &raw, 0) == pid;
  pid = -1;
  return {ended ? (WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw)) : -1,
          slurp(outputPath), slurp(errorPath)};
}

ProcessResult runProcess(const std::vector<std::string>& argv,
                         const std::map<std::string, std::string>& environment) {
  return ChildProcess(argv, environment).wait();
}

}  // namespace testing_support
