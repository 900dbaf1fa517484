// Child processes: start one with a command line (suspended, in a group of its own, with only the
// listed handles inherited), resume it, wait for it, read its exit code, open one by its id.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
struct STARTUPINFOW {
  DWORD cb;
  LPWSTR lpReserved;
  LPWSTR lpDesktop;
  LPWSTR lpTitle;
  DWORD dwX;
  DWORD dwY;
  DWORD dwXSize;
  DWORD dwYSize;
  DWORD dwXCountChars;
  DWORD dwYCountChars;
  DWORD dwFillAttribute;
  DWORD dwFlags;
  WORD wShowWindow;
  WORD cbReserved2;
  LPBYTE lpReserved2;
  HANDLE hStdInput;
  HANDLE hStdOutput;
  HANDLE hStdError;
};
using LPSTARTUPINFOW = STARTUPINFOW*;

struct PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
  DWORD dwProcessId;
  DWORD dwThreadId;
};
using LPPROCESS_INFORMATION = PROCESS_INFORMATION*;

constexpr DWORD STILL_ACTIVE = 259;

// Flags a program of this system must never pass: the sim refuses them (87).
constexpr DWORD DEBUG_PROCESS = 0x00000001;
constexpr DWORD DEBUG_ONLY_THIS_PROCESS = 0x00000002;
constexpr DWORD DETACHED_PROCESS = 0x00000008;
constexpr DWORD CREATE_NEW_CONSOLE = 0x00000010;
constexpr DWORD CREATE_SUSPENDED = 0x00000004;
constexpr DWORD CREATE_NEW_PROCESS_GROUP = 0x00000200;
constexpr DWORD EXTENDED_STARTUPINFO_PRESENT = 0x00080000;
constexpr DWORD CREATE_NO_WINDOW = 0x08000000;
constexpr DWORD STARTF_USESTDHANDLES = 0x00000100;
constexpr DWORD PROCESS_QUERY_INFORMATION = 0x0400;
constexpr DWORD SYNCHRONIZE = 0x00100000;
constexpr DWORD PROCESS_QUERY_LIMITED_INFORMATION = 0x1000;
constexpr DWORD_PTR PROC_THREAD_ATTRIBUTE_HANDLE_LIST = 0x00020002;

// Opaque: the caller provides the memory, InitializeProcThreadAttributeList says how much.
struct _PROC_THREAD_ATTRIBUTE_LIST;
using LPPROC_THREAD_ATTRIBUTE_LIST = _PROC_THREAD_ATTRIBUTE_LIST*;

struct STARTUPINFOEXW {
  STARTUPINFOW StartupInfo;
  LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList;
};
#endif

namespace platform {

BOOL CreateProcessW(LPCWSTR lpApplicationName, LPWSTR lpCommandLine,
                    LPSECURITY_ATTRIBUTES lpProcessAttributes,
                    LPSECURITY_ATTRIBUTES lpThreadAttributes, BOOL bInheritHandles,
                    DWORD dwCreationFlags, LPVOID lpEnvironment, LPCWSTR lpCurrentDirectory,
                    LPSTARTUPINFOW lpStartupInfo, LPPROCESS_INFORMATION lpProcessInformation);
// Waits for a process handle to be signalled (the process ended) or the timeout to run out.
DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds);
BOOL GetExitCodeProcess(HANDLE hProcess, LPDWORD lpExitCode);
// Ends the process at once; its exit code becomes uExitCode.
BOOL TerminateProcess(HANDLE hProcess, UINT uExitCode);
// The suspend count before the call (1 for a child started with CREATE_SUSPENDED), or
// (DWORD)-1 on failure; at 0 the thread runs.
DWORD ResumeThread(HANDLE hThread);
// A handle to a running process of this machine; null with ERROR_INVALID_PARAMETER when no
// process has that id.
HANDLE OpenProcess(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwProcessId);

// The attribute list of STARTUPINFOEXW. Called first with a null list, it fails with
// ERROR_INSUFFICIENT_BUFFER and gives the size to allocate. A value given to
// UpdateProcThreadAttribute must stay until the list is deleted.
BOOL InitializeProcThreadAttributeList(LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList,
                                       DWORD dwAttributeCount, DWORD dwFlags, PSIZE_T lpSize);
BOOL UpdateProcThreadAttribute(LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList, DWORD dwFlags,
                               DWORD_PTR Attribute, PVOID lpValue, SIZE_T cbSize,
                               PVOID lpPreviousValue, PSIZE_T lpReturnSize);
void DeleteProcThreadAttributeList(LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList);

}  // namespace platform
