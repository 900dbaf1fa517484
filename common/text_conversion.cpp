// UTF-8 <-> UTF-16 through the platform's conversion functions.
#include "common/text_conversion.h"

#include "platform/text.h"

namespace velmo {

std::string wideToUtf8(const platform::WideString& text) {
  if (text.empty()) {
    return {};
  }
  const int units = static_cast<int>(text.size());
  const int size =
      platform::WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
  if (size <= 0) {
    return {};
  }
  std::string result(static_cast<std::size_t>(size), '\0');
  const int written = platform::WideCharToMultiByte(CP_UTF8, 0, text.data(), units, result.data(),
                                                    size, nullptr, nullptr);
  result.resize(written > 0 ? static_cast<std::size_t>(written) : 0);
  return result;
}

platform::WideString utf8ToWide(const std::string& text) {
  if (text.empty()) {
    return {};
  }
  const int bytes = static_cast<int>(text.size());
  const int size = platform::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  if (size <= 0) {
    return {};
  }
  platform::WideString result(static_cast<std::size_t>(size), WCHAR{0});
  const int written =
      platform::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, result.data(), size);
  result.resize(written > 0 ? static_cast<std::size_t>(written) : 0);
  return result;
}

std::string wideToLogText(const platform::WideString& text) {
  if (text.empty()) {
    return {};
  }
  std::string converted = wideToUtf8(text);
  if (converted.empty()) {
    converted.assign(text.size(), '?');
  }
  return converted;
}

}  // namespace velmo
