// What the peer relies on when it starts the tool: a child started by command line, waited for,
// and its exit code read.
#include <gtest/gtest.h>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "platform/processes.h"
#include "tests/conformance/conformance_self.h"

namespace {

// Starts `commandLine`; false (with the last error set) when no process could be made.
bool start(const std::string& commandLine, PROCESS_INFORMATION& info) {
  platform::WideString wide = velmo::utf8ToWide(commandLine);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  return platform::CreateProcessW(nullptr, wide.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                  &startup, &info) != FALSE;
}

// Waits for the child to end, closes its handles and gives its exit code.
DWORD exitCodeOnceEnded(PROCESS_INFORMATION& info) {
  EXPECT_EQ(platform::WaitForSingleObject(info.hProcess, 10000), WAIT_OBJECT_0);
  DWORD exitCode = 12345;
  EXPECT_NE(platform::GetExitCodeProcess(info.hProcess, &exitCode), 0);
  platform::CloseHandle(info.hThread);
  platform::CloseHandle(info.hProcess);
  return exitCode;
}

TEST(ProcessConformance, ExitCodeOfAChildIsReadAfterItEnds) {
  for (const int code : {0, 7, 255}) {
    PROCESS_INFORMATION info{};
    ASSERT_TRUE(start("\"" + conformance::selfPath + "\" --conformance-exit=" + std::to_string(code), info));
    EXPECT_EQ(exitCodeOnceEnded(info), static_cast<DWORD>(code));
  }
}

TEST(ProcessConformance, TerminatedChildEndsAtOnceWithTheGivenCode) {
  PROCESS_INFORMATION info{};
  ASSERT_TRUE(start("\"" + conformance::selfPath + "\" --conformance-linger", info));
  EXPECT_EQ(platform::WaitForSingleObject(info.hProcess, 50), WAIT_TIMEOUT);
  EXPECT_NE(platform::TerminateProcess(info.hProcess, 9), 0);
  EXPECT_EQ(exitCodeOnceEnded(info), 9u);
}

TEST(ProcessConformance, MissingProgramFailsWithFileNotFound) {
  PROCESS_INFORMATION info{};
  EXPECT_FALSE(start("\"kestrine-no-such-program.exe\" x", info));
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

}  // namespace
