// Sim only: the machine-wide table of open file handles and Windows' share-mode rules over it.
#include "platform/sim/pipes_files/open_files.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <optional>
#include <sstream>
#include <vector>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "platform/sim/core/host_process.h"
#include "platform/sim/core/machine.h"

namespace sim {
namespace {

constexpr const char* kTableFile = "open_files";

// The access rights that take part in sharing, as Windows groups them.
constexpr DWORD kFileReadData = 0x1;
constexpr DWORD kFileWriteData = 0x2;
constexpr DWORD kFileAppendData = 0x4;
constexpr DWORD kFileExecute = 0x20;
constexpr DWORD kDelete = 0x10000;
constexpr DWORD kGenericAll = 0x10000000;
constexpr DWORD kGenericExecute = 0x20000000;

struct Sharing {
  bool read = false;
  bool write = false;
  bool erase = false;  // delete, which includes renaming
};

Sharing accessOf(DWORD access) {
  const bool all = access & kGenericAll;
  return {all || (access & (GENERIC_READ | kGenericExecute | kFileReadData | kFileExecute)),
          all || (access & (GENERIC_WRITE | kFileWriteData | kFileAppendData)),
          all || (access & kDelete)};
}

Sharing sharedBy(DWORD share) {
  return {(share & FILE_SHARE_READ) != 0, (share & FILE_SHARE_WRITE) != 0,
          (share & FILE_SHARE_DELETE) != 0};
}

struct Entry {
  std::string token;
  long pid = 0;
  FileIdentity file;
  DWORD access = 0;
  DWORD share = 0;
};

// A process that has ended no longer holds handles, also while it waits to be reaped (a zombie).
bool running(long pid) {
  if (pid == ::getpid()) {
    return true;
  }
  if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) {
    return false;
  }
  // Without /proc on the host the process is taken to exist.
  const std::optional<HostProcessStat> stat = readHostProcessStat(static_cast<pid_t>(pid));
  return !stat || stat->state != 'Z';
}

// The entries of running processes; unreadable lines are dropped.
std::vector<Entry> readTable() {
  std::vector<Entry> entries;
  std::istringstream in(readMachineFile(kTableFile).value_or(""));
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    Entry entry;
    unsigned long long device = 0;
    unsigned long long inode = 0;
    if (fields >> entry.token >> entry.pid >> device >> inode >> entry.access >> entry.share &&
        running(entry.pid)) {
      entry.file = {static_cast<dev_t>(device), static_cast<ino_t>(inode)};
      entries.push_back(entry);
    }
  }
  return entries;
}

void writeTable(const std::vector<Entry>& entries) {
  std::ostringstream out;
  for (const Entry& entry : entries) {
    out << entry.token << ' ' << entry.pid << ' ' << static_cast<unsigned long long>(entry.file.device)
        << ' ' << static_cast<unsigned long long>(entry.file.inode) << ' ' << entry.access << ' '
        << entry.share << '\n';
  }
  writeMachineFile(kTableFile, out.str());
}

bool same(const FileIdentity& a, const FileIdentity& b) {
  return a.device == b.device && a.inode == b.inode;
}

// The handles of the file that take part in sharing (an open for attributes only does not).
std::vector<Entry> sharingHandlesOf(const FileIdentity& file) {
  std::vector<Entry> handles;
  for (const Entry& entry : readTable()) {
    const Sharing access = accessOf(entry.access);
    if (same(entry.file, file) && (access.read || access.write || access.erase)) {
      handles.push_back(entry);
    }
  }
  return handles;
}

}  // namespace

DWORD sharingCheck(const FileIdentity& file, DWORD access, DWORD share) {
  const Sharing wanted = accessOf(access);
  if (!wanted.read && !wanted.write && !wanted.erase) {
    return ERROR_SUCCESS;
  }
  const Sharing offered = sharedBy(share);
  for (const Entry& entry : sharingHandlesOf(file)) {
    const Sharing held = accessOf(entry.access);
    const Sharing admits = sharedBy(entry.share);
    if ((wanted.read && !admits.read) || (wanted.write && !admits.write) ||
        (wanted.erase && !admits.erase) || (held.read && !offered.read) ||
        (held.write && !offered.write) || (held.erase && !offered.erase)) {
      return ERROR_SHARING_VIOLATION;
    }
  }
  return ERROR_SUCCESS;
}

bool openWithoutDeleteSharing(const FileIdentity& file) {
  const std::vector<Entry> handles = sharingHandlesOf(file);
  return std::any_of(handles.begin(), handles.end(),
                     [](const Entry& entry) { return !sharedBy(entry.share).erase; });
}

bool isOpen(const FileIdentity& file) {
  const std::vector<Entry> entries = readTable();
  return std::any_of(entries.begin(), entries.end(),
                     [&](const Entry& entry) { return same(entry.file, file); });
}

std::string recordOpenHandle(const FileIdentity& file, DWORD access, DWORD share) {
  static std::atomic<unsigned long> next{0};
  Entry entry;
  entry.token = std::to_string(::getpid()) + ":" + std::to_string(++next);
  entry.pid = ::getpid();
  entry.file = file;
  entry.access = access;
  entry.share = share;
  std::vector<Entry> entries = readTable();
  entries.push_back(entry);
  writeTable(entries);
  return entry.token;
}

void forgetOpenHandle(const std::string& token) {
  std::vector<Entry> entries = readTable();
  entries.erase(std::remove_if(entries.begin(), entries.end(),
                               [&](const Entry& entry) { return entry.token == token; }),
                entries.end());
  writeTable(entries);
}

}  // namespace sim
