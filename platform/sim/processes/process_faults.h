// Sim only: the faults of the processes area, kept in root()/processes/faults as one
// "WORD VALUE" line each and read on every use, so that any process of the machine sees them.
//   terminate-pending MS  TerminateProcess leaves the process running for MS ms more, as Windows
//                         does with a process whose I/O is still pending; a wait meanwhile can
//                         time out and the exit code reads STILL_ACTIVE.
#pragma once

#include <optional>
#include <string>

#include "platform/sim/core/faults.h"
#include "platform/types.h"

namespace sim {

// The fault's value when it is set.
std::optional<DWORD> processFault(const std::string& word);
// Sets (or with no value clears) a fault; throws std::invalid_argument for an unknown word.
void setProcessFault(const std::string& word, std::optional<DWORD> value);

}  // namespace sim
