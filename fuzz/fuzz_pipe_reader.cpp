// The pipe client's reader against a fake pipe whose reads the input scripts. Each step of the
// script is one byte `op` and what follows it:
//   op & 0x80: the read fails with error code op & 0x7F;
//   otherwise: two bytes of length (modulo 1024) and that many bytes of data, handed out
//   (op & 0x3F) * 32 + 1 times, so that a short input can pass the 1 MiB limit.
// When the script ends, the read fails with ERROR_BROKEN_PIPE.
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "app/pipe_client.h"
#include "fuzz/fuzz_support.h"
#include "platform/pipes_files.h"
#include "platform/sim/core/test_api.h"
#include "tests/support/recording_logger.h"

namespace {

constexpr std::size_t kLimit = 1048576;

struct Read {
  DWORD error;  // 0: the read gives `bytes`
  std::string bytes;
};

std::vector<Read> readsOf(const std::uint8_t* data, std::size_t size) {
  std::vector<Read> reads;
  for (std::size_t at = 0, handedOut = 0; at < size && handedOut <= kLimit;) {
    const std::uint8_t op = data[at++];
    if (op & 0x80) {
      reads.push_back({static_cast<DWORD>(op & 0x7F), {}});
      continue;
    }
    const std::size_t length = at + 2 <= size ? (data[at] << 8 | data[at + 1]) % 1024 : 0;
    at = std::min(at + 2, size);
    const std::string bytes(reinterpret_cast<const char*>(data) + at, std::min(length, size - at));
    at += bytes.size();
    for (int n = (op & 0x3F) * 32 + 1; n > 0 && handedOut <= kLimit; --n, handedOut += bytes.size()) {
      reads.push_back({0, bytes});
    }
  }
  reads.push_back({ERROR_BROKEN_PIPE, {}});
  return reads;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<Read> reads = readsOf(data, size);
  std::size_t next = 0;
  sim::test::ScopedHook hook(
      &platform::ReadFile, [&](HANDLE, LPVOID buffer, DWORD capacity, LPDWORD count, LPOVERLAPPED) -> std::optional<BOOL> {
        FUZZ_CHECK(next < reads.size() && reads[next].bytes.size() <= capacity);
        const Read& read = reads[next++];
        sim::setLastError(read.error);
        std::memcpy(buffer, read.bytes.data(), read.bytes.size());
        *count = static_cast<DWORD>(read.bytes.size());
        return read.error == 0;
      });
  testing_support::RecordingLogger log(velmo::logging::INFO);
  const std::string message = velmo::readPipeMessage(log, reinterpret_cast<HANDLE>(std::uintptr_t{0x7770}));

  // Each chunk up to its first zero byte, until a read fails or more than the limit arrived;
  // one line per chunk, one for the limit, and the error only when nothing arrived at all.
  std::string expected;
  std::size_t total = 0;
  std::size_t used = 0;
  for (; reads[used].error == 0 && total <= kLimit; total += reads[used++].bytes.size()) {
    expected += reads[used].bytes.c_str();
  }
  FUZZ_CHECK(message == expected && next == used + (total > kLimit ? 0 : 1));
  const std::vector<std::string> lines = log.messages();
  FUZZ_CHECK(lines.size() == used + (total == 0 || total > kLimit ? 1 : 0));
  for (std::size_t i = 0; i < used; ++i) FUZZ_CHECK(lines[i].compare(0, 10, "Received \"") == 0);
  FUZZ_CHECK(total != 0 || lines.back() == "Failed to read from pipe due to error " +
                                               std::to_string(reads[used].error));
  return 0;
}
