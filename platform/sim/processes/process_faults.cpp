// Sim only: the processes area's fault record (process_faults.h).
#include "platform/sim/processes/process_faults.h"

#include <filesystem>
#include <sstream>
#include <vector>

#include "platform/sim/core/machine.h"

namespace sim {
namespace {

const std::vector<FaultKind> kProcessFaults = {
    {"terminate-pending", "MS", 600000, std::nullopt},
};

std::filesystem::path faultFile() { return root() / "processes" / "faults"; }

FaultSet readFaults() {
  FaultSet faults;
  std::istringstream lines(readWholeFile(faultFile()).value_or(std::string()));
  std::string word;
  DWORD value = 0;
  while (lines >> word >> value) {
    if (findFaultKind(kProcessFaults, word)) {
      faults[word] = value;
    }
  }
  return faults;
}

}  // namespace

std::optional<DWORD> processFault(const std::string& word) { return faultValue(readFaults(), word); }

void setProcessFault(const std::string& word, std::optional<DWORD> value) {
  knownFaultKind(kProcessFaults, word);
  MachineLock lock;
  FaultSet faults = readFaults();
  if (value) {
    faults[word] = *value;
  } else {
    faults.erase(word);
  }
  std::string text;
  for (const auto& fault : faults) {
    text += fault.first + " " + std::to_string(fault.second) + "\n";
  }
  std::filesystem::create_directories(faultFile().parent_path());
  replaceFile(faultFile(), text);
}

}  // namespace sim
