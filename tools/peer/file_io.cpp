// Whole-file reads and durable replacement through CreateFileW, ReadFile, WriteFile,
// FlushFileBuffers and MoveFileExW.
#include "tools/peer/file_io.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <random>
#include <system_error>
#include <thread>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "common/owned_handles.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

constexpr DWORD kIoChunk = 64 * 1024;

platform::WideString widePath(const std::filesystem::path& path) {
  return velmo::utf8ToWide(path.u8string());
}

// True for the refusals another program causes by holding a file for a moment (an indexer, a
// backup, a second peer reading the history) or by making it read-only.
bool heldByAnother(DWORD error) {
  return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
}

// Runs `attempt` (a file call whose result is false on failure) and tries again, with a growing
// pause of 150 ms in all, while it fails because the file is held; the last error stays that of
// the last attempt.
template <class Attempt>
auto retryWhileHeld(Attempt attempt) -> decltype(attempt()) {
  for (const int pause : {10, 20, 40, 80}) {
    auto result = attempt();
    if (result || !heldByAnother(platform::GetLastError())) {
      return result;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(pause));
  }
  return attempt();
}

// The failure's message, saying so when another program holds the file.
PeerError fileError(const std::string& what, const std::filesystem::path& path, DWORD error) {
  return PeerError(what + " " + path.u8string() +
                       (heldByAnother(error) ? " (another program holds it or it is read-only; "
                                               "tried again for 150 ms)"
                                             : ""),
                   error);
}

// Readers share the file with other readers; a writer shares it with no one.
velmo::KernelHandle openFile(const std::filesystem::path& path, DWORD access, DWORD disposition) {
  const DWORD share = access == GENERIC_READ ? FILE_SHARE_READ : 0;
  return retryWhileHeld([&] {
    return velmo::KernelHandle(platform::CreateFileW(widePath(path).c_str(), access, share, nullptr,
                                                     disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
  });
}

struct TemporaryRemover {
  void operator()(const std::filesystem::path* path) const {
    std::error_code ec;
    std::filesystem::remove(*path, ec);
  }
};

// 64 random bits in hex: two writers of one target never share a temporary name.
std::string uniqueSuffix() {
  static std::mt19937_64 random{std::random_device{}()};
  static std::mutex mutex;
  std::lock_guard<std::mutex> guard(mutex);
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(random()));
  return text;
}

}  // namespace

std::optional<std::string> readWholeFile(const std::filesystem::path& path) {
  const velmo::KernelHandle file = openFile(path, GENERIC_READ, OPEN_EXISTING);
  if (!file) {
    const DWORD error = platform::GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) {
      return std::nullopt;
    }
    throw fileError("cannot open", path, error);
  }
  std::string content;
  std::string buffer(kIoChunk, '\0');
  DWORD count = 0;
  do {
    if (!platform::ReadFile(file.get(), &buffer[0], kIoChunk, &count, nullptr)) {
      throw PeerError("cannot read " + path.u8string(), platform::GetLastError());
    }
    content.append(buffer.data(), count);
  } while (count > 0);
  return content;
}

namespace {

// Writes `content` to a fresh temporary file beside `path`, flushes it and renames it to `path`
// with `moveFlags`. False when the rename is refused because `path` exists and `moveFlags` does
// not allow replacing it. The temporary file is removed on every way out but the rename.
bool placeDurably(const std::filesystem::path& path, const std::string& content, DWORD moveFlags) {
  std::error_code ec;
  if (path.has_parent_path()) {
    std::filesystem::create_directories(path.parent_path(), ec);
  }
  std::filesystem::path temporary = path;
  temporary += ".tmp-" + uniqueSuffix();
  std::unique_ptr<const std::filesystem::path, TemporaryRemover> pending(&temporary);
  {
    const velmo::KernelHandle file = openFile(temporary, GENERIC_WRITE, CREATE_NEW);
    if (!file) {
      throw fileError("cannot create", temporary, platform::GetLastError());
    }
    for (std::size_t offset = 0; offset < content.size(); offset += kIoChunk) {
      const DWORD size = static_cast<DWORD>(std::min<std::size_t>(kIoChunk, content.size() - offset));
      DWORD written = 0;
      if (!platform::WriteFile(file.get(), content.data() + offset, size, &written, nullptr)) {
        throw PeerError("cannot write " + temporary.u8string(), platform::GetLastError());
      }
    }
    if (!platform::FlushFileBuffers(file.get())) {
      throw PeerError("cannot flush " + temporary.u8string(), platform::GetLastError());
    }
  }
  if (!retryWhileHeld([&] {
        return platform::MoveFileExW(widePath(temporary).c_str(), widePath(path).c_str(), moveFlags);
      })) {
    const DWORD error = platform::GetLastError();
    if ((moveFlags & MOVEFILE_REPLACE_EXISTING) == 0 &&
        (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS)) {
      return false;
    }
    throw fileError("cannot put in place", path, error);
  }
  pending.release();
  return true;
}

}  // namespace

void writeFileDurably(const std::filesystem::path& path, const std::string& content) {
  placeDurably(path, content, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
}

bool createFileDurably(const std::filesystem::path& path, const std::string& content) {
  return placeDurably(path, content, MOVEFILE_WRITE_THROUGH);
}

}  // namespace peer
