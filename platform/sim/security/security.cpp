// Sim only: security descriptors are kept as their text, in the forms the sim's access check reads
// (security/access_check.h); pipes are opened by it.
#include <cstring>

#include "platform/errors.h"
#include "platform/local_memory.h"
#include "platform/security.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"
#include "platform/sim/security/access_check.h"

namespace platform {

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(
    LPCWSTR StringSecurityDescriptor, DWORD StringSDRevision,
    PSECURITY_DESCRIPTOR* SecurityDescriptor, PULONG SecurityDescriptorSize) {
  SIM_ENTER(ConvertStringSecurityDescriptorToSecurityDescriptorW, StringSecurityDescriptor,
            StringSDRevision, SecurityDescriptor, SecurityDescriptorSize);
  if (!StringSecurityDescriptor || !*StringSecurityDescriptor || !SecurityDescriptor ||
      StringSDRevision != SDDL_REVISION_1) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::size_t length = 0;
  while (StringSecurityDescriptor[length]) {
    ++length;
  }
  if (!sim::validSecurityText(sim::utf16ToUtf8(StringSecurityDescriptor, length))) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const std::size_t bytes = (length + 1) * sizeof(WCHAR);
  void* copy = LocalAlloc(LPTR, bytes);
  if (!copy) {
    return FALSE;
  }
  std::memcpy(copy, StringSecurityDescriptor, bytes);
  *SecurityDescriptor = copy;
  if (SecurityDescriptorSize) {
    *SecurityDescriptorSize = static_cast<ULONG>(bytes);
  }
  return TRUE;
}

}  // namespace platform
