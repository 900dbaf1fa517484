// Sim only: regular files for CreateFileW, ReadFile, WriteFile, FlushFileBuffers and MoveFileExW.
// On the sim a file name is a host path, resolved by Windows' rules (core/file_names.h); share
// modes hold across the handles of every process of the machine (open_files.h). A file is
// read-only when its owner may not write it. These functions set the last error themselves.
#pragma once

#include "platform/types.h"

namespace sim {

HANDLE openHostFile(const WCHAR* path, DWORD desiredAccess, DWORD shareMode,
                    DWORD creationDisposition, DWORD flagsAndAttributes);
BOOL moveHostFile(const WCHAR* from, const WCHAR* to, DWORD flags);
// LockFileEx and UnlockFileEx as flock(2) locks of the whole file: they hold against every other
// handle, in this process or another, and go away when the handle is closed or the process ends.
// A held lock that cannot be granted at once gives ERROR_LOCK_VIOLATION.
BOOL lockHostFile(HANDLE file, bool exclusive, bool failImmediately);
BOOL unlockHostFile(HANDLE file);

}  // namespace sim
