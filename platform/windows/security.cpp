// Forwards the security descriptor functions to Win32 (advapi32). No logic may live here.
#include "platform/security.h"

namespace platform {

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(
    LPCWSTR StringSecurityDescriptor, DWORD StringSDRevision,
    PSECURITY_DESCRIPTOR* SecurityDescriptor, PULONG SecurityDescriptorSize) {
  return ::ConvertStringSecurityDescriptorToSecurityDescriptorW(
      StringSecurityDescriptor, StringSDRevision, SecurityDescriptor, SecurityDescriptorSize);
}

}  // namespace platform
