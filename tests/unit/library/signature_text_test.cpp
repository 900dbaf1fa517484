#include "library/signature_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct SerialRow {
  std::vector<BYTE> bytes;
  std::string text;
};

class SerialNumberText : public ::testing::TestWithParam<SerialRow> {};

TEST_P(SerialNumberText, LastByteFirstInUpperCaseHexWithTrailingBlanks) {
  std::vector<BYTE> bytes = GetParam().bytes;
  const CRYPT_INTEGER_BLOB blob{static_cast<DWORD>(bytes.size()), bytes.data()};
  EXPECT_EQ(velmo::serialNumberText(blob), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Blobs, SerialNumberText,
                         ::testing::Values(SerialRow{{0x01, 0x02, 0x0A}, "0A 02 01 "},
                                           SerialRow{{0x00, 0xFF, 0xab}, "AB FF 00 "},
                                           SerialRow{{}, ""}));

struct LinkRow {
  const char* name;
  DWORD choice;
  bool withText;
  std::string expected;
};

class LinkText : public ::testing::TestWithParam<LinkRow> {};

TEST_P(LinkText, UrlAndFileLinksOnly) {
  platform::WideString text = PLATFORM_WIDE("http://example.com/\u00e9");
  SPC_LINK link{};
  link.dwLinkChoice = GetParam().choice;
  if (GetParam().choice == SPC_MONIKER_LINK_CHOICE) {
    link.Moniker.SerializedData.cbData = 3;
  } else if (GetParam().withText && GetParam().choice == SPC_FILE_LINK_CHOICE) {
    link.pwszFile = text.data();
  } else if (GetParam().withText) {
    link.pwszUrl = text.data();
  }
  EXPECT_EQ(velmo::linkText(&link), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Choices, LinkText,
    ::testing::Values(LinkRow{"Url", SPC_URL_LINK_CHOICE, true, "http://example.com/\xc3\xa9"},
                      LinkRow{"File", SPC_FILE_LINK_CHOICE, true, "http://example.com/\xc3\xa9"},
                      LinkRow{"UrlWithoutText", SPC_URL_LINK_CHOICE, false, ""},
                      LinkRow{"Moniker", SPC_MONIKER_LINK_CHOICE, false, ""},
                      LinkRow{"UnknownChoice", 7, true, ""}),
    [](const ::testing::TestParamInfo<LinkRow>& info) { return info.param.name; });

TEST(LinkText, NoLinkIsEmpty) { EXPECT_EQ(velmo::linkText(nullptr), ""); }

}  // namespace
