// What the peer relies on of files: the error codes of a missing file or directory and of an
// existing one, and a durable replace by write, flush and MoveFileExW. The files are made under
// relative names in the working directory, a fresh temporary one that the checks' main makes, so
// the same checks run on the sim and on Windows.
#include <gtest/gtest.h>

#include <string>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tests/conformance/pipe_fixture.h"

namespace {

using namespace conformance;

platform::WideString fileName(const std::string& tag) {
  return widen("kestrine-conformance-" + tag + ".tmp");
}

HANDLE openFile(const platform::WideString& name, DWORD access, DWORD disposition) {
  return platform::CreateFileW(name.c_str(), access, 0, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

bool writeFile(const platform::WideString& name, const std::string& content) {
  Handle file(openFile(name, GENERIC_WRITE, CREATE_ALWAYS));
  return file && writeAll(file.get(), content) && platform::FlushFileBuffers(file.get()) != FALSE;
}

struct OpenFailure {
  std::string path;
  DWORD disposition;
  DWORD error;
};

class FileOpenFailureTest : public ::testing::TestWithParam<OpenFailure> {};

TEST_P(FileOpenFailureTest, GivesTheWindowsErrorCode) {
  ASSERT_TRUE(writeFile(fileName("existing"), "x"));
  EXPECT_FALSE(Handle(openFile(widen(GetParam().path), GENERIC_READ | GENERIC_WRITE, GetParam().disposition)));
  EXPECT_EQ(platform::GetLastError(), GetParam().error);
}

// A missing file, a missing directory, a creation in one, a CREATE_NEW over an existing file.
INSTANTIATE_TEST_SUITE_P(Cases, FileOpenFailureTest,
    ::testing::Values(OpenFailure{"kestrine-conformance-never-made.tmp", OPEN_EXISTING, ERROR_FILE_NOT_FOUND},
                      OpenFailure{"kestrine-conformance-no-dir/x.tmp", OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
                      OpenFailure{"kestrine-conformance-no-dir/x.tmp", CREATE_ALWAYS, ERROR_PATH_NOT_FOUND},
                      OpenFailure{"kestrine-conformance-existing.tmp", CREATE_NEW, ERROR_FILE_EXISTS}));

// Over an existing file CREATE_ALWAYS says so and truncates; a handle opened for reading cannot write.
TEST(FileConformance, CreateAlwaysTruncatesAndReadOnlyHandleCannotWrite) {
  const auto name = fileName("truncate");
  ASSERT_TRUE(writeFile(name, "old content"));
  ASSERT_TRUE(Handle(openFile(name, GENERIC_WRITE, CREATE_ALWAYS)));
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  Handle file(openFile(name, GENERIC_READ, OPEN_EXISTING));
  char buffer[100];
  DWORD count = sizeof buffer;  // a read at the end succeeds with no bytes
  EXPECT_TRUE(platform::ReadFile(file.get(), buffer, sizeof buffer, &count, nullptr));
  EXPECT_EQ(count, 0u) << "CREATE_ALWAYS emptied the file";
  EXPECT_FALSE(writeAll(file.get(), "x"));
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

// The peer's store lock: an exclusive lock keeps every other handle out until it is released.
TEST(FileConformance, ExclusiveLockHoldsAgainstASecondHandleUntilUnlocked) {
  const auto name = fileName("lock");
  ASSERT_TRUE(writeFile(name, ""));
  const auto open = [&] {
    return platform::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                 nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  };
  Handle first(open()), second(open());
  OVERLAPPED whole{};
  const DWORD exclusiveNow = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;
  ASSERT_TRUE(platform::LockFileEx(first.get(), exclusiveNow, 0, 0xFFFFFFFFu, 0xFFFFFFFFu, &whole));
  EXPECT_FALSE(platform::LockFileEx(second.get(), exclusiveNow, 0, 0xFFFFFFFFu, 0xFFFFFFFFu, &whole));
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  ASSERT_TRUE(platform::UnlockFileEx(first.get(), 0, 0xFFFFFFFFu, 0xFFFFFFFFu, &whole));
  EXPECT_TRUE(platform::LockFileEx(second.get(), exclusiveNow, 0, 0xFFFFFFFFu, 0xFFFFFFFFu, &whole));
}

}  // namespace
