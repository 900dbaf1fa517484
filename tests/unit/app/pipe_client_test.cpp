// The pipe client's rules against a scripted pipe: the sim's hooks stand in for CreateFileW,
// WaitNamedPipeW, ReadFile and WriteFile, so no test waits for a real pipe.
#include "app/pipe_client.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "platform/sim/core/test_api.h"
#include "tests/support/sim_test.h"
#include "tests/unit/library/message_of.h"

namespace {

using sim::test::callsOf;
using sim::test::ScopedHook;
using Lines = std::vector<std::string>;

HANDLE fakeHandle() { return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(0x7770)); }

class PipeClientTest : public testing_support::LoggedSimTest {
 protected:
  // Every record as "LEVEL code message".
  Lines logged() const {
    static const char* const levels[] = {"CRITICAL", "ERROR", "INFO", "DEBUG", "TRACE"};
    Lines lines;
    for (const auto& r : log.records()) {
      lines.push_back(levels[r.level] + (" " + std::to_string(r.resultCode) + " ") + r.message);
    }
    return lines;
  }
};

// Each CreateFileW call fails with the row's next error (0: gives a handle); WaitNamedPipeW
// answers `waitResult`.
TEST_F(PipeClientTest, OpenRetriesOnlyABusyPipeAndAtMostFiveTimes) {
  const struct {
    std::vector<DWORD> errors; BOOL waitResult; std::size_t waits;
    std::string thrown;  // empty when a handle is given back
  } rows[] = {
      {{231, 231, 231, 231, 231}, FALSE, 5,
       "Failed to create kestrine pipe client after 5 attempts"},
      {{231, 5}, FALSE, 1, "Unable to open pipe client with error code 5"},  // not only 2
      {{0}, FALSE, 0, ""}, {{231, 231, 231, 231, 0}, TRUE, 4, ""}};
  const std::string pipe = R"("\\.\pipe\KestrinePipe")";
  // GENERIC_READ | GENERIC_WRITE, share 0, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL.
  const std::string createArguments = pipe + ", 3221225472, 0, null, 3, 128, null";
  for (const auto& row : rows) {
    sim::test::clearCalls();
    log.clear();
    std::size_t creates = 0, closes = 0;
    ScopedHook create(&platform::CreateFileW, [&](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD,
                          HANDLE) -> std::optional<HANDLE> {
                        sim::setLastError(row.errors.at(creates));
                        return row.errors[creates++] ? INVALID_HANDLE_VALUE : fakeHandle();
                      });
    ScopedHook wait(&platform::WaitNamedPipeW, [&](LPCWSTR, DWORD) -> std::optional<BOOL> { return row.waitResult; });
    ScopedHook close(&platform::CloseHandle, [&](HANDLE h) -> std::optional<BOOL> {
      closes += h == fakeHandle() ? 1 : 0;
      return TRUE;
    });
    Lines expected;
    for (std::size_t i = 0; i < row.errors.size(); ++i) {
      expected.push_back("DEBUG 0 Attempt #" + std::to_string(i) + " at creating kestrine pipe client");
      if (row.errors[i] == ERROR_PIPE_BUSY && !row.waitResult) {
        expected.push_back("INFO 0 Could not open kestrine pipe client. Retrying");
      }
    }
    if (row.thrown.empty()) {
      EXPECT_EQ(velmo::openPipe(log).get(), fakeHandle());
      EXPECT_EQ(closes, 1u) << "the handle is closed with CloseHandle when dropped";
      expected.push_back("DEBUG 0 Successfully created kestrine pipe client");
    } else {
      EXPECT_EQ(library_test::messageOf<std::runtime_error>([&] { velmo::openPipe(log); }), row.thrown);
    }
    EXPECT_EQ(logged(), expected);
    EXPECT_EQ(callsOf("WaitNamedPipeW").size(), row.waits);
    for (const auto& call : callsOf("WaitNamedPipeW")) EXPECT_EQ(call.arguments, pipe + ", 1000");
    for (const auto& call : callsOf("CreateFileW")) EXPECT_EQ(call.arguments, createArguments);
  }
}

TEST_F(PipeClientTest, RefusesANullLogger) {
  EXPECT_EQ(library_test::messageOf<std::invalid_argument>(
                [] { velmo::KestrinePipeClient client(nullptr); }), "Kestrine pipe client requires a logger");
  EXPECT_TRUE(callsOf("CreateFileW").empty());
}

// The sizes of every WriteFile call; with `fails`, the last one fails with ERROR_NO_DATA.
TEST_F(PipeClientTest, WritesChunksOf1024AndStopsAtAFailedOne) {
  const struct { std::size_t size; std::vector<DWORD> sizes; bool fails; } rows[] = {
      {0, {}, false}, {3000, {1024, 1024, 952}, false}, {5000, {1024, 1024}, true}};
  for (const auto& row : rows) {
    log.clear();
    std::string message(row.size, 'x'), written;
    for (std::size_t i = 0; i < row.size; ++i) message[i] = static_cast<char>('A' + i % 53);
    std::vector<DWORD> sizes;
    ScopedHook hook(&platform::WriteFile, [&](HANDLE h, LPCVOID data, DWORD size, LPDWORD done,
                        LPOVERLAPPED overlapped) -> std::optional<BOOL> {
                      EXPECT_TRUE(h == fakeHandle() && overlapped == nullptr);
                      sizes.push_back(size);
                      if (row.fails && sizes.size() == row.sizes.size()) {
                        sim::setLastError(ERROR_NO_DATA);
                        return FALSE;
                      }
                      written.append(static_cast<const char*>(data), *done = size);
                      return TRUE;
                    });
    EXPECT_EQ(velmo::writePipeMessage(log, fakeHandle(), message), !row.fails);
    EXPECT_EQ(sizes, row.sizes);
    EXPECT_EQ(written, message.substr(0, row.fails ? 1024 * (row.sizes.size() - 1) : row.size));
    EXPECT_EQ(logged(), row.fails ? Lines{"ERROR 232 Kestrine pipe failed to write message"} : Lines{});
  }
}

const std::string kLimit =
    "INFO 0 Receiving too much data from kestrine pipe (more than 1048576 chars). Closing named "
    "pipe.";

// One "Received" line per chunk, as far as its text goes, then `tail`.
Lines received(const Lines& texts, const Lines& tail = {}) {
  Lines lines;
  for (const auto& t : texts) lines.push_back("INFO 0 Received \"" + std::string(t.c_str()) + "\"");
  lines.insert(lines.end(), tail.begin(), tail.end());
  return lines;
}

// Reads are served from `chunks`, then `endless` (if any) for ever, then fail with `error`.
// Every chunk is logged; a failed read ends the message and is told only when nothing came; the
// read that takes the count past 1048576 bytes is the last and keeps its bytes; a zero byte ends
// a chunk's text but not its count.
TEST_F(PipeClientTest, ReadKeepsWhatArrivedUpToTheLimit) {
  const struct {
    std::vector<std::string> chunks; std::string endless; DWORD error;
    std::string message; std::size_t reads; Lines logged;
  } rows[] = {
      {{"{\"a\":", "1}"}, "", ERROR_PIPE_NOT_CONNECTED, "{\"a\":1}", 3,
       received({"{\"a\":", "1}"})},
      {{"", ""}, "", ERROR_BROKEN_PIPE, "", 3,
       received({"", ""}, {"INFO 0 Failed to read from pipe due to error 109"})},
      // 1025 reads of 1023 bytes and one of 1 make exactly 1048576: the next read is the last.
      {Lines(1025, "y" + std::string(1022, '\0')), "y", 0, std::string(1027, 'y'), 1027,
       received(Lines(1027, "y"), {kLimit})}};
  for (const auto& row : rows) {
    log.clear();
    std::size_t reads = 0;
    ScopedHook hook(&platform::ReadFile, [&](HANDLE h, LPVOID buffer, DWORD size, LPDWORD done,
                        LPOVERLAPPED overlapped) -> std::optional<BOOL> {
                      EXPECT_TRUE(h == fakeHandle() && size == 1023u && overlapped == nullptr);
                      const std::string& chunk = reads < row.chunks.size() ? row.chunks[reads] : row.endless;
                      if (++reads > row.chunks.size() && chunk.empty()) {
                        sim::setLastError(row.error);
                        return FALSE;
                      }
                      std::memcpy(buffer, chunk.data(), *done = static_cast<DWORD>(chunk.size()));
                      return TRUE;
                    });
    EXPECT_TRUE(velmo::readPipeMessage(log, fakeHandle()) == row.message);
    EXPECT_EQ(reads, row.reads);
    EXPECT_TRUE(logged() == row.logged) << logged().size() << " lines";
  }
}

}  // namespace
