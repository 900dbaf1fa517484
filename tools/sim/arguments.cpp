// Only kestrine-sim's shared argument words live here.
#include "tools/sim/arguments.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "platform/sim/core/faults.h"
#include "platform/sim/displays/display_state.h"

namespace simtool {

unsigned long number(const std::string& text, unsigned long maximum, const std::string& what) {
  if (const std::optional<unsigned long> value = sim::parseNumber(text, maximum)) {
    return *value;
  }
  throw UsageError(what + " must be a number from 0 to " + std::to_string(maximum) + ", not '" +
                   text + "'");
}

bool sameText(const std::string& a, const std::string& b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::toupper(static_cast<unsigned char>(x)) ==
                  std::toupper(static_cast<unsigned char>(y));
         });
}

DisplayName resolveDisplay(const std::string& given) {
  constexpr const char* kDevicePrefix = "\\\\.\\";
  std::string full = given;
  if (!given.empty() && given.find_first_not_of("0123456789") == std::string::npos) {
    full = std::string(kDevicePrefix) + "DISPLAY" + given;
  } else if (given.compare(0, 4, kDevicePrefix) != 0) {
    full = kDevicePrefix + given;
  }
  const std::vector<std::string> names = sim::displayNames();
  std::string known;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (sameText(names[i], full)) {
      return {names[i], i + 1};
    }
    known += (known.empty() ? "" : ", ") + names[i];
  }
  throw UsageError("unknown display: " + given + " (the machine has: " +
                   (known.empty() ? "none" : known) + ")");
}

void expectValues(const std::string& command, const std::vector<std::string>& values,
                  std::size_t least, std::size_t most) {
  if (values.size() < least || values.size() > most) {
    const std::string count = least == most ? std::to_string(least)
                                            : std::to_string(least) + " to " + std::to_string(most);
    throw UsageError(command + " takes " + count + " value(s), not " +
                     std::to_string(values.size()));
  }
}

}  // namespace simtool
