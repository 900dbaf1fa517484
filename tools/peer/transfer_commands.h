// One transfer over the pipe without starting the tool: `receive` takes a document from a client
// and stores it, `send` serves the stored document to a client.
#pragma once

#include "tools/peer/peer_options.h"

namespace peer {

int runReceive(const PeerOptions& options);
int runSend(const PeerOptions& options);

}  // namespace peer
