// A job object with JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE, through the platform's job functions.
#include "tools/peer/tool_job.h"

#include "platform/errors.h"
#include "platform/jobs.h"
#include "platform/processes.h"
#include "tools/peer/peer_error.h"

namespace peer {

ToolJob::ToolJob() : job(platform::CreateJobObjectW(nullptr, nullptr)) {
  if (!job) {
    throw PeerError("cannot make a job object for the tool", platform::GetLastError());
  }
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (!platform::SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits,
                                         sizeof limits)) {
    throw PeerError("cannot make the tool's job end with the peer", platform::GetLastError());
  }
}

void ToolJob::assign(HANDLE process) {
  if (!platform::AssignProcessToJobObject(job.get(), process)) {
    throw PeerError("cannot put the tool into its job", platform::GetLastError());
  }
}

bool ToolJob::holds(DWORD processId) const {
  // PROCESS_QUERY_LIMITED_INFORMATION would do on Windows; Wine wants the full query right.
  const velmo::KernelHandle process(
      platform::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, processId));
  BOOL inJob = FALSE;
  return process && job && platform::IsProcessInJob(process.get(), job.get(), &inJob) && inJob;
}

}  // namespace peer
