#include "library/signature_text.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

TEST(SerialNumberText, LastByteFirstInUpperCaseHexWithTrailingBlanks) {
  using Row = std::pair<std::vector<BYTE>, std::string>;
  for (Row row : {Row{{0x01, 0x02, 0x0A}, "0A 02 01 "}, Row{{0x00, 0xFF, 0xab}, "AB FF 00 "}, Row{{}, ""}}) {
    const CRYPT_INTEGER_BLOB blob{static_cast<DWORD>(row.first.size()), row.first.data()};
    EXPECT_EQ(velmo::serialNumberText(blob), row.second);
  }
}

TEST(LinkText, UrlAndFileLinksOnly) {
  platform::WideString text = PLATFORM_WIDE("http://example.com/\u00e9");
  const std::string utf8 = "http://example.com/\xc3\xa9";
  using Row = std::tuple<DWORD, bool, std::string>;  // choice, with text, expected
  for (const auto& [choice, withText, expected] :
       {Row{SPC_URL_LINK_CHOICE, true, utf8}, Row{SPC_FILE_LINK_CHOICE, true, utf8},
        Row{SPC_URL_LINK_CHOICE, false, ""}, Row{SPC_MONIKER_LINK_CHOICE, false, ""}, Row{7, true, ""}}) {
    SPC_LINK link{};
    link.dwLinkChoice = choice;
    if (choice == SPC_MONIKER_LINK_CHOICE) {
      link.Moniker.SerializedData.cbData = 3;
    } else if (withText && choice == SPC_FILE_LINK_CHOICE) {
      link.pwszFile = text.data();
    } else if (withText) {
      link.pwszUrl = text.data();
    }
    EXPECT_EQ(velmo::linkText(&link), expected) << "choice " << choice;
  }
  EXPECT_EQ(velmo::linkText(nullptr), "");
}

}  // namespace
