// Only the display faults' words live here, in one table for setting, clearing and describing.
#include "platform/sim/displays/display_faults.h"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace sim {
namespace {

struct FaultKind {
  const char* name;
  const char* valueName;  // null: the fault takes no value
  unsigned long maximum;
  void (*set)(DisplayFaults&, unsigned long value);
  void (*clear)(DisplayFaults&);
  // The fault's value when it is set, or none when it is clear.
  std::optional<unsigned long> (*get)(const DisplayFaults&);
};

std::optional<unsigned long> flag(bool set) {
  return set ? std::optional<unsigned long>(0) : std::nullopt;
}

const FaultKind kFaultKinds[] = {
    {"get-fails", nullptr, 0, [](DisplayFaults& f, unsigned long) { f.getFails = true; },
     [](DisplayFaults& f) { f.getFails = false; },
     [](const DisplayFaults& f) { return flag(f.getFails); }},
    {"set-fails", "CODE", 0xFFFFFFFFul,
     [](DisplayFaults& f, unsigned long code) {
       f.setFails = true;
       f.setErrorCode = static_cast<DWORD>(code);
     },
     [](DisplayFaults& f) {
       f.setFails = false;
       f.setErrorCode = 0;
     },
     [](const DisplayFaults& f) {
       return f.setFails ? std::optional<unsigned long>(f.setErrorCode) : std::nullopt;
     }},
    {"no-dc", nullptr, 0, [](DisplayFaults& f, unsigned long) { f.noDeviceContext = true; },
     [](DisplayFaults& f) { f.noDeviceContext = false; },
     [](const DisplayFaults& f) { return flag(f.noDeviceContext); }},
    {"off", nullptr, 0, [](DisplayFaults& f, unsigned long) { f.turnedOff = true; },
     [](DisplayFaults& f) { f.turnedOff = false; },
     [](const DisplayFaults& f) { return flag(f.turnedOff); }},
    {"alter-readback", "N", 768,
     [](DisplayFaults& f, unsigned long words) {
       f.alteredReadbackWords = static_cast<std::uint32_t>(words);
     },
     [](DisplayFaults& f) { f.alteredReadbackWords = 0; },
     [](const DisplayFaults& f) {
       return f.alteredReadbackWords > 0 ? std::optional<unsigned long>(f.alteredReadbackWords)
                                         : std::nullopt;
     }},
    {"changing", nullptr, 0, [](DisplayFaults& f, unsigned long) { f.changing = true; },
     [](DisplayFaults& f) { f.changing = false; },
     [](const DisplayFaults& f) { return flag(f.changing); }},
};

const FaultKind& findKind(const std::string& name) {
  for (const FaultKind& kind : kFaultKinds) {
    if (name == kind.name) {
      return kind;
    }
  }
  throw std::invalid_argument("unknown fault: " + name);
}

}  // namespace

std::vector<std::string> describeFaults(const DisplayFaults& faults) {
  std::vector<std::string> texts;
  for (const FaultKind& kind : kFaultKinds) {
    if (const std::optional<unsigned long> value = kind.get(faults)) {
      texts.push_back(kind.valueName ? std::string(kind.name) + " " + std::to_string(*value)
                                     : std::string(kind.name));
    }
  }
  return texts;
}

void setFault(const std::vector<std::string>& words, DisplayFaults& faults) {
  if (words.empty()) {
    throw std::invalid_argument("a fault is needed");
  }
  const FaultKind& kind = findKind(words[0]);
  if (!kind.valueName) {
    if (words.size() != 1) {
      throw std::invalid_argument(words[0] + " takes no value");
    }
    kind.set(faults, 0);
    return;
  }
  const std::optional<unsigned long> value =
      words.size() == 2 ? parseDisplayNumber(words[1], kind.maximum) : std::nullopt;
  if (!value) {
    throw std::invalid_argument(words[0] + " needs " + kind.valueName + ", a number from 0 to " +
                                std::to_string(kind.maximum));
  }
  kind.set(faults, *value);
}

void clearFault(const std::string& kind, DisplayFaults& faults) { findKind(kind).clear(faults); }

std::vector<std::string> faultNames() {
  std::vector<std::string> names;
  for (const FaultKind& kind : kFaultKinds) {
    names.emplace_back(kind.name);
  }
  return names;
}

std::optional<unsigned long> parseDisplayNumber(const std::string& text, unsigned long maximum) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string digits = hex ? text.substr(2) : text;
  if (digits.empty() || digits.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789") !=
                            std::string::npos) {
    return std::nullopt;
  }
  errno = 0;
  const unsigned long value = std::strtoul(digits.c_str(), nullptr, hex ? 16 : 10);
  if (errno == ERANGE || value > maximum) {
    return std::nullopt;
  }
  return value;
}

}  // namespace sim
