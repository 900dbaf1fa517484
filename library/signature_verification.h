// The trust question for one file: whether Windows trusts its Authenticode signature.
#pragma once

#include "library/library_result.h"
#include "platform/types.h"

namespace velmo {

// Asks WinVerifyTrust about the file at `path` (generic verify action, no user interface, no
// revocation check) and closes the verification state again, whatever the answer. The verdict
// is trustVerdict's, with a failed close added to the message.
LibraryResult verifyFileSignature(const platform::WideString& path);

}  // namespace velmo
