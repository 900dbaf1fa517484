// Takes a library's embedded Authenticode signature apart: the first signer, its opus attribute
// and its certificate's serial number, issuer and subject.
#include <cstring>
#include <string>

#include "common/owned_handles.h"
#include "common/text_conversion.h"
#include "library/signature_text.h"
#include "library/windows_dynamic_library.h"
#include "platform/errors.h"
#include "platform/trust.h"

namespace velmo {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// A failed platform call, with the code it left behind.
LibraryResult failure(const char* message) { return {false, platform::GetLastError(), message}; }

const CRYPT_ATTRIBUTE* findOpusAttribute(const CRYPT_ATTRIBUTES& attributes) {
  for (DWORD i = 0; i < attributes.cAttr; ++i) {
    const CRYPT_ATTRIBUTE& attribute = attributes.rgAttr[i];
    if (attribute.pszObjId && std::strcmp(attribute.pszObjId, SPC_SP_OPUS_INFO_OBJID) == 0) {
      return &attribute;
    }
  }
  return nullptr;
}

// One of the certificate's names (issuer or subject), asked for its length and then read.
LibraryResult readCertificateName(PCCERT_CONTEXT certificate, DWORD flags,
                                  const char* failureText, std::string& name) {
  const DWORD length = platform::CertGetNameStringW(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE,
                                                    flags, nullptr, nullptr, 0);
  if (length == 0) {
    return failure(failureText);
  }
  platform::WideString buffer(length, 0);
  if (platform::CertGetNameStringW(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, flags, nullptr,
                                  buffer.data(), length) == 0) {
    return failure(failureText);
  }
  buffer.resize(std::char_traits<WCHAR>::length(buffer.c_str()));  // up to the terminator
  name = wideToLogText(buffer);
  return {true, 0, ""};
}

}  // namespace

LibraryResult WindowsDynamicLibrary::readEmbeddedSignature(SignatureInfo& info) {
  const LibraryResult verified = verifySignature();
  if (!verified.ok) {
    return {false, verified.errorCode,
            verified.message +
                "; Failed to read embedded signature. Library signature not validated!"};
  }

  DWORD encoding = 0;
  DWORD contentType = 0;
  DWORD formatType = 0;
  HCERTSTORE rawStore = nullptr;
  HCRYPTMSG rawMessage = nullptr;
  if (!platform::CryptQueryObject(CERT_QUERY_OBJECT_FILE, libraryPath.c_str(),
                                  CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED,
                                  CERT_QUERY_FORMAT_FLAG_BINARY, 0, &encoding, &contentType,
                                  &formatType, &rawStore, &rawMessage, nullptr)) {
    return failure("CryptQueryObject failed");
  }
  const CertificateStoreHandle store(rawStore);
  const CryptMessageHandle message(rawMessage);

  DWORD signerInfoSize = 0;
  if (!platform::CryptMsgGetParam(message.get(), CMSG_SIGNER_INFO_PARAM, 0, nullptr,
                                  &signerInfoSize)) {
    return failure("CryptMsgGetParam failed - signer information size");
  }
  const LocalMemory signerInfoBuffer(platform::LocalAlloc(LPTR, signerInfoSize));
  if (!signerInfoBuffer) {
    return failure("Unable to allocate memory for Signer Info.");
  }
  if (!platform::CryptMsgGetParam(message.get(), CMSG_SIGNER_INFO_PARAM, 0,
                                  signerInfoBuffer.get(), &signerInfoSize)) {
    return failure("CryptMsgGetParam failed - signer information");
  }
  const auto& signerInfo = *static_cast<const CMSG_SIGNER_INFO*>(signerInfoBuffer.get());

  if (LibraryResult publisher = readPublisherInfo(signerInfo, info); !publisher.ok) {
    return publisher;
  }

  CERT_INFO certificateInfo{};
  certificateInfo.Issuer = signerInfo.Issuer;
  certificateInfo.SerialNumber = signerInfo.SerialNumber;
  const CertificateContextHandle certificate(
      platform::CertFindCertificateInStore(store.get(), kEncoding, 0, CERT_FIND_SUBJECT_CERT,
                                           &certificateInfo, nullptr));
  if (!certificate) {
    return failure("CertFindCertificateInStore failed");
  }
  if (LibraryResult names = readCertificateInfo(certificate.get(), info); !names.ok) {
    return names;
  }
  return {true, 0, ""};
}

LibraryResult WindowsDynamicLibrary::readPublisherInfo(const CMSG_SIGNER_INFO& signerInfo,
                                                       SignatureInfo& info) {
  const CRYPT_ATTRIBUTE* opus = findOpusAttribute(signerInfo.AuthAttrs);
  if (!opus) {
    return {true, 0, ""};
  }
  const CRYPT_ATTR_BLOB noValue{0, nullptr};
  const CRYPT_ATTR_BLOB& value = opus->cValue > 0 ? opus->rgValue[0] : noValue;

  DWORD size = 0;
  if (!platform::CryptDecodeObject(kEncoding, SPC_SP_OPUS_INFO_OBJID, value.pbData, value.cbData, 0,
                                   nullptr, &size)) {
    return failure("CryptDecodeObject failed");
  }
  const LocalMemory buffer(platform::LocalAlloc(LPTR, size));
  if (!buffer) {
    return failure("Unable to allocate memory for Publisher Info.");
  }
  if (!platform::CryptDecodeObject(kEncoding, SPC_SP_OPUS_INFO_OBJID, value.pbData, value.cbData, 0,
                                   buffer.get(), &size)) {
    return failure("CryptDecodeObject failed");
  }
  const auto& opusInfo = *static_cast<const SPC_SP_OPUS_INFO*>(buffer.get());
  if (opusInfo.pwszProgramName) {
    info.programName = wideToUtf8(opusInfo.pwszProgramName);
  }
  info.publisherLink = linkText(opusInfo.pPublisherInfo);
  info.moreInfoLink = linkText(opusInfo.pMoreInfo);
  return {true, 0, ""};
}

LibraryResult WindowsDynamicLibrary::readCertificateInfo(PCCERT_CONTEXT certificate,
                                                         SignatureInfo& info) {
  info.serialNumber = serialNumberText(certificate->pCertInfo->SerialNumber);
  if (LibraryResult issuer = readCertificateName(certificate, CERT_NAME_ISSUER_FLAG,
                                                 "CertGetNameString failed - Issuer Name",
                                                 info.issuerName);
      !issuer.ok) {
    return issuer;
  }
  return readCertificateName(certificate, 0, "CertGetNameString failed - Subject Name",
                             info.subjectName);
}

}  // namespace velmo
