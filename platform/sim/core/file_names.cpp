// Sim only: Windows' file name rules (case, MAX_PATH, the "\\?\" prefix) over host paths.
#include "platform/sim/core/file_names.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>
#include <system_error>

#include "platform/errors.h"
#include "platform/loader.h"
#include "platform/sim/core/utf.h"

namespace sim {
namespace fs = std::filesystem;
namespace {

constexpr WCHAR kLongPathPrefix[] = {'\\', '\\', '?', '\\'};

bool present(const fs::path& path) {
  struct stat info;
  return ::lstat(path.c_str(), &info) == 0;
}

// The UTF-16 length of a UTF-8 text: one unit per character, two beyond the first plane.
std::size_t utf16Length(const std::string& text) {
  std::size_t units = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) != 0x80) {
      units += byte >= 0xF0 ? 2 : 1;
    }
  }
  return units;
}

bool sameNameIgnoringCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace

std::optional<fs::path> findIgnoringCase(const fs::path& directory, const std::string& name) {
  std::error_code ec;
  std::optional<std::string> found;
  for (fs::directory_iterator it(directory, ec), end; !ec && it != end; it.increment(ec)) {
    std::string entry = it->path().filename().string();
    if (sameNameIgnoringCase(entry, name) && (!found || entry < *found)) {
      found = std::move(entry);
    }
  }
  return found ? std::optional<fs::path>(directory / *found) : std::nullopt;
}

fs::path resolveCase(const fs::path& absolute) {
  fs::path resolved;
  bool missing = false;
  for (const fs::path& component : absolute) {
    fs::path next = resolved / component;
    if (!missing && !present(next) && !resolved.empty()) {
      const std::optional<fs::path> entry = findIgnoringCase(resolved, component.string());
      missing = !entry;
      next = entry.value_or(next);
    }
    resolved = std::move(next);
  }
  return resolved;
}

HostPath resolveFileName(const WCHAR* name) {
  std::size_t size = 0;
  while (name[size]) {
    ++size;
  }
  const bool longForm = size >= 4 && std::equal(kLongPathPrefix, kLongPathPrefix + 4, name);
  const std::size_t skip = longForm ? 4 : 0;
  const fs::path given(utf16ToUtf8(name + skip, size - skip));
  if (given.empty()) {
    return {"", ERROR_PATH_NOT_FOUND};
  }
  std::error_code ec;
  const fs::path full = (given.is_absolute() ? given : fs::current_path(ec) / given).lexically_normal();
  // MAX_PATH counts the terminating null: the longest full path has MAX_PATH - 1 characters.
  if (!longForm && utf16Length(full.string()) >= MAX_PATH) {
    return {"", ERROR_PATH_NOT_FOUND};
  }
  return {resolveCase(full).string(), 0};
}

}  // namespace sim
