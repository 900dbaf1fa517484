#include "library/trust_verdict.h"

#include "platform/trust.h"

namespace velmo {
namespace {

// The last-error codes that say a file carries no signature at all.
bool meansNotSigned(DWORD lastError) {
  return lastError == static_cast<DWORD>(TRUST_E_NOSIGNATURE) ||
         lastError == static_cast<DWORD>(TRUST_E_SUBJECT_FORM_UNKNOWN) ||
         lastError == static_cast<DWORD>(TRUST_E_PROVIDER_UNKNOWN);
}

LibraryResult noSignatureVerdict(DWORD lastError, const std::string& path) {
  if (meansNotSigned(lastError)) {
    return {false, lastError, "The file " + path + " is not signed."};
  }
  return {false, lastError, "Unknown error encountered while examining file " + path};
}

}  // namespace

LibraryResult trustVerdict(LONG status, DWORD lastError, const std::string& path) {
  const DWORD code = static_cast<DWORD>(status);
  switch (status) {
    case 0:
      return {true, 0, ""};
    case TRUST_E_NOSIGNATURE:
      return noSignatureVerdict(lastError, path);
    case TRUST_E_EXPLICIT_DISTRUST:
      return {false, code, "The file " + path + " is explicitly not trusted."};
    case TRUST_E_SUBJECT_NOT_TRUSTED:
      return {false, code, "The file " + path + " is untrusted."};
    case CRYPT_E_SECURITY_SETTINGS:
      return {false, code, "The file " + path + " is implicitly untrusted."};
    default:
      return {false, code, "The file " + path + " is untrusted Error code " + std::to_string(status)};
  }
}

void appendCloseFailure(LibraryResult& result, LONG closeStatus) {
  if (closeStatus != 0) {
    result.message += " Closing WinVerifyTrust failed with error code " + std::to_string(closeStatus);
  }
}

}  // namespace velmo
