// The peer's commands. Each takes the parsed options and gives the exit status; a failure is
// thrown as PeerError (status 2) or UsageError (status 1). A new command adds itself to the
// table in commands.cpp.
#pragma once

#include <string>
#include <vector>

#include "tools/peer/peer_options.h"

namespace peer {

struct PeerCommand {
  std::string name;
  int (*run)(const PeerOptions&);
};

std::vector<PeerCommand> peerCommands();

// Prints "kestrine-peer: <line>" on standard output at once, so that a watching script sees it.
void printStatus(const std::string& line);

}  // namespace peer
