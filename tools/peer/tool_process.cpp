// Starting and waiting for the tool through the platform's process functions.
#include "tools/peer/tool_process.h"

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/loader.h"
#include "platform/processes.h"
#include "tools/peer/peer_error.h"

namespace peer {

std::string quoteArgument(const std::string& argument) {
  if (!argument.empty() && argument.find_first_of(" \t\"") == std::string::npos) {
    return argument;
  }
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    // Backslashes before a quote are doubled, and the quote itself is escaped.
    quoted.append(c == '"' ? backslashes * 2 + 1 : backslashes, '\\');
    backslashes = 0;
    quoted += c;
  }
  // Backslashes before the closing quote are doubled too.
  quoted.append(backslashes * 2, '\\');
  return quoted + "\"";
}

namespace {

// STARTUPINFOEXW's attribute list naming the only handles a child inherits.
class InheritOnly {
 public:
  explicit InheritOnly(HANDLE handle) : handles{handle} {
    SIZE_T size = 0;
    platform::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory.resize(size);
    if (!platform::InitializeProcThreadAttributeList(list(), 1, 0, &size)) {
      throw PeerError("cannot prepare the tool's start", platform::GetLastError());
    }
    if (!platform::UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles,
                                             sizeof handles, nullptr, nullptr)) {
      const DWORD error = platform::GetLastError();
      platform::DeleteProcThreadAttributeList(list());
      throw PeerError("cannot prepare the tool's start", error);
    }
  }
  ~InheritOnly() { platform::DeleteProcThreadAttributeList(list()); }
  InheritOnly(const InheritOnly&) = delete;
  InheritOnly& operator=(const InheritOnly&) = delete;

  LPPROC_THREAD_ATTRIBUTE_LIST list() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
  }

 private:
  HANDLE handles[1];  // must stay until the list is deleted
  std::vector<unsigned char> memory;
};

}  // namespace

ToolProcess::ToolProcess(const std::filesystem::path& tool,
                         const std::vector<std::string>& arguments, HANDLE output) {
  shownCommandLine = quoteArgument(tool.u8string());
  for (const std::string& argument : arguments) {
    shownCommandLine += " " + quoteArgument(argument);
  }
  platform::WideString commandLine = velmo::utf8ToWide(shownCommandLine);
  const platform::WideString application = velmo::utf8ToWide(tool.u8string());
  InheritOnly inherited(output);
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdOutput = output;
  startup.StartupInfo.hStdError = output;
  startup.lpAttributeList = inherited.list();
  // No console (Ctrl+C, Ctrl+Break and the closing of the peer's window never reach the tool),
  // and a process group of its own.
  const DWORD flags = CREATE_SUSPENDED | CREATE_NEW_PROCESS_GROUP | CREATE_NO_WINDOW |
                      EXTENDED_STARTUPINFO_PRESENT;
  PROCESS_INFORMATION information{};
  if (!platform::CreateProcessW(application.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                                flags, nullptr, nullptr, &startup.StartupInfo, &information)) {
    throw PeerError("cannot start " + shownCommandLine, platform::GetLastError());
  }
  process.reset(information.hProcess);
  thread.reset(information.hThread);
  processId = information.dwProcessId;
  try {
    job.assign(process.get());
    if (platform::ResumeThread(thread.get()) == static_cast<DWORD>(-1)) {
      throw PeerError("cannot resume " + shownCommandLine, platform::GetLastError());
    }
  } catch (const PeerError&) {
    platform::TerminateProcess(process.get(), kKilledStatus);
    throw;
  }
}

bool ToolProcess::isToolOrInItsJob(DWORD clientProcessId) const {
  return clientProcessId == processId || job.holds(clientProcessId);
}

std::optional<int> ToolProcess::waitFor(std::chrono::milliseconds limit) {
  const DWORD result = platform::WaitForSingleObject(process.get(), static_cast<DWORD>(limit.count()));
  if (result == WAIT_TIMEOUT) {
    return std::nullopt;
  }
  DWORD code = 0;
  if (result != WAIT_OBJECT_0 || !platform::GetExitCodeProcess(process.get(), &code)) {
    throw PeerError("cannot wait for " + shownCommandLine, platform::GetLastError());
  }
  return static_cast<int>(code);
}

void ToolProcess::terminate() {
  // A tool that has just ended cannot be terminated; its own status then stands.
  platform::TerminateProcess(process.get(), kKilledStatus);
}

std::filesystem::path toolBesidePeer() {
  WCHAR path[4096] = {};
  const DWORD length = platform::GetModuleFileNameW(nullptr, path, 4096);
  if (length == 0 || length >= 4096) {
    throw PeerError("cannot find the peer's own path", platform::GetLastError());
  }
  const std::filesystem::path self =
      std::filesystem::u8path(velmo::wideToUtf8(platform::WideString(path, length)));
#ifdef _WIN32
  return self.parent_path() / "kestrine.exe";
#else
  return self.parent_path() / "kestrine";
#endif
}

}  // namespace peer
