// UTF-8 and UTF-16 coding as the sim's operations need it; see utf.h.
#include "platform/sim/core/utf.h"

namespace sim {
namespace {
constexpr char32_t kReplacement = 0xFFFD;
}  // namespace

// Decodes UTF-8 with the "maximal subpart" rule: each maximal invalid run that could start a
// valid sequence becomes one U+FFFD.
std::vector<WCHAR> utf8ToUtf16(const unsigned char* bytes, std::size_t size) {
  std::vector<WCHAR> out;
  out.reserve(size);
  auto emit = [&out](char32_t c) {
    if (c >= 0x10000) {
      c -= 0x10000;
      out.push_back(static_cast<WCHAR>(0xD800 + (c >> 10)));
      out.push_back(static_cast<WCHAR>(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(static_cast<WCHAR>(c));
    }
  };
  int needed = 0;
  int seen = 0;
  char32_t codePoint = 0;
  unsigned char lower = 0x80;
  unsigned char upper = 0xBF;
  std::size_t i = 0;
  while (i < size) {
    const unsigned char b = bytes[i];
    if (needed == 0) {
      ++i;
      if (b <= 0x7F) {
        emit(b);
      } else if (b >= 0xC2 && b <= 0xDF) {
        needed = 1;
        codePoint = b & 0x1F;
      } else if (b >= 0xE0 && b <= 0xEF) {
        lower = b == 0xE0 ? 0xA0 : 0x80;
        upper = b == 0xED ? 0x9F : 0xBF;
        needed = 2;
        codePoint = b & 0x0F;
      } else if (b >= 0xF0 && b <= 0xF4) {
        lower = b == 0xF0 ? 0x90 : 0x80;
        upper = b == 0xF4 ? 0x8F : 0xBF;
        needed = 3;
        codePoint = b & 0x07;
      } else {
        emit(kReplacement);
      }
      continue;
    }
    if (b < lower || b > upper) {
      // The byte ends the broken sequence and is looked at again as a start.
      needed = seen = 0;
      lower = 0x80;
      upper = 0xBF;
      emit(kReplacement);
      continue;
    }
    ++i;
    lower = 0x80;
    upper = 0xBF;
    codePoint = (codePoint << 6) | (b & 0x3F);
    if (++seen == needed) {
      emit(codePoint);
      needed = seen = 0;
    }
  }
  if (needed != 0) {
    emit(kReplacement);
  }
  return out;
}

std::string utf16ToUtf8(const WCHAR* units, std::size_t size) {
  std::string out;
  out.reserve(size);
  for (std::size_t i = 0; i < size; ++i) {
    char32_t c = units[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < size && units[i + 1] >= 0xDC00 &&
        units[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (units[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = kReplacement;
    }
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

}  // namespace sim
