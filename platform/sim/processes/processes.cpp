// Child processes of the sim: CreateProcessW splits the command line as Windows programs do and
// starts the program with posix_spawn; process handles are waited on with waitpid.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/errors.h"
#include "platform/processes.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"

extern char** environ;

namespace {

class ProcessObject : public sim::HandleObject {
 public:
  explicit ProcessObject(pid_t pid) : pid(pid) {}

  // True once the process has ended; `block` waits for it.
  bool reap(bool block) {
    std::lock_guard<std::mutex> lock(mutex);
    if (ended) {
      return true;
    }
    int status = 0;
    const pid_t result = ::waitpid(pid, &status, block ? 0 : WNOHANG);
    if (result == pid) {
      ended = true;
      exitCode = terminatedWith ? *terminatedWith
                 : WIFEXITED(status) ? static_cast<DWORD>(WEXITSTATUS(status))
                                     : static_cast<DWORD>(128 + WTERMSIG(status));
    } else if (result < 0 && errno == ECHILD) {
      ended = true;  // reaped elsewhere; the code is unknown
      exitCode = 1;
    }
    return ended;
  }

  DWORD code() {
    std::lock_guard<std::mutex> lock(mutex);
    return exitCode;
  }

  // SIGKILL, and the code that Windows would report; a process that has ended stays as it was.
  bool terminate(DWORD code) {
    std::lock_guard<std::mutex> lock(mutex);
    if (ended) {
      return true;
    }
    terminatedWith = code;
    return ::kill(pid, SIGKILL) == 0;
  }

 private:
  std::mutex mutex;
  pid_t pid;
  bool ended = false;
  DWORD exitCode = STILL_ACTIVE;
  std::optional<DWORD> terminatedWith;
};

class ThreadObject : public sim::HandleObject {};

// The process behind a handle; null with ERROR_INVALID_HANDLE when it is none.
std::shared_ptr<ProcessObject> processOf(HANDLE handle) {
  auto process = sim::lookupHandleAs<ProcessObject>(sim::HandleKind::Kernel, handle);
  if (!process) {
    platform::SetLastError(ERROR_INVALID_HANDLE);
  }
  return process;
}

// Splits a command line by the rules of the Microsoft C runtime: blanks separate arguments,
// double quotes group, 2n backslashes before a quote give n backslashes and a grouping quote,
// 2n+1 give n backslashes and a literal quote, and "" inside a group is a literal quote.
std::vector<std::string> splitCommandLine(const std::string& line) {
  std::vector<std::string> args;
  std::string current;
  bool inArgument = false;
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '\\') {
      std::size_t count = 0;
      while (i < line.size() && line[i] == '\\') {
        ++count;
        ++i;
      }
      inArgument = true;
      if (i < line.size() && line[i] == '"') {
        current.append(count / 2, '\\');
        if (count % 2 == 1) {
          current += '"';
          continue;
        }
      } else {
        current.append(count, '\\');
      }
      --i;
      continue;
    }
    if (c == '"') {
      inArgument = true;
      if (quoted && i + 1 < line.size() && line[i + 1] == '"') {
        current += '"';
        ++i;
      } else {
        quoted = !quoted;
      }
      continue;
    }
    if ((c == ' ' || c == '\t') && !quoted) {
      if (inArgument) {
        args.push_back(current);
        current.clear();
        inArgument = false;
      }
      continue;
    }
    current += c;
    inArgument = true;
  }
  if (inArgument) {
    args.push_back(current);
  }
  return args;
}

std::string toUtf8(LPCWSTR text) {
  std::size_t size = 0;
  while (text[size]) {
    ++size;
  }
  return sim::utf16ToUtf8(text, size);
}

}  // namespace

namespace platform {

BOOL CreateProcessW(LPCWSTR lpApplicationName, LPWSTR lpCommandLine,
                    LPSECURITY_ATTRIBUTES lpProcessAttributes,
                    LPSECURITY_ATTRIBUTES lpThreadAttributes, BOOL bInheritHandles,
                    DWORD dwCreationFlags, LPVOID lpEnvironment, LPCWSTR lpCurrentDirectory,
                    LPSTARTUPINFOW lpStartupInfo, LPPROCESS_INFORMATION lpProcessInformation) {
  SIM_ENTER(CreateProcessW, lpApplicationName, lpCommandLine, lpProcessAttributes,
            lpThreadAttributes, bInheritHandles, dwCreationFlags, lpEnvironment,
            lpCurrentDirectory, lpStartupInfo, lpProcessInformation);
  // The sim starts children with the parent's environment, directory and standard streams.
  if (!lpProcessInformation || !lpStartupInfo || lpEnvironment || lpCurrentDirectory ||
      (!lpApplicationName && !lpCommandLine)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::vector<std::string> args = splitCommandLine(lpCommandLine ? toUtf8(lpCommandLine) : "");
  const std::string program = lpApplicationName ? toUtf8(lpApplicationName)
                                                : (args.empty() ? std::string() : args.front());
  if (args.empty()) {
    args.push_back(program);
  }
  if (program.empty() || ::access(program.c_str(), X_OK) != 0) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  std::vector<char*> argv;
  for (std::string& arg : args) {
    argv.push_back(arg.data());
  }
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (::posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv.data(), environ) != 0) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  lpProcessInformation->hProcess =
      sim::insertHandle(sim::HandleKind::Kernel, std::make_shared<ProcessObject>(pid));
  lpProcessInformation->hThread =
      sim::insertHandle(sim::HandleKind::Kernel, std::make_shared<ThreadObject>());
  lpProcessInformation->dwProcessId = static_cast<DWORD>(pid);
  lpProcessInformation->dwThreadId = static_cast<DWORD>(pid);
  return TRUE;
}

DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) {
  SIM_ENTER(WaitForSingleObject, hHandle, dwMilliseconds);
  const auto process = processOf(hHandle);
  if (!process) {
    return WAIT_FAILED;
  }
  if (dwMilliseconds == INFINITE) {
    process->reap(true);
    return WAIT_OBJECT_0;
  }
  for (DWORD waited = 0;; ++waited) {
    if (process->reap(false)) {
      return WAIT_OBJECT_0;
    }
    if (waited >= dwMilliseconds) {
      return WAIT_TIMEOUT;
    }
    const timespec oneMillisecond{0, 1000000};
    ::nanosleep(&oneMillisecond, nullptr);
  }
}

BOOL GetExitCodeProcess(HANDLE hProcess, LPDWORD lpExitCode) {
  SIM_ENTER(GetExitCodeProcess, hProcess, lpExitCode);
  const auto process = processOf(hProcess);
  if (!process) {
    return FALSE;
  }
  if (!lpExitCode) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  process->reap(false);
  *lpExitCode = process->code();
  return TRUE;
}

BOOL TerminateProcess(HANDLE hProcess, UINT uExitCode) {
  SIM_ENTER(TerminateProcess, hProcess, uExitCode);
  const auto process = processOf(hProcess);
  if (!process) {
    return FALSE;
  }
  if (!process->terminate(uExitCode)) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  return TRUE;
}

}  // namespace platform
