// The trust question for a file: asked once, its state closed again whatever the answer.
#include "library/signature_verification.h"

#include "common/text_conversion.h"
#include "library/trust_verdict.h"
#include "library/windows_dynamic_library.h"
#include "platform/errors.h"
#include "platform/trust.h"

namespace velmo {

LibraryResult verifyFileSignature(const platform::WideString& path) {
  WINTRUST_FILE_INFO fileInfo{};
  fileInfo.cbStruct = sizeof fileInfo;
  fileInfo.pcwszFilePath = path.c_str();
  fileInfo.hFile = nullptr;
  fileInfo.pgKnownSubject = nullptr;

  platform::WINTRUST_DATA trustData{};
  trustData.cbStruct = sizeof trustData;
  trustData.dwUIChoice = WTD_UI_NONE;
  trustData.fdwRevocationChecks = WTD_REVOKE_NONE;
  trustData.dwUnionChoice = WTD_CHOICE_FILE;
  trustData.pFile = &fileInfo;
  trustData.dwStateAction = WTD_STATEACTION_VERIFY;
  trustData.hWVTStateData = nullptr;
  trustData.dwProvFlags = WTD_CACHE_ONLY_URL_RETRIEVAL;

  GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
  const LONG status = platform::WinVerifyTrust(nullptr, &action, &trustData);
  const DWORD lastError = platform::GetLastError();
  LibraryResult result = trustVerdict(status, lastError, wideToLogText(path));

  trustData.dwStateAction = WTD_STATEACTION_CLOSE;
  appendCloseFailure(result, platform::WinVerifyTrust(nullptr, &action, &trustData));
  return result;
}

LibraryResult WindowsDynamicLibrary::verifySignature() { return verifyFileSignature(libraryPath); }

}  // namespace velmo
