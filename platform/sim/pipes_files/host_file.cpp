// Sim only: regular files as kernel objects, over host file descriptors, with the error codes
// Windows gives for the same situations.
#include "platform/sim/pipes_files/host_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "platform/sim/pipes_files/byte_stream.h"
#include "platform/sim/core/utf.h"

namespace sim {
namespace fs = std::filesystem;
namespace {

BOOL fail(DWORD error) {
  platform::SetLastError(error);
  return FALSE;
}

std::string hostPath(const WCHAR* path) {
  std::size_t size = 0;
  while (path[size]) {
    ++size;
  }
  return utf16ToUtf8(path, size);
}

bool exists(const std::string& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0;
}

// Windows tells a missing file (2) from a missing directory on the way to it (3).
DWORD missingError(const std::string& path) {
  const fs::path parent = fs::path(path).parent_path();
  return parent.empty() || exists(parent.string()) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

DWORD pathError(int error, const std::string& path) {
  switch (error) {
    case ENOENT:
      return missingError(path);
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR:
    case EROFS:
      return ERROR_ACCESS_DENIED;
    case EEXIST:
      return ERROR_FILE_EXISTS;
    case ENAMETOOLONG:
      return ERROR_FILENAME_EXCED_RANGE;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    case ENOSPC:
      return ERROR_DISK_FULL;
    case EXDEV:
      return ERROR_NOT_SAME_DEVICE;
    default:
      return ERROR_GEN_FAILURE;
  }
}

DWORD ioError(int error) { return error == ENOSPC ? ERROR_DISK_FULL : ERROR_GEN_FAILURE; }

class HostFile : public ByteStream {
 public:
  HostFile(int fd, DWORD access) : fd(fd), access(access) {}
  ~HostFile() override { ::close(fd); }

  // At the end of the file a read succeeds with 0 bytes, as on Windows.
  BOOL read(void* buffer, DWORD size, DWORD* done) override {
    if (!(access & GENERIC_READ)) {
      return fail(ERROR_ACCESS_DENIED);
    }
    ssize_t n;
    do {
      n = ::read(fd, buffer, size);
    } while (n < 0 && errno == EINTR);
    if (n < 0) {
      return fail(ioError(errno));
    }
    *done = static_cast<DWORD>(n);
    return TRUE;
  }

  BOOL write(const void* buffer, DWORD size, DWORD* done) override {
    if (!(access & GENERIC_WRITE)) {
      return fail(ERROR_ACCESS_DENIED);
    }
    const char* bytes = static_cast<const char*>(buffer);
    DWORD written = 0;
    while (written < size) {
      const ssize_t n = ::write(fd, bytes + written, size - written);
      if (n < 0) {
        if (errno == EINTR) {
          continue;
        }
        *done = written;
        return fail(ioError(errno));
      }
      written += static_cast<DWORD>(n);
    }
    *done = written;
    return TRUE;
  }

  BOOL flush() override {
    if (!(access & GENERIC_WRITE)) {
      return fail(ERROR_ACCESS_DENIED);
    }
    return ::fsync(fd) == 0 ? TRUE : fail(ioError(errno));
  }

  BOOL lock(int operation) {
    int result;
    do {
      result = ::flock(fd, operation);
    } while (result != 0 && errno == EINTR);
    if (result == 0) {
      return TRUE;
    }
    return fail(errno == EWOULDBLOCK ? ERROR_LOCK_VIOLATION : ERROR_GEN_FAILURE);
  }

 private:
  const int fd;
  const DWORD access;
};

int openFlags(DWORD access) {
  const bool read = access & GENERIC_READ;
  const bool write = access & GENERIC_WRITE;
  return (read && write ? O_RDWR : write ? O_WRONLY : O_RDONLY) | O_CLOEXEC;
}

// The O_ flags of a creation disposition; -1 for an unknown one.
int dispositionFlags(DWORD disposition) {
  switch (disposition) {
    case CREATE_NEW:
      return O_CREAT | O_EXCL;
    case CREATE_ALWAYS:
      return O_CREAT | O_TRUNC;
    case OPEN_EXISTING:
      return 0;
    case OPEN_ALWAYS:
      return O_CREAT;
    case TRUNCATE_EXISTING:
      return O_TRUNC;
    default:
      return -1;
  }
}

// Syncs the directory that holds `path`, so that a rename into it survives a crash.
void syncDirectoryOf(const std::string& path) {
  fs::path parent = fs::path(path).parent_path();
  const int fd = ::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd >= 0) {
    ::fsync(fd);
    ::close(fd);
  }
}

}  // namespace

HANDLE openHostFile(const WCHAR* path, DWORD desiredAccess, DWORD creationDisposition) {
  const int disposition = dispositionFlags(creationDisposition);
  if (!path || disposition < 0 ||
      (creationDisposition == TRUNCATE_EXISTING && !(desiredAccess & GENERIC_WRITE))) {
    fail(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  const std::string host = hostPath(path);
  const bool existed = exists(host);
  int fd;
  do {
    fd = ::open(host.c_str(), openFlags(desiredAccess) | disposition, 0644);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    fail(pathError(errno, host));
    return INVALID_HANDLE_VALUE;
  }
  struct stat info;
  if (::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode)) {
    // A directory opens only with backup semantics, which the sim does not offer.
    ::close(fd);
    fail(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  const bool reportsExisting = creationDisposition == CREATE_ALWAYS || creationDisposition == OPEN_ALWAYS;
  platform::SetLastError(reportsExisting && existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return insertHandle(HandleKind::Kernel, std::make_shared<HostFile>(fd, desiredAccess));
}

BOOL lockHostFile(HANDLE file, bool exclusive, bool failImmediately) {
  const auto host = lookupHandleAs<HostFile>(HandleKind::Kernel, file);
  if (!host) {
    return fail(ERROR_INVALID_HANDLE);
  }
  return host->lock((exclusive ? LOCK_EX : LOCK_SH) | (failImmediately ? LOCK_NB : 0));
}

BOOL unlockHostFile(HANDLE file) {
  const auto host = lookupHandleAs<HostFile>(HandleKind::Kernel, file);
  if (!host) {
    return fail(ERROR_INVALID_HANDLE);
  }
  return host->lock(LOCK_UN) ? TRUE : fail(ERROR_NOT_LOCKED);
}

BOOL moveHostFile(const WCHAR* from, const WCHAR* to, DWORD flags) {
  if (!from || !to) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const std::string source = hostPath(from);
  const std::string target = hostPath(to);
  if (!exists(source)) {
    return fail(missingError(source));
  }
  if (!(flags & MOVEFILE_REPLACE_EXISTING)) {
#ifdef RENAME_NOREPLACE
    // As on Windows, the check and the move are one step: a target made in between is refused.
    if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
      if (flags & MOVEFILE_WRITE_THROUGH) {
        syncDirectoryOf(target);
      }
      return TRUE;
    }
    if (errno == EEXIST) {
      return fail(ERROR_ALREADY_EXISTS);
    }
    if (errno != EINVAL && errno != ENOSYS) {
      return fail(errno == ENOENT ? ERROR_PATH_NOT_FOUND : pathError(errno, target));
    }
#endif
    if (exists(target)) {  // a file system without the atomic form
      return fail(ERROR_ALREADY_EXISTS);
    }
  }
  if (::rename(source.c_str(), target.c_str()) != 0) {
    return fail(errno == ENOENT ? ERROR_PATH_NOT_FOUND : pathError(errno, target));
  }
  if (flags & MOVEFILE_WRITE_THROUGH) {
    syncDirectoryOf(target);
  }
  return TRUE;
}

}  // namespace sim
