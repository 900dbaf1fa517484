// Only the `fault` command that every kestrine-sim area with faults takes lives here:
//   kestrine-sim AREA NAME fault WORD [VALUE]   set one fault
//   kestrine-sim AREA NAME fault clear [WORD]   clear one fault, or all
//   kestrine-sim AREA NAME fault                the faults that are set
// (`list` is a fault word of the monitors, so the listing takes no word.)
// The words are the area's fault kinds, in the sim's one fault grammar.
#pragma once

#include <string>
#include <vector>

#include "platform/sim/core/faults.h"
#include "tools/sim/sim_area.h"

namespace simtool {

struct FaultCommand {
  enum class Action { Set, Clear, ClearAll, List };
  Action action = Action::List;
  sim::Fault fault;  // the fault to set, or the word to clear
};

// Reads the words after `fault`. Throws UsageError ("fault: ...") before anything is changed.
FaultCommand parseFaultCommand(const std::vector<sim::FaultKind>& kinds,
                               const std::vector<std::string>& words);

// Sets or clears in `faults` what the command says (List leaves them alone).
void applyFaultCommand(const FaultCommand& command, sim::FaultSet& faults);

// The faults that are set, as `show` and a bare `fault` print them: "set-fails 87, changing", or
// "none".
std::string faultListText(const std::vector<sim::FaultKind>& kinds, const sim::FaultSet& faults);

// The usage lines of the fault command of an area, e.g. for "display NAME".
std::string faultUsage(const std::string& target, const std::vector<sim::FaultKind>& kinds);

}  // namespace simtool
