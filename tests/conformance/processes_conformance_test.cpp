// What the peer relies on when it starts the tool: a child started by command line, waited for,
// and its exit code read.
#include <gtest/gtest.h>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "platform/processes.h"
#include "tests/conformance/conformance_self.h"

namespace {

// Starts this executable with `flag` and gives the process information.
PROCESS_INFORMATION startSelf(const std::string& flag) {
  platform::WideString commandLine = velmo::utf8ToWide("\"" + conformance::selfPath + "\" " + flag);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION info{};
  EXPECT_NE(platform::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0,
                                     nullptr, nullptr, &startup, &info),
            0)
      << "error " << platform::GetLastError();
  return info;
}

TEST(ProcessConformance, ExitCodeOfAChildIsReadAfterItEnds) {
  for (const int code : {0, 7, 255}) {
    PROCESS_INFORMATION info = startSelf("--conformance-exit=" + std::to_string(code));
    ASSERT_NE(info.hProcess, nullptr);
    EXPECT_EQ(platform::WaitForSingleObject(info.hProcess, INFINITE), WAIT_OBJECT_0);
    DWORD exitCode = 12345;
    EXPECT_NE(platform::GetExitCodeProcess(info.hProcess, &exitCode), 0);
    EXPECT_EQ(exitCode, static_cast<DWORD>(code));
    platform::CloseHandle(info.hThread);
    platform::CloseHandle(info.hProcess);
  }
}

TEST(ProcessConformance, TerminatedChildEndsAtOnceWithTheGivenCode) {
  PROCESS_INFORMATION info = startSelf("--conformance-linger");
  ASSERT_NE(info.hProcess, nullptr);
  EXPECT_EQ(platform::WaitForSingleObject(info.hProcess, 50), WAIT_TIMEOUT);
  EXPECT_NE(platform::TerminateProcess(info.hProcess, 9), 0);
  EXPECT_EQ(platform::WaitForSingleObject(info.hProcess, 10000), WAIT_OBJECT_0);
  DWORD exitCode = 0;
  EXPECT_NE(platform::GetExitCodeProcess(info.hProcess, &exitCode), 0);
  EXPECT_EQ(exitCode, 9u);
  platform::CloseHandle(info.hThread);
  platform::CloseHandle(info.hProcess);
}

TEST(ProcessConformance, MissingProgramFailsWithFileNotFound) {
  platform::WideString commandLine = velmo::utf8ToWide("\"kestrine-no-such-program.exe\" x");
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION info{};
  EXPECT_EQ(platform::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0,
                                     nullptr, nullptr, &startup, &info),
            0);
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

}  // namespace
