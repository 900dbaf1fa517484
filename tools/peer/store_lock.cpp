// The store lock through LockFileEx on a lock file, polled so that the wait has a limit.
#include "tools/peer/store_lock.h"

#include <system_error>
#include <thread>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

constexpr auto kRetryPause = std::chrono::milliseconds(20);
constexpr DWORD kWholeFile = 0xFFFFFFFFu;

}  // namespace

StoreLock::StoreLock(const std::filesystem::path& directory, std::chrono::milliseconds patience) {
  std::error_code ec;
  std::filesystem::create_directories(directory, ec);
  const std::filesystem::path path = directory / "lock";
  file.reset(platform::CreateFileW(velmo::utf8ToWide(path.u8string()).c_str(),
                                   GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                   nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    throw PeerError("cannot open the store's lock " + path.u8string(), platform::GetLastError());
  }
  const auto deadline = std::chrono::steady_clock::now() + patience;
  for (;;) {
    OVERLAPPED whole{};
    if (platform::LockFileEx(file.get(), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0,
                             kWholeFile, kWholeFile, &whole)) {
      return;
    }
    const DWORD error = platform::GetLastError();
    if (error != ERROR_LOCK_VIOLATION) {
      throw PeerError("cannot lock the store " + path.u8string(), error);
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      throw PeerError("another kestrine-peer has been using the store " + directory.u8string() +
                      " for more than " + std::to_string(patience.count() / 1000) +
                      " s; try again when it has finished");
    }
    std::this_thread::sleep_for(kRetryPause);
  }
}

StoreLock::~StoreLock() {
  OVERLAPPED whole{};
  platform::UnlockFileEx(file.get(), 0, kWholeFile, kWholeFile, &whole);
}

}  // namespace peer
