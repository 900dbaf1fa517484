// The pipe client's reader against a fake pipe whose reads the input scripts. Each step of the
// script is one byte `op` and what follows it:
//   op & 0x80: the read fails with error code op & 0x7F;
//   otherwise: two bytes of length (at most 1023 are used) and that many bytes of data, handed
//   out (op & 0x3F) * 32 + 1 times, so that a short input can reach the 1 MiB limit.
// When the script ends, the read fails with ERROR_BROKEN_PIPE.
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "app/pipe_client.h"
#include "fuzz/fuzz_support.h"
#include "platform/pipes_files.h"
#include "platform/sim/test_api.h"
#include "tests/support/recording_logger.h"

namespace {

constexpr std::size_t kLimit = 1048576;

struct Read {
  bool ok;
  DWORD error;
  std::string bytes;
};

// The reads the script describes, in order.
std::vector<Read> readsOf(const std::uint8_t* data, std::size_t size) {
  std::vector<Read> reads;
  std::size_t at = 0;
  std::size_t handedOut = 0;
  while (at < size && handedOut <= kLimit) {
    const std::uint8_t op = data[at++];
    if (op & 0x80) {
      reads.push_back({false, static_cast<DWORD>(op & 0x7F), {}});
      continue;
    }
    std::size_t length = 0;
    if (at + 2 <= size) {
      length = (static_cast<std::size_t>(data[at]) << 8 | data[at + 1]) % 1024;
      at += 2;
    }
    length = std::min(length, size - at);
    const std::string bytes(reinterpret_cast<const char*>(data) + at, length);
    at += length;
    for (int n = (op & 0x3F) * 32 + 1; n > 0 && handedOut <= kLimit; --n) {
      reads.push_back({true, 0, bytes});
      handedOut += length;
    }
  }
  reads.push_back({false, ERROR_BROKEN_PIPE, {}});
  return reads;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<Read> reads = readsOf(data, size);
  std::size_t next = 0;
  sim::test::ScopedHook hook(
      &platform::ReadFile, "ReadFile",
      [&](HANDLE, LPVOID buffer, DWORD capacity, LPDWORD count, LPOVERLAPPED) -> std::optional<BOOL> {
        FUZZ_CHECK(next < reads.size());
        const Read& read = reads[next++];
        if (!read.ok) {
          sim::setLastError(read.error);
          return FALSE;
        }
        FUZZ_CHECK(read.bytes.size() <= capacity);
        std::memcpy(buffer, read.bytes.data(), read.bytes.size());
        *count = static_cast<DWORD>(read.bytes.size());
        return TRUE;
      });
  testing_support::RecordingLogger log(velmo::logging::INFO);
  const velmo::PipeHandle pipe(reinterpret_cast<HANDLE>(std::uintptr_t{0x7770}), [](HANDLE) {});
  const std::string message = velmo::readPipeMessage(log, pipe);

  // What the peer sent: each chunk up to its first zero byte, until a read fails or more than
  // the limit has arrived.
  std::string expected;
  std::size_t total = 0;
  std::size_t used = 0;
  while (reads[used].ok && total <= kLimit) {
    expected += reads[used].bytes.c_str();
    total += reads[used++].bytes.size();
  }
  FUZZ_CHECK(message == expected);
  FUZZ_CHECK(next == (total > kLimit ? used : used + 1));
  // One line per chunk, and the error only when nothing at all arrived.
  const std::vector<std::string> lines = log.messages();
  const std::string failure = "Failed to read from pipe due to error ";
  FUZZ_CHECK(lines.size() == used + (total == 0 ? 1 : 0) + (total > kLimit ? 1 : 0));
  for (std::size_t i = 0; i < used; ++i) {
    FUZZ_CHECK(lines[i].compare(0, 10, "Received \"") == 0);
  }
  if (total == 0) {
    FUZZ_CHECK(lines.back() == failure + std::to_string(reads[used].error));
  }
  return 0;
}
