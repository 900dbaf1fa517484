#include "library/windows_dynamic_library_base.h"

#include <stdexcept>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/loader.h"

namespace velmo {
namespace {

platform::WideString wideName(const std::string& name) {
  if (name.empty()) {
    return {};
  }
  platform::WideString wide = utf8ToWide(name);
  if (wide.empty()) {
    throw std::runtime_error("Unable to convert \"" + name + "\" to wstring.");
  }
  return wide;
}

DWORD searchFlags(LibrarySearchScope searchScope) {
  const DWORD applicationOnly = DONT_RESOLVE_DLL_REFERENCES | LOAD_LIBRARY_SEARCH_APPLICATION_DIR;
  return searchScope == LibrarySearchScope::SearchApplicationAndSystem
             ? applicationOnly | LOAD_LIBRARY_SEARCH_SYSTEM32
             : applicationOnly;
}

[[noreturn]] void throwNotFound(DWORD errorCode) {
  throw std::runtime_error("Failed to load the library: error code = " +
                           std::to_string(errorCode));
}

// Maps the file with the search flags (its code does not run, nothing it depends on is loaded),
// asks for its full path and unmaps it again.
platform::WideString findLibraryPath(const platform::WideString& name,
                                     LibrarySearchScope searchScope) {
  if (name.empty()) {
    throw std::logic_error("Invalid name provided");
  }
  const ModuleHandle mapped(
      platform::LoadLibraryExW(name.c_str(), nullptr, searchFlags(searchScope)));
  if (!mapped) {
    throwNotFound(platform::GetLastError());
  }
  WCHAR path[MAX_PATH] = {};
  const DWORD length = platform::GetModuleFileNameW(mapped.get(), path, MAX_PATH);
  if (length == 0) {
    throwNotFound(platform::GetLastError());
  }
  return platform::WideString(path, length);
}

}  // namespace

WindowsDynamicLibraryBase::WindowsDynamicLibraryBase(const std::string& name,
                                                     LibrarySearchScope searchScope)
    : libraryPath(findLibraryPath(wideName(name), searchScope)) {}

std::string WindowsDynamicLibraryBase::getLibraryPath() const { return wideToLogText(libraryPath); }

void* WindowsDynamicLibraryBase::getFunctionAddress(const std::string& name) const {
  if (!module || name.empty()) {
    return nullptr;
  }
  return reinterpret_cast<void*>(platform::GetProcAddress(module.get(), name.c_str()));
}

LibraryResult WindowsDynamicLibraryBase::load() {
  if (module) {
    return {true, 0, ""};
  }
  module.reset(platform::LoadLibraryExW(libraryPath.c_str(), nullptr, 0));
  if (!module) {
    const DWORD errorCode = platform::GetLastError();
    return {false, errorCode, "Failed to load " + wideToLogText(libraryPath)};
  }
  return {true, 0, "Successfully loaded " + wideToLogText(libraryPath)};
}

}  // namespace velmo
