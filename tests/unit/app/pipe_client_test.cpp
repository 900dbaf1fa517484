// The pipe client's rules against a scripted pipe: the sim's hooks stand in for CreateFileW,
// WaitNamedPipeW, ReadFile and WriteFile, so no test waits for a real pipe.
#include "app/pipe_client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "platform/sim/test_api.h"
#include "tests/support/recording_logger.h"
#include "tests/support/sim_test.h"

namespace {

using sim::test::ScopedHook;
using testing_support::RecordingLogger;
using velmo::PipeHandle;

HANDLE fakeHandle() { return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(0x7770)); }

// A handle that the tests' WriteFile and ReadFile hooks serve; closing it does nothing.
PipeHandle scriptedPipe() { return PipeHandle(fakeHandle(), [](HANDLE) {}); }

std::size_t countLevel(const RecordingLogger& logger, velmo::logging::LogLevel level,
                        const std::string& message) {
  const auto records = logger.records();
  return static_cast<std::size_t>(std::count_if(records.begin(), records.end(), [&](const auto& r) {
    return r.level == level && r.message == message;
  }));
}

// ---- openPipe ----

struct OpenCase {
  const char* label;
  std::vector<DWORD> createErrors;  // one per CreateFileW call; 0 gives a handle
  BOOL waitResult;
  std::size_t waits;
  const char* thrown;  // null when a handle is given back
};

class OpenPipeTest : public testing_support::SimTest,
                     public ::testing::WithParamInterface<OpenCase> {};

TEST_P(OpenPipeTest, RetriesOnlyABusyPipeAndAtMostFiveTimes) {
  const OpenCase& c = GetParam();
  std::size_t creates = 0;
  std::size_t closes = 0;
  ScopedHook create(&platform::CreateFileW, "CreateFileW",
                    [&](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD,
                        HANDLE) -> std::optional<HANDLE> {
                      const DWORD error = c.createErrors.at(creates++);
                      if (error == 0) {
                        return fakeHandle();
                      }
                      sim::setLastError(error);
                      return INVALID_HANDLE_VALUE;
                    });
  ScopedHook wait(&platform::WaitNamedPipeW, "WaitNamedPipeW",
                  [&](LPCWSTR, DWORD) -> std::optional<BOOL> {
                    sim::setLastError(ERROR_SEM_TIMEOUT);
                    return c.waitResult;
                  });
  ScopedHook close(&platform::CloseHandle, "CloseHandle", [&](HANDLE h) -> std::optional<BOOL> {
    closes += h == fakeHandle() ? 1 : 0;
    return TRUE;
  });
  RecordingLogger logger;

  if (c.thrown) {
    try {
      velmo::openPipe(logger);
      FAIL() << "expected an exception";
    } catch (const std::runtime_error& e) {
      EXPECT_EQ(std::string(e.what()), c.thrown);
    }
  } else {
    EXPECT_EQ(velmo::openPipe(logger).get(), fakeHandle());
    EXPECT_EQ(closes, 1u) << "the handle is closed with CloseHandle when dropped";
    EXPECT_EQ(countLevel(logger, velmo::logging::DEBUG, "Successfully created kestrine pipe client"), 1u);
  }

  EXPECT_EQ(creates, c.createErrors.size());
  for (std::size_t i = 0; i < creates; ++i) {
    EXPECT_EQ(countLevel(logger, velmo::logging::DEBUG,
                         "Attempt #" + std::to_string(i) + " at creating kestrine pipe client"),
              1u);
  }
  const auto waitCalls = sim::test::callsOf("WaitNamedPipeW");
  ASSERT_EQ(waitCalls.size(), c.waits);
  for (const auto& call : waitCalls) {
    EXPECT_EQ(call.arguments, "\"\\\\.\\pipe\\KestrinePipe\", 1000");
  }
  EXPECT_EQ(countLevel(logger, velmo::logging::INFO, "Could not open kestrine pipe client. Retrying"),
            c.waitResult ? 0u : c.waits);
  for (const auto& call : sim::test::callsOf("CreateFileW")) {
    // GENERIC_READ | GENERIC_WRITE, share 0, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL.
    EXPECT_EQ(call.arguments, "\"\\\\.\\pipe\\KestrinePipe\", 3221225472, 0, null, 3, 128, null");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, OpenPipeTest,
    ::testing::Values(
        OpenCase{"BusyEveryTime", {231, 231, 231, 231, 231}, FALSE, 5,
                 "Failed to create kestrine pipe client after 5 attempts"},
        OpenCase{"BusyEveryTimeThoughWaitsSucceed", {231, 231, 231, 231, 231}, TRUE, 5,
                 "Failed to create kestrine pipe client after 5 attempts"},
        OpenCase{"NoPeer", {2}, FALSE, 0, "Unable to open pipe client with error code 2"},
        OpenCase{"AccessDenied", {5}, FALSE, 0, "Unable to open pipe client with error code 5"},
        OpenCase{"BusyThenGone", {231, 2}, FALSE, 1,
                 "Unable to open pipe client with error code 2"},
        OpenCase{"FreeAtOnce", {0}, FALSE, 0, nullptr},
        OpenCase{"FreeAtTheLastAttempt", {231, 231, 231, 231, 0}, TRUE, 4, nullptr}),
    [](const ::testing::TestParamInfo<OpenCase>& info) { return info.param.label; });

using PipeClientTest = testing_support::SimTest;

TEST_F(PipeClientTest, RefusesANullLogger) {
  try {
    velmo::KestrinePipeClient client(nullptr);
    FAIL() << "expected an exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "Kestrine pipe client requires a logger");
  }
  EXPECT_TRUE(sim::test::callsOf("CreateFileW").empty());
}

// ---- writePipeMessage ----

class WritePipeTest : public testing_support::SimTest {
 protected:
  // Records each WriteFile; the call numbered `failAt` (from 0) fails with `error`.
  void scriptWrites(std::size_t failAt = SIZE_MAX, DWORD error = 0) {
    hook.emplace(&platform::WriteFile, "WriteFile",
                 [this, failAt, error](HANDLE h, LPCVOID data, DWORD size, LPDWORD done,
                                       LPOVERLAPPED overlapped) -> std::optional<BOOL> {
                   EXPECT_EQ(h, fakeHandle());
                   EXPECT_EQ(overlapped, nullptr);
                   if (sizes.size() == failAt) {
                     sizes.push_back(size);
                     sim::setLastError(error);
                     return FALSE;
                   }
                   sizes.push_back(size);
                   written.append(static_cast<const char*>(data), size);
                   *done = size;
                   return TRUE;
                 });
  }

  std::optional<ScopedHook> hook;
  std::vector<DWORD> sizes;
  std::string written;
  RecordingLogger logger;
};

class WriteChunkingTest : public WritePipeTest,
                          public ::testing::WithParamInterface<std::pair<std::size_t, std::vector<DWORD>>> {};

TEST_P(WriteChunkingTest, WritesFullChunksOf1024ThenTheRest) {
  const auto& [size, expectedSizes] = GetParam();
  std::string message(size, 'x');
  for (std::size_t i = 0; i < size; ++i) {
    message[i] = static_cast<char>('A' + i % 53);
  }
  scriptWrites();
  EXPECT_TRUE(velmo::writePipeMessage(logger, scriptedPipe(), message));
  EXPECT_EQ(sizes, expectedSizes);
  EXPECT_EQ(written, message);
  EXPECT_TRUE(logger.records().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, WriteChunkingTest,
    ::testing::Values(std::make_pair(std::size_t{0}, std::vector<DWORD>{}),
                      std::make_pair(std::size_t{1}, std::vector<DWORD>{1}),
                      std::make_pair(std::size_t{1024}, std::vector<DWORD>{1024}),
                      std::make_pair(std::size_t{1025}, std::vector<DWORD>{1024, 1}),
                      std::make_pair(std::size_t{3000}, std::vector<DWORD>{1024, 1024, 952})));

TEST_F(WritePipeTest, FailedWriteIsLoggedWithItsCodeAndDropsTheRest) {
  scriptWrites(1, ERROR_NO_DATA);
  EXPECT_FALSE(velmo::writePipeMessage(logger, scriptedPipe(), std::string(5000, 'd')));
  EXPECT_EQ(sizes, (std::vector<DWORD>{1024, 1024}));
  const auto records = logger.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].message, "Kestrine pipe failed to write message");
  EXPECT_EQ(records[0].level, velmo::logging::ERROR);
  EXPECT_EQ(records[0].resultCode, 232);
}

// ---- readPipeMessage ----

// Serves reads from a list of chunks, then `endless` chunks (if any) for ever, then fails with
// `error`.
struct ReadScript {
  std::vector<std::string> chunks;
  std::string endless;
  DWORD error = ERROR_BROKEN_PIPE;
};

class ReadPipeTest : public testing_support::SimTest {
 protected:
  void script(ReadScript s) {
    readScript = std::move(s);
    hook.emplace(&platform::ReadFile, "ReadFile",
                 [this](HANDLE h, LPVOID buffer, DWORD size, LPDWORD done,
                        LPOVERLAPPED overlapped) -> std::optional<BOOL> {
                   EXPECT_EQ(h, fakeHandle());
                   EXPECT_EQ(size, 1023u);
                   EXPECT_EQ(overlapped, nullptr);
                   ++reads;
                   const std::string* chunk = nullptr;
                   if (next < readScript.chunks.size()) {
                     chunk = &readScript.chunks[next++];
                   } else if (!readScript.endless.empty()) {
                     chunk = &readScript.endless;
                   }
                   if (!chunk) {
                     sim::setLastError(readScript.error);
                     return FALSE;
                   }
                   std::memcpy(buffer, chunk->data(), chunk->size());
                   *done = static_cast<DWORD>(chunk->size());
                   return TRUE;
                 });
  }

  std::string read() { return velmo::readPipeMessage(logger, scriptedPipe()); }

  static std::vector<std::string> split(std::size_t total, char fill) {
    std::vector<std::string> chunks;
    for (std::size_t done = 0; done < total; done += 1023) {
      chunks.emplace_back(std::min<std::size_t>(1023, total - done), fill);
    }
    return chunks;
  }

  static constexpr const char* kLimit =
      "Receiving too much data from kestrine pipe (more than 1048576 chars). Closing named pipe.";

  std::optional<ScopedHook> hook;
  ReadScript readScript;
  std::size_t next = 0;
  std::size_t reads = 0;
  RecordingLogger logger;
};

TEST_F(ReadPipeTest, LogsEachChunkAndEndsQuietlyWhenTheStreamEnds) {
  script({{"{\"a\":", "1}"}, "", ERROR_PIPE_NOT_CONNECTED});
  EXPECT_EQ(read(), "{\"a\":1}");
  EXPECT_EQ(logger.messages(), (std::vector<std::string>{"Received \"{\"a\":\"", "Received \"1}\""}));
  EXPECT_EQ(reads, 3u);
}

TEST_F(ReadPipeTest, FirstReadFailingIsLoggedWithItsCode) {
  script({{}, "", ERROR_BROKEN_PIPE});
  EXPECT_EQ(read(), "");
  const auto records = logger.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].message, "Failed to read from pipe due to error 109");
  EXPECT_EQ(records[0].level, velmo::logging::INFO);
  EXPECT_EQ(records[0].resultCode, 0);
}

TEST_F(ReadPipeTest, EmptyReadsAloneCountAsNothingReceived) {
  script({{"", ""}, "", ERROR_BROKEN_PIPE});
  EXPECT_EQ(read(), "");
  EXPECT_EQ(logger.messages(),
            (std::vector<std::string>{"Received \"\"", "Received \"\"",
                                      "Failed to read from pipe due to error 109"}));
}

TEST_F(ReadPipeTest, ExactlyTheLimitPassesWithoutComplaint) {
  script({split(1048576, 'y'), "", ERROR_BROKEN_PIPE});
  EXPECT_EQ(read(), std::string(1048576, 'y'));
  EXPECT_FALSE(logger.contains("too much data"));
  EXPECT_FALSE(logger.contains("Failed to read"));
}

TEST_F(ReadPipeTest, OneByteOverTheLimitStopsReadingAndKeepsEverything) {
  script({split(1048577, 'z'), "", ERROR_BROKEN_PIPE});
  EXPECT_EQ(read(), std::string(1048577, 'z'));
  EXPECT_EQ(logger.count(kLimit), 1u);
  EXPECT_EQ(reads, 1026u) << "the read that crosses the limit is the last";
}

TEST_F(ReadPipeTest, EndlessPeerIsCutOffLessThanOneChunkPastTheLimit) {
  script({{}, std::string(1023, 'e'), ERROR_BROKEN_PIPE});
  const std::string message = read();
  EXPECT_EQ(message.size(), 1026u * 1023u);
  EXPECT_GT(message.size(), 1048576u);
  EXPECT_LT(message.size(), 1048576u + 1023u);
  EXPECT_EQ(logger.count(kLimit), 1u);
}

TEST_F(ReadPipeTest, ZeroByteEndsAChunksTextButItsBytesStillCount) {
  // Every chunk holds 1023 bytes of which only the first is text: the limit still falls after
  // 1026 chunks, while the message keeps one character of each.
  std::string chunk(1023, 'q');
  chunk[1] = '\0';
  script({{}, chunk, ERROR_BROKEN_PIPE});
  EXPECT_EQ(read(), std::string(1026, 'q'));
  EXPECT_EQ(logger.count("Received \"q\""), 1026u);
  EXPECT_EQ(logger.count(kLimit), 1u);
}

}  // namespace
