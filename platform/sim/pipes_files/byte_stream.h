// Sim only: the kind of kernel object that ReadFile, WriteFile and FlushFileBuffers act on (pipe
// ends and files). Each operation gives TRUE or FALSE and sets the last error as Win32 does.
#pragma once

#include "platform/sim/core/handles.h"
#include "platform/types.h"

namespace sim {

class ByteStream : public HandleObject {
 public:
  // Blocks until at least one byte is there or the stream has ended.
  virtual BOOL read(void* buffer, DWORD size, DWORD* done) = 0;
  // Blocks until every byte is written.
  virtual BOOL write(const void* buffer, DWORD size, DWORD* done) = 0;
  virtual BOOL flush() = 0;
};

}  // namespace sim
