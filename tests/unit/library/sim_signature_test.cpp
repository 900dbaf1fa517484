// The sim's crypt32 hands a signature over as Windows does: size first, then the structure
// with everything it points to in the caller's buffer.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "library/signature_text.h"
#include "platform/errors.h"
#include "platform/trust.h"
#include "tests/unit/library/library_fixture.h"

namespace {

using library_test::LibraryTest;
using library_test::system32Path;

// Opens the embedded signature of a System32 library and closes it again.
class SignatureReader {
 public:
  explicit SignatureReader(const std::string& name) {
    const platform::WideString path = widen(library_test::system32Path(name));
    EXPECT_NE(platform::CryptQueryObject(CERT_QUERY_OBJECT_FILE, path.c_str(),
                                         CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED,
                                         CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr, nullptr,
                                         nullptr, &store, &message, nullptr),
              FALSE);
  }
  ~SignatureReader() {
    platform::CryptMsgClose(message);
    platform::CertCloseStore(store, 0);
  }

  // The first signer's information, in a buffer of exactly the size asked for.
  std::vector<unsigned char> signerInfo() {
    DWORD size = 0;
    EXPECT_NE(platform::CryptMsgGetParam(message, CMSG_SIGNER_INFO_PARAM, 0, nullptr, &size), 0);
    std::vector<unsigned char> buffer(size);
    EXPECT_NE(platform::CryptMsgGetParam(message, CMSG_SIGNER_INFO_PARAM, 0, buffer.data(), &size),
              0);
    return buffer;
  }

  static platform::WideString widen(const std::string& text) {
    return platform::WideString(text.begin(), text.end());
  }

  HCERTSTORE store = nullptr;
  HCRYPTMSG message = nullptr;
};

const CRYPT_ATTRIBUTE* opusAttribute(const CMSG_SIGNER_INFO& info) {
  for (DWORD i = 0; i < info.AuthAttrs.cAttr; ++i) {
    if (std::strcmp(info.AuthAttrs.rgAttr[i].pszObjId, SPC_SP_OPUS_INFO_OBJID) == 0) {
      return &info.AuthAttrs.rgAttr[i];
    }
  }
  return nullptr;
}

using SimSignatureTest = LibraryTest;

TEST_F(SimSignatureTest, SmallBufferGetsTheSizeAndMoreData) {
  SignatureReader reader("dxva2.dll");
  DWORD size = 0;
  ASSERT_NE(platform::CryptMsgGetParam(reader.message, CMSG_SIGNER_INFO_PARAM, 0, nullptr, &size),
            0);
  std::vector<unsigned char> small(size - 1);
  DWORD offered = size - 1;
  EXPECT_EQ(platform::CryptMsgGetParam(reader.message, CMSG_SIGNER_INFO_PARAM, 0, small.data(),
                                       &offered),
            FALSE);
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
  EXPECT_EQ(offered, size);
  EXPECT_EQ(platform::CryptMsgGetParam(reader.message, CMSG_SIGNER_INFO_PARAM, 1, nullptr, &size),
            FALSE);
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(CRYPT_E_INVALID_INDEX));
}

TEST_F(SimSignatureTest, SignerCertificateIsFoundByIssuerAndSerialNumber) {
  SignatureReader reader("dxva2.dll");
  const std::vector<unsigned char> buffer = reader.signerInfo();
  const auto& info = *reinterpret_cast<const CMSG_SIGNER_INFO*>(buffer.data());
  CERT_INFO wanted{};
  wanted.Issuer = info.Issuer;
  wanted.SerialNumber = info.SerialNumber;
  PCCERT_CONTEXT certificate = platform::CertFindCertificateInStore(
      reader.store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, CERT_FIND_SUBJECT_CERT, &wanted,
      nullptr);
  ASSERT_NE(certificate, nullptr);
  EXPECT_EQ(velmo::serialNumberText(certificate->pCertInfo->SerialNumber),
            "33 10 2A C9 0B 61 04 00 00 33 ");
  EXPECT_EQ(platform::CertGetNameStringW(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr,
                                         nullptr, 0),
            std::string("Microsoft Windows").size() + 1);
  platform::CertFreeCertificateContext(certificate);

  BYTE otherSerial = 1;
  wanted.SerialNumber = {1, &otherSerial};
  EXPECT_EQ(platform::CertFindCertificateInStore(reader.store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                 0, CERT_FIND_SUBJECT_CERT, &wanted, nullptr),
            nullptr);
}

struct OpusLinkRow {
  const char* name;
  DWORD choice;
  std::string expected;
};

class OpusLinks : public LibraryTest, public ::testing::WithParamInterface<OpusLinkRow> {};

TEST_P(OpusLinks, AreDecodedByChoice) {
  changeDxva2([](sim::SimLibrary& library) {
    library.signers.front().opus = sim::SimOpus{
        std::string("Kestrine"), sim::SimLink{GetParam().choice, "https://more.example"},
        sim::SimLink{GetParam().choice, "https://publisher.example"}};
  });
  SignatureReader reader("dxva2.dll");
  const std::vector<unsigned char> buffer = reader.signerInfo();
  const CRYPT_ATTRIBUTE* opus =
      opusAttribute(*reinterpret_cast<const CMSG_SIGNER_INFO*>(buffer.data()));
  ASSERT_NE(opus, nullptr);
  ASSERT_EQ(opus->cValue, 1u);
  DWORD size = 0;
  ASSERT_NE(platform::CryptDecodeObject(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                        SPC_SP_OPUS_INFO_OBJID, opus->rgValue[0].pbData,
                                        opus->rgValue[0].cbData, 0, nullptr, &size),
            0);
  std::vector<unsigned char> decoded(size);
  ASSERT_NE(platform::CryptDecodeObject(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                        SPC_SP_OPUS_INFO_OBJID, opus->rgValue[0].pbData,
                                        opus->rgValue[0].cbData, 0, decoded.data(), &size),
            0);
  const auto& info = *reinterpret_cast<const SPC_SP_OPUS_INFO*>(decoded.data());
  EXPECT_EQ(platform::WideString(info.pwszProgramName), PLATFORM_WIDE("Kestrine"));
  ASSERT_NE(info.pMoreInfo, nullptr);
  EXPECT_EQ(info.pMoreInfo->dwLinkChoice, GetParam().choice);
  EXPECT_EQ(velmo::linkText(info.pMoreInfo),
            GetParam().expected.empty() ? "" : "https://more." + GetParam().expected);
  EXPECT_EQ(velmo::linkText(info.pPublisherInfo),
            GetParam().expected.empty() ? "" : "https://publisher." + GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Choices, OpusLinks,
    ::testing::Values(OpusLinkRow{"Url", SPC_URL_LINK_CHOICE, "example"},
                      OpusLinkRow{"Moniker", SPC_MONIKER_LINK_CHOICE, ""},
                      OpusLinkRow{"File", SPC_FILE_LINK_CHOICE, "example"}),
    [](const ::testing::TestParamInfo<OpusLinkRow>& info) { return info.param.name; });

}  // namespace
