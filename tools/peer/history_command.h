// `history`: the documents the peer keeps, with their IDs and states.
#pragma once

#include "tools/peer/peer_options.h"

namespace peer {

int runHistory(const PeerOptions& options);

}  // namespace peer
