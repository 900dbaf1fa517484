// UTF-8 <-> UTF-16 coding inside the sim (conversion operations, pipe names, call log). Invalid
// input is replaced by U+FFFD the way Windows does it for code page 65001 with flags 0.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/types.h"

namespace sim {

std::vector<WCHAR> utf8ToUtf16(const unsigned char* bytes, std::size_t size);
std::string utf16ToUtf8(const WCHAR* units, std::size_t size);

}  // namespace sim
