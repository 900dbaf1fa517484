// Child processes of the sim: CreateProcessW splits the command line as Windows programs do and
// starts the program (child_start.cpp) with only the standard streams that Windows would let it
// inherit; process handles are waited on with waitpid.
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "platform/processes.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"
#include "platform/sim/pipes_files/named_pipe.h"
#include "platform/sim/processes/child_start.h"
#include "platform/sim/processes/process_objects.h"

// What InitializeProcThreadAttributeList lays out in the caller's memory: the sim knows only the
// handle list.
struct _PROC_THREAD_ATTRIBUTE_LIST {
  DWORD capacity;
  DWORD used;
  const HANDLE* handles;
  SIZE_T handleCount;
};

namespace {

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

constexpr DWORD kSupportedCreationFlags =
    CREATE_SUSPENDED | CREATE_NEW_PROCESS_GROUP | CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT;

// The handles a child may inherit, from STARTUPINFOEXW's attribute list; null when no list limits
// them.
const _PROC_THREAD_ATTRIBUTE_LIST* handleListOf(LPSTARTUPINFOW startup, DWORD flags) {
  if (!(flags & EXTENDED_STARTUPINFO_PRESENT)) {
    return nullptr;
  }
  const LPPROC_THREAD_ATTRIBUTE_LIST list = reinterpret_cast<STARTUPINFOEXW*>(startup)->lpAttributeList;
  return list && list->handles ? list : nullptr;
}

bool listed(const _PROC_THREAD_ATTRIBUTE_LIST* list, HANDLE handle) {
  return !list || std::find(list->handles, list->handles + list->handleCount, handle) !=
                      list->handles + list->handleCount;
}

// The child's three standard streams as Windows gives them: with STARTF_USESTDHANDLES the given
// handles, each only when it is inherited; else the console, none under CREATE_NO_WINDOW.
void chooseStreams(const STARTUPINFOW& startup, BOOL inherit, DWORD flags,
                   const _PROC_THREAD_ATTRIBUTE_LIST* list, int (&streams)[3]) {
  const HANDLE handles[3] = {startup.hStdInput, startup.hStdOutput, startup.hStdError};
  for (int i = 0; i < 3; ++i) {
    if (!(startup.dwFlags & STARTF_USESTDHANDLES)) {
      streams[i] = (flags & CREATE_NO_WINDOW) ? sim::kNoStream : sim::kSameStream;
      continue;
    }
    const int fd = sim::inheritableDescriptorOf(handles[i]);
    streams[i] = inherit && fd >= 0 && listed(list, handles[i]) ? fd : sim::kNoStream;
  }
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
  const bool extended = (dwCreationFlags & EXTENDED_STARTUPINFO_PRESENT) != 0;
  if ((dwCreationFlags & ~kSupportedCreationFlags) != 0 ||
      lpStartupInfo->cb < (extended ? sizeof(STARTUPINFOEXW) : sizeof(STARTUPINFOW))) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  // A handle list needs inheritance, and every handle in it must be inheritable.
  const _PROC_THREAD_ATTRIBUTE_LIST* list = handleListOf(lpStartupInfo, dwCreationFlags);
  if (list && (!bInheritHandles ||
               std::any_of(list->handles, list->handles + list->handleCount,
                           [](HANDLE h) { return sim::inheritableDescriptorOf(h) < 0; }))) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  sim::ChildStart start;
  start.arguments = splitCommandLine(lpCommandLine ? toUtf8(lpCommandLine) : "");
  start.program = lpApplicationName ? toUtf8(lpApplicationName)
                                    : (start.arguments.empty() ? std::string() : start.arguments.front());
  if (start.arguments.empty()) {
    start.arguments.push_back(start.program);
  }
  if (start.program.empty() || ::access(start.program.c_str(), X_OK) != 0) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  chooseStreams(*lpStartupInfo, bInheritHandles, dwCreationFlags, list, start.streams);
  start.newProcessGroup = (dwCreationFlags & CREATE_NEW_PROCESS_GROUP) != 0;
  start.suspended = (dwCreationFlags & CREATE_SUSPENDED) != 0;
  sim::StartedChild child = sim::startChild(start);
  if (child.pid < 0) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  }
  lpProcessInformation->hProcess =
      sim::insertHandle(sim::HandleKind::Kernel, std::make_shared<sim::ChildProcess>(child.pid));
  lpProcessInformation->hThread =
      sim::insertHandle(sim::HandleKind::Kernel,
                        std::make_shared<sim::ChildThread>(std::move(child.gate)));
  lpProcessInformation->dwProcessId = static_cast<DWORD>(child.pid);
  lpProcessInformation->dwThreadId = static_cast<DWORD>(child.pid);
  return TRUE;
}

DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) {
  SIM_ENTER(WaitForSingleObject, hHandle, dwMilliseconds);
  const auto process = sim::processIdentityOf(hHandle);
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
  const auto process = sim::childOf(hProcess);
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
  const auto process = sim::childOf(hProcess);
  if (!process) {
    return FALSE;
  }
  if (!process->terminate(uExitCode)) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  return TRUE;
}

DWORD ResumeThread(HANDLE hThread) {
  SIM_ENTER(ResumeThread, hThread);
  const auto thread = sim::lookupHandleAs<sim::ChildThread>(sim::HandleKind::Kernel, hThread);
  if (!thread) {
    SetLastError(ERROR_INVALID_HANDLE);
    return static_cast<DWORD>(-1);
  }
  return thread->resume();
}

HANDLE OpenProcess(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwProcessId) {
  SIM_ENTER(OpenProcess, dwDesiredAccess, bInheritHandle, dwProcessId);
  const pid_t pid = static_cast<pid_t>(dwProcessId);
  if (pid <= 0 || (::kill(pid, 0) != 0 && errno != EPERM)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return sim::insertHandle(sim::HandleKind::Kernel, std::make_shared<sim::ProcessIdentity>(pid));
}

BOOL InitializeProcThreadAttributeList(LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList,
                                       DWORD dwAttributeCount, DWORD dwFlags, PSIZE_T lpSize) {
  SIM_ENTER(InitializeProcThreadAttributeList, lpAttributeList, dwAttributeCount, dwFlags, lpSize);
  if (!lpSize || dwFlags != 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  if (!lpAttributeList || *lpSize < sizeof(_PROC_THREAD_ATTRIBUTE_LIST)) {
    *lpSize = sizeof(_PROC_THREAD_ATTRIBUTE_LIST);
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return FALSE;
  }
  *lpAttributeList = _PROC_THREAD_ATTRIBUTE_LIST{dwAttributeCount, 0, nullptr, 0};
  return TRUE;
}

BOOL UpdateProcThreadAttribute(LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList, DWORD dwFlags,
                               DWORD_PTR Attribute, PVOID lpValue, SIZE_T cbSize,
                               PVOID lpPreviousValue, PSIZE_T lpReturnSize) {
  SIM_ENTER(UpdateProcThreadAttribute, lpAttributeList, dwFlags, Attribute, lpValue, cbSize,
            lpPreviousValue, lpReturnSize);
  if (!lpAttributeList || dwFlags != 0 || lpPreviousValue || lpReturnSize || !lpValue) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  if (Attribute != PROC_THREAD_ATTRIBUTE_HANDLE_LIST) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return FALSE;
  }
  if (cbSize == 0 || cbSize % sizeof(HANDLE) != 0) {
    SetLastError(ERROR_BAD_LENGTH);
    return FALSE;
  }
  if (lpAttributeList->used >= lpAttributeList->capacity) {
    SetLastError(ERROR_GEN_FAILURE);
    return FALSE;
  }
  ++lpAttributeList->used;
  lpAttributeList->handles = static_cast<const HANDLE*>(lpValue);
  lpAttributeList->handleCount = cbSize / sizeof(HANDLE);
  return TRUE;
}

void DeleteProcThreadAttributeList(LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList) {
  SIM_ENTER_VOID(DeleteProcThreadAttributeList, lpAttributeList);
  if (lpAttributeList) {
    *lpAttributeList = _PROC_THREAD_ATTRIBUTE_LIST{0, 0, nullptr, 0};
  }
}

}  // namespace platform
