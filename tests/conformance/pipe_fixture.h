// Helpers of the pipe and file checks and of the sim's own pipe tests: the owner of a handle,
// unique pipe names and the usual server and client ends, all through platform:: calls.
#pragma once

#include <random>
#include <string>

#include "common/owned_handles.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "platform/types.h"

namespace conformance {

// Owns one kernel handle and closes it on destruction; false when it holds none.
using Handle = velmo::KernelHandle;

// A plain ASCII text as UTF-16.
inline platform::WideString widen(const std::string& ascii) {
  return platform::WideString(ascii.begin(), ascii.end());
}

// "\\.\pipe\kestrine-conformance-<tag>-<random>", fresh for every call.
inline platform::WideString uniquePipeName(const std::string& tag) {
  static std::mt19937_64 random{std::random_device{}()};
  return widen("\\\\.\\pipe\\kestrine-conformance-" + tag + "-" + std::to_string(random()));
}

inline HANDLE createServer(const platform::WideString& name, DWORD maxInstances = 1) {
  return platform::CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX,
                                    PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, maxInstances,
                                    4096, 4096, 0, nullptr);
}

inline HANDLE openClient(const platform::WideString& name) {
  return platform::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Writes all of `bytes`; false on failure.
inline bool writeAll(HANDLE handle, const std::string& bytes) {
  DWORD written = 0;
  return platform::WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                             nullptr) != FALSE && written == bytes.size();
}

// Reads in chunks of `chunk` bytes until a read fails; gives what was read and the last error.
inline std::string readToEnd(HANDLE handle, DWORD chunk, DWORD& lastError) {
  std::string bytes;
  std::string buffer(chunk, '\0');
  DWORD count = 0;
  while (platform::ReadFile(handle, &buffer[0], chunk, &count, nullptr)) bytes.append(buffer.data(), count);
  lastError = platform::GetLastError();
  return bytes;
}

}  // namespace conformance
