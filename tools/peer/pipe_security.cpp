// The pipe's security descriptor, built from its text form.
#include "tools/peer/pipe_security.h"

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "tools/peer/peer_error.h"

namespace peer {

PipeSecurity::PipeSecurity() {
  PSECURITY_DESCRIPTOR built = nullptr;
  if (!platform::ConvertStringSecurityDescriptorToSecurityDescriptorW(
          velmo::utf8ToWide(kPipeSecurityText).c_str(), SDDL_REVISION_1, &built, nullptr)) {
    throw PeerError("cannot build the pipe's security descriptor", platform::GetLastError());
  }
  descriptor.reset(built);
  security.nLength = sizeof security;
  security.lpSecurityDescriptor = built;
  security.bInheritHandle = FALSE;
}

}  // namespace peer
