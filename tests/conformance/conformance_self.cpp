// What every check executable shares: the roles it plays when a process check starts it as a
// child, and whether it runs under Wine.
#include <cstdio>
#include <string>

#include "common/owned_handles.h"
#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/jobs.h"
#include "platform/loader.h"
#include "platform/pipes_files.h"
#include "platform/processes.h"
#include "tests/conformance/conformance_self.h"

namespace conformance {

bool runningUnderWine() {
  // Wine's ntdll exports wine_get_version; that of Windows does not, and the sim has none.
  const velmo::ModuleHandle ntdll(platform::LoadLibraryExW(PLATFORM_WIDE("ntdll.dll"), nullptr, 0));
  return ntdll && platform::GetProcAddress(ntdll.get(), "wine_get_version") != nullptr;
}

bool runAsChild(const std::string& flag) {
  const std::string print = "--conformance-print=";
  const std::string connect = "--conformance-connect=";
  if (flag.rfind(print, 0) == 0) {
    // Its standard output as the parent gave it.
    std::fputs(flag.substr(print.size()).c_str(), stdout);
    std::fflush(stdout);
    return true;
  }
  if (flag.rfind(connect, 0) == 0) {
    // A client of the pipe that stays until the server ends the connection.
    const platform::WideString name = velmo::utf8ToWide(flag.substr(connect.size()));
    HANDLE pipe = platform::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                        OPEN_EXISTING, 0, nullptr);
    char byte = 0;
    DWORD count = 0;
    while (pipe != INVALID_HANDLE_VALUE && platform::ReadFile(pipe, &byte, 1, &count, nullptr)) {
    }
    return true;
  }
  if (flag == "--conformance-spawn" || flag == "--conformance-hold-job") {
    // Starts a lingering child of its own, prints that child's id and lingers; holding a job
    // that ends the child when the job's handle goes, with this process too.
    HANDLE job = nullptr;
    if (flag == "--conformance-hold-job") {
      job = platform::CreateJobObjectW(nullptr, nullptr);
      JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
      limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
      platform::SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    }
    platform::WideString line = velmo::utf8ToWide("\"" + selfPath + "\" --conformance-linger");
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (platform::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, job ? CREATE_SUSPENDED : 0,
                                 nullptr, nullptr, &startup, &info)) {
      if (job) {
        platform::AssignProcessToJobObject(job, info.hProcess);
        platform::ResumeThread(info.hThread);
      }
      std::printf("%lu\n", static_cast<unsigned long>(info.dwProcessId));
      std::fflush(stdout);
      platform::WaitForSingleObject(info.hProcess, INFINITE);
    }
    return true;
  }
  return false;
}

}  // namespace conformance
