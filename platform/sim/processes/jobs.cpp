// Sim only: job objects. Each job has a keeper, a small process forked when the job is made that
// learns the members through a pipe and adds, as it goes, the processes they start. The pipe's
// write end lives only in the job object, so the keeper sees its end when the job's handle is
// closed or the process holding it dies (even by SIGKILL); with JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE
// it then kills every member.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/errors.h"
#include "platform/jobs.h"
#include "platform/pipes_files.h"
#include "platform/sim/core/file_descriptor.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/core/host_process.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/processes/process_objects.h"

namespace {

// What the job tells its keeper: a member's process id, or kKillOnClose.
constexpr std::int32_t kKillOnClose = -1;
constexpr int kMostMembers = 4096;
// How often the keeper looks for processes the members have started.
constexpr int kScanMilliseconds = 20;

// The parent and the process group of a process; false when it is gone.
bool parentAndGroup(pid_t pid, pid_t& parent, pid_t& group) {
  const std::optional<sim::HostProcessStat> stat = sim::readHostProcessStat(pid);
  if (stat) {
    parent = stat->parent;
    group = stat->group;
  }
  return stat.has_value();
}

// The keeper's members: those assigned, and every process started by one (or in a process group
// one leads), found by looking through /proc, as a job holds what its processes start.
struct Members {
  pid_t ids[kMostMembers];
  int count = 0;

  bool has(pid_t pid) const { return std::find(ids, ids + count, pid) != ids + count; }
  void add(pid_t pid) {
    if (count < kMostMembers && !has(pid)) {
      ids[count++] = pid;
    }
  }
  void addDescendants() {
    for (bool grown = true; grown;) {
      grown = false;
      const sim::DirectoryStream processes(::opendir("/proc"));
      for (dirent* entry; processes && (entry = ::readdir(processes.get()));) {
        const pid_t pid = static_cast<pid_t>(std::atoi(entry->d_name));
        pid_t parent = 0;
        pid_t group = 0;
        if (pid > 0 && !has(pid) && parentAndGroup(pid, parent, group) && (has(parent) || has(group))) {
          add(pid);
          grown = true;
        }
      }
    }
  }
};

// In the keeper: reads until the job closes, then ends the members if asked to.
[[noreturn]] void keep(int control) {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  for (const int signal : {SIGINT, SIGQUIT, SIGHUP, SIGPIPE}) {
    ::sigaction(signal, &ignore, nullptr);
  }
  static Members members;
  bool killOnClose = false;
  std::int32_t message = 0;
  for (;;) {
    pollfd ready{control, POLLIN, 0};
    if (::poll(&ready, 1, kScanMilliseconds) == 0) {
      members.addDescendants();
      continue;
    }
    const ssize_t got = ::read(control, &message, sizeof message);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got != sizeof message) {
      break;
    }
    if (message == kKillOnClose) {
      killOnClose = true;
    } else {
      members.add(message);
    }
  }
  if (killOnClose) {
    members.addDescendants();
    for (int i = 0; i < members.count; ++i) {
      ::kill(members.ids[i], SIGKILL);
    }
  }
  ::_exit(0);
}

class JobObject : public sim::HandleObject {
 public:
  JobObject(sim::FileDescriptor control, pid_t keeper)
      : control(std::move(control)), keeper(keeper) {}
  ~JobObject() override {
    control.reset();  // the keeper sees the job end and leaves
    int status = 0;
    while (::waitpid(keeper, &status, 0) < 0 && errno == EINTR) {
    }
  }

  bool tell(std::int32_t message) {
    std::lock_guard<std::mutex> lock(mutex);
    if (message != kKillOnClose) {
      members.push_back(message);
    }
    return ::write(control.get(), &message, sizeof message) == sizeof message;
  }

  // A member, or a process started (directly or further down) by one, or in the process group
  // that one leads. (The keeper knows more: processes whose starter has ended since.)
  bool holds(pid_t pid) {
    std::lock_guard<std::mutex> lock(mutex);
    const auto member = [&](pid_t candidate) {
      return std::find(members.begin(), members.end(), candidate) != members.end();
    };
    pid_t parent = 0;
    pid_t group = 0;
    for (pid_t current = pid; current > 1 && parentAndGroup(current, parent, group); current = parent) {
      if (member(current) || member(group)) {
        return true;
      }
    }
    return false;
  }

 private:
  std::mutex mutex;
  sim::FileDescriptor control;
  pid_t keeper;
  std::vector<pid_t> members;
};

std::shared_ptr<JobObject> jobOf(HANDLE handle) {
  auto job = sim::lookupHandleAs<JobObject>(sim::HandleKind::Kernel, handle);
  if (!job) {
    platform::SetLastError(ERROR_INVALID_HANDLE);
  }
  return job;
}

}  // namespace

namespace platform {

HANDLE CreateJobObjectW(LPSECURITY_ATTRIBUTES lpJobAttributes, LPCWSTR lpName) {
  SIM_ENTER(CreateJobObjectW, lpJobAttributes, lpName);
  if (lpName) {
    SetLastError(ERROR_NOT_SUPPORTED);  // the sim's jobs have no names
    return nullptr;
  }
  int control[2];
  if (::pipe2(control, O_CLOEXEC) != 0) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  const sim::FileDescriptor readEnd(control[0]);
  sim::FileDescriptor writeEnd(control[1]);
  const sim::FileDescriptor nullFd(::open("/dev/null", O_RDWR | O_CLOEXEC));
  const pid_t keeper = nullFd ? ::fork() : -1;
  if (keeper == 0) {
    // Only the read end stays open in the keeper: nothing of this process (its standard streams
    // neither, which a caller may wait on) lives on in it. Closed by number: a forked child.
    const int kept = ::dup2(readEnd.get(), 3);
    for (int stream = 0; stream < 3; ++stream) {
      ::dup2(nullFd.get(), stream);
    }
    if (::syscall(SYS_close_range, 4, ~0u, 0) != 0) {
      for (int fd = 4; fd < 65536; ++fd) {
        ::close(fd);
      }
    }
    keep(kept);
  }
  if (keeper < 0) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  return sim::insertHandle(sim::HandleKind::Kernel,
                           std::make_shared<JobObject>(std::move(writeEnd), keeper));
}

BOOL SetInformationJobObject(HANDLE hJob, JOBOBJECTINFOCLASS JobObjectInformationClass,
                             LPVOID lpJobObjectInformation, DWORD cbJobObjectInformationLength) {
  SIM_ENTER(SetInformationJobObject, hJob, JobObjectInformationClass, lpJobObjectInformation,
            cbJobObjectInformationLength);
  const auto job = jobOf(hJob);
  if (!job) {
    return FALSE;
  }
  if (JobObjectInformationClass != JobObjectExtendedLimitInformation || !lpJobObjectInformation) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  if (cbJobObjectInformationLength != sizeof(JOBOBJECT_EXTENDED_LIMIT_INFORMATION)) {
    SetLastError(ERROR_BAD_LENGTH);
    return FALSE;
  }
  const DWORD flags = static_cast<const JOBOBJECT_EXTENDED_LIMIT_INFORMATION*>(lpJobObjectInformation)
                          ->BasicLimitInformation.LimitFlags;
  if ((flags & ~JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE) != 0) {
    SetLastError(ERROR_NOT_SUPPORTED);  // the sim keeps no other limit
    return FALSE;
  }
  if ((flags & JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE) && !job->tell(kKillOnClose)) {
    SetLastError(ERROR_GEN_FAILURE);
    return FALSE;
  }
  return TRUE;
}

BOOL AssignProcessToJobObject(HANDLE hJob, HANDLE hProcess) {
  SIM_ENTER(AssignProcessToJobObject, hJob, hProcess);
  const auto job = jobOf(hJob);
  const auto process = job ? sim::processIdentityOf(hProcess) : nullptr;
  if (!process) {
    return FALSE;
  }
  if (!job->tell(static_cast<std::int32_t>(process->pid))) {
    SetLastError(ERROR_GEN_FAILURE);
    return FALSE;
  }
  return TRUE;
}

BOOL IsProcessInJob(HANDLE ProcessHandle, HANDLE JobHandle, PBOOL Result) {
  SIM_ENTER(IsProcessInJob, ProcessHandle, JobHandle, Result);
  const auto job = jobOf(JobHandle);
  const auto process = job ? sim::processIdentityOf(ProcessHandle) : nullptr;
  if (!process) {
    return FALSE;
  }
  if (!Result) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  *Result = job->holds(process->pid) ? TRUE : FALSE;
  return TRUE;
}

}  // namespace platform
