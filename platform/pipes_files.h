// Named pipes and files: the client end used by the program, and the server end used by the
// reference peer.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
constexpr DWORD GENERIC_READ = 0x80000000u;
constexpr DWORD GENERIC_WRITE = 0x40000000u;
constexpr DWORD CREATE_NEW = 1;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD OPEN_ALWAYS = 4;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD FILE_SHARE_READ = 1;
constexpr DWORD FILE_SHARE_WRITE = 2;
constexpr DWORD FILE_SHARE_DELETE = 4;
constexpr DWORD FILE_ATTRIBUTE_READONLY = 1;
constexpr DWORD PIPE_ACCESS_INBOUND = 1;
constexpr DWORD PIPE_ACCESS_OUTBOUND = 2;
constexpr DWORD PIPE_ACCESS_DUPLEX = 3;
constexpr DWORD PIPE_TYPE_BYTE = 0;
constexpr DWORD PIPE_READMODE_BYTE = 0;
constexpr DWORD PIPE_WAIT = 0;
constexpr DWORD PIPE_REJECT_REMOTE_CLIENTS = 8;
constexpr DWORD PIPE_UNLIMITED_INSTANCES = 255;
constexpr DWORD NMPWAIT_USE_DEFAULT_WAIT = 0;
constexpr DWORD NMPWAIT_WAIT_FOREVER = 0xFFFFFFFFu;
constexpr DWORD MOVEFILE_REPLACE_EXISTING = 1;
constexpr DWORD MOVEFILE_COPY_ALLOWED = 2;
constexpr DWORD MOVEFILE_DELAY_UNTIL_REBOOT = 4;
constexpr DWORD MOVEFILE_WRITE_THROUGH = 8;
constexpr DWORD TRUNCATE_EXISTING = 5;
constexpr DWORD PIPE_TYPE_MESSAGE = 4;
constexpr DWORD PIPE_READMODE_MESSAGE = 2;
constexpr DWORD PIPE_NOWAIT = 1;
constexpr DWORD ERROR_INVALID_FUNCTION = 1;
constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_NOT_SAME_DEVICE = 17;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_FILE_EXISTS = 80;
constexpr DWORD ERROR_DISK_FULL = 112;
constexpr DWORD ERROR_INVALID_NAME = 123;
constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_LOCK_VIOLATION = 33;
constexpr DWORD ERROR_NOT_LOCKED = 158;
constexpr DWORD FILE_FLAG_FIRST_PIPE_INSTANCE = 0x00080000;
constexpr DWORD LOCKFILE_FAIL_IMMEDIATELY = 1;
constexpr DWORD LOCKFILE_EXCLUSIVE_LOCK = 2;
#endif

namespace platform {

HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                   LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                   DWORD dwFlagsAndAttributes, HANDLE hTemplateFile);
BOOL WaitNamedPipeW(LPCWSTR lpNamedPipeName, DWORD nTimeOut);
BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead,
              LPDWORD lpNumberOfBytesRead, LPOVERLAPPED lpOverlapped);
BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
               LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped);
BOOL CloseHandle(HANDLE hObject);

HANDLE CreateNamedPipeW(LPCWSTR lpName, DWORD dwOpenMode, DWORD dwPipeMode, DWORD nMaxInstances,
                        DWORD nOutBufferSize, DWORD nInBufferSize, DWORD nDefaultTimeOut,
                        LPSECURITY_ATTRIBUTES lpSecurityAttributes);
BOOL ConnectNamedPipe(HANDLE hNamedPipe, LPOVERLAPPED lpOverlapped);
BOOL DisconnectNamedPipe(HANDLE hNamedPipe);
BOOL FlushFileBuffers(HANDLE hFile);
BOOL MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags);
// Never blocks: what a pipe end holds unread, ERROR_BROKEN_PIPE once the other end has closed and
// everything was read, ERROR_BAD_PIPE on a server end that no client has reached yet.
BOOL PeekNamedPipe(HANDLE hNamedPipe, LPVOID lpBuffer, DWORD nBufferSize, LPDWORD lpBytesRead,
                   LPDWORD lpTotalBytesAvail, LPDWORD lpBytesLeftThisMessage);
// Locks of a file handle against other handles, also of other processes. The sim locks the whole
// file whatever range is given.
BOOL LockFileEx(HANDLE hFile, DWORD dwFlags, DWORD dwReserved, DWORD nNumberOfBytesToLockLow,
                DWORD nNumberOfBytesToLockHigh, LPOVERLAPPED lpOverlapped);
// An anonymous pipe: bytes written to the write end are read from the read end; the read end
// reports ERROR_BROKEN_PIPE once every copy of the write end (a child's too) is closed.
BOOL CreatePipe(PHANDLE hReadPipe, PHANDLE hWritePipe, LPSECURITY_ATTRIBUTES lpPipeAttributes,
                DWORD nSize);
// The process id of the client connected to a server end, recorded when it connected.
BOOL GetNamedPipeClientProcessId(HANDLE Pipe, PULONG ClientProcessId);
BOOL UnlockFileEx(HANDLE hFile, DWORD dwReserved, DWORD nNumberOfBytesToUnlockLow,
                  DWORD nNumberOfBytesToUnlockHigh, LPOVERLAPPED lpOverlapped);

}  // namespace platform
