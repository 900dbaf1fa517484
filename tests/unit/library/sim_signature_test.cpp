// The opus attribute's links as the sim's crypt32 hands them over (size first, then the structure
// with everything it points to in the caller's buffer) and as the loader reads them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "library/signature_text.h"
#include "platform/trust.h"
#include "tests/unit/library/library_fixture.h"

namespace {

using library_test::LibraryTest;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// Runs a size-then-data call twice: for the size, then into a buffer of exactly that size.
template <class Call>
std::vector<unsigned char> sizeThenData(Call call) {
  DWORD size = 0;
  EXPECT_NE(call(nullptr, &size), FALSE);
  std::vector<unsigned char> buffer(size);
  EXPECT_NE(call(buffer.data(), &size), FALSE);
  return buffer;
}

struct OpusLinkRow {
  const char* name;
  DWORD choice;
  bool hasText;
};

class OpusLinks : public LibraryTest, public ::testing::WithParamInterface<OpusLinkRow> {};

TEST_P(OpusLinks, AreHandedOverByChoice) {
  changeDxva2([](sim::SimLibrary& library) {
    library.signers.front().opus =
        sim::SimOpus{std::string("Kestrine"), sim::SimLink{GetParam().choice, "https://more"},
                     sim::SimLink{GetParam().choice, "https://publisher"}};
  });
  const std::string path = library_test::system32Path("dxva2.dll");
  const platform::WideString widePath(path.begin(), path.end());
  HCERTSTORE store = nullptr;
  HCRYPTMSG message = nullptr;
  ASSERT_NE(platform::CryptQueryObject(CERT_QUERY_OBJECT_FILE, widePath.c_str(),
                                       CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED,
                                       CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr, nullptr, nullptr,
                                       &store, &message, nullptr),
            FALSE);
  const std::vector<unsigned char> signer = sizeThenData([&](void* out, DWORD* size) {
    return platform::CryptMsgGetParam(message, CMSG_SIGNER_INFO_PARAM, 0, out, size);
  });
  platform::CryptMsgClose(message);
  platform::CertCloseStore(store, 0);

  const auto& attributes = reinterpret_cast<const CMSG_SIGNER_INFO*>(signer.data())->AuthAttrs;
  const CRYPT_ATTRIBUTE* opus = nullptr;
  for (DWORD i = 0; i < attributes.cAttr; ++i) {
    if (std::strcmp(attributes.rgAttr[i].pszObjId, SPC_SP_OPUS_INFO_OBJID) == 0) {
      opus = &attributes.rgAttr[i];
    }
  }
  ASSERT_NE(opus, nullptr);
  ASSERT_EQ(opus->cValue, 1u);
  const std::vector<unsigned char> decoded = sizeThenData([&](void* out, DWORD* size) {
    return platform::CryptDecodeObject(kEncoding, SPC_SP_OPUS_INFO_OBJID, opus->rgValue[0].pbData,
                                       opus->rgValue[0].cbData, 0, out, size);
  });
  const auto& info = *reinterpret_cast<const SPC_SP_OPUS_INFO*>(decoded.data());
  EXPECT_EQ(platform::WideString(info.pwszProgramName), PLATFORM_WIDE("Kestrine"));
  ASSERT_NE(info.pMoreInfo, nullptr);
  EXPECT_EQ(info.pMoreInfo->dwLinkChoice, GetParam().choice);
  EXPECT_EQ(velmo::linkText(info.pMoreInfo), GetParam().hasText ? "https://more" : "");
  EXPECT_EQ(velmo::linkText(info.pPublisherInfo), GetParam().hasText ? "https://publisher" : "");
}

INSTANTIATE_TEST_SUITE_P(Choices, OpusLinks,
                         ::testing::Values(OpusLinkRow{"Url", SPC_URL_LINK_CHOICE, true},
                                           OpusLinkRow{"Moniker", SPC_MONIKER_LINK_CHOICE, false},
                                           OpusLinkRow{"File", SPC_FILE_LINK_CHOICE, true}),
                         [](const ::testing::TestParamInfo<OpusLinkRow>& info) {
                           return info.param.name;
                         });

}  // namespace
