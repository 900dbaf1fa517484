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
#include "platform/sim/core/test_api.h"
#include "tests/support/recording_logger.h"
#include "tests/support/sim_test.h"
#include "tests/unit/library/message_of.h"

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
        OpenCase{"NoPeer", {2}, FALSE, 0, "Unable to open pipe client with error code 2"},
        OpenCase{"BusyThenGone", {231, 2}, FALSE, 1,
                 "Unable to open pipe client with error code 2"},
        OpenCase{"FreeAtOnce", {0}, FALSE, 0, nullptr},
        OpenCase{"FreeAtTheLastAttempt", {231, 231, 231, 231, 0}, TRUE, 4, nullptr}),
    [](const ::testing::TestParamInfo<OpenCase>& info) { return info.param.label; });

using PipeClientTest = testing_support::SimTest;

TEST_F(PipeClientTest, RefusesANullLogger) {
  EXPECT_EQ(library_test::messageOf<std::invalid_argument>([] { velmo::KestrinePipeClient c(nullptr); }),
            "Kestrine pipe client requires a logger");
  EXPECT_TRUE(sim::test::callsOf("CreateFileW").empty());
}

// ---- writePipeMessage ----

// The WriteFile call numbered `failAt` (from 0) fails with ERROR_NO_DATA.
struct WriteRow {
  std::size_t size;
  std::size_t failAt;
  std::vector<DWORD> sizes;  // of every WriteFile call
};

class WritePipeTest : public testing_support::SimTest,
                      public ::testing::WithParamInterface<WriteRow> {};

TEST_P(WritePipeTest, WritesChunksOf1024AndStopsAtAFailedOne) {
  const WriteRow& row = GetParam();
  std::string message(row.size, 'x');
  for (std::size_t i = 0; i < row.size; ++i) {
    message[i] = static_cast<char>('A' + i % 53);
  }
  std::vector<DWORD> sizes;
  std::string written;
  ScopedHook hook(&platform::WriteFile, "WriteFile",
                  [&](HANDLE h, LPCVOID data, DWORD size, LPDWORD done,
                      LPOVERLAPPED overlapped) -> std::optional<BOOL> {
                    EXPECT_TRUE(h == fakeHandle() && overlapped == nullptr);
                    sizes.push_back(size);
                    if (sizes.size() == row.failAt + 1) {
                      sim::setLastError(ERROR_NO_DATA);
                      return FALSE;
                    }
                    written.append(static_cast<const char*>(data), size);
                    *done = size;
                    return TRUE;
                  });
  RecordingLogger logger;
  const bool fails = row.failAt < row.sizes.size();
  EXPECT_EQ(velmo::writePipeMessage(logger, scriptedPipe(), message), !fails);
  EXPECT_EQ(sizes, row.sizes);
  EXPECT_EQ(countLevel(logger, velmo::logging::ERROR, "Kestrine pipe failed to write message"),
            fails ? 1u : 0u);
  EXPECT_EQ(logger.records().size(), fails ? 1u : 0u);
  if (fails) {
    EXPECT_EQ(logger.records()[0].resultCode, 232);
  } else {
    EXPECT_EQ(written, message);
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, WritePipeTest,
                         ::testing::Values(WriteRow{0, SIZE_MAX, {}},
                                           WriteRow{1025, SIZE_MAX, {1024, 1}},
                                           WriteRow{3000, SIZE_MAX, {1024, 1024, 952}},
                                           WriteRow{5000, 1, {1024, 1024}}));

// ---- readPipeMessage ----

const std::string kLimit =
    "Receiving too much data from kestrine pipe (more than 1048576 chars). Closing named pipe.";
const std::string kBrokenPipe = "Failed to read from pipe due to error 109";

std::vector<std::string> split(std::size_t total, char fill) {
  std::vector<std::string> chunks;
  for (std::size_t done = 0; done < total; done += 1023) {
    chunks.emplace_back(std::min<std::size_t>(1023, total - done), fill);
  }
  return chunks;
}

// One "Received" line per chunk, as far as its text goes, then `tail`.
std::vector<std::string> received(const std::vector<std::string>& chunks,
                                  std::vector<std::string> tail = {}) {
  std::vector<std::string> lines;
  for (const std::string& chunk : chunks) {
    lines.push_back("Received \"" + std::string(chunk.c_str()) + "\"");
  }
  lines.insert(lines.end(), tail.begin(), tail.end());
  return lines;
}

// Reads are served from `chunks`, then `endless` (if any) for ever, then fail with `error`. A
// peer that never stops is cut off by the same limit as one that stops just past it.
struct ReadRow {
  const char* name;
  std::vector<std::string> chunks;
  std::string endless;
  DWORD error;
  std::string message;
  std::size_t reads;
  std::vector<std::string> logged;
};

class ReadPipeTest : public testing_support::SimTest,
                     public ::testing::WithParamInterface<ReadRow> {};

// Every chunk is logged; a failed read ends the message and is told only when nothing came; the
// read that crosses 1 MiB is the last and keeps its bytes; a zero byte ends a chunk's text but
// not its count.
TEST_P(ReadPipeTest, KeepsWhatArrivedUpToTheLimit) {
  const ReadRow& row = GetParam();
  std::size_t reads = 0;
  ScopedHook hook(&platform::ReadFile, "ReadFile",
                  [&](HANDLE h, LPVOID buffer, DWORD size, LPDWORD done,
                      LPOVERLAPPED overlapped) -> std::optional<BOOL> {
                    EXPECT_EQ(h, fakeHandle());
                    EXPECT_EQ(size, 1023u);
                    EXPECT_EQ(overlapped, nullptr);
                    const std::string& chunk = reads < row.chunks.size() ? row.chunks[reads] : row.endless;
                    ++reads;
                    if (chunk.empty() && reads > row.chunks.size()) {
                      sim::setLastError(row.error);
                      return FALSE;
                    }
                    std::memcpy(buffer, chunk.data(), chunk.size());
                    *done = static_cast<DWORD>(chunk.size());
                    return TRUE;
                  });
  RecordingLogger logger;
  EXPECT_TRUE(velmo::readPipeMessage(logger, scriptedPipe()) == row.message);
  EXPECT_EQ(reads, row.reads);
  EXPECT_TRUE(logger.messages() == row.logged) << logger.messages().size() << " lines";
  for (const auto& record : logger.records()) {
    EXPECT_EQ(record.level, velmo::logging::INFO);
    EXPECT_EQ(record.resultCode, 0);
  }
}

std::string zeroInChunk() {
  std::string chunk(1023, 'q');
  chunk[1] = '\0';
  return chunk;
}

INSTANTIATE_TEST_SUITE_P(
    Scripts, ReadPipeTest,
    ::testing::Values(
        ReadRow{"EndsQuietlyWhenTheStreamEnds", {"{\"a\":", "1}"}, "", ERROR_PIPE_NOT_CONNECTED,
                "{\"a\":1}", 3, received({"{\"a\":", "1}"})},
        ReadRow{"FirstReadFails", {}, "", ERROR_BROKEN_PIPE, "", 1, {kBrokenPipe}},
        ReadRow{"EmptyReadsAreNothing", {"", ""}, "", ERROR_BROKEN_PIPE, "", 3,
                received({"", ""}, {kBrokenPipe})},
        ReadRow{"ExactlyTheLimit", split(1048576, 'y'), "", ERROR_BROKEN_PIPE,
                std::string(1048576, 'y'), 1027, received(split(1048576, 'y'))},
        ReadRow{"OneByteOver", split(1048577, 'z'), "", ERROR_BROKEN_PIPE,
                std::string(1048577, 'z'), 1026, received(split(1048577, 'z'), {kLimit})},
        ReadRow{"ZeroByteInEachChunk", {}, zeroInChunk(), ERROR_BROKEN_PIPE,
                std::string(1026, 'q'), 1026, received(std::vector<std::string>(1026, "q"), {kLimit})}),
    [](const ::testing::TestParamInfo<ReadRow>& info) { return info.param.name; });

}  // namespace
