// Sim only: how a Windows file name becomes a host path, for files and libraries alike. Windows
// compares names without regard to case and refuses a full path of MAX_PATH characters or more
// unless it starts with "\\?\"; the host compares exactly and takes long paths, so the sim applies
// Windows' rules itself.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/types.h"

namespace sim {

struct HostPath {
  std::string path;  // absolute host path, each existing entry spelt as the host stores it
  DWORD error = 0;   // what Windows gives for the name (0: usable)
};

// Resolves a file name: "." and ".." taken out lexically, relative names against the current
// directory, and every component that is missing as spelt but exists in another case replaced by
// the existing entry. A name that is missing stays as given, so that it can be created.
HostPath resolveFileName(const WCHAR* name);

// An absolute path with every component that is missing as spelt but exists in another case
// replaced by the existing entry; from the first component that is missing in any case on, the
// path stays as given.
std::filesystem::path resolveCase(const std::filesystem::path& absolute);

// The entry of `directory` named `name` without regard to case (ASCII letters; other characters
// compare exactly): the first in name order when the host holds several that differ only in case.
std::optional<std::filesystem::path> findIgnoringCase(const std::filesystem::path& directory,
                                                      const std::string& name);

}  // namespace sim
