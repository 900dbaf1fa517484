// The sim's loader operations: path search, module handles and the built-in exports.
// Files are found only where the search flags permit. No library code ever runs: a library file
// holds its signature record and its list of exports.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/errors.h"
#include "platform/loader.h"
#include "platform/sim/monitors/dxva2_exports.h"
#include "platform/sim/core/file_names.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/library/library_files.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"

namespace {
namespace fs = std::filesystem;

// A mapped library file: its full path and its record as it was at the load.
class SimModule : public sim::HandleObject {
 public:
  SimModule(fs::path file, sim::SimLibrary record) : path(std::move(file)), library(std::move(record)) {}
  const fs::path path;
  const sim::SimLibrary library;
};

constexpr DWORD kSearchFlags = LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;

HMODULE failLoad(DWORD code) {
  sim::setLastError(code);
  return nullptr;
}

// A bare name without an extension stands for a ".dll".
std::string withExtension(const std::string& name) {
  return name.find('.') == std::string::npos ? name + ".dll" : name;
}

// The directories a bare name is looked for in, in Windows' order: only those the search flags
// name, or without them the application's directory, System32, the current directory and PATH.
std::vector<fs::path> searchDirectories(DWORD flags) {
  std::vector<fs::path> directories;
  if (flags & kSearchFlags) {
    if (flags & LOAD_LIBRARY_SEARCH_APPLICATION_DIR) {
      directories.push_back(sim::applicationDir());
    }
    if (flags & LOAD_LIBRARY_SEARCH_SYSTEM32) {
      directories.push_back(sim::system32Dir());
    }
    return directories;
  }
  directories = {sim::applicationDir(), sim::system32Dir(), fs::current_path()};
  if (const char* path = std::getenv("PATH")) {
    std::string entries = path;
    for (std::size_t start = 0, end; start <= entries.size(); start = end + 1) {
      end = entries.find(':', start);
      end = end == std::string::npos ? entries.size() : end;
      if (end > start) {
        directories.emplace_back(entries.substr(start, end - start));
      }
    }
  }
  return directories;
}

// The file a name stands for: a full path as it is; a bare name, or a relative path, in each
// directory of the search in turn (the last part of the name without regard to case).
std::optional<fs::path> locate(const std::string& name, DWORD flags) {
  std::string relative = name;
  std::replace(relative.begin(), relative.end(), '\\', '/');
  const fs::path path(relative);
  if (path.is_absolute()) {
    return path;
  }
  for (const fs::path& directory : searchDirectories(flags)) {
    const fs::path parent = (directory / path).parent_path();
    if (std::optional<fs::path> file =
            sim::findIgnoringCase(parent, withExtension(path.filename().string()))) {
      return file;
    }
  }
  return std::nullopt;
}

std::shared_ptr<SimModule> findModule(HMODULE module) {
  return sim::lookupHandleAs<SimModule>(sim::HandleKind::Module, module);
}

// Copies a path out as GetModuleFileNameW does: truncated and terminated when it does not fit.
DWORD copyPath(const fs::path& path, LPWSTR buffer, DWORD size) {
  const std::string text = path.string();
  const std::vector<WCHAR> wide =
      sim::utf8ToUtf16(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  if (size == 0) {
    sim::setLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  const DWORD length = static_cast<DWORD>(wide.size());
  const DWORD copied = length < size ? length : size - 1;
  std::copy(wide.begin(), wide.begin() + copied, buffer);
  buffer[copied] = 0;
  if (copied < length) {
    sim::setLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
  }
  return length;
}

bool isOrdinal(LPCSTR name) { return reinterpret_cast<std::uintptr_t>(name) < 0x10000; }

}  // namespace

namespace platform {

HMODULE LoadLibraryExW(LPCWSTR lpLibFileName, HANDLE hFile, DWORD dwFlags) {
  SIM_ENTER(LoadLibraryExW, lpLibFileName, hFile, dwFlags);
  if (!lpLibFileName || hFile) {
    return failLoad(ERROR_INVALID_PARAMETER);
  }
  const std::optional<fs::path> file =
      *lpLibFileName ? locate(sim::pathFromWide(lpLibFileName).string(), dwFlags) : std::nullopt;
  if (!file) {
    return failLoad(ERROR_MOD_NOT_FOUND);
  }
  sim::SimLibrary library;
  switch (sim::readLibraryFile(*file, library)) {
    case sim::LibraryFileState::Missing:
      return failLoad(ERROR_MOD_NOT_FOUND);
    case sim::LibraryFileState::NotALibrary:
      return failLoad(ERROR_BAD_EXE_FORMAT);
    case sim::LibraryFileState::Library:
      break;
  }
  return static_cast<HMODULE>(sim::insertHandle(
      sim::HandleKind::Module, std::make_shared<SimModule>(*file, std::move(library))));
}

DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize) {
  SIM_ENTER(GetModuleFileNameW, hModule, lpFilename, nSize);
  if (!hModule) {
    return copyPath(fs::read_symlink("/proc/self/exe"), lpFilename, nSize);
  }
  const std::shared_ptr<SimModule> module = findModule(hModule);
  if (!module) {
    sim::setLastError(ERROR_MOD_NOT_FOUND);
    return 0;
  }
  return copyPath(module->path, lpFilename, nSize);
}

BOOL FreeLibrary(HMODULE hLibModule) {
  SIM_ENTER(FreeLibrary, hLibModule);
  if (!sim::closeHandle(sim::HandleKind::Module, hLibModule)) {
    sim::setLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return TRUE;
}

FARPROC GetProcAddress(HMODULE hModule, LPCSTR lpProcName) {
  SIM_ENTER(GetProcAddress, hModule, lpProcName);
  const std::shared_ptr<SimModule> module = findModule(hModule);
  if (!module) {
    sim::setLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  if (lpProcName && !isOrdinal(lpProcName)) {
    const std::vector<std::string>& exports = module->library.exports;
    if (std::find(exports.begin(), exports.end(), lpProcName) != exports.end()) {
      if (const FARPROC function = sim::dxva2Export(lpProcName)) {
        return function;
      }
    }
  }
  sim::setLastError(ERROR_PROC_NOT_FOUND);
  return nullptr;
}

}  // namespace platform
