// Sim only: how a Windows file name becomes a host path. Windows compares names without regard to
// case and refuses a full path of MAX_PATH characters or more unless it starts with "\\?\"; the
// host compares exactly and takes long paths, so the sim applies Windows' rules itself.
#pragma once

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

// True when two names are equal ignoring case (ASCII letters; other characters compare exactly).
bool sameNameIgnoringCase(const std::string& a, const std::string& b);

}  // namespace sim
