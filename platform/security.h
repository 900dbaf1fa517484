// Security descriptors from their text form (SDDL), for objects that only some users may open.
#pragma once

#include "platform/types.h"

#ifdef _WIN32
#include <sddl.h>
#else
using PSECURITY_DESCRIPTOR = void*;
constexpr DWORD SDDL_REVISION_1 = 1;
#endif

namespace platform {

// The descriptor is freed with LocalFree. The sim keeps the text as the descriptor and checks
// only the revision and that the text is not empty.
BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(
    LPCWSTR StringSecurityDescriptor, DWORD StringSDRevision,
    PSECURITY_DESCRIPTOR* SecurityDescriptor, PULONG SecurityDescriptorSize);

}  // namespace platform
