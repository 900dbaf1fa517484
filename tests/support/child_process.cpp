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
  if (fd < 0) {
    throw std::runtime_error("cannot create a temporary file");
  }
  ::close(fd);
  return pattern;
}

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
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
  pid = ::fork();
  if (pid < 0) {
    throw std::runtime_error("fork failed");
  }
  if (pid == 0) {
    for (const auto& [name, value] : environment) {
      ::setenv(name.c_str(), value.c_str(), 1);
    }
    const int in = ::open("/dev/null", O_RDONLY);
    const int out = ::open(outputPath.c_str(), O_WRONLY | O_TRUNC);
    const int err = ::open(errorPath.c_str(), O_WRONLY | O_TRUNC);
    ::dup2(in, 0);
    ::dup2(out, 1);
    ::dup2(err, 2);
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
  ProcessResult result;
  int raw = 0;
  if (pid > 0 && ::waitpid(pid, &raw, 0) == pid) {
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  }
  pid = -1;
  result.output = slurp(outputPath);
  result.error = slurp(errorPath);
  return result;
}

ProcessResult runProcess(const std::vector<std::string>& argv,
                         const std::map<std::string, std::string>& environment) {
  ChildProcess child(argv, environment);
  return child.wait();
}

}  // namespace testing_support
