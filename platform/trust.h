// Authenticode operations of wintrust and crypt32 and the structures they fill, Windows layouts.
// WinVerifyTrust gives the trust verdict; the crypt32 calls take a file's embedded signature
// apart (query, signer information, opus attribute, certificate and its names).
#pragma once

#include <cstddef>

#include "platform/types.h"

#ifdef _WIN32
#include <wincrypt.h>
#include <wintrust.h>
#include <softpub.h>
#else

using HRESULT = LONG;
using HCERTSTORE = void*;
using HCRYPTMSG = void*;

struct GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
};

// {00AAC56B-CD44-11D0-8CC2-00C04FC295EE}: Authenticode verification of a file.
#define WINTRUST_ACTION_GENERIC_VERIFY_V2 \
  { 0xaac56b, 0xcd44, 0x11d0, { 0x8c, 0xc2, 0x0, 0xc0, 0x4f, 0xc2, 0x95, 0xee } }

struct WINTRUST_FILE_INFO {
  DWORD cbStruct;
  LPCWSTR pcwszFilePath;
  HANDLE hFile;
  GUID* pgKnownSubject;
};

constexpr DWORD WTD_UI_NONE = 2;
constexpr DWORD WTD_REVOKE_NONE = 0;
constexpr DWORD WTD_CHOICE_FILE = 1;
constexpr DWORD WTD_STATEACTION_VERIFY = 1;
constexpr DWORD WTD_STATEACTION_CLOSE = 2;
constexpr DWORD WTD_CACHE_ONLY_URL_RETRIEVAL = 0x1000;

// Trust verdicts (WinVerifyTrust results) and the last-error codes that come with them.
constexpr HRESULT TRUST_E_PROVIDER_UNKNOWN = static_cast<HRESULT>(0x800B0001u);
constexpr HRESULT TRUST_E_SUBJECT_FORM_UNKNOWN = static_cast<HRESULT>(0x800B0003u);
constexpr HRESULT TRUST_E_SUBJECT_NOT_TRUSTED = static_cast<HRESULT>(0x800B0004u);
constexpr HRESULT TRUST_E_NOSIGNATURE = static_cast<HRESULT>(0x800B0100u);
constexpr HRESULT TRUST_E_EXPLICIT_DISTRUST = static_cast<HRESULT>(0x800B0111u);
constexpr HRESULT CRYPT_E_SECURITY_SETTINGS = static_cast<HRESULT>(0x80092026u);
// crypt32 failures, as GetLastError gives them.
constexpr HRESULT CRYPT_E_NOT_FOUND = static_cast<HRESULT>(0x80092004u);
constexpr HRESULT CRYPT_E_NO_MATCH = static_cast<HRESULT>(0x80092009u);
constexpr HRESULT CRYPT_E_INVALID_INDEX = static_cast<HRESULT>(0x80091008u);
constexpr HRESULT CRYPT_E_ASN1_BADTAG = static_cast<HRESULT>(0x8009310Bu);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);

struct CRYPTOAPI_BLOB {
  DWORD cbData;
  BYTE* pbData;
};
using CRYPT_INTEGER_BLOB = CRYPTOAPI_BLOB;
using CRYPT_OBJID_BLOB = CRYPTOAPI_BLOB;
using CERT_NAME_BLOB = CRYPTOAPI_BLOB;
using CRYPT_DATA_BLOB = CRYPTOAPI_BLOB;
using CRYPT_ATTR_BLOB = CRYPTOAPI_BLOB;
using PCRYPT_ATTR_BLOB = CRYPTOAPI_BLOB*;

struct CRYPT_BIT_BLOB {
  DWORD cbData;
  BYTE* pbData;
  DWORD cUnusedBits;
};

struct CRYPT_ALGORITHM_IDENTIFIER {
  LPSTR pszObjId;
  CRYPT_OBJID_BLOB Parameters;
};

struct CRYPT_ATTRIBUTE {
  LPSTR pszObjId;
  DWORD cValue;
  PCRYPT_ATTR_BLOB rgValue;
};
using PCRYPT_ATTRIBUTE = CRYPT_ATTRIBUTE*;

struct CRYPT_ATTRIBUTES {
  DWORD cAttr;
  PCRYPT_ATTRIBUTE rgAttr;
};

struct CMSG_SIGNER_INFO {
  DWORD dwVersion;
  CERT_NAME_BLOB Issuer;
  CRYPT_INTEGER_BLOB SerialNumber;
  CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
  CRYPT_ALGORITHM_IDENTIFIER HashEncryptionAlgorithm;
  CRYPT_DATA_BLOB EncryptedHash;
  CRYPT_ATTRIBUTES AuthAttrs;
  CRYPT_ATTRIBUTES UnauthAttrs;
};
using PCMSG_SIGNER_INFO = CMSG_SIGNER_INFO*;

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

struct CERT_PUBLIC_KEY_INFO {
  CRYPT_ALGORITHM_IDENTIFIER Algorithm;
  CRYPT_BIT_BLOB PublicKey;
};

struct CERT_EXTENSION {
  LPSTR pszObjId;
  BOOL fCritical;
  CRYPT_OBJID_BLOB Value;
};
using PCERT_EXTENSION = CERT_EXTENSION*;

struct CERT_INFO {
  DWORD dwVersion;
  CRYPT_INTEGER_BLOB SerialNumber;
  CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
  CERT_NAME_BLOB Issuer;
  FILETIME NotBefore;
  FILETIME NotAfter;
  CERT_NAME_BLOB Subject;
  CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
  CRYPT_BIT_BLOB IssuerUniqueId;
  CRYPT_BIT_BLOB SubjectUniqueId;
  DWORD cExtension;
  PCERT_EXTENSION rgExtension;
};
using PCERT_INFO = CERT_INFO*;

struct CERT_CONTEXT {
  DWORD dwCertEncodingType;
  BYTE* pbCertEncoded;
  DWORD cbCertEncoded;
  PCERT_INFO pCertInfo;
  HCERTSTORE hCertStore;
};
using PCCERT_CONTEXT = const CERT_CONTEXT*;

struct SPC_SERIALIZED_OBJECT {
  BYTE ClassId[16];
  CRYPT_DATA_BLOB SerializedData;
};

constexpr DWORD SPC_URL_LINK_CHOICE = 1;
constexpr DWORD SPC_MONIKER_LINK_CHOICE = 2;
constexpr DWORD SPC_FILE_LINK_CHOICE = 3;

struct SPC_LINK {
  DWORD dwLinkChoice;
  union {
    LPWSTR pwszUrl;
    SPC_SERIALIZED_OBJECT Moniker;
    LPWSTR pwszFile;
  };
};

struct SPC_SP_OPUS_INFO {
  LPCWSTR pwszProgramName;
  SPC_LINK* pMoreInfo;
  SPC_LINK* pPublisherInfo;
};
using PSPC_SP_OPUS_INFO = SPC_SP_OPUS_INFO*;

// The signer's "opus" attribute: the program name and the links of the signed file.
#define SPC_SP_OPUS_INFO_OBJID "1.3.6.1.4.1.311.2.1.12"

constexpr DWORD X509_ASN_ENCODING = 0x1;
constexpr DWORD PKCS_7_ASN_ENCODING = 0x10000;
constexpr DWORD CERT_QUERY_OBJECT_FILE = 1;
constexpr DWORD CERT_QUERY_CONTENT_PKCS7_SIGNED_EMBED = 10;
constexpr DWORD CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED = 1u << 10;
constexpr DWORD CERT_QUERY_FORMAT_BINARY = 1;
constexpr DWORD CERT_QUERY_FORMAT_FLAG_BINARY = 1u << 1;
constexpr DWORD CMSG_SIGNER_INFO_PARAM = 6;
constexpr DWORD CERT_FIND_SUBJECT_CERT = 0xB0000;
constexpr DWORD CERT_NAME_SIMPLE_DISPLAY_TYPE = 4;
constexpr DWORD CERT_NAME_ISSUER_FLAG = 0x1;

#endif  // _WIN32

namespace platform {

// WINTRUST_DATA in its current form, which ends with pSignatureSettings (88 bytes on 64-bit
// Windows). Older SDK headers (mingw-w64) stop before that field, so the seam declares the
// structure itself; WinVerifyTrust takes it through an untyped pointer.
struct WINTRUST_DATA {
  DWORD cbStruct;
  LPVOID pPolicyCallbackData;
  LPVOID pSIPClientData;
  DWORD dwUIChoice;
  DWORD fdwRevocationChecks;
  DWORD dwUnionChoice;
  WINTRUST_FILE_INFO* pFile;
  DWORD dwStateAction;
  HANDLE hWVTStateData;
  WCHAR* pwszURLReference;
  DWORD dwProvFlags;
  DWORD dwUIContext;
  void* pSignatureSettings;
};

// The status of the verification as a signed value: 0 when the file is signed and trusted.
LONG WinVerifyTrust(HWND hwnd, GUID* pgActionID, LPVOID pWVTData);

BOOL CryptQueryObject(DWORD dwObjectType, const void* pvObject, DWORD dwExpectedContentTypeFlags,
                      DWORD dwExpectedFormatTypeFlags, DWORD dwFlags,
                      DWORD* pdwMsgAndCertEncodingType, DWORD* pdwContentType,
                      DWORD* pdwFormatType, HCERTSTORE* phCertStore, HCRYPTMSG* phMsg,
                      const void** ppvContext);
BOOL CryptMsgGetParam(HCRYPTMSG hCryptMsg, DWORD dwParamType, DWORD dwIndex, void* pvData,
                      DWORD* pcbData);
BOOL CryptMsgClose(HCRYPTMSG hCryptMsg);
BOOL CryptDecodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE* pbEncoded,
                       DWORD cbEncoded, DWORD dwFlags, void* pvStructInfo, DWORD* pcbStructInfo);
PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
                                          DWORD dwFindFlags, DWORD dwFindType,
                                          const void* pvFindPara,
                                          PCCERT_CONTEXT pPrevCertContext);
BOOL CertFreeCertificateContext(PCCERT_CONTEXT pCertContext);
BOOL CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags);
DWORD CertGetNameStringW(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags,
                         void* pvTypePara, LPWSTR pszNameString, DWORD cchNameString);

}  // namespace platform

// The layouts the calls read and fill, as 64-bit Windows has them.
#if defined(_WIN64) || (!defined(_WIN32) && UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu)
static_assert(sizeof(GUID) == 16, "GUID keeps the Windows layout");
static_assert(sizeof(WINTRUST_FILE_INFO) == 32, "WINTRUST_FILE_INFO keeps the Windows layout");
static_assert(sizeof(platform::WINTRUST_DATA) == 88, "WINTRUST_DATA keeps the Windows layout");
static_assert(offsetof(platform::WINTRUST_DATA, dwStateAction) == 48,
              "WINTRUST_DATA keeps the Windows layout");
static_assert(offsetof(platform::WINTRUST_DATA, pSignatureSettings) == 80,
              "WINTRUST_DATA keeps the Windows layout");
static_assert(sizeof(CMSG_SIGNER_INFO) == 136, "CMSG_SIGNER_INFO keeps the Windows layout");
static_assert(offsetof(CMSG_SIGNER_INFO, AuthAttrs) == 104,
              "CMSG_SIGNER_INFO keeps the Windows layout");
static_assert(sizeof(CERT_INFO) == 208, "CERT_INFO keeps the Windows layout");
static_assert(offsetof(CERT_INFO, Issuer) == 48, "CERT_INFO keeps the Windows layout");
static_assert(sizeof(CERT_CONTEXT) == 40, "CERT_CONTEXT keeps the Windows layout");
static_assert(sizeof(SPC_LINK) == 40, "SPC_LINK keeps the Windows layout");
static_assert(sizeof(SPC_SP_OPUS_INFO) == 24, "SPC_SP_OPUS_INFO keeps the Windows layout");
#endif
