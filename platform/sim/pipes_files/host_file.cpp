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
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "platform/sim/pipes_files/byte_stream.h"
#include "platform/sim/core/file_descriptor.h"
#include "platform/sim/core/machine.h"
#include "platform/sim/core/utf.h"
#include "platform/sim/core/file_names.h"
#include "platform/sim/pipes_files/open_files.h"

namespace sim {
namespace fs = std::filesystem;
namespace {

BOOL fail(DWORD error) {
  platform::SetLastError(error);
  return FALSE;
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

// An open regular file. It holds its entry in the machine's table of open handles until closed.
class HostFile : public ByteStream {
 public:
  HostFile(FileDescriptor fd, DWORD access, std::string token)
      : fd(std::move(fd)), access(access), token(std::move(token)) {}
  ~HostFile() override {
    fd.reset();  // its locks go before its entry does
    try {
      MachineLock lock;
      forgetOpenHandle(token);
    } catch (const std::exception&) {
      // The machine cannot be written: the entry goes when this process ends.
    }
  }

  // At the end of the file a read succeeds with 0 bytes, as on Windows.
  BOOL read(void* buffer, DWORD size, DWORD* done) override {
    if (!(access & GENERIC_READ)) {
      return fail(ERROR_ACCESS_DENIED);
    }
    ssize_t n;
    do {
      n = ::read(fd.get(), buffer, size);
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
      const ssize_t n = ::write(fd.get(), bytes + written, size - written);
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
    return ::fsync(fd.get()) == 0 ? TRUE : fail(ioError(errno));
  }

  BOOL lock(int operation) {
    int result;
    do {
      result = ::flock(fd.get(), operation);
    } while (result != 0 && errno == EINTR);
    if (result == 0) {
      return TRUE;
    }
    return fail(errno == EWOULDBLOCK ? ERROR_LOCK_VIOLATION : ERROR_GEN_FAILURE);
  }

 private:
  FileDescriptor fd;
  const DWORD access;
  const std::string token;
};

constexpr DWORD kShareModes = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Windows' read-only attribute, on the host the owner's missing write permission. The check is
// the sim's own, so that it holds also for a process that runs as root.
bool readOnly(const struct stat& info) { return !(info.st_mode & S_IWUSR); }

FileIdentity identityOf(const struct stat& info) { return {info.st_dev, info.st_ino}; }

bool sameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

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
  const FileDescriptor fd(
      ::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd) {
    ::fsync(fd.get());
  }
}

}  // namespace

HANDLE openHostFile(const WCHAR* path, DWORD desiredAccess, DWORD shareMode,
                    DWORD creationDisposition, DWORD flagsAndAttributes) {
  const int disposition = dispositionFlags(creationDisposition);
  if (!path || disposition < 0 || (shareMode & ~kShareModes) != 0 ||
      (creationDisposition == TRUNCATE_EXISTING && !(desiredAccess & GENERIC_WRITE))) {
    fail(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  const HostPath host = resolveFileName(path);
  if (host.error) {
    fail(host.error);
    return INVALID_HANDLE_VALUE;
  }
  FileDescriptor fd;
  std::string token;
  bool existed = false;
  {
    MachineLock lock;
    struct stat before;
    existed = ::stat(host.path.c_str(), &before) == 0;
    if (existed && creationDisposition != CREATE_NEW) {
      const bool writes = (desiredAccess & GENERIC_WRITE) || creationDisposition == CREATE_ALWAYS ||
                          creationDisposition == TRUNCATE_EXISTING;
      if (writes && S_ISREG(before.st_mode) && readOnly(before)) {
        fail(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
      }
      if (const DWORD error = sharingCheck(identityOf(before), desiredAccess, shareMode)) {
        fail(error);
        return INVALID_HANDLE_VALUE;
      }
    }
    const mode_t mode = (flagsAndAttributes & FILE_ATTRIBUTE_READONLY) ? 0444 : 0644;
    do {
      fd.reset(::open(host.path.c_str(), openFlags(desiredAccess) | disposition, mode));
    } while (!fd && errno == EINTR);
    if (!fd) {
      fail(pathError(errno, host.path));
      return INVALID_HANDLE_VALUE;
    }
    // CREATE_ALWAYS makes an existing file read-only when asked to, as creation does.
    if (existed && creationDisposition == CREATE_ALWAYS && (flagsAndAttributes & FILE_ATTRIBUTE_READONLY)) {
      ::fchmod(fd.get(), before.st_mode & 07555);
    }
    struct stat info;
    if (::fstat(fd.get(), &info) != 0 || S_ISDIR(info.st_mode)) {
      // A directory opens only with backup semantics, which the sim does not offer.
      fail(ERROR_ACCESS_DENIED);
      return INVALID_HANDLE_VALUE;
    }
    token = recordOpenHandle(identityOf(info), desiredAccess, shareMode);
  }
  const bool reportsExisting = creationDisposition == CREATE_ALWAYS || creationDisposition == OPEN_ALWAYS;
  platform::SetLastError(reportsExisting && existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return insertHandle(HandleKind::Kernel,
                      std::make_shared<HostFile>(std::move(fd), desiredAccess, std::move(token)));
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

// Renames `from` to `to`; with `keepTarget`, a target that appeared since it was checked (made by a
// program outside the machine lock) is left alone and errno is EEXIST, as Windows refuses it.
static bool renameInPlace(const std::string& from, const std::string& to, bool keepTarget) {
#ifdef RENAME_NOREPLACE
  if (keepTarget) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
      return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {  // else a file system without the atomic form
      return false;
    }
  }
#else
  (void)keepTarget;
#endif
  return ::rename(from.c_str(), to.c_str()) == 0;
}

BOOL moveHostFile(const WCHAR* from, const WCHAR* to, DWORD flags) {
  // A move at the next start cannot be a copy.
  const DWORD copyAtReboot = MOVEFILE_COPY_ALLOWED | MOVEFILE_DELAY_UNTIL_REBOOT;
  if (!from || !to || (flags & copyAtReboot) == copyAtReboot) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const HostPath source = resolveFileName(from);
  const HostPath target = resolveFileName(to);
  if (source.error || target.error) {
    return fail(source.error ? source.error : target.error);
  }
  MachineLock lock;
  struct stat moved;
  if (::stat(source.path.c_str(), &moved) != 0) {
    return fail(missingError(source.path));
  }
  // Renaming opens the source for delete: a handle that does not share delete keeps it in place.
  if (openWithoutDeleteSharing(identityOf(moved))) {
    return fail(ERROR_SHARING_VIOLATION);
  }
  struct stat replaced;
  if (::stat(target.path.c_str(), &replaced) == 0 && !sameFile(moved, replaced)) {
    if (!(flags & MOVEFILE_REPLACE_EXISTING)) {
      return fail(ERROR_ALREADY_EXISTS);
    }
    // Windows replaces neither a read-only file, nor a directory, nor a file that is open, even
    // with delete sharing (the name stays taken until its last handle is closed).
    if (S_ISDIR(replaced.st_mode) || readOnly(replaced) || isOpen(identityOf(replaced))) {
      return fail(ERROR_ACCESS_DENIED);
    }
  }
  if (!renameInPlace(source.path, target.path, !(flags & MOVEFILE_REPLACE_EXISTING))) {
    return fail(errno == EEXIST    ? ERROR_ALREADY_EXISTS
                : errno == ENOENT ? ERROR_PATH_NOT_FOUND
                                  : pathError(errno, target.path));
  }
  if (flags & MOVEFILE_WRITE_THROUGH) {
    syncDirectoryOf(target.path);
  }
  return TRUE;
}

}  // namespace sim
