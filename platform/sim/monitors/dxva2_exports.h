// The table of exports of the sim's built-in "dxva2.dll", by name.
// They are real functions of this library, so the program calls them as it would call dxva2.dll.
#pragma once

#include <string>
#include <vector>

#include "platform/loader.h"

namespace sim {

// The names of the Monitor Configuration functions that the built-in library exports.
std::vector<std::string> dxva2ExportNames();

// The function exported under `name`, or null when the sim has none of that name.
FARPROC dxva2Export(const std::string& name);

}  // namespace sim
