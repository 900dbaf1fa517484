// A trust question for a file as tests ask it: WinVerifyTrust's status, the last error right
// after it, and the status of the call that closes the verification state again. Header only: the conformance checks,
// which build for Windows too, use it as well as the unit tests.
#pragma once

#include "platform/errors.h"
#include "platform/trust.h"

namespace testing_support {

struct TrustAnswer {
  LONG status;
  DWORD lastError;
  LONG closeStatus;
};

inline TrustAnswer verifyTrust(const platform::WideString& path) {
  WINTRUST_FILE_INFO file{};
  file.cbStruct = sizeof file;
  file.pcwszFilePath = path.c_str();
  platform::WINTRUST_DATA data{};
  data.cbStruct = sizeof data;
  data.dwUIChoice = WTD_UI_NONE;
  data.dwUnionChoice = WTD_CHOICE_FILE;
  data.pFile = &file;
  data.dwStateAction = WTD_STATEACTION_VERIFY;
  GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
  const LONG status = platform::WinVerifyTrust(nullptr, &action, &data);
  const DWORD lastError = platform::GetLastError();
  data.dwStateAction = WTD_STATEACTION_CLOSE;
  return {status, lastError, platform::WinVerifyTrust(nullptr, &action, &data)};
}

}  // namespace testing_support
