// Conversions between the program's UTF-8 strings and the UTF-16 text of the W functions.
#pragma once

#include <string>

#include "platform/types.h"

namespace velmo {

// UTF-16 to UTF-8 with code page 65001 and flags 0: one call for the size, one to convert.
// An empty input gives an empty string without a call.
std::string wideToUtf8(const platform::WideString& text);

// UTF-8 to UTF-16, the counterpart of wideToUtf8.
platform::WideString utf8ToWide(const std::string& text);

// Text for a log line: wideToUtf8, or as many "?" as the input has units when that gives nothing.
std::string wideToLogText(const platform::WideString& text);

}  // namespace velmo
