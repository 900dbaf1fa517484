// How a WinVerifyTrust status becomes the loader's verdict: only status 0 passes, and every
// refusal is told apart in the message.
#pragma once

#include <string>

#include "library/library_result.h"
#include "platform/types.h"

namespace velmo {

// The verdict for the status of the verifying call. `lastError` is the last-error code right
// after that call; it only counts when the file has no signature. `path` is the file's log text.
LibraryResult trustVerdict(LONG status, DWORD lastError, const std::string& path);

// Adds a failed closing call to the message. The verdict and its code stay as they are.
void appendCloseFailure(LibraryResult& result, LONG closeStatus);

}  // namespace velmo
