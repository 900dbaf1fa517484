// The peer's command line: kestrine-peer <command> [options].
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"

namespace peer {

struct PeerOptions {
  std::string command;
  std::string pipeName;                             // the NAME of \\.\pipe\NAME
  DWORD maxInstances = 1;                           // of the pipe, 1..255 (255: unlimited)
  std::filesystem::path storeDirectory;             // --store, else the default store
  std::optional<std::filesystem::path> outFile;     // receive: where the document goes instead
  std::optional<std::filesystem::path> inFile;      // send: where the document comes from instead
  std::optional<std::filesystem::path> toolPath;    // blank/unblank: the tool, else beside the peer
  std::vector<std::string> toolArguments;           // blank/unblank: passed on after the action
  std::optional<std::filesystem::path> toolLogFile;  // the tool's --logfile among them, if any
  bool force = false;                               // blank/receive: supersede a held document
  std::optional<unsigned> fromRecord;               // unblank/send: this record, not the held one
  bool linearForUnsaved = false;                    // unblank/send: light unsaved displays
  bool relight = false;                             // unblank: every display the linear ramp
  bool json = false;                                // history: for scripts
  std::optional<unsigned> showRecord;               // history: this record and its tool output
  bool quiet = false;                               // blank/unblank: only the peer's own lines
  unsigned keep = 20;                               // records the history keeps
  std::optional<std::chrono::milliseconds> connectTimeout;  // else the command's own default
  std::chrono::milliseconds transferTimeout{60000};         // the transfer and the tool's end
};

// Parses the command line; `commands` are the command words it accepts. TCLAP prints usage and
// ends the process for --help, --version and malformed input; values it cannot judge are refused
// with UsageError.
PeerOptions parsePeerOptions(int argc, const char* const* argv,
                             const std::vector<std::string>& commands);

}  // namespace peer
