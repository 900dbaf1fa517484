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

namespace platform {

DWORD ResumeThread(HANDLE hThread) { return ::ResumeThread(hThread); }

HANDLE OpenProcess(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwProcessId) {
  return ::OpenProcess(dwDesiredAccess, bInheritHandle, dwProcessId);
}

BOOL InitializeProcThreadAttributeList(LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList,
                                       DWORD dwAttributeCount, DWORD dwFlags, PSIZE_T lpSize) {
  return ::InitializeProcThreadAttributeList(lpAttributeList, dwAttributeCount, dwFlags, lpSize);
}

BOOL UpdateProcThreadAttribute(LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList, DWORD dwFlags,
                               DWORD_PTR Attribute, PVOID lpValue, SIZE_T cbSize,
                               PVOID lpPreviousValue, PSIZE_T lpReturnSize) {
  return ::UpdateProcThreadAttribute(lpAttributeList, dwFlags, Attribute, lpValue, cbSize,
                                     lpPreviousValue, lpReturnSize);
}

void DeleteProcThreadAttributeList(LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList) {
  ::DeleteProcThreadAttributeList(lpAttributeList);
}

}  // namespace platform
