// Sim builds only: the peer's store lives with the simulated machine, in <sim root>/peer.
#include "platform/sim/core/machine.h"
#include "tools/peer/default_store.h"

namespace peer {

std::filesystem::path defaultStoreDirectory() { return sim::root() / "peer"; }

}  // namespace peer
