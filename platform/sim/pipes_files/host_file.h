// Sim only: regular files for CreateFileW, ReadFile, WriteFile, FlushFileBuffers and MoveFileExW.
// On the sim a file name is an ordinary host path. These functions set the last error themselves.
#pragma once

#include "platform/types.h"

namespace sim {

HANDLE openHostFile(const WCHAR* path, DWORD desiredAccess, DWORD creationDisposition);
BOOL moveHostFile(const WCHAR* from, const WCHAR* to, DWORD flags);

}  // namespace sim
