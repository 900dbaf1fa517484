// Forwards the process functions to Win32. No logic may live here.
#include "platform/processes.h"

namespace platform {

BOOL CreateProcessW(LPCWSTR lpApplicationName, LPWSTR lpCommandLine,
                    LPSECURITY_ATTRIBUTES lpProcessAttributes,
                    LPSECURITY_ATTRIBUTES lpThreadAttributes, BOOL bInheritHandles,
                    DWORD dwCreationFlags, LPVOID lpEnvironment, LPCWSTR lpCurrentDirectory,
                    LPSTARTUPINFOW lpStartupInfo, LPPROCESS_INFORMATION lpProcessInformation) {
  return ::CreateProcessW(lpApplicationName, lpCommandLine, lpProcessAttributes,
                          lpThreadAttributes, bInheritHandles, dwCreationFlags, lpEnvironment,
                          lpCurrentDirectory, lpStartupInfo, lpProcessInformation);
}

DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) {
  return ::WaitForSingleObject(hHandle, dwMilliseconds);
}

BOOL GetExitCodeProcess(HANDLE hProcess, LPDWORD lpExitCode) {
  return ::GetExitCodeProcess(hProcess, lpExitCode);
}

BOOL TerminateProcess(HANDLE hProcess, UINT uExitCode) {
  return ::TerminateProcess(hProcess, uExitCode);
}

}  // namespace platform
