// Who may open the peer's pipe: the user who runs the peer (as the pipe's owner), SYSTEM and the
// Administrators, nobody else; no inherited entries.
#pragma once

#include "common/owned_handles.h"
#include "platform/security.h"

namespace peer {

// "D:P" protected list; full access for OWNER RIGHTS, SYSTEM and BUILTIN\Administrators.
constexpr char kPipeSecurityText[] = "D:P(A;;GA;;;OW)(A;;GA;;;SY)(A;;GA;;;BA)";

class PipeSecurity {
 public:
  // Builds the descriptor. Throws PeerError when it cannot.
  PipeSecurity();

  // For CreateNamedPipeW; lives as long as this object.
  SECURITY_ATTRIBUTES* attributes() { return &security; }

 private:
  velmo::LocalMemory descriptor;
  SECURITY_ATTRIBUTES security{};
};

}  // namespace peer
