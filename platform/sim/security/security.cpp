// Sim only: security descriptors are kept as their text; the sim checks no access by them.
#include <cstring>

#include "platform/errors.h"
#include "platform/local_memory.h"
#include "platform/security.h"
#include "platform/sim/core/test_api.h"

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
