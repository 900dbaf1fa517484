// Only job objects live here: a job that ends its processes when its last handle closes, the
// assignment of a process to it and the question whether a process runs inside it.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
enum JOBOBJECTINFOCLASS { JobObjectExtendedLimitInformation = 9 };

constexpr DWORD JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE = 0x00002000;

struct LARGE_INTEGER {
  std::int64_t QuadPart;
};

struct JOBOBJECT_BASIC_LIMIT_INFORMATION {
  LARGE_INTEGER PerProcessUserTimeLimit;
  LARGE_INTEGER PerJobUserTimeLimit;
  DWORD LimitFlags;
  SIZE_T MinimumWorkingSetSize;
  SIZE_T MaximumWorkingSetSize;
  DWORD ActiveProcessLimit;
  ULONG_PTR Affinity;
  DWORD PriorityClass;
  DWORD SchedulingClass;
};

struct IO_COUNTERS {
  std::uint64_t ReadOperationCount;
  std::uint64_t WriteOperationCount;
  std::uint64_t OtherOperationCount;
  std::uint64_t ReadTransferCount;
  std::uint64_t WriteTransferCount;
  std::uint64_t OtherTransferCount;
};

struct JOBOBJECT_EXTENDED_LIMIT_INFORMATION {
  JOBOBJECT_BASIC_LIMIT_INFORMATION BasicLimitInformation;
  IO_COUNTERS IoInfo;
  SIZE_T ProcessMemoryLimit;
  SIZE_T JobMemoryLimit;
  SIZE_T PeakProcessMemoryUsed;
  SIZE_T PeakJobMemoryUsed;
};
#endif

namespace platform {

// A new unnamed job; null when it cannot be made.
HANDLE CreateJobObjectW(LPSECURITY_ATTRIBUTES lpJobAttributes, LPCWSTR lpName);
// The peer sets only JobObjectExtendedLimitInformation, with JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE.
BOOL SetInformationJobObject(HANDLE hJob, JOBOBJECTINFOCLASS JobObjectInformationClass,
                             LPVOID lpJobObjectInformation, DWORD cbJobObjectInformationLength);
// The process and every process it starts from then on belong to the job.
BOOL AssignProcessToJobObject(HANDLE hJob, HANDLE hProcess);
BOOL IsProcessInJob(HANDLE ProcessHandle, HANDLE JobHandle, PBOOL Result);

}  // namespace platform
