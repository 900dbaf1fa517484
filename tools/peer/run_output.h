// The tool's output of each run that a history record took part in, kept beside the history:
//   <store>/outputs/<id>.<command>.output   the last ToolOutput::kKeptBytes the tool wrote while
//                                           blank (or unblank) ran with record <id>
// Written whole to a temporary file and renamed into place; a later run of the same command
// replaces it. Outputs whose record the history no longer holds go when a new one is kept.
// Callers hold the StoreLock.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/peer/document_history.h"

namespace peer {

// Keeps `output` for record `id` and `command`. A failure is said and goes no further: the
// output is a witness, the document is what counts.
void keepRunOutput(const DocumentHistory& history, unsigned id, const std::string& command,
                   const std::string& output);

// Each command's kept output for record `id` (blank first, then unblank), as (command, output).
std::vector<std::pair<std::string, std::string>> runOutputs(const DocumentHistory& history, unsigned id);

}  // namespace peer
