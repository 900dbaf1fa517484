#include "library/trust_verdict.h"

#include <gtest/gtest.h>

#include "platform/trust.h"

namespace {

using velmo::LibraryResult;

// Rows hold plain values only: GCC 12 at -O3 takes a std::string inside a parameter row (such
// as a whole LibraryResult) for maybe-uninitialised where the row is copied, a false positive.
constexpr const char* kPath = "C:\\d.dll";
constexpr DWORD code(HRESULT value) { return static_cast<DWORD>(value); }

struct VerdictRow {
  const char* name;
  LONG status;
  DWORD lastError;
  bool ok;
  DWORD errorCode;
  const char* message;
};

class TrustVerdictTable : public ::testing::TestWithParam<VerdictRow> {};

TEST_P(TrustVerdictTable, StatusAndLastErrorGiveTheVerdict) {
  const VerdictRow& row = GetParam();
  const LibraryResult result = velmo::trustVerdict(row.status, row.lastError, kPath);
  EXPECT_EQ(result.ok, row.ok);
  EXPECT_EQ(result.errorCode, row.errorCode);
  EXPECT_EQ(result.message, row.message);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TrustVerdictTable,
    ::testing::Values(
        VerdictRow{"Trusted", 0, 5, true, 0, ""},  // the last error does not count
        VerdictRow{"NoSignature", TRUST_E_NOSIGNATURE, code(TRUST_E_NOSIGNATURE), false,
                   code(TRUST_E_NOSIGNATURE), "The file C:\\d.dll is not signed."},
        VerdictRow{"NoSignatureOfUnknownForm", TRUST_E_NOSIGNATURE,
                   code(TRUST_E_SUBJECT_FORM_UNKNOWN), false, code(TRUST_E_SUBJECT_FORM_UNKNOWN),
                   "The file C:\\d.dll is not signed."},
        VerdictRow{"NoSignatureUnknownProvider", TRUST_E_NOSIGNATURE,
                   code(TRUST_E_PROVIDER_UNKNOWN), false, code(TRUST_E_PROVIDER_UNKNOWN),
                   "The file C:\\d.dll is not signed."},
        VerdictRow{"NoSignatureOtherReason", TRUST_E_NOSIGNATURE, 2, false, 2,
                   "Unknown error encountered while examining file C:\\d.dll"},
        VerdictRow{"ExplicitlyDistrusted", TRUST_E_EXPLICIT_DISTRUST, 0, false,
                   code(TRUST_E_EXPLICIT_DISTRUST), "The file C:\\d.dll is explicitly not trusted."},
        VerdictRow{"SubjectNotTrusted", TRUST_E_SUBJECT_NOT_TRUSTED, 0, false,
                   code(TRUST_E_SUBJECT_NOT_TRUSTED), "The file C:\\d.dll is untrusted."},
        VerdictRow{"SecuritySettings", CRYPT_E_SECURITY_SETTINGS, 0, false,
                   code(CRYPT_E_SECURITY_SETTINGS), "The file C:\\d.dll is implicitly untrusted."},
        // A code that only the last-error table knows is an unknown status here.
        VerdictRow{"ProviderUnknownAsStatus", TRUST_E_PROVIDER_UNKNOWN,
                   code(TRUST_E_NOSIGNATURE), false, code(TRUST_E_PROVIDER_UNKNOWN),
                   "The file C:\\d.dll is untrusted Error code -2146762751"}),
    [](const ::testing::TestParamInfo<VerdictRow>& info) { return info.param.name; });

struct CloseRow {
  const char* name;
  bool ok;
  DWORD errorCode;
  const char* verdict;
  LONG closeStatus;
  const char* message;
};

class CloseFailure : public ::testing::TestWithParam<CloseRow> {};

TEST_P(CloseFailure, IsAppendedAndNeverTurnsTheVerdict) {
  const CloseRow& row = GetParam();
  LibraryResult result{row.ok, row.errorCode, row.verdict};
  velmo::appendCloseFailure(result, row.closeStatus);
  EXPECT_EQ(result.ok, row.ok);
  EXPECT_EQ(result.errorCode, row.errorCode);
  EXPECT_EQ(result.message, row.message);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CloseFailure,
    ::testing::Values(
        CloseRow{"PassedAndClosed", true, 0, "", 0, ""},
        CloseRow{"PassedCloseFailed", true, 0, "", static_cast<LONG>(0x80004005u),
                 " Closing WinVerifyTrust failed with error code -2147467259"},
        CloseRow{"RefusedCloseFailed", false, 0x800B0111u, "The file x is explicitly not trusted.",
                 87, "The file x is explicitly not trusted. Closing WinVerifyTrust failed with error code 87"},
        CloseRow{"RefusedAndClosed", false, 2, "reason", 0, "reason"}),
    [](const ::testing::TestParamInfo<CloseRow>& info) { return info.param.name; });

}  // namespace
