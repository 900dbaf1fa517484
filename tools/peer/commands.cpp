// The table of the peer's commands.
#include "tools/peer/commands.h"

#include <iostream>

#include "tools/peer/history_command.h"
#include "tools/peer/tool_commands.h"
#include "tools/peer/transfer_commands.h"

namespace peer {

std::vector<PeerCommand> peerCommands() {
  return {
      {"receive", &runReceive},
      {"send", &runSend},
      {"blank", &runBlank},
      {"unblank", &runUnblank},
      {"history", &runHistory},
  };
}

void printStatus(const std::string& line) { std::cout << "kestrine-peer: " << line << std::endl; }

}  // namespace peer
