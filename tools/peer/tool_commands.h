// The commands that run the tool against the peer: `blank` starts `kestrine --save` and keeps
// the document it sends; `unblank` starts `kestrine --restore` and hands the kept document back.
#pragma once

#include "tools/peer/peer_options.h"

namespace peer {

int runBlank(const PeerOptions& options);
int runUnblank(const PeerOptions& options);

}  // namespace peer
