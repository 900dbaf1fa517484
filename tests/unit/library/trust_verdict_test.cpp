#include "library/trust_verdict.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/trust.h"

namespace {

using velmo::LibraryResult;

// Rows hold plain values only: GCC 12 at -O3 takes a std::string inside a parameter row (such
// as a whole LibraryResult) for maybe-uninitialised where the row is copied, a false positive.
constexpr DWORD code(HRESULT value) { return static_cast<DWORD>(value); }
constexpr DWORD kNoSignature = code(TRUST_E_NOSIGNATURE);
constexpr DWORD kForm = code(TRUST_E_SUBJECT_FORM_UNKNOWN);
constexpr DWORD kProvider = code(TRUST_E_PROVIDER_UNKNOWN);

struct VerdictRow {
  LONG status;
  DWORD lastError;
  DWORD errorCode;
  const char* message;  // empty when the file is trusted
};

TEST(TrustVerdict, StatusAndLastErrorGiveTheVerdict) {
  for (const VerdictRow& row : std::vector<VerdictRow>{
    {0, 5, 0, ""},  // the last error does not count
    {TRUST_E_NOSIGNATURE, kNoSignature, kNoSignature, "The file C:\\d.dll is not signed."},
    {TRUST_E_NOSIGNATURE, kForm, kForm, "The file C:\\d.dll is not signed."},
    {TRUST_E_NOSIGNATURE, kProvider, kProvider, "The file C:\\d.dll is not signed."},
    {TRUST_E_NOSIGNATURE, 2, 2, "Unknown error encountered while examining file C:\\d.dll"},
    {TRUST_E_EXPLICIT_DISTRUST, 0, 0x800B0111u, "The file C:\\d.dll is explicitly not trusted."},
    {TRUST_E_SUBJECT_NOT_TRUSTED, 0, 0x800B0004u, "The file C:\\d.dll is untrusted."},
    {CRYPT_E_SECURITY_SETTINGS, 0, 0x80092026u, "The file C:\\d.dll is implicitly untrusted."},
    // A code that only the last-error table knows is an unknown status here.
    {TRUST_E_PROVIDER_UNKNOWN, kNoSignature, kProvider,
     "The file C:\\d.dll is untrusted Error code -2146762751"}}) {
    const LibraryResult result = velmo::trustVerdict(row.status, row.lastError, "C:\\d.dll");
    EXPECT_EQ(result.ok, *row.message == '\0') << row.message;
    EXPECT_EQ(result.errorCode, row.errorCode) << row.message;
    EXPECT_EQ(result.message, row.message);
  }
}

struct CloseRow {
  bool ok;
  DWORD errorCode;
  const char* verdict;
  LONG closeStatus;
  const char* message;
};

TEST(CloseFailure, IsAppendedAndNeverTurnsTheVerdict) {
  for (const CloseRow& row : std::vector<CloseRow>{
    {true, 0, "", 0, ""},
    {true, 0, "", static_cast<LONG>(0x80004005u),
     " Closing WinVerifyTrust failed with error code -2147467259"},
    {false, 0x800B0111u, "Not trusted.", 87,
     "Not trusted. Closing WinVerifyTrust failed with error code 87"}, {false, 2, "reason", 0, "reason"}}) {
    LibraryResult result{row.ok, row.errorCode, row.verdict};
    velmo::appendCloseFailure(result, row.closeStatus);
    EXPECT_EQ(result.ok, row.ok) << row.message;
    EXPECT_EQ(result.errorCode, row.errorCode) << row.message;
    EXPECT_EQ(result.message, row.message);
  }
}

}  // namespace
