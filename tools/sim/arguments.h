// Only the argument words that every kestrine-sim area reads alike live here: numbers, display
// names, case-insensitive words, and how many values a command takes. Each throws UsageError
// with the same wording in every area.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/sim/sim_area.h"

namespace simtool {

// A decimal or 0x-hexadecimal number from 0 to `maximum`; `what` names it in the error.
unsigned long number(const std::string& text, unsigned long maximum, const std::string& what);

// Whether two words are the same without regard to ASCII case.
bool sameText(const std::string& a, const std::string& b);

// A display of the machine as a command names it.
struct DisplayName {
  std::string name;         // the stored device name, e.g. "\\.\DISPLAY1"
  std::size_t number = 0;   // its 1-based place in the display list
};

// "\\.\DISPLAY1", "DISPLAY1" or "1", matched without regard to case as Windows does.
DisplayName resolveDisplay(const std::string& given);

// `command` takes from `least` to `most` values.
void expectValues(const std::string& command, const std::vector<std::string>& values,
                  std::size_t least, std::size_t most);

}  // namespace simtool
