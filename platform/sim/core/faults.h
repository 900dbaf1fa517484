// Only the words of the sim's faults live here: the one grammar every area's faults are written
// in ("WORD" or "WORD VALUE"), as kestrine-sim takes them and the areas' records store them, and
// the one form a set of faults is held in. Which words an area knows, and what they do, belongs
// to the area.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"

namespace sim {

// One fault an area knows.
struct FaultKind {
  const char* word;       // as kestrine-sim takes it and the record stores it
  const char* valueName;  // null: the fault takes no value
  DWORD maximum;          // the largest value it takes
  std::optional<DWORD> defaultValue;  // the value when the word comes alone, if it may
};

// The faults set on one simulated object: word -> value (0 for a fault that takes none).
using FaultSet = std::map<std::string, DWORD>;

// One fault as its words name it.
struct Fault {
  std::string word;
  DWORD value = 0;
};

// The kind of that word in `kinds`, or null.
const FaultKind* findFaultKind(const std::vector<FaultKind>& kinds, const std::string& word);

// The same, but throws std::invalid_argument, naming the known words, for an unknown one.
const FaultKind& knownFaultKind(const std::vector<FaultKind>& kinds, const std::string& word);

// The fault that `words` name ({"set-fails", "87"}). Throws std::invalid_argument when they
// name none of `kinds`, or its value is missing, out of range or not wanted.
Fault parseFault(const std::vector<FaultKind>& kinds, const std::vector<std::string>& words);

// The fault of that word in `faults`, if it is set.
std::optional<DWORD> faultValue(const FaultSet& faults, const std::string& word);

// The faults that are set, one text each in the order of `kinds` ("set-fails 87", "no-dc").
std::vector<std::string> describeFaults(const std::vector<FaultKind>& kinds,
                                        const FaultSet& faults);

// A whole text that is a decimal or 0x-hexadecimal number no greater than `maximum`.
std::optional<unsigned long> parseNumber(const std::string& text, unsigned long maximum);

}  // namespace sim
