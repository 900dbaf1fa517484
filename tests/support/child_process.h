// Runs the built programs from tests: a child with its own environment additions, its standard
// output and error captured, and its exit status.
#pragma once

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace testing_support {

struct ProcessResult {
  int status = -1;  // exit status (0..255), or 128 + signal number
  std::string output;
  std::string error;
};

// A started child. Its output is collected in anonymous temporary files, so it never blocks on a
// full pipe.
class ChildProcess {
 public:
  ChildProcess(const std::vector<std::string>& argv,
               const std::map<std::string, std::string>& environment = {});
  ~ChildProcess();  // kills and reaps the child if it is still running
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Waits for the child to end (killing it after a minute) and gives its status and output.
  ProcessResult wait();

  // Sends the child a signal (SIGKILL, SIGINT, ...) while it runs.
  void signal(int number) const;

 private:
  using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
  File output{std::tmpfile(), &std::fclose};
  File error{std::tmpfile(), &std::fclose};
  int pid = -1;
};

// Starts a child and waits for it.
ProcessResult runProcess(const std::vector<std::string>& argv,
                         const std::map<std::string, std::string>& environment = {});

}  // namespace testing_support
