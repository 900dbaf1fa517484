// Sim only: the pipe and file operations of the seam. Each checks its arguments as Win32 does and
// hands the work to the named pipe ends (named_pipe.cpp) or the host files (host_file.cpp).
#include "platform/pipes_files.h"

#include <memory>
#include <optional>

#include "platform/errors.h"
#include "platform/sim/pipes_files/byte_stream.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/pipes_files/host_file.h"
#include "platform/sim/pipes_files/named_pipe.h"
#include "platform/sim/pipes_files/pipe_table.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"
#include "platform/sim/security/access_check.h"

namespace {

// Server open modes and pipe modes the sim offers: blocking byte pipes.
constexpr DWORD kOpenModeAccess = PIPE_ACCESS_DUPLEX;
constexpr DWORD kPipeModeSupported = PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT |
                                     PIPE_REJECT_REMOTE_CLIENTS;

BOOL fail(DWORD error) {
  platform::SetLastError(error);
  return FALSE;
}

HANDLE failHandle(DWORD error) {
  platform::SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

// The byte stream behind a handle for ReadFile, WriteFile and FlushFileBuffers; null with the
// last error set when there is none.
std::shared_ptr<sim::ByteStream> streamOf(HANDLE handle) {
  auto stream = sim::lookupHandleAs<sim::ByteStream>(sim::HandleKind::Kernel, handle);
  if (!stream) {
    platform::SetLastError(ERROR_INVALID_HANDLE);
  }
  return stream;
}

// The text of the descriptor a pipe is created with (the sim's descriptors are their text), or
// Windows' default one; none when the sim cannot read it.
std::optional<std::string> descriptorText(const SECURITY_ATTRIBUTES* attributes) {
  if (!attributes || !attributes->lpSecurityDescriptor) {
    return std::string(sim::kDefaultPipeSecurity);
  }
  const WCHAR* text = static_cast<const WCHAR*>(attributes->lpSecurityDescriptor);
  std::size_t size = 0;
  while (text[size]) {
    ++size;
  }
  std::string descriptor = sim::utf16ToUtf8(text, size);
  if (!sim::validSecurityText(descriptor)) {
    return std::nullopt;
  }
  return descriptor;
}

}  // namespace

namespace platform {

HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                   LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                   DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) {
  SIM_ENTER(CreateFileW, lpFileName, dwDesiredAccess, dwShareMode, lpSecurityAttributes,
            dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
  if (!lpFileName) {
    return failHandle(ERROR_PATH_NOT_FOUND);
  }
  if (const std::optional<std::string> key = sim::pipeKeyOf(lpFileName)) {
    return sim::openPipeClient(*key, dwDesiredAccess);
  }
  return sim::openHostFile(lpFileName, dwDesiredAccess, dwShareMode, dwCreationDisposition,
                           dwFlagsAndAttributes);
}

BOOL WaitNamedPipeW(LPCWSTR lpNamedPipeName, DWORD nTimeOut) {
  SIM_ENTER(WaitNamedPipeW, lpNamedPipeName, nTimeOut);
  const std::optional<std::string> key = sim::pipeKeyOf(lpNamedPipeName);
  if (!key) {
    return fail(ERROR_INVALID_NAME);
  }
  return sim::waitForPipeInstance(*key, nTimeOut);
}

BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead,
              LPDWORD lpNumberOfBytesRead, LPOVERLAPPED lpOverlapped) {
  SIM_ENTER(ReadFile, hFile, lpBuffer, nNumberOfBytesToRead, lpNumberOfBytesRead, lpOverlapped);
  // The sim has no overlapped I/O, so the count is required.
  if (lpOverlapped || !lpNumberOfBytesRead || (!lpBuffer && nNumberOfBytesToRead > 0)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  *lpNumberOfBytesRead = 0;
  const std::shared_ptr<sim::ByteStream> stream = streamOf(hFile);
  return stream ? stream->read(lpBuffer, nNumberOfBytesToRead, lpNumberOfBytesRead) : FALSE;
}

BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
               LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped) {
  SIM_ENTER(WriteFile, hFile, lpBuffer, nNumberOfBytesToWrite, lpNumberOfBytesWritten,
            lpOverlapped);
  if (lpOverlapped || !lpNumberOfBytesWritten || (!lpBuffer && nNumberOfBytesToWrite > 0)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  *lpNumberOfBytesWritten = 0;
  const std::shared_ptr<sim::ByteStream> stream = streamOf(hFile);
  return stream ? stream->write(lpBuffer, nNumberOfBytesToWrite, lpNumberOfBytesWritten) : FALSE;
}

BOOL CloseHandle(HANDLE hObject) {
  SIM_ENTER(CloseHandle, hObject);
  // Every kernel object of the sim (pipes, files, events, ...) closes here.
  return sim::closeHandle(sim::HandleKind::Kernel, hObject) ? TRUE : fail(ERROR_INVALID_HANDLE);
}

HANDLE CreateNamedPipeW(LPCWSTR lpName, DWORD dwOpenMode, DWORD dwPipeMode, DWORD nMaxInstances,
                        DWORD nOutBufferSize, DWORD nInBufferSize, DWORD nDefaultTimeOut,
                        LPSECURITY_ATTRIBUTES lpSecurityAttributes) {
  SIM_ENTER(CreateNamedPipeW, lpName, dwOpenMode, dwPipeMode, nMaxInstances, nOutBufferSize,
            nInBufferSize, nDefaultTimeOut, lpSecurityAttributes);
  if (!lpName) {
    return failHandle(ERROR_PATH_NOT_FOUND);
  }
  const std::optional<std::string> key = sim::pipeKeyOf(lpName);
  if (!key) {
    return failHandle(ERROR_INVALID_NAME);
  }
  const bool byteReadOfMessageType = (dwPipeMode & PIPE_READMODE_MESSAGE) && !(dwPipeMode & PIPE_TYPE_MESSAGE);
  const bool firstOnly = (dwOpenMode & FILE_FLAG_FIRST_PIPE_INSTANCE) != 0;
  dwOpenMode &= ~FILE_FLAG_FIRST_PIPE_INSTANCE;
  if ((dwOpenMode & kOpenModeAccess) == 0 || (dwOpenMode & ~kOpenModeAccess) != 0 ||
      (dwPipeMode & ~kPipeModeSupported) != 0 || byteReadOfMessageType || nMaxInstances == 0 ||
      nMaxInstances > PIPE_UNLIMITED_INSTANCES) {
    return failHandle(ERROR_INVALID_PARAMETER);
  }
  const std::optional<std::string> descriptor = descriptorText(lpSecurityAttributes);
  if (!descriptor) {
    return failHandle(ERROR_INVALID_PARAMETER);
  }
  return sim::createPipeInstance(*key, dwOpenMode, nMaxInstances, nDefaultTimeOut, firstOnly,
                                 *descriptor);
}

BOOL ConnectNamedPipe(HANDLE hNamedPipe, LPOVERLAPPED lpOverlapped) {
  SIM_ENTER(ConnectNamedPipe, hNamedPipe, lpOverlapped);
  if (lpOverlapped) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return sim::connectPipeInstance(hNamedPipe);
}

BOOL DisconnectNamedPipe(HANDLE hNamedPipe) {
  SIM_ENTER(DisconnectNamedPipe, hNamedPipe);
  return sim::disconnectPipeInstance(hNamedPipe);
}

BOOL FlushFileBuffers(HANDLE hFile) {
  SIM_ENTER(FlushFileBuffers, hFile);
  const std::shared_ptr<sim::ByteStream> stream = streamOf(hFile);
  return stream ? stream->flush() : FALSE;
}

BOOL MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags) {
  SIM_ENTER(MoveFileExW, lpExistingFileName, lpNewFileName, dwFlags);
  return sim::moveHostFile(lpExistingFileName, lpNewFileName, dwFlags);
}

BOOL PeekNamedPipe(HANDLE hNamedPipe, LPVOID lpBuffer, DWORD nBufferSize, LPDWORD lpBytesRead,
                   LPDWORD lpTotalBytesAvail, LPDWORD lpBytesLeftThisMessage) {
  SIM_ENTER(PeekNamedPipe, hNamedPipe, lpBuffer, nBufferSize, lpBytesRead, lpTotalBytesAvail,
            lpBytesLeftThisMessage);
  DWORD available = 0;
  if (!sim::peekPipe(hNamedPipe, lpBuffer, nBufferSize, lpBytesRead, &available)) {
    return FALSE;
  }
  if (lpTotalBytesAvail) {
    *lpTotalBytesAvail = available;
  }
  if (lpBytesLeftThisMessage) {
    *lpBytesLeftThisMessage = 0;  // byte pipes only
  }
  return TRUE;
}

BOOL CreatePipe(PHANDLE hReadPipe, PHANDLE hWritePipe, LPSECURITY_ATTRIBUTES lpPipeAttributes,
                DWORD nSize) {
  SIM_ENTER(CreatePipe, hReadPipe, hWritePipe, lpPipeAttributes, nSize);
  if (!hReadPipe || !hWritePipe) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return sim::createAnonymousPipe(hReadPipe, hWritePipe,
                                  lpPipeAttributes && lpPipeAttributes->bInheritHandle);
}

BOOL GetNamedPipeClientProcessId(HANDLE Pipe, PULONG ClientProcessId) {
  SIM_ENTER(GetNamedPipeClientProcessId, Pipe, ClientProcessId);
  if (!ClientProcessId) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return sim::pipeClientProcessId(Pipe, ClientProcessId);
}

BOOL LockFileEx(HANDLE hFile, DWORD dwFlags, DWORD dwReserved, DWORD nNumberOfBytesToLockLow,
                DWORD nNumberOfBytesToLockHigh, LPOVERLAPPED lpOverlapped) {
  SIM_ENTER(LockFileEx, hFile, dwFlags, dwReserved, nNumberOfBytesToLockLow,
            nNumberOfBytesToLockHigh, lpOverlapped);
  if (!lpOverlapped || dwReserved != 0 ||
      (dwFlags & ~(LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY)) != 0) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return sim::lockHostFile(hFile, (dwFlags & LOCKFILE_EXCLUSIVE_LOCK) != 0,
                           (dwFlags & LOCKFILE_FAIL_IMMEDIATELY) != 0);
}

BOOL UnlockFileEx(HANDLE hFile, DWORD dwReserved, DWORD nNumberOfBytesToUnlockLow,
                  DWORD nNumberOfBytesToUnlockHigh, LPOVERLAPPED lpOverlapped) {
  SIM_ENTER(UnlockFileEx, hFile, dwReserved, nNumberOfBytesToUnlockLow,
            nNumberOfBytesToUnlockHigh, lpOverlapped);
  if (!lpOverlapped || dwReserved != 0) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return sim::unlockHostFile(hFile);
}

}  // namespace platform
