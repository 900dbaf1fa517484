#include "library/signature_text.h"

#include "common/text_conversion.h"

namespace velmo {
namespace {

std::string wideText(LPCWSTR text) { return text ? wideToUtf8(text) : std::string(); }

}  // namespace

std::string serialNumberText(const CRYPT_INTEGER_BLOB& serialNumber) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (DWORD i = serialNumber.cbData; i > 0; --i) {
    const BYTE value = serialNumber.pbData[i - 1];
    text += kDigits[value >> 4];
    text += kDigits[value & 0xF];
    text += ' ';
  }
  return text;
}

std::string linkText(const SPC_LINK* link) {
  if (!link) {
    return {};
  }
  switch (link->dwLinkChoice) {
    case SPC_URL_LINK_CHOICE:
      return wideText(link->pwszUrl);
    case SPC_FILE_LINK_CHOICE:
      return wideText(link->pwszFile);
    default:
      return {};
  }
}

}  // namespace velmo
