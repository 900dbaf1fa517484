// The sim's WinVerifyTrust: the verdict that a library file's record holds.
// The verifying call opens a state that the closing call releases. A file that is not a library
// record (the program's own executable, say) counts as an unsigned executable; a missing file
// gives the file error as its status, as Wine does.
#include <cstring>
#include <memory>

#include "platform/sim/library/crypt_objects.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/library/library_files.h"
#include "platform/sim/core/test_api.h"
#include "platform/trust.h"

namespace {

// The smallest WINTRUST_DATA Windows takes: the form without pSignatureSettings.
constexpr DWORD kMinimumTrustDataSize = 80;

LONG answer(LONG status, DWORD lastError) {
  sim::setLastError(lastError);
  return status;
}

bool isGenericVerify(const GUID& action) {
  const GUID expected = WINTRUST_ACTION_GENERIC_VERIFY_V2;
  return std::memcmp(&action, &expected, sizeof expected) == 0;
}

// The verdict for a file: its record's, or the answer for a missing or an unsigned file.
LONG verdictFor(const WINTRUST_FILE_INFO& file) {
  sim::SimLibrary library;
  switch (sim::readLibraryFile(sim::pathFromWide(file.pcwszFilePath), library)) {
    case sim::LibraryFileState::Missing:
      return answer(static_cast<LONG>(ERROR_FILE_NOT_FOUND), ERROR_FILE_NOT_FOUND);
    case sim::LibraryFileState::NotALibrary:
      return answer(TRUST_E_NOSIGNATURE, static_cast<DWORD>(TRUST_E_NOSIGNATURE));
    case sim::LibraryFileState::Library:
      break;
  }
  return answer(library.trustStatus, library.trustLastError);
}

LONG closeState(platform::WINTRUST_DATA& data) {
  if (data.hWVTStateData && !sim::closeKernelObject<sim::TrustState>(data.hWVTStateData)) {
    return answer(E_INVALIDARG, static_cast<DWORD>(E_INVALIDARG));
  }
  data.hWVTStateData = nullptr;
  return answer(0, 0);
}

}  // namespace

namespace platform {

LONG WinVerifyTrust(HWND hwnd, GUID* pgActionID, LPVOID pWVTData) {
  SIM_ENTER(WinVerifyTrust, hwnd, pgActionID, pWVTData);
  auto* data = static_cast<platform::WINTRUST_DATA*>(pWVTData);
  if (!pgActionID || !data || data->cbStruct < kMinimumTrustDataSize) {
    return answer(E_INVALIDARG, static_cast<DWORD>(E_INVALIDARG));
  }
  if (!isGenericVerify(*pgActionID)) {
    return answer(TRUST_E_PROVIDER_UNKNOWN, static_cast<DWORD>(TRUST_E_PROVIDER_UNKNOWN));
  }
  if (data->dwStateAction == WTD_STATEACTION_CLOSE) {
    return closeState(*data);
  }
  if (data->dwUnionChoice != WTD_CHOICE_FILE || !data->pFile || !data->pFile->pcwszFilePath) {
    return answer(E_INVALIDARG, static_cast<DWORD>(E_INVALIDARG));
  }
  if (data->dwStateAction == WTD_STATEACTION_VERIFY) {
    data->hWVTStateData =
        sim::insertHandle(sim::HandleKind::Kernel, std::make_shared<sim::TrustState>());
  }
  return verdictFor(*data->pFile);
}

}  // namespace platform
