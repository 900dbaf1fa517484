// What the peer relies on of files: the error codes of a missing file or directory and of an
// existing one, and a durable replace by write, flush and MoveFileExW. The files are made in the
// working directory under names of their own, so the same checks run on the sim and on Windows.
#include <gtest/gtest.h>

#include <string>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tests/conformance/pipe_fixture.h"

namespace {

using conformance::Handle;
using conformance::widen;
using conformance::writeAll;

platform::WideString fileName(const std::string& tag) {
  return widen("kestrine-conformance-" + tag + ".tmp");
}

HANDLE openFile(const platform::WideString& name, DWORD access, DWORD disposition) {
  return platform::CreateFileW(name.c_str(), access, 0, nullptr, disposition,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
}

bool writeFile(const platform::WideString& name, const std::string& content) {
  Handle file(openFile(name, GENERIC_WRITE, CREATE_ALWAYS));
  return file.valid() && writeAll(file.get(), content) &&
         platform::FlushFileBuffers(file.get()) != FALSE;
}

// Reads a whole file: a read at its end succeeds with 0 bytes.
std::string readFile(const platform::WideString& name) {
  Handle file(openFile(name, GENERIC_READ, OPEN_EXISTING));
  std::string content;
  char buffer[100];
  DWORD count = 0;
  while (file.valid() && platform::ReadFile(file.get(), buffer, sizeof buffer, &count, nullptr) &&
         count > 0) {
    content.append(buffer, count);
  }
  return content;
}

struct OpenFailure {
  const char* label;
  std::string path;
  DWORD disposition;
  DWORD error;
};

class FileOpenFailureTest : public ::testing::TestWithParam<OpenFailure> {};

TEST_P(FileOpenFailureTest, GivesTheWindowsErrorCode) {
  const OpenFailure& c = GetParam();
  ASSERT_TRUE(writeFile(fileName("existing"), "x"));
  Handle file(openFile(widen(c.path), GENERIC_READ | GENERIC_WRITE, c.disposition));
  EXPECT_FALSE(file.valid());
  EXPECT_EQ(platform::GetLastError(), c.error);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FileOpenFailureTest,
    ::testing::Values(
        OpenFailure{"MissingFile", "kestrine-conformance-never-made.tmp", OPEN_EXISTING,
                    ERROR_FILE_NOT_FOUND},
        OpenFailure{"MissingDirectory", "kestrine-conformance-no-dir/x.tmp", OPEN_EXISTING,
                    ERROR_PATH_NOT_FOUND},
        OpenFailure{"CreateInMissingDirectory", "kestrine-conformance-no-dir/x.tmp",
                    CREATE_ALWAYS, ERROR_PATH_NOT_FOUND},
        OpenFailure{"CreateNewOverExisting", "kestrine-conformance-existing.tmp", CREATE_NEW,
                    ERROR_FILE_EXISTS}),
    [](const ::testing::TestParamInfo<OpenFailure>& info) { return info.param.label; });

TEST(FileConformance, CreateAlwaysOverAnExistingFileSaysSoAndTruncates) {
  const auto name = fileName("truncate");
  ASSERT_TRUE(writeFile(name, "old content"));
  {
    Handle file(openFile(name, GENERIC_WRITE, CREATE_ALWAYS));
    ASSERT_TRUE(file.valid());
    EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  }
  // At the end of a file a read succeeds with no bytes.
  Handle file(openFile(name, GENERIC_READ, OPEN_EXISTING));
  char byte = 0;
  DWORD count = 99;
  EXPECT_TRUE(platform::ReadFile(file.get(), &byte, 1, &count, nullptr));
  EXPECT_EQ(count, 0u);
}

TEST(FileConformance, ReplaceByRenameIsRefusedWithoutTheFlagAndDoneWithIt) {
  const auto temporary = fileName("replace-new");
  const auto target = fileName("replace-target");
  ASSERT_TRUE(writeFile(target, "old"));
  ASSERT_TRUE(writeFile(temporary, "new document"));

  EXPECT_FALSE(platform::MoveFileExW(temporary.c_str(), target.c_str(), 0));
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  ASSERT_TRUE(platform::MoveFileExW(temporary.c_str(), target.c_str(),
                                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
  EXPECT_EQ(readFile(target), "new document");
  EXPECT_FALSE(Handle(openFile(temporary, GENERIC_READ, OPEN_EXISTING)).valid());
  EXPECT_FALSE(platform::MoveFileExW(temporary.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING));
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST(FileConformance, HandleOpenedForReadingOnlyCannotWrite) {
  const auto name = fileName("read-only");
  ASSERT_TRUE(writeFile(name, "abc"));
  Handle file(openFile(name, GENERIC_READ, OPEN_EXISTING));
  ASSERT_TRUE(file.valid());
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
  Handle first(open());
  Handle second(open());
  OVERLAPPED whole{};
  const DWORD exclusiveNow = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;
  ASSERT_TRUE(platform::LockFileEx(first.get(), exclusiveNow, 0, 0xFFFFFFFFu, 0xFFFFFFFFu, &whole));
  EXPECT_FALSE(platform::LockFileEx(second.get(), exclusiveNow, 0, 0xFFFFFFFFu, 0xFFFFFFFFu, &whole));
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_LOCK_VIOLATION));
  ASSERT_TRUE(platform::UnlockFileEx(first.get(), 0, 0xFFFFFFFFu, 0xFFFFFFFFu, &whole));
  EXPECT_TRUE(platform::LockFileEx(second.get(), exclusiveNow, 0, 0xFFFFFFFFu, 0xFFFFFFFFu, &whole));
}

}  // namespace
