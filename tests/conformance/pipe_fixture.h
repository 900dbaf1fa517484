// Helpers of the pipe and file checks: a handle that closes itself, unique pipe names and the
// usual server and client ends, all through platform:: calls only.
#pragma once

#include <string>

#include "platform/pipes_files.h"
#include "platform/types.h"

namespace conformance {

// Owns one kernel handle and closes it on destruction.
class Handle {
 public:
  explicit Handle(HANDLE handle = INVALID_HANDLE_VALUE) : handle(handle) {}
  ~Handle() { reset(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  HANDLE get() const { return handle; }
  bool valid() const { return handle != INVALID_HANDLE_VALUE && handle != nullptr; }
  void reset();

 private:
  HANDLE handle;
};

// "\\.\pipe\kestrine-conformance-<tag>-<random>", fresh for every call.
platform::WideString uniquePipeName(const std::string& tag);
// A plain ASCII text as UTF-16.
platform::WideString widen(const std::string& ascii);

HANDLE createServer(const platform::WideString& name, DWORD maxInstances = 1);
HANDLE openClient(const platform::WideString& name);

// Writes all of `bytes`; false on failure.
bool writeAll(HANDLE handle, const std::string& bytes);
// Reads in chunks of `chunk` bytes until a read fails; gives what was read and the last error.
std::string readToEnd(HANDLE handle, DWORD chunk, DWORD& lastError);

}  // namespace conformance
