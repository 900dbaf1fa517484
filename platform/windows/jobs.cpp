// Forwards the job object functions to Win32. No logic may live here.
#include "platform/jobs.h"

namespace platform {

HANDLE CreateJobObjectW(LPSECURITY_ATTRIBUTES lpJobAttributes, LPCWSTR lpName) {
  return ::CreateJobObjectW(lpJobAttributes, lpName);
}

BOOL SetInformationJobObject(HANDLE hJob, JOBOBJECTINFOCLASS JobObjectInformationClass,
                             LPVOID lpJobObjectInformation, DWORD cbJobObjectInformationLength) {
  return ::SetInformationJobObject(hJob, JobObjectInformationClass, lpJobObjectInformation,
                                   cbJobObjectInformationLength);
}

BOOL AssignProcessToJobObject(HANDLE hJob, HANDLE hProcess) {
  return ::AssignProcessToJobObject(hJob, hProcess);
}

BOOL IsProcessInJob(HANDLE ProcessHandle, HANDLE JobHandle, PBOOL Result) {
  return ::IsProcessInJob(ProcessHandle, JobHandle, Result);
}

}  // namespace platform
