// Only the fault grammar lives here: parsing and describing "WORD [VALUE]" against an area's kinds.
#include "platform/sim/core/faults.h"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace sim {
namespace {

std::string knownWords(const std::vector<FaultKind>& kinds) {
  std::string known;
  for (const FaultKind& kind : kinds) {
    known += (known.empty() ? "" : ", ") + std::string(kind.word);
  }
  return known;
}

}  // namespace

const FaultKind* findFaultKind(const std::vector<FaultKind>& kinds, const std::string& word) {
  for (const FaultKind& kind : kinds) {
    if (word == kind.word) {
      return &kind;
    }
  }
  return nullptr;
}

const FaultKind& knownFaultKind(const std::vector<FaultKind>& kinds, const std::string& word) {
  if (const FaultKind* kind = findFaultKind(kinds, word)) {
    return *kind;
  }
  throw std::invalid_argument("unknown fault: " + word + " (use " + knownWords(kinds) + ")");
}

Fault parseFault(const std::vector<FaultKind>& kinds, const std::vector<std::string>& words) {
  if (words.empty()) {
    throw std::invalid_argument("a fault is needed (" + knownWords(kinds) + ")");
  }
  const FaultKind& kind = knownFaultKind(kinds, words[0]);
  if (!kind.valueName) {
    if (words.size() != 1) {
      throw std::invalid_argument(words[0] + " takes no value");
    }
    return {words[0], 0};
  }
  if (words.size() == 1 && kind.defaultValue) {
    return {words[0], *kind.defaultValue};
  }
  const std::optional<unsigned long> value =
      words.size() == 2 ? parseNumber(words[1], kind.maximum) : std::nullopt;
  if (!value) {
    throw std::invalid_argument(words[0] + " needs " + kind.valueName + ", a number from 0 to " +
                                std::to_string(kind.maximum));
  }
  return {words[0], static_cast<DWORD>(*value)};
}

std::optional<DWORD> faultValue(const FaultSet& faults, const std::string& word) {
  const auto it = faults.find(word);
  return it == faults.end() ? std::nullopt : std::optional<DWORD>(it->second);
}

std::vector<std::string> describeFaults(const std::vector<FaultKind>& kinds,
                                        const FaultSet& faults) {
  std::vector<std::string> texts;
  for (const FaultKind& kind : kinds) {
    if (const std::optional<DWORD> value = faultValue(faults, kind.word)) {
      texts.push_back(kind.valueName ? std::string(kind.word) + " " + std::to_string(*value)
                                     : std::string(kind.word));
    }
  }
  return texts;
}

std::optional<unsigned long> parseNumber(const std::string& text, unsigned long maximum) {
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
