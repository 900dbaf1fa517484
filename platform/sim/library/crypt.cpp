// The sim's crypt32 operations on the embedded signature of a library file.
// The query opens its store and message; the signer information and the opus attribute come in
// Windows' flat layouts; the signer's certificate is found by issuer and serial number.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/sim/library/crypt_objects.h"
#include "platform/sim/library/flat_image.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/library/library_files.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"
#include "platform/trust.h"

namespace {

constexpr const char* kContentTypeOid = "1.2.840.113549.1.9.3";
constexpr const char* kMessageDigestOid = "1.2.840.113549.1.9.4";
constexpr const char* kIndirectDataOid = "1.3.6.1.4.1.311.2.1.4";
constexpr const char* kSha256Oid = "2.16.840.1.101.3.4.2.1";
constexpr const char* kRsaOid = "1.2.840.113549.1.1.1";
// SPC_SP_OPUS_INFO_STRUCT, the numeric form of the opus structure type.
constexpr std::uintptr_t kOpusStructNumber = 2007;
// The flags CryptDecodeObject takes: no-copy, to-be-signed, shared OID strings, no signature
// byte reversal, and the name decoding switch. CRYPT_DECODE_ALLOC_FLAG (0x8000) belongs to
// CryptDecodeObjectEx: given here it would make the caller read a pointer as the structure.
constexpr DWORD kDecodeFlags = 0x1 | 0x2 | 0x4 | 0x8 | 0x01000000;
constexpr DWORD kEncodingTypeMask = 0xFFFF;

BOOL fail(HRESULT code) {
  sim::setLastError(static_cast<DWORD>(code));
  return FALSE;
}

std::vector<BYTE> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// A signer's certificate as a certificate context hands it out. The context's address is what
// the program holds; the object stays put while it lives.
class Certificate : public sim::HandleObject {
 public:
  Certificate(const sim::SimSigner& certificateSigner, HCERTSTORE store)
      : signer(certificateSigner),
        serialNumber(certificateSigner.serialNumber),
        issuer(bytesOf(certificateSigner.issuer)),
        subject(bytesOf(certificateSigner.subject)) {
    info.dwVersion = 2;  // CERT_V3
    info.SerialNumber = {static_cast<DWORD>(serialNumber.size()), serialNumber.data()};
    info.Issuer = {static_cast<DWORD>(issuer.size()), issuer.data()};
    info.Subject = {static_cast<DWORD>(subject.size()), subject.data()};
    context.dwCertEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
    context.pbCertEncoded = subject.data();
    context.cbCertEncoded = static_cast<DWORD>(subject.size());
    context.pCertInfo = &info;
    context.hCertStore = store;
  }
  Certificate(const Certificate&) = delete;
  Certificate& operator=(const Certificate&) = delete;

  const sim::SimSigner signer;
  CERT_CONTEXT context{};

 private:
  std::vector<BYTE> serialNumber;
  std::vector<BYTE> issuer;
  std::vector<BYTE> subject;
  CERT_INFO info{};
};

// The handles of the certificate contexts handed out, by the context's address.
struct Contexts {
  std::mutex mutex;
  std::map<PCCERT_CONTEXT, void*> handles;
};

Contexts& contexts() {
  static Contexts instance;
  return instance;
}

std::shared_ptr<Certificate> findCertificate(PCCERT_CONTEXT context) {
  Contexts& c = contexts();
  std::lock_guard<std::mutex> lock(c.mutex);
  const auto it = c.handles.find(context);
  return it == c.handles.end()
             ? nullptr
             : sim::lookupHandleAs<Certificate>(sim::HandleKind::Kernel, it->second);
}

PCCERT_CONTEXT openCertificate(const sim::SimSigner& signer, HCERTSTORE store) {
  const auto certificate = std::make_shared<Certificate>(signer, store);
  void* handle = sim::insertHandle(sim::HandleKind::Kernel, certificate);
  Contexts& c = contexts();
  std::lock_guard<std::mutex> lock(c.mutex);
  c.handles.emplace(&certificate->context, handle);
  return &certificate->context;
}

bool closeCertificate(PCCERT_CONTEXT context) {
  void* handle = nullptr;
  {
    Contexts& c = contexts();
    std::lock_guard<std::mutex> lock(c.mutex);
    const auto it = c.handles.find(context);
    if (it == c.handles.end()) {
      return false;
    }
    handle = it->second;
    c.handles.erase(it);
  }
  return sim::closeHandle(sim::HandleKind::Kernel, handle);
}

bool sameBytes(const CRYPTOAPI_BLOB& blob, const std::vector<BYTE>& bytes) {
  return blob.cbData == bytes.size() &&
         (bytes.empty() || std::memcmp(blob.pbData, bytes.data(), bytes.size()) == 0);
}

// Appends a blob's bytes and points the blob's pbData field (at `blobOffset`) at them.
void appendBlobData(sim::FlatImage& image, std::size_t blobOffset, const std::vector<BYTE>& bytes) {
  if (!bytes.empty()) {
    image.link(blobOffset + offsetof(CRYPTOAPI_BLOB, pbData),
               image.append(bytes.data(), bytes.size(), 1));
  }
}

void appendAlgorithm(sim::FlatImage& image, std::size_t algorithmOffset, const char* oid) {
  image.link(algorithmOffset + offsetof(CRYPT_ALGORITHM_IDENTIFIER, pszObjId),
             image.appendNarrow(oid));
}

// The signer's authenticated attributes: content type, the opus attribute when the signer has
// one, and the message digest, each with one value.
std::vector<std::pair<const char*, std::vector<BYTE>>> authenticatedAttributes(
    const sim::SimSigner& signer) {
  std::vector<std::pair<const char*, std::vector<BYTE>>> attributes;
  attributes.emplace_back(kContentTypeOid, bytesOf(kIndirectDataOid));
  if (signer.opus) {
    attributes.emplace_back(SPC_SP_OPUS_INFO_OBJID, bytesOf(sim::encodeOpus(*signer.opus)));
  }
  attributes.emplace_back(kMessageDigestOid, std::vector<BYTE>(32, 0));
  return attributes;
}

std::size_t appendAttributes(
    sim::FlatImage& image,
    const std::vector<std::pair<const char*, std::vector<BYTE>>>& attributes) {
  const std::size_t array = image.append(nullptr, attributes.size() * sizeof(CRYPT_ATTRIBUTE),
                                         alignof(CRYPT_ATTRIBUTE));
  for (std::size_t i = 0; i < attributes.size(); ++i) {
    const std::size_t entry = array + i * sizeof(CRYPT_ATTRIBUTE);
    const std::vector<BYTE>& value = attributes[i].second;
    image.writeValue(entry, CRYPT_ATTRIBUTE{nullptr, 1, nullptr});
    image.link(entry + offsetof(CRYPT_ATTRIBUTE, pszObjId), image.appendNarrow(attributes[i].first));
    const std::size_t blob =
        image.appendValue(CRYPT_ATTR_BLOB{static_cast<DWORD>(value.size()), nullptr});
    appendBlobData(image, blob, value);
    image.link(entry + offsetof(CRYPT_ATTRIBUTE, rgValue), blob);
  }
  return array;
}

sim::FlatImage signerInfoImage(const sim::SimSigner& signer) {
  const std::vector<BYTE> issuer = bytesOf(signer.issuer);
  const auto attributes = authenticatedAttributes(signer);
  CMSG_SIGNER_INFO info{};
  info.dwVersion = 1;
  info.Issuer.cbData = static_cast<DWORD>(issuer.size());
  info.SerialNumber.cbData = static_cast<DWORD>(signer.serialNumber.size());
  info.AuthAttrs.cAttr = static_cast<DWORD>(attributes.size());

  sim::FlatImage image;
  const std::size_t at = image.appendValue(info);
  appendBlobData(image, at + offsetof(CMSG_SIGNER_INFO, Issuer), issuer);
  appendBlobData(image, at + offsetof(CMSG_SIGNER_INFO, SerialNumber), signer.serialNumber);
  appendAlgorithm(image, at + offsetof(CMSG_SIGNER_INFO, HashAlgorithm), kSha256Oid);
  appendAlgorithm(image, at + offsetof(CMSG_SIGNER_INFO, HashEncryptionAlgorithm), kRsaOid);
  image.link(at + offsetof(CMSG_SIGNER_INFO, AuthAttrs.rgAttr), appendAttributes(image, attributes));
  return image;
}

std::size_t appendLink(sim::FlatImage& image, const sim::SimLink& link) {
  SPC_LINK value{};
  value.dwLinkChoice = link.choice;
  const std::size_t at = image.appendValue(value);
  if (link.choice == SPC_MONIKER_LINK_CHOICE) {
    const std::size_t data = at + offsetof(SPC_LINK, Moniker.SerializedData);
    image.writeValue(data, CRYPT_DATA_BLOB{static_cast<DWORD>(link.text.size()), nullptr});
    appendBlobData(image, data, bytesOf(link.text));
  } else {
    image.link(at + offsetof(SPC_LINK, pwszUrl), image.appendWide(link.text));
  }
  return at;
}

sim::FlatImage opusImage(const sim::SimOpus& opus) {
  sim::FlatImage image;
  const std::size_t at = image.appendValue(SPC_SP_OPUS_INFO{});
  if (opus.programName) {
    image.link(at + offsetof(SPC_SP_OPUS_INFO, pwszProgramName),
               image.appendWide(*opus.programName));
  }
  if (opus.moreInfo) {
    image.link(at + offsetof(SPC_SP_OPUS_INFO, pMoreInfo), appendLink(image, *opus.moreInfo));
  }
  if (opus.publisherInfo) {
    image.link(at + offsetof(SPC_SP_OPUS_INFO, pPublisherInfo),
               appendLink(image, *opus.publisherInfo));
  }
  return image;
}

bool isOpusStructType(LPCSTR structType) {
  const auto number = reinterpret_cast<std::uintptr_t>(structType);
  return number < 0x10000 ? number == kOpusStructNumber
                          : std::strcmp(structType, SPC_SP_OPUS_INFO_OBJID) == 0;
}

template <class T>
void setIfGiven(T* out, T value) {
  if (out) {
    *out = value;
  }
}

}  // namespace

namespace platform {

BOOL CryptQueryObject(DWORD dwObjectType, const void* pvObject, DWORD dwExpectedContentTypeFlags,
                      DWORD dwExpectedFormatTypeFlags, DWORD dwFlags,
                      DWORD* pdwMsgAndCertEncodingType, DWORD* pdwContentType,
                      DWORD* pdwFormatType, HCERTSTORE* phCertStore, HCRYPTMSG* phMsg,
                      const void** ppvContext) {
  SIM_ENTER(CryptQueryObject, dwObjectType, pvObject, dwExpectedContentTypeFlags,
            dwExpectedFormatTypeFlags, dwFlags, pdwMsgAndCertEncodingType, pdwContentType,
            pdwFormatType, phCertStore, phMsg, ppvContext);
  // dwFlags is reserved and must be 0.
  if (dwObjectType != CERT_QUERY_OBJECT_FILE || !pvObject || dwFlags != 0) {
    return fail(E_INVALIDARG);
  }
  // A file without an embedded signature, or no file at all, matches nothing (as under Wine).
  sim::SimLibrary library;
  if (sim::readLibraryFile(sim::pathFromWide(static_cast<LPCWSTR>(pvObject)), library) !=
          sim::LibraryFileState::Library ||
      library.signers.empty() ||
      !(dwExpectedContentTypeFlags & CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED) ||
      !(dwExpectedFormatTypeFlags & CERT_QUERY_FORMAT_FLAG_BINARY)) {
    return fail(CRYPT_E_NO_MATCH);
  }
  setIfGiven(pdwMsgAndCertEncodingType, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING);
  setIfGiven(pdwContentType, CERT_QUERY_CONTENT_PKCS7_SIGNED_EMBED);
  setIfGiven(pdwFormatType, CERT_QUERY_FORMAT_BINARY);
  setIfGiven<const void*>(ppvContext, nullptr);
  if (phCertStore) {
    *phCertStore = sim::insertHandle(sim::HandleKind::Kernel,
                                     std::make_shared<sim::CertificateStore>(library.signers));
  }
  if (phMsg) {
    *phMsg = sim::insertHandle(sim::HandleKind::Kernel,
                               std::make_shared<sim::CryptMessage>(library.signers));
  }
  return TRUE;
}

BOOL CryptMsgGetParam(HCRYPTMSG hCryptMsg, DWORD dwParamType, DWORD dwIndex, void* pvData,
                      DWORD* pcbData) {
  SIM_ENTER(CryptMsgGetParam, hCryptMsg, dwParamType, dwIndex, pvData, pcbData);
  const auto message = sim::lookupHandleAs<sim::CryptMessage>(sim::HandleKind::Kernel, hCryptMsg);
  if (!message || !pcbData || dwParamType != CMSG_SIGNER_INFO_PARAM) {
    return fail(E_INVALIDARG);
  }
  if (dwIndex >= message->signers.size()) {
    return fail(CRYPT_E_INVALID_INDEX);
  }
  return sim::deliverImage(signerInfoImage(message->signers[dwIndex]), pvData, pcbData);
}

BOOL CryptMsgClose(HCRYPTMSG hCryptMsg) {
  SIM_ENTER(CryptMsgClose, hCryptMsg);
  return !hCryptMsg || sim::closeKernelObject<sim::CryptMessage>(hCryptMsg) ? TRUE
                                                                             : fail(E_INVALIDARG);
}

BOOL CryptDecodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE* pbEncoded,
                       DWORD cbEncoded, DWORD dwFlags, void* pvStructInfo, DWORD* pcbStructInfo) {
  SIM_ENTER(CryptDecodeObject, dwCertEncodingType, lpszStructType, pbEncoded, cbEncoded, dwFlags,
            pvStructInfo, pcbStructInfo);
  if (!pcbStructInfo || !lpszStructType || (dwFlags & ~kDecodeFlags) != 0) {
    return fail(E_INVALIDARG);
  }
  if ((dwCertEncodingType & kEncodingTypeMask) != X509_ASN_ENCODING ||
      !isOpusStructType(lpszStructType)) {
    // Windows has no decoder installed for the encoding and type.
    return fail(static_cast<HRESULT>(ERROR_FILE_NOT_FOUND));
  }
  sim::SimOpus opus;
  try {
    opus = sim::decodeOpus(std::string(reinterpret_cast<const char*>(pbEncoded), cbEncoded));
  } catch (const std::runtime_error&) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  return sim::deliverImage(opusImage(opus), pvStructInfo, pcbStructInfo);
}

PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
                                          DWORD dwFindFlags, DWORD dwFindType,
                                          const void* pvFindPara,
                                          PCCERT_CONTEXT pPrevCertContext) {
  SIM_ENTER(CertFindCertificateInStore, hCertStore, dwCertEncodingType, dwFindFlags, dwFindType,
            pvFindPara, pPrevCertContext);
  const auto store =
      sim::lookupHandleAs<sim::CertificateStore>(sim::HandleKind::Kernel, hCertStore);
  if (!store || dwFindType != CERT_FIND_SUBJECT_CERT || !pvFindPara) {
    fail(E_INVALIDARG);
    return nullptr;
  }
  // A search goes on after the previous match, which it frees. Each signer's certificate is in
  // the store once, so there is never a second match.
  if (pPrevCertContext) {
    closeCertificate(pPrevCertContext);
    fail(CRYPT_E_NOT_FOUND);
    return nullptr;
  }
  const auto& wanted = *static_cast<const CERT_INFO*>(pvFindPara);
  for (const sim::SimSigner& signer : store->certificates) {
    if (sameBytes(wanted.Issuer, bytesOf(signer.issuer)) &&
        sameBytes(wanted.SerialNumber, signer.serialNumber)) {
      return openCertificate(signer, hCertStore);
    }
  }
  fail(CRYPT_E_NOT_FOUND);
  return nullptr;
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
  SIM_ENTER(CertFreeCertificateContext, pCertContext);
  return !pCertContext || closeCertificate(pCertContext) ? TRUE : fail(E_INVALIDARG);
}

BOOL CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) {
  SIM_ENTER(CertCloseStore, hCertStore, dwFlags);
  return !hCertStore || sim::closeKernelObject<sim::CertificateStore>(hCertStore)
             ? TRUE
             : fail(E_INVALIDARG);
}

DWORD CertGetNameStringW(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags,
                         void* pvTypePara, LPWSTR pszNameString, DWORD cchNameString) {
  SIM_ENTER(CertGetNameStringW, pCertContext, dwType, dwFlags, pvTypePara, pszNameString,
            cchNameString);
  const std::shared_ptr<Certificate> certificate = findCertificate(pCertContext);
  if (!certificate) {
    fail(E_INVALIDARG);
    return 0;
  }
  // Every name type gives the simple display name, the one the sim keeps.
  const std::string& name =
      (dwFlags & CERT_NAME_ISSUER_FLAG) ? certificate->signer.issuer : certificate->signer.subject;
  const std::vector<WCHAR> wide =
      sim::utf8ToUtf16(reinterpret_cast<const unsigned char*>(name.data()), name.size());
  const DWORD needed = static_cast<DWORD>(wide.size()) + 1;
  if (!pszNameString || cchNameString == 0) {
    return needed;
  }
  const DWORD copied = needed <= cchNameString ? needed - 1 : cchNameString - 1;
  std::copy(wide.begin(), wide.begin() + copied, pszNameString);
  pszNameString[copied] = 0;
  return copied + 1;
}

}  // namespace platform
