// What the peer relies on to hold its tool: a suspended start, a job that ends its processes
// (those they start too) when its handle closes, the only handles a child inherits, the id of a
// pipe's client, the cancelling of a blocked pipe call, and the console control routines.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "common/text_conversion.h"
#include "platform/console.h"
#include "platform/errors.h"
#include "platform/jobs.h"
#include "platform/pipes_files.h"
#include "platform/processes.h"
#include "platform/threads.h"
#include "tests/conformance/conformance_self.h"
#include "tests/conformance/pipe_fixture.h"
#include "tests/support/eventually.h"

namespace {

using conformance::Handle;

// A started child of the check executable, with its handles owned.
struct Child {
  Handle process;
  Handle thread;
  DWORD id = 0;
};

// Starts the check executable with `role`; `output` (if any) is its standard output and the only
// handle in its inherit list, `listed` what that list holds instead when given.
Child start(const std::string& role, DWORD flags, HANDLE output = nullptr, HANDLE listed = nullptr) {
  platform::WideString line = velmo::utf8ToWide("\"" + conformance::selfPath + "\" " + role);
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  HANDLE inherit[1] = {listed ? listed : output};
  std::vector<unsigned char> memory;
  if (output) {
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdOutput = output;
    SIZE_T size = 0;
    platform::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory.resize(size);
    startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
    EXPECT_NE(platform::InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size), 0);
    EXPECT_NE(platform::UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                                  inherit, sizeof inherit, nullptr, nullptr), 0);
    flags |= EXTENDED_STARTUPINFO_PRESENT;
  }
  PROCESS_INFORMATION info{};
  const BOOL started = platform::CreateProcessW(nullptr, line.data(), nullptr, nullptr, output != nullptr,
                                                flags, nullptr, nullptr, &startup.StartupInfo, &info);
  if (output) platform::DeleteProcThreadAttributeList(startup.lpAttributeList);
  EXPECT_NE(started, 0) << platform::GetLastError();
  Child child;
  if (started) {
    child.process = Handle(info.hProcess);
    child.thread = Handle(info.hThread);
    child.id = info.dwProcessId;
  }
  return child;
}

// An anonymous pipe whose ends a child may inherit.
struct AnonymousPipe {
  AnonymousPipe() {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE r = nullptr;
    HANDLE w = nullptr;
    EXPECT_NE(platform::CreatePipe(&r, &w, &inheritable, 0), 0);
    read = Handle(r);
    write = Handle(w);
  }
  // Everything until every writer has gone.
  std::string drain() {
    std::string text;
    char buffer[256];
    DWORD count = 0;
    while (platform::ReadFile(read.get(), buffer, sizeof buffer, &count, nullptr)) text.append(buffer, count);
    EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_BROKEN_PIPE));
    return text;
  }
  Handle read;
  Handle write;
};

// Windows takes PROCESS_QUERY_LIMITED_INFORMATION for IsProcessInJob; Wine refuses that with 5
// and wants PROCESS_QUERY_INFORMATION, which Windows takes too: the peer asks for the latter.
bool inJob(DWORD processId, HANDLE job) {
  Handle process(platform::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, processId));
  BOOL result = FALSE;
  EXPECT_NE(platform::IsProcessInJob(process.get(), job, &result), 0) << processId;
  return result != FALSE;
}

TEST(JobConformance, SuspendedChildRunsItsProgramOnlyOnceResumed) {
  Child child = start("--conformance-exit=7", CREATE_SUSPENDED | CREATE_NEW_PROCESS_GROUP | CREATE_NO_WINDOW);
  EXPECT_EQ(platform::WaitForSingleObject(child.process.get(), 200), WAIT_TIMEOUT);
  EXPECT_EQ(platform::ResumeThread(child.thread.get()), 1u);
  EXPECT_EQ(platform::WaitForSingleObject(child.process.get(), 10000), WAIT_OBJECT_0);
  DWORD code = 0;
  EXPECT_NE(platform::GetExitCodeProcess(child.process.get(), &code), 0);
  EXPECT_EQ(code, 7u);
}

// The first line a child prints: the id of the process it started.
DWORD printedProcessId(AnonymousPipe& output) {
  output.write.reset();
  std::string line;
  char c = 0;
  DWORD count = 0;
  while (line.find('\n') == std::string::npos && platform::ReadFile(output.read.get(), &c, 1, &count, nullptr)) {
    line += c;
  }
  return line.empty() ? 0 : static_cast<DWORD>(std::stoul(line));
}

// A member's own child is in the job; a process outside it is not; closing the job ends them all.
TEST(JobConformance, KillOnCloseJobHoldsWhatItsMembersStartAndEndsThemWhenClosed) {
  Handle job(platform::CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  EXPECT_NE(platform::SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits), 0);
  AnonymousPipe output;
  Child member = start("--conformance-spawn", CREATE_SUSPENDED | CREATE_NO_WINDOW, output.write.get());
  Child outsider = start("--conformance-linger", CREATE_NO_WINDOW);
  EXPECT_NE(platform::AssignProcessToJobObject(job.get(), member.process.get()), 0);
  EXPECT_EQ(platform::ResumeThread(member.thread.get()), 1u);
  const DWORD grandchild = printedProcessId(output);
  EXPECT_TRUE(inJob(member.id, job.get()));
  EXPECT_TRUE(inJob(grandchild, job.get()));
  EXPECT_FALSE(inJob(outsider.id, job.get()));
  job.reset();
  EXPECT_EQ(platform::WaitForSingleObject(member.process.get(), 10000), WAIT_OBJECT_0);
  EXPECT_EQ(output.drain(), "") << "the grandchild, holding the pipe too, has ended";
  EXPECT_EQ(platform::WaitForSingleObject(outsider.process.get(), 0), WAIT_TIMEOUT);
  platform::TerminateProcess(outsider.process.get(), 9);
  platform::WaitForSingleObject(outsider.process.get(), 10000);
}

// A process that holds a kill-on-close job and is killed takes the job's processes with it.
TEST(JobConformance, KilledHolderOfAJobEndsItsProcesses) {
  AnonymousPipe output;
  Child holder = start("--conformance-hold-job", CREATE_NO_WINDOW, output.write.get());
  const DWORD member = printedProcessId(output);
  ASSERT_NE(member, 0u);
  Handle process(platform::OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, member));
  EXPECT_EQ(platform::WaitForSingleObject(process.get(), 0), WAIT_TIMEOUT);
  EXPECT_NE(platform::TerminateProcess(holder.process.get(), 9), 0);
  EXPECT_EQ(platform::WaitForSingleObject(process.get(), 10000), WAIT_OBJECT_0);
}

// A standard stream reaches the child only when its handle is in the inherit list. Wine departs:
// it hands the child its standard handles whether listed or not.
TEST(JobConformance, OnlyListedHandlesAreInherited) {
  for (const bool listed : {true, false}) {
    AnonymousPipe output;
    AnonymousPipe other;
    Child child = start("--conformance-print=hello", CREATE_NO_WINDOW, output.write.get(),
                        listed ? nullptr : other.write.get());
    output.write.reset();
    other.write.reset();
    EXPECT_EQ(output.drain(), listed || conformance::runningUnderWine() ? "hello" : "") << "listed " << listed;
    EXPECT_EQ(platform::WaitForSingleObject(child.process.get(), 10000), WAIT_OBJECT_0);
  }
}

TEST(JobConformance, PipeClientProcessIdIsTheConnectingProcess) {
  const platform::WideString name = conformance::uniquePipeName("client-id");
  Handle server(conformance::createServer(name));
  Child client = start("--conformance-connect=" + velmo::wideToUtf8(name), CREATE_NO_WINDOW);
  const BOOL connected = platform::ConnectNamedPipe(server.get(), nullptr);
  EXPECT_TRUE(connected || platform::GetLastError() == ERROR_PIPE_CONNECTED);
  ULONG id = 0;
  EXPECT_NE(platform::GetNamedPipeClientProcessId(server.get(), &id), 0);
  EXPECT_EQ(id, client.id);
  server.reset();
  EXPECT_EQ(platform::WaitForSingleObject(client.process.get(), 10000), WAIT_OBJECT_0);
}

// A thread blocked in ConnectNamedPipe (no client) or WriteFile (a client that never reads) is
// freed by CancelSynchronousIo with ERROR_OPERATION_ABORTED; a thread in no call has nothing to
// cancel.
TEST(JobConformance, CancelSynchronousIoEndsABlockedPipeCall) {
  Handle self(platform::OpenThread(THREAD_TERMINATE, FALSE, platform::GetCurrentThreadId()));
  EXPECT_FALSE(platform::CancelSynchronousIo(self.get()));
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_NOT_FOUND));
  for (const bool write : {false, true}) {
    const platform::WideString name = conformance::uniquePipeName("cancel");
    Handle server(conformance::createServer(name));
    Handle client(write ? platform::CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)
                        : INVALID_HANDLE_VALUE);
    std::atomic<DWORD> threadId{0};
    std::atomic<DWORD> error{0};
    std::thread blocked([&] {
      threadId = platform::GetCurrentThreadId();
      const std::string bytes(1 << 20, 'x');
      DWORD count = 0;
      const BOOL done = write ? platform::WriteFile(server.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr)
                              : platform::ConnectNamedPipe(server.get(), nullptr);
      error = done ? 0 : platform::GetLastError();
    });
    ASSERT_TRUE(testing_support::eventually([&] { return threadId != 0; }));
    Handle thread(platform::OpenThread(THREAD_TERMINATE, FALSE, threadId));
    EXPECT_TRUE(testing_support::eventually([&] { return platform::CancelSynchronousIo(thread.get()) != FALSE; }))
        << "write " << write;
    blocked.join();
    EXPECT_EQ(error, static_cast<DWORD>(ERROR_OPERATION_ABORTED)) << "write " << write;
  }
}

BOOL ignoreEvent(DWORD) { return TRUE; }

TEST(JobConformance, ConsoleControlRoutinesAreAddedAndRemoved) {
  EXPECT_NE(platform::SetConsoleCtrlHandler(&ignoreEvent, TRUE), 0);
  EXPECT_NE(platform::SetConsoleCtrlHandler(&ignoreEvent, FALSE), 0);
  EXPECT_FALSE(platform::SetConsoleCtrlHandler(&ignoreEvent, FALSE));
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

}  // namespace
