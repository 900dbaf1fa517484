// The two actions of the utility: save (record, blank, send) and restore (receive, write back).
#pragma once

#include "app/pipe_client.h"
#include "logging/logger.h"

namespace velmo {

// Records every display's state, blanks the displays and sends the state to the peer. The
// displays stay dark when it returns.
void runSaveAction(logging::LoggerBase& logger, KestrinePipeClient& pipeClient);

// Receives the state from the peer and writes it back to the displays.
void runRestoreAction(logging::LoggerBase& logger, KestrinePipeClient& pipeClient);

}  // namespace velmo
