// Sim only: the machine-wide table of open file handles, for Windows' share modes. Each open
// handle of a regular file is kept in the machine directory with its owner process, its access and
// its share mode, keyed by the file's identity (device and inode), so that handles of every process
// of the machine see each other. Entries of processes that no longer run are ignored and dropped.
// Every function here expects the caller to hold the MachineLock.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace sim {

struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
};

// What a new handle with `access` and `share` meets among the open handles of the file:
// ERROR_SUCCESS when it may open, ERROR_SHARING_VIOLATION when an open handle's share mode does
// not admit the access or the share mode does not admit an open handle's access.
DWORD sharingCheck(const FileIdentity& file, DWORD access, DWORD share);

// True when some open handle of the file does not share delete access (a rename of the file is
// then refused).
bool openWithoutDeleteSharing(const FileIdentity& file);

// True when the file has an open handle of any kind (a replace of the file is then refused).
bool isOpen(const FileIdentity& file);

// Records an open handle; the token names it for forgetOpenHandle.
std::string recordOpenHandle(const FileIdentity& file, DWORD access, DWORD share);
void forgetOpenHandle(const std::string& token);

}  // namespace sim
