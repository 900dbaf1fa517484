// Forwards WinVerifyTrust and the crypt32 signature functions to Win32. No logic may live here.
#include "platform/trust.h"

namespace platform {

LONG WinVerifyTrust(HWND hwnd, GUID* pgActionID, LPVOID pWVTData) {
  return ::WinVerifyTrust(hwnd, pgActionID, pWVTData);
}

BOOL CryptQueryObject(DWORD dwObjectType, const void* pvObject, DWORD dwExpectedContentTypeFlags,
                      DWORD dwExpectedFormatTypeFlags, DWORD dwFlags,
                      DWORD* pdwMsgAndCertEncodingType, DWORD* pdwContentType,
                      DWORD* pdwFormatType, HCERTSTORE* phCertStore, HCRYPTMSG* phMsg,
                      const void** ppvContext) {
  return ::CryptQueryObject(dwObjectType, pvObject, dwExpectedContentTypeFlags,
                            dwExpectedFormatTypeFlags, dwFlags, pdwMsgAndCertEncodingType,
                            pdwContentType, pdwFormatType, phCertStore, phMsg, ppvContext);
}

BOOL CryptMsgGetParam(HCRYPTMSG hCryptMsg, DWORD dwParamType, DWORD dwIndex, void* pvData,
                      DWORD* pcbData) {
  return ::CryptMsgGetParam(hCryptMsg, dwParamType, dwIndex, pvData, pcbData);
}

BOOL CryptMsgClose(HCRYPTMSG hCryptMsg) { return ::CryptMsgClose(hCryptMsg); }

BOOL CryptDecodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE* pbEncoded,
                       DWORD cbEncoded, DWORD dwFlags, void* pvStructInfo, DWORD* pcbStructInfo) {
  return ::CryptDecodeObject(dwCertEncodingType, lpszStructType, pbEncoded, cbEncoded, dwFlags,
                             pvStructInfo, pcbStructInfo);
}

PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
                                          DWORD dwFindFlags, DWORD dwFindType,
                                          const void* pvFindPara,
                                          PCCERT_CONTEXT pPrevCertContext) {
  return ::CertFindCertificateInStore(hCertStore, dwCertEncodingType, dwFindFlags, dwFindType,
                                      pvFindPara, pPrevCertContext);
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
  return ::CertFreeCertificateContext(pCertContext);
}

BOOL CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) {
  return ::CertCloseStore(hCertStore, dwFlags);
}

DWORD CertGetNameStringW(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags,
                         void* pvTypePara, LPWSTR pszNameString, DWORD cchNameString) {
  return ::CertGetNameStringW(pCertContext, dwType, dwFlags, pvTypePara, pszNameString,
                              cchNameString);
}

}  // namespace platform
