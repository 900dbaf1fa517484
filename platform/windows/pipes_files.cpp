// Forwards the pipe and file functions to Win32. No logic may live here.
#include "platform/pipes_files.h"

namespace platform {

HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                   LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                   DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) {
  return ::CreateFileW(lpFileName, dwDesiredAccess, dwShareMode, lpSecurityAttributes,
                       dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
}

BOOL WaitNamedPipeW(LPCWSTR lpNamedPipeName, DWORD nTimeOut) {
  return ::WaitNamedPipeW(lpNamedPipeName, nTimeOut);
}

BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead,
              LPDWORD lpNumberOfBytesRead, LPOVERLAPPED lpOverlapped) {
  return ::ReadFile(hFile, lpBuffer, nNumberOfBytesToRead, lpNumberOfBytesRead, lpOverlapped);
}

BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
               LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped) {
  return ::WriteFile(hFile, lpBuffer, nNumberOfBytesToWrite, lpNumberOfBytesWritten, lpOverlapped);
}

BOOL CloseHandle(HANDLE hObject) { return ::CloseHandle(hObject); }

HANDLE CreateNamedPipeW(LPCWSTR lpName, DWORD dwOpenMode, DWORD dwPipeMode, DWORD nMaxInstances,
                        DWORD nOutBufferSize, DWORD nInBufferSize, DWORD nDefaultTimeOut,
                        LPSECURITY_ATTRIBUTES lpSecurityAttributes) {
  return ::CreateNamedPipeW(lpName, dwOpenMode, dwPipeMode, nMaxInstances, nOutBufferSize,
                            nInBufferSize, nDefaultTimeOut, lpSecurityAttributes);
}

BOOL ConnectNamedPipe(HANDLE hNamedPipe, LPOVERLAPPED lpOverlapped) {
  return ::ConnectNamedPipe(hNamedPipe, lpOverlapped);
}

BOOL DisconnectNamedPipe(HANDLE hNamedPipe) { return ::DisconnectNamedPipe(hNamedPipe); }

BOOL FlushFileBuffers(HANDLE hFile) { return ::FlushFileBuffers(hFile); }

BOOL MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags) {
  return ::MoveFileExW(lpExistingFileName, lpNewFileName, dwFlags);
}

BOOL PeekNamedPipe(HANDLE hNamedPipe, LPVOID lpBuffer, DWORD nBufferSize, LPDWORD lpBytesRead,
                   LPDWORD lpTotalBytesAvail, LPDWORD lpBytesLeftThisMessage) {
  return ::PeekNamedPipe(hNamedPipe, lpBuffer, nBufferSize, lpBytesRead, lpTotalBytesAvail,
                         lpBytesLeftThisMessage);
}

BOOL LockFileEx(HANDLE hFile, DWORD dwFlags, DWORD dwReserved, DWORD nNumberOfBytesToLockLow,
                DWORD nNumberOfBytesToLockHigh, LPOVERLAPPED lpOverlapped) {
  return ::LockFileEx(hFile, dwFlags, dwReserved, nNumberOfBytesToLockLow,
                      nNumberOfBytesToLockHigh, lpOverlapped);
}

BOOL UnlockFileEx(HANDLE hFile, DWORD dwReserved, DWORD nNumberOfBytesToUnlockLow,
                  DWORD nNumberOfBytesToUnlockHigh, LPOVERLAPPED lpOverlapped) {
  return ::UnlockFileEx(hFile, dwReserved, nNumberOfBytesToUnlockLow, nNumberOfBytesToUnlockHigh,
                        lpOverlapped);
}

}  // namespace platform

namespace platform {

BOOL CreatePipe(PHANDLE hReadPipe, PHANDLE hWritePipe, LPSECURITY_ATTRIBUTES lpPipeAttributes,
                DWORD nSize) {
  return ::CreatePipe(hReadPipe, hWritePipe, lpPipeAttributes, nSize);
}

BOOL GetNamedPipeClientProcessId(HANDLE Pipe, PULONG ClientProcessId) {
  return ::GetNamedPipeClientProcessId(Pipe, ClientProcessId);
}

}  // namespace platform
