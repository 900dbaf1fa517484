// Sim only: the server and client ends of named pipes as kernel objects, and what the Win32 pipe
// operations do with them. Arguments are checked by the operations in pipes_files.cpp; these
// functions set the last error themselves on failure.
#pragma once

#include <string>

#include "platform/types.h"

namespace sim {

// One more instance of the pipe with table key `key`, listening for a client. `firstOnly`:
// ERROR_ACCESS_DENIED when the pipe has an instance already. `descriptor`: who may open the
// pipe (access_check.h), fixed by the first instance.
HANDLE createPipeInstance(const std::string& key, DWORD openMode, DWORD maxInstances,
                          DWORD defaultTimeout, bool firstOnly, const std::string& descriptor);
// The client end, connected to a free instance: ERROR_FILE_NOT_FOUND when the pipe has no
// instance, ERROR_ACCESS_DENIED when its descriptor refuses the caller's user, ERROR_PIPE_BUSY
// when none is free.
HANDLE openPipeClient(const std::string& key, DWORD desiredAccess);
// Nonzero as soon as an instance is free; ERROR_SEM_TIMEOUT after `timeout` ms, and
// ERROR_FILE_NOT_FOUND at once when the pipe has no instance.
BOOL waitForPipeInstance(const std::string& key, DWORD timeout);

// CreatePipe: a connected pair of ends, one for reading and one for writing.
BOOL createAnonymousPipe(HANDLE* readEnd, HANDLE* writeEnd, bool inheritable);
// The descriptor behind an inheritable pipe end, for a child's standard stream; -1 for any other
// handle (the sim lets no other kind of handle reach a child).
int inheritableDescriptorOf(HANDLE handle);

// PeekNamedPipe on either end; never blocks.
BOOL peekPipe(HANDLE handle, void* buffer, DWORD size, DWORD* copied, DWORD* available);

BOOL connectPipeInstance(HANDLE server);
BOOL disconnectPipeInstance(HANDLE server);
BOOL pipeClientProcessId(HANDLE server, ULONG* processId);

}  // namespace sim
