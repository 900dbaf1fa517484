// Only the shared `fault` command of kestrine-sim lives here.
#include "tools/sim/fault_verb.h"

#include <stdexcept>

namespace simtool {

FaultCommand parseFaultCommand(const std::vector<sim::FaultKind>& kinds,
                               const std::vector<std::string>& words) {
  FaultCommand command;
  try {
    if (words.empty()) {
      command.action = FaultCommand::Action::List;
    } else if (words[0] == "clear") {
      if (words.size() > 2) {
        throw std::invalid_argument("fault clear takes at most one fault name");
      }
      command.action = words.size() == 1 ? FaultCommand::Action::ClearAll
                                         : FaultCommand::Action::Clear;
      if (command.action == FaultCommand::Action::Clear) {
        command.fault.word = sim::knownFaultKind(kinds, words[1]).word;
      }
    } else {
      command.action = FaultCommand::Action::Set;
      command.fault = sim::parseFault(kinds, words);
    }
  } catch (const std::invalid_argument& e) {
    throw UsageError(std::string("fault: ") + e.what());
  }
  return command;
}

void applyFaultCommand(const FaultCommand& command, sim::FaultSet& faults) {
  switch (command.action) {
    case FaultCommand::Action::Set:
      faults[command.fault.word] = command.fault.value;
      break;
    case FaultCommand::Action::Clear:
      faults.erase(command.fault.word);
      break;
    case FaultCommand::Action::ClearAll:
      faults.clear();
      break;
    case FaultCommand::Action::List:
      break;
  }
}

std::string faultListText(const std::vector<sim::FaultKind>& kinds, const sim::FaultSet& faults) {
  std::string text;
  for (const std::string& fault : sim::describeFaults(kinds, faults)) {
    text += (text.empty() ? "" : ", ") + fault;
  }
  return text.empty() ? "none" : text;
}

std::string faultUsage(const std::string& target, const std::vector<sim::FaultKind>& kinds) {
  const auto valueText = [](const sim::FaultKind& kind) {
    return !kind.valueName   ? std::string()
           : kind.defaultValue ? " [" + std::string(kind.valueName) + "]"
                               : " " + std::string(kind.valueName);
  };
  // Kinds that all take the same value name it once, after the last word.
  bool shared = true;
  for (const sim::FaultKind& kind : kinds) {
    shared = shared && valueText(kind) == valueText(kinds.front());
  }
  std::string words;
  for (const sim::FaultKind& kind : kinds) {
    words += (words.empty() ? "" : "|") + std::string(kind.word) + (shared ? "" : valueText(kind));
  }
  if (shared && !kinds.empty()) {
    words += valueText(kinds.front());
  }
  const std::string prefix = "       kestrine-sim " + target + " fault ";
  return prefix + words + "\n" + prefix + "clear [FAULT]   clear one fault, or all\n" + prefix +
         "                the faults that are set\n";
}

}  // namespace simtool
